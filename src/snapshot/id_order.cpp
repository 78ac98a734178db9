#include "snapshot/id_order.hpp"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <system_error>
#include <vector>

#include "common/serialization_file.hpp"
#include "common/zeroed_memory.hpp"
#include "snapshot/value_room.hpp"

#include <sys/mman.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return !busy_; });
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

// Values gathered, or ids made, while the previous chunk is written.
constexpr std::uint32_t kChunk = 1u << 19;
constexpr std::uint32_t kNone = 0xFFFFFFFFu;
// Fewer ids than this are ordered on the caller's thread alone: a second thread would cost
// more than it saves.
constexpr std::uint32_t kTwoThreadsFrom = 1u << 16;
// Values placed by blocks of this many, each block taken by whichever thread is free.
constexpr std::uint32_t kBlock = 1u << 16;

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

// Runs body(part, from, to) on the two halves of [0, count): part 0 on the caller, part 1 on
// the helper (or both on the caller when count is small).
template <typename Body>
void OnHalves(CHelperThread& helper, std::uint32_t count, const Body& body) {
    const std::uint32_t half = count / 2;
    if (count < kTwoThreadsFrom) {
        body(0, 0, half);
        body(1, half, count);
        return;
    }
    helper.Start([&body, half, count] { body(1, half, count); });
    WaitFor wait{helper};
    body(0, 0, half);
}

}  // namespace

// ---- Copies of added pairs ------------------------------------------------------

namespace {

// Arrays at least this long are copied by two threads, by blocks of kCopyBlock.
constexpr std::uint32_t kCopyOnTwoFrom = 1u << 18;
constexpr std::uint32_t kCopyBlock = 1u << 17;

bool Overlap(const void* a, const void* b, std::size_t bytes) {
    const auto x = reinterpret_cast<std::uintptr_t>(a);
    const auto y = reinterpret_cast<std::uintptr_t>(b);
    return x < y + bytes && y < x + bytes;
}

// x86-64's baseline has no unsigned 32-bit minimum or maximum, which leaves the loop below
// at half the speed of a copy: it is built for AVX2 as well, taken where the processor has it.
// Not under the sanitizers: the choice is made while the library is being loaded, before their
// runtime is ready.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define TERVIK_ROM_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TERVIK_ROM_SANITIZED
#endif
#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__)) && !defined(TERVIK_ROM_SANITIZED)
#define TERVIK_ROM_SPAN_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define TERVIK_ROM_SPAN_CLONES
#endif

// The span of ids[0, count) (count > 0); previous is the id before the first.
TERVIK_ROM_SPAN_CLONES IdSpan SpanOf(const std::uint32_t* ids, std::size_t count, std::uint32_t previous) noexcept {
    std::uint32_t low = ids[0];
    std::uint32_t high = ids[0];
    std::uint32_t descents = ids[0] < previous;
    for (std::size_t k = 1; k < count; ++k) {  // no branch, so that it is vectorised
        const std::uint32_t id = ids[k];
        low = id < low ? id : low;
        high = id > high ? id : high;
        descents += id < ids[k - 1];
    }
    return {low, high, descents == 0};
}

// Copies bytes to memory that is not read again soon: a large added array, which the save reads
// long after, once the rest has gone through the caches. Stores that bypass the caches spare
// the read of each destination line that an ordinary store makes first: two threads copied
// 120 MB so in 4.2-5.1 ms, by memcpy in 7.5-9.1 ms (one thread: 7.2 against 11-13 ms).
void StreamCopy(void* to, const void* from, std::size_t bytes) noexcept {
#if defined(__SSE2__)
    auto* out = static_cast<char*>(to);
    const auto* in = static_cast<const char*>(from);
    const std::size_t head = std::min(bytes, (16 - (reinterpret_cast<std::uintptr_t>(out) & 15)) & 15);
    std::memcpy(out, in, head);
    std::size_t k = head;
    for (; k + 64 <= bytes; k += 64) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + k));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + k + 16));
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + k + 32));
        const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + k + 48));
        _mm_stream_si128(reinterpret_cast<__m128i*>(out + k), a);
        _mm_stream_si128(reinterpret_cast<__m128i*>(out + k + 16), b);
        _mm_stream_si128(reinterpret_cast<__m128i*>(out + k + 32), c);
        _mm_stream_si128(reinterpret_cast<__m128i*>(out + k + 48), d);
    }
    std::memcpy(out + k, in + k, bytes - k);
    _mm_sfence();  // those stores are ordered by no later store
#else
    std::memcpy(to, from, bytes);
#endif
}

}  // namespace

IdSpan CopyIds(std::uint32_t* to, const std::uint32_t* from, std::uint32_t count, std::uint32_t previous) noexcept {
    // Each piece is copied, then its span read from the caller's piece, which the copy has just
    // brought into the cache (a piece is at most 512 KB). A component data's own ids
    // (overlapping) are copied as they stood.
    const std::size_t bytes = std::size_t{count} * sizeof(std::uint32_t);
    if (count < kCopyOnTwoFrom || Overlap(to, from, bytes)) {
        std::memmove(to, from, bytes);
        return SpanOf(to, count, previous);
    }
    IdSpan spans[2] = {{~0u, 0, true}, {~0u, 0, true}};
    ByBlocks(count, kCopyBlock, [&](int part, std::uint32_t begin, std::uint32_t end) {
        StreamCopy(to + begin, from + begin, std::size_t{end - begin} * sizeof(std::uint32_t));
        const IdSpan span = SpanOf(from + begin, end - begin, begin != 0 ? from[begin - 1] : previous);
        spans[part] = {std::min(spans[part].low, span.low), std::max(spans[part].high, span.high),
                       spans[part].ascending && span.ascending};
    });
    return {std::min(spans[0].low, spans[1].low), std::max(spans[0].high, spans[1].high),
            spans[0].ascending && spans[1].ascending};
}

void CopyValues(double* to, const double* from, std::uint32_t count) noexcept {
    const std::size_t bytes = std::size_t{count} * sizeof(double);
    if (count < kCopyOnTwoFrom || Overlap(to, from, bytes)) {
        std::memmove(to, from, bytes);
        return;
    }
    ByBlocks(count, kCopyBlock, [&](int, std::uint32_t begin, std::uint32_t end) {
        StreamCopy(to + begin, from + begin, std::size_t{end - begin} * sizeof(double));
    });
}

// ---- Working memory ------------------------------------------------------------

using Common::kHugePage;

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
    if (Same(ids, count)) {
        madeFor_ = ids;
        return;
    }
    madeFor_ = nullptr;
    count_ = count;
    consecutive_ = count != 0 && Consecutive(ids);
    if (!consecutive_) MakeByRadix(ids);
    madeFor_ = ids;
}

// Whether ids are the ones the order was made for.
bool CIdOrder::Same(const std::uint32_t* ids, std::uint32_t count) {
    if (madeFor_ == nullptr || count != count_) return false;
    const std::uint32_t* made = madeFor_;
    bool equal[2] = {};
    OnHalves(helper_, count, [&](int part, std::uint32_t from, std::uint32_t to) {
        equal[part] = std::memcmp(ids + from, made + from, sizeof(std::uint32_t) * (to - from)) == 0;
    });
    return equal[0] && equal[1];
}

// Whether the ids are first, first + 1, ..., first + count - 1 in some order: they span
// count values and cover them all (one bit a value, a bitmap for each thread, small enough
// for the caches). Sets first_.
bool CIdOrder::Consecutive(const std::uint32_t* ids) {
    const std::uint32_t count = count_;
    std::uint32_t lowest[2] = {};
    std::uint32_t highest[2] = {};
    OnHalves(helper_, count, [&](int part, std::uint32_t from, std::uint32_t to) {
        std::uint32_t low = kNone;
        std::uint32_t high = 0;
        for (std::uint32_t i = from; i < to; ++i) {
            low = std::min(low, ids[i]);
            high = std::max(high, ids[i]);
        }
        lowest[part] = low;
        highest[part] = high;
    });
    const std::uint32_t first = std::min(lowest[0], lowest[1]);
    first_ = first;
    if (std::max(highest[0], highest[1]) - first != count - 1) return false;
    const std::size_t words = (std::size_t{count} + 63) / 64;
    std::uint64_t* seen = seen_.Reserve(2 * words);
    OnHalves(helper_, count, [&](int part, std::uint32_t from, std::uint32_t to) {
        std::uint64_t* bits = seen + part * words;
        std::memset(bits, 0, sizeof(std::uint64_t) * words);
        for (std::uint32_t i = from; i < to; ++i) {
            const std::uint32_t slot = ids[i] - first;
            bits[slot / 64] |= std::uint64_t{1} << (slot % 64);
        }
    });
    std::uint64_t covered = 0;
    for (std::size_t w = 0; w < words; ++w)
        covered += static_cast<std::uint64_t>(__builtin_popcountll(seen[w] | seen[words + w]));
    return covered == count;
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
    if (consecutive_) {
        WriteConsecutive(stream, ids, values);
        return;
    }
    const std::uint32_t count = count_;
    stream.Write(sortedIds_.Get(), count);
    const std::uint32_t* positions = positions_.Get();
    WriteChunks(stream, count, chunkValues_.Reserve(2 * std::size_t{std::min(count, kChunk)}), helper_,
                [values, positions](double* out, std::uint32_t begin, std::uint32_t n) {
                    const std::uint32_t* from = positions + begin;
                    for (std::uint32_t k = 0; k < n; ++k) out[k] = values[from[k]];
                });
}

void CIdOrder::WriteConsecutive(Common::IStreamAdapter& stream, const std::uint32_t* ids, const double* values) {
    const std::uint32_t count = count_;
    const std::uint32_t first = first_;
    double* sorted = sorted_.Reserve(count);
    // Each value goes straight to its place: the helper starts while the caller writes the
    // ids (first, first + 1, ...), then the caller takes blocks too.
    const std::uint32_t blocks = (count - 1) / kBlock + 1;
    std::atomic<std::uint32_t> next{0};
    const auto place = [&next, blocks, count, first, ids, values, sorted] {
        for (std::uint32_t block; (block = next.fetch_add(1, std::memory_order_relaxed)) < blocks;) {
            const std::uint32_t from = block * kBlock;
            const std::uint32_t to = from + std::min(kBlock, count - from);
            for (std::uint32_t i = from; i < to; ++i) sorted[ids[i] - first] = values[i];
        }
    };
    if (count >= kTwoThreadsFrom) helper_.Start(place);
    WaitFor wait{helper_};
    WriteConsecutiveIds(stream, first, count);
    place();
    helper_.Wait();
    stream.Write(sorted, count);
}

void CIdOrder::WriteConsecutiveIds(Common::IStreamAdapter& stream, std::uint32_t first, std::uint32_t count) {
    std::uint32_t* chunk = chunkIds_.Reserve(std::min(count, kChunk));
    for (std::uint64_t begin = 0; begin < count; begin += kChunk) {
        const auto n = static_cast<std::uint32_t>(std::min<std::uint64_t>(kChunk, count - begin));
        for (std::uint32_t k = 0; k < n; ++k) chunk[k] = first + static_cast<std::uint32_t>(begin) + k;
        stream.Write(chunk, n);
    }
}

void CIdOrder::WritePlaced(Common::IStreamAdapter& stream, const CValueRoom& room, std::uint32_t count) {
    madeFor_ = nullptr;
    std::uint32_t first = 0;
    if (const double* run = room.Run(count, first)) {
        WriteConsecutiveIds(stream, first, count);
        stream.Write(run, count);
        return;
    }
    // Distinct ids with gaps between them: the room's bitmap has them in order.
    std::uint32_t* ids = sortedIds_.Reserve(count);
    double* values = sorted_.Reserve(count);
    room.InIdOrder(ids, values);
    stream.Write(ids, count);
    stream.Write(values, count);
}

}  // namespace Tervik::Rom::Snapshot
