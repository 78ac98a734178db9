#include "common/zeroed_memory.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <new>

#include <sys/mman.h>

#include "common/two_threads.hpp"

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

// Huge pages or small ones. Under a hypervisor that takes back memory a few seconds after the
// kernel freed it (free page reporting, in blocks of a huge page or more), a huge page the
// hypervisor took back costs 4 to 16 ms to fault in, where its 512 small pages cost 0.6 to
// 0.8 ms: the kernel finds small pages among smaller free blocks, which are never taken back.
// A huge page the kernel has at hand (freed lately) takes 0.17 ms. (Figures of the 2-core
// development machine.) So a process takes small pages until it frees a large block of its
// own; from then on huge pages, as a program that resumes again and again gets them back
// fast once it freed memory in huge pages (the first round after small pages pays the
// hypervisor's price once). A huge page that comes slowly while nothing was freed for longer
// than the hypervisor waits means its memory was taken back: the rest of the block takes
// small pages.
constexpr long kSlowHugePage = 1000000;        // ns of the thread's own time
constexpr long kTakenBackAfter = 2000000000L;  // ns after a free
// When this process last gave back a large block (CLOCK_MONOTONIC, ns); 0: never.
std::atomic<long> lastLargeFree{0};

long Now(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<long>(now.tv_sec) * 1000000000L + now.tv_nsec;
}

// Large blocks freed lately, kept for the next large tables read from a file: a program that
// resumes again and again then reads into memory it has at hand, where a new block costs a
// fault and the kernel's zeroing of every page (half the time of a warm resume of a 336 MB
// mesh). At most kKeepBlocks blocks and kKeepBytes bytes, the latest; the kernel may take a
// kept block's pages back when memory runs short, and gives zeros for them then.
constexpr std::size_t kKeepBlocks = 8;
constexpr std::size_t kKeepBytes = std::size_t{1} << 30;

struct KeptBlock {
    void* block;
    std::size_t size;  // whole huge pages
};

std::mutex keptMutex;
KeptBlock kept[kKeepBlocks + 1];  // the oldest first; a slot more for a block just kept
std::size_t keptCount = 0;

void Unmap(void* block, std::size_t size) noexcept {
    munmap(block, size);
    if (size >= kHugePage) lastLargeFree.store(Now(CLOCK_MONOTONIC), std::memory_order_relaxed);
}

// The smallest kept block of at least bytes, cut to their huge pages; null when none.
void* TakeKept(std::size_t bytes) noexcept {
    const std::size_t size = RoundUp(bytes, kHugePage);
    KeptBlock taken{nullptr, 0};
    {
        std::lock_guard<std::mutex> lock(keptMutex);
        std::size_t best = keptCount;
        for (std::size_t k = 0; k < keptCount; ++k)
            if (kept[k].size >= size && (best == keptCount || kept[k].size < kept[best].size)) best = k;
        if (best == keptCount) return nullptr;
        taken = kept[best];
        std::copy(kept + best + 1, kept + keptCount, kept + best);
        --keptCount;
    }
    if (taken.size > size) Unmap(static_cast<char*>(taken.block) + size, taken.size - size);
    return taken.block;
}

// Gives back the oldest kept blocks while more(blocks kept, bytes kept, bytes given back) holds.
template <class More>
void GiveBackOldest(const More& more) noexcept {
    KeptBlock given[kKeepBlocks + 1];
    std::size_t count = 0;
    {
        std::lock_guard<std::mutex> lock(keptMutex);
        std::size_t keptBytes = 0;
        for (std::size_t k = 0; k < keptCount; ++k) keptBytes += kept[k].size;
        for (std::size_t givenBytes = 0; count < keptCount && more(keptCount - count, keptBytes, givenBytes); ++count) {
            given[count] = kept[count];
            keptBytes -= kept[count].size;
            givenBytes += kept[count].size;
        }
        std::copy(kept + count, kept + keptCount, kept);
        keptCount -= count;
    }
    for (std::size_t k = 0; k < count; ++k) Unmap(given[k].block, given[k].size);
}

// Keeps a block of size bytes (whole huge pages), giving back the oldest that no longer fit.
void Keep(void* block, std::size_t size) noexcept {
#ifdef MADV_FREE
    madvise(block, size, MADV_FREE);
#endif
    {
        std::lock_guard<std::mutex> lock(keptMutex);
        kept[keptCount++] = {block, size};  // at most kKeepBlocks before: room for one more
    }
    GiveBackOldest(
        [](std::size_t blocks, std::size_t bytes, std::size_t) { return blocks > kKeepBlocks || bytes > kKeepBytes; });
}

// Gives back the oldest kept blocks, at least bytes of them while there are any: a block the
// kept ones cannot hold then finds the memory at hand (see FaultIn).
void GiveBack(std::size_t bytes) noexcept {
    GiveBackOldest([bytes](std::size_t, std::size_t, std::size_t given) { return given < bytes; });
}

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
    if (block != nullptr) Unmap(block, RoundUp(bytes, kHugePage));
}

bool Populate(void* from, std::size_t bytes) noexcept { return madvise(from, RoundUp(bytes, kPage), kPopulate) == 0; }

bool FaultIn(void* block, std::size_t bytes) noexcept {
    auto* const at = static_cast<char*>(block);
    const std::size_t size = RoundUp(bytes, kPage);
    std::size_t done = 0;
    if (lastLargeFree.load(std::memory_order_relaxed) != 0) {
        while (done < size) {
            const std::size_t step = std::min(kHugePage, size - done);
            const long start = Now(CLOCK_THREAD_CPUTIME_ID);
            if (!Populate(at + done, step)) return false;
            done += step;
            if (Now(CLOCK_THREAD_CPUTIME_ID) - start > kSlowHugePage &&
                Now(CLOCK_MONOTONIC) - lastLargeFree.load(std::memory_order_relaxed) > kTakenBackAfter)
                break;
        }
        if (done == size) return true;
    }
#ifdef MADV_NOHUGEPAGE
    madvise(at + done, RoundUp(bytes, kHugePage) - done, MADV_NOHUGEPAGE);
#endif
    // Small pages fault in on two threads, a half each, when the machine has a core to spare.
    constexpr std::size_t kOnTwoFrom = std::size_t{16} << 20;
    const std::size_t rest = size - done;
    if (rest < kOnTwoFrom || !SpareCore()) return Populate(at + done, rest);
    int error[2] = {};  // each thread's errno when it failed, for the caller to read
    OnTwoHalves(rest, kPage, [&](int part, std::uint64_t from, std::uint64_t to) {
        const bool populated = Populate(at + done + from, to - from);
        error[part] = populated ? 0 : errno != 0 ? errno : EINVAL;
    });
    if (error[0] == 0 && error[1] == 0) return true;
    errno = error[0] != 0 ? error[0] : error[1];
    return false;
}

namespace {

// A kept block serves a read alone: zeros cost as much written over a kept block as faulted
// in anew, and a block faulted in anew gets huge pages once memory was given back (see
// FaultIn), where a kept one keeps the pages it had (small ones, if it was the process's first).
void* AllocateLarge(std::size_t bytes, bool zeros) {
    if (!zeros)
        if (void* block = TakeKept(bytes)) return block;
    GiveBack(bytes);
    void* block = MapZeroed(bytes, true);
    if (block == nullptr) {
        // Every kept block back to the system, which may count them against what it commits.
        GiveBack(static_cast<std::size_t>(-1));
        block = MapZeroed(bytes, true);
    }
    if (block == nullptr) throw std::bad_alloc();
    FaultIn(block, bytes);
    return block;
}

}  // namespace

void* AllocateZeroed(std::size_t bytes) {
    if (bytes >= kFromKernel) return AllocateLarge(bytes, true);
    void* block = std::calloc(bytes != 0 ? bytes : 1, 1);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void* AllocateForReading(std::size_t bytes) {
    if (bytes >= kFromKernel) return AllocateLarge(bytes, false);
    void* block = std::malloc(bytes != 0 ? bytes : 1);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void FreeZeroed(void* block, std::size_t bytes) noexcept {
    if (bytes < kFromKernel)
        std::free(block);
    else if (block != nullptr)
        Keep(block, RoundUp(bytes, kHugePage));
}

}  // namespace Tervik::Rom::Common
