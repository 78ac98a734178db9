#include "common/zeroed_memory.hpp"

#include <cstdint>
#include <cstdlib>
#include <new>

#include <sys/mman.h>

namespace Tervik::Rom::Common {

namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;
// Smaller blocks come from the heap, which recycles them.
constexpr std::size_t kFromKernel = std::size_t{1} << 20;
#ifdef MADV_POPULATE_WRITE
constexpr int kPopulate = MADV_POPULATE_WRITE;
#else
constexpr int kPopulate = 23;  // Linux 5.14 and later; older kernels refuse it
#endif

std::size_t Mapped(std::size_t bytes) { return (bytes + kHugePage - 1) / kHugePage * kHugePage; }

}  // namespace

void* AllocateZeroed(std::size_t bytes) {
    if (bytes < kFromKernel) {
        void* block = std::calloc(bytes != 0 ? bytes : 1, 1);
        if (block == nullptr) throw std::bad_alloc();
        return block;
    }
    // Aligned to a huge page: the address space around the block is given back.
    const std::size_t size = Mapped(bytes);
    void* mapped = mmap(nullptr, size + kHugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) throw std::bad_alloc();
    const auto start = reinterpret_cast<std::uintptr_t>(mapped);
    const std::uintptr_t block = (start + kHugePage - 1) & ~(std::uintptr_t{kHugePage} - 1);
    if (block != start) munmap(mapped, block - start);
    if (block - start != kHugePage) munmap(reinterpret_cast<void*>(block + size), kHugePage - (block - start));
#ifdef MADV_HUGEPAGE
    madvise(reinterpret_cast<void*>(block), size, MADV_HUGEPAGE);
#endif
    madvise(reinterpret_cast<void*>(block), size, kPopulate);
    return reinterpret_cast<void*>(block);
}

void FreeZeroed(void* block, std::size_t bytes) noexcept {
    if (block == nullptr) return;
    if (bytes < kFromKernel)
        std::free(block);
    else
        munmap(block, Mapped(bytes));
}

}  // namespace Tervik::Rom::Common
