#include "snapshot/id_order.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <system_error>
#include <vector>

#include "common/serialization_file.hpp"

#include <sys/mman.h>

namespace Tervik::Rom::Snapshot {

// ---- The helper thread ---------------------------------------------------------

CHelperThread::~CHelperThread() {
    if (!thread_.joinable()) return;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void CHelperThread::Start(std::function<void()> job) {
    if (!failed_ && !thread_.joinable()) {
        try {
            thread_ = std::thread([this] { Loop(); });
        } catch (const std::system_error&) {
            failed_ = true;
        }
    }
    if (failed_) {
        job();
        return;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        job_ = std::move(job);
        busy_ = true;
    }
    changed_.notify_all();
}

void CHelperThread::Wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return !busy_; });
}

void CHelperThread::Loop() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return busy_ || stopping_; });
        if (!busy_) return;
        std::function<void()> job = std::move(job_);
        lock.unlock();
        job();
        lock.lock();
        busy_ = false;
        changed_.notify_all();
    }
}

namespace {

// Pairs placed while the previous chunk is written: few enough chunks for one pass to deal
// values out to all of them at once, each small enough to be placed in the caches.
constexpr std::uint32_t kChunk = 1u << 19;
constexpr std::uint32_t kNone = 0xFFFFFFFFu;

// Waits for the helper's job however the caller leaves, so that no job outlives the
// memory it works on.
struct WaitFor {
    CHelperThread& helper;
    ~WaitFor() { helper.Wait(); }
};

// Writes count items in chunks: fill(out, begin, n) produces items [begin, begin + n) on the
// helper thread while the chunk before them is written.
template <typename T, typename Fill>
void WriteChunks(Common::IStreamAdapter& stream, std::uint32_t count, T* buffers, CHelperThread& helper,
                 const Fill& fill) {
    auto size = [count](std::uint64_t begin) {
        return static_cast<std::uint32_t>(std::min<std::uint64_t>(kChunk, count - begin));
    };
    fill(buffers, 0, size(0));
    WaitFor wait{helper};
    std::uint32_t k = 0;
    for (std::uint64_t begin = 0; begin < count; begin += kChunk, ++k) {
        const std::uint64_t next = begin + kChunk;
        if (next < count) {
            T* out = buffers + ((k + 1) % 2) * std::size_t{kChunk};
            const auto from = static_cast<std::uint32_t>(next);
            const std::uint32_t n = size(next);
            helper.Start([&fill, out, from, n] { fill(out, from, n); });
        }
        stream.Write(buffers + (k % 2) * std::size_t{kChunk}, size(begin));
        helper.Wait();
    }
}

// Deals the values added at [from, to) out to their chunks; next holds where each chunk's
// next value goes.
template <bool kWithPlaces>
void DealOut(const std::uint32_t* ids, const double* values, std::uint32_t first, std::uint32_t from, std::uint32_t to,
             std::uint32_t* next, std::uint32_t* places, double* dealt) {
    for (std::uint32_t i = from; i < to; ++i) {
        const std::uint32_t slot = ids[i] - first;
        const std::uint32_t at = next[slot / kChunk]++;
        if (kWithPlaces) places[at] = slot % kChunk;
        dealt[at] = values[i];
    }
}

}  // namespace

// ---- Working memory ------------------------------------------------------------

namespace {
constexpr std::size_t kHugePage = std::size_t{2} << 20;
}

void* ScratchBlock::Reserve(std::size_t bytes) {
    if (capacity_ >= bytes) return data_;
    std::free(data_);
    data_ = nullptr;
    capacity_ = 0;
    if (bytes >= kHugePage) {
        // Whole huge pages, which a first touch faults in 512 times fewer steps.
        bytes = (bytes + kHugePage - 1) / kHugePage * kHugePage;
        data_ = std::aligned_alloc(kHugePage, bytes);
#ifdef MADV_HUGEPAGE
        if (data_ != nullptr) madvise(data_, bytes, MADV_HUGEPAGE);
#endif
    } else {
        data_ = std::malloc(bytes);
    }
    if (data_ == nullptr) throw std::bad_alloc();
    capacity_ = bytes;
    return data_;
}

// ---- The order -------------------------------------------------------------------

void CIdOrder::Make(const std::uint32_t* ids, std::uint32_t count) {
    if (madeFor_ != nullptr && count == count_ && std::memcmp(ids, madeFor_, sizeof(std::uint32_t) * count) == 0) {
        madeFor_ = ids;
        return;
    }
    madeFor_ = nullptr;
    placesMade_ = false;
    count_ = count;
    std::uint32_t lowest = kNone;
    std::uint32_t highest = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        lowest = std::min(lowest, ids[i]);
        highest = std::max(highest, ids[i]);
    }
    consecutive_ = count != 0 && highest - lowest == count - 1 && Distinct(ids, lowest);
    first_ = lowest;
    if (!consecutive_) MakeByRadix(ids);
    madeFor_ = ids;
}

// Whether no id comes twice, given that they all lie in [first, first + count): a bitmap of
// count bits stays in the caches where a table of positions would not.
bool CIdOrder::Distinct(const std::uint32_t* ids, std::uint32_t first) const {
    std::vector<std::uint64_t> seen((std::size_t{count_} + 63) / 64, 0);
    std::uint64_t repeated = 0;
    for (std::uint32_t i = 0; i < count_; ++i) {
        const std::uint32_t slot = ids[i] - first;
        const std::uint64_t bit = std::uint64_t{1} << (slot % 64);
        repeated |= seen[slot / 64] & bit;
        seen[slot / 64] |= bit;
    }
    return repeated == 0;
}

// A least-significant-digit radix sort of (id, position) keys over as few passes as the
// largest id needs (at most 8 bits a pass, so that every pass writes to few enough places at
// once for the caches). Stable, so equal ids keep the order they were added in.
void CIdOrder::MakeByRadix(const std::uint32_t* ids) {
    const std::uint32_t count = count_;
    std::uint32_t largest = 0;
    for (std::uint32_t i = 0; i < count; ++i) largest |= ids[i];
    int bits = 1;
    while (bits < 32 && (largest >> bits) != 0) ++bits;
    const int passes = (bits + 7) / 8;
    const int width = (bits + passes - 1) / passes;
    const std::uint32_t buckets = 1u << width;
    const std::uint32_t mask = buckets - 1;

    std::vector<std::uint32_t> starts(static_cast<std::size_t>(passes) * buckets, 0);
    for (std::uint32_t i = 0; i < count; ++i)
        for (int pass = 0; pass < passes; ++pass) ++starts[pass * buckets + ((ids[i] >> (pass * width)) & mask)];
    for (int pass = 0; pass < passes; ++pass) {
        std::uint32_t start = 0;
        for (std::uint32_t b = 0; b < buckets; ++b) {
            const std::uint32_t size = starts[pass * buckets + b];
            starts[pass * buckets + b] = start;
            start += size;
        }
    }
    std::uint32_t* positions = positions_.Reserve(count);
    std::uint32_t* sortedIds = sortedIds_.Reserve(count);
    std::uint64_t* keys = passes > 1 ? keys_.Reserve(2 * std::size_t{count}) : nullptr;
    std::uint64_t* buffers[2] = {keys, keys + (keys != nullptr ? count : 0)};

    for (int pass = 0; pass < passes; ++pass) {
        std::uint32_t* start = &starts[pass * buckets];
        const int shift = pass * width;
        const bool first = pass == 0;
        const bool last = pass == passes - 1;
        const std::uint64_t* in = first ? nullptr : buffers[(pass - 1) % 2];
        std::uint64_t* out = buffers[pass % 2];
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::uint64_t key = first ? (std::uint64_t{ids[i]} << 32) | i : in[i];
            const auto id = static_cast<std::uint32_t>(key >> 32);
            const std::uint32_t slot = start[(id >> shift) & mask]++;
            if (last) {
                sortedIds[slot] = id;
                positions[slot] = static_cast<std::uint32_t>(key);
            } else {
                out[slot] = key;
            }
        }
    }
}

void CIdOrder::WriteSorted(Common::IStreamAdapter& stream, const std::uint32_t* ids, const double* values) {
    const std::uint32_t count = count_;
    double* chunkValues = chunkValues_.Reserve(2 * std::size_t{std::min(count, kChunk)});
    if (!consecutive_) {
        stream.Write(sortedIds_.Get(), count);
        const std::uint32_t* positions = positions_.Get();
        WriteChunks(stream, count, chunkValues, helper_,
                    [values, positions](double* out, std::uint32_t begin, std::uint32_t n) {
                        const std::uint32_t* from = positions + begin;
                        for (std::uint32_t k = 0; k < n; ++k) out[k] = values[from[k]];
                    });
        return;
    }
    const std::uint32_t first = first_;
    WriteChunks(stream, count, chunkIds_.Reserve(2 * std::size_t{std::min(count, kChunk)}), helper_, [first](std::uint32_t* out, std::uint32_t begin, std::uint32_t n) {
        for (std::uint32_t k = 0; k < n; ++k) out[k] = first + begin + k;
    });
    // The values go to the file a chunk of consecutive ids at a time. One pass deals them
    // out by chunk, as (place in the chunk, value), in the order they were added; then each
    // chunk is placed in memory small enough for the caches and written while the helper
    // places the next.
    std::uint32_t* places = places_.Reserve(count);
    double* dealt = dealt_.Reserve(count);
    const std::uint32_t chunks = (count - 1) / kChunk + 1;
    // The places depend on the ids alone: a component filled in the same order as the one
    // before finds them made.
    const bool placesMade = placesMade_;
    placesMade_ = false;
    auto deal = [=](std::uint32_t from, std::uint32_t to, std::uint32_t* next) {
        if (placesMade)
            DealOut<false>(ids, values, first, from, to, next, places, dealt);
        else
            DealOut<true>(ids, values, first, from, to, next, places, dealt);
    };
    // Two threads deal a half each: the first half's share of each chunk comes first.
    std::vector<std::uint32_t> next(2 * std::size_t{chunks}, 0);
    std::uint32_t* lowerNext = next.data();
    std::uint32_t* upperNext = lowerNext + chunks;
    const std::uint32_t half = count / 2;
    for (std::uint32_t i = 0; i < half; ++i) ++upperNext[(ids[i] - first) / kChunk];
    for (std::uint32_t c = 0; c < chunks; ++c) {
        lowerNext[c] = c * kChunk;
        upperNext[c] += c * kChunk;
    }
    if (count <= kChunk) {
        deal(0, count, lowerNext);  // too little to be worth a thread
    } else {
        helper_.Start([&] { deal(half, count, upperNext); });
        WaitFor wait{helper_};
        deal(0, half, lowerNext);
    }
    placesMade_ = true;
    WriteChunks(stream, count, chunkValues, helper_, [places, dealt](double* out, std::uint32_t begin, std::uint32_t n) {
        for (std::uint32_t k = begin; k < begin + n; ++k) out[places[k]] = dealt[k];
    });
}

}  // namespace Tervik::Rom::Snapshot
