#include "common/zeroed_memory.hpp"

#include <cstdint>
#include <cstdlib>
#include <new>

#include <sys/mman.h>

namespace Tervik::Rom::Common {

namespace {

constexpr std::size_t kPage = std::size_t{4} << 10;
// Smaller blocks come from the heap, which recycles them.
constexpr std::size_t kFromKernel = std::size_t{1} << 20;
#ifdef MADV_POPULATE_WRITE
constexpr int kPopulate = MADV_POPULATE_WRITE;
#else
constexpr int kPopulate = 23;  // Linux 5.14 and later; older kernels refuse it
#endif

std::size_t RoundUp(std::size_t bytes, std::size_t to) { return (bytes + to - 1) / to * to; }

}  // namespace

void* MapZeroed(std::size_t bytes, bool reserve) noexcept {
    // Mapped one huge page longer, then trimmed to the aligned block.
    const std::size_t size = RoundUp(bytes, kHugePage);
    const int flags = MAP_PRIVATE | MAP_ANONYMOUS | (reserve ? 0 : MAP_NORESERVE);
    void* mapped = mmap(nullptr, size + kHugePage, PROT_READ | PROT_WRITE, flags, -1, 0);
    if (mapped == MAP_FAILED) return nullptr;
    const auto start = reinterpret_cast<std::uintptr_t>(mapped);
    const std::uintptr_t block = (start + kHugePage - 1) & ~(std::uintptr_t{kHugePage} - 1);
    if (block != start) munmap(mapped, block - start);
    if (block - start != kHugePage) munmap(reinterpret_cast<void*>(block + size), kHugePage - (block - start));
#ifdef MADV_HUGEPAGE
    madvise(reinterpret_cast<void*>(block), size, MADV_HUGEPAGE);
#endif
    return reinterpret_cast<void*>(block);
}

void UnmapZeroed(void* block, std::size_t bytes) noexcept {
    if (block != nullptr) munmap(block, RoundUp(bytes, kHugePage));
}

bool Populate(void* from, std::size_t bytes) noexcept {
    return madvise(from, RoundUp(bytes, kPage), kPopulate) == 0;
}

void* AllocateZeroed(std::size_t bytes) {
    if (bytes < kFromKernel) {
        void* block = std::calloc(bytes != 0 ? bytes : 1, 1);
        if (block == nullptr) throw std::bad_alloc();
        return block;
    }
    void* block = MapZeroed(bytes, true);
    if (block == nullptr) throw std::bad_alloc();
    Populate(block, bytes);
    return block;
}

void FreeZeroed(void* block, std::size_t bytes) noexcept {
    if (bytes < kFromKernel)
        std::free(block);
    else
        UnmapZeroed(block, bytes);
}

}  // namespace Tervik::Rom::Common
