// The order in which a component data's (id, value) pairs go to a file: by ascending id,
// equal ids in the order they were added.
#ifndef TERVIK_ROM_SRC_SNAPSHOT_ID_ORDER_HPP
#define TERVIK_ROM_SRC_SNAPSHOT_ID_ORDER_HPP

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

#include "common/two_threads.hpp"

namespace Tervik::Rom::Common {
class IStreamAdapter;
}

namespace Tervik::Rom::Snapshot {

class CValueRoom;

// A second thread that runs one job at a time beside the caller, or runs it in the
// caller when no thread could be started.
class CHelperThread {
public:
    CHelperThread() = default;
    CHelperThread(const CHelperThread&) = delete;
    CHelperThread& operator=(const CHelperThread&) = delete;
    ~CHelperThread();

    // Starts job once the one before has ended; the job must not throw.
    void Start(std::function<void()> job);
    // Waits until the job started last has ended.
    void Wait();

private:
    void Loop();

    std::thread thread_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::function<void()> job_;
    bool busy_ = false;
    bool stopping_ = false;
    bool failed_ = false;  // no thread: jobs run in the caller
};

// Uninitialised working memory, grown on demand and kept for the next use.
class ScratchBlock {
public:
    ScratchBlock() = default;
    ScratchBlock(const ScratchBlock&) = delete;
    ScratchBlock& operator=(const ScratchBlock&) = delete;
    ~ScratchBlock() { std::free(data_); }
    void* Reserve(std::size_t bytes);
    void* Get() const { return data_; }

private:
    void* data_ = nullptr;
    std::size_t capacity_ = 0;
};

template <typename T>
class Scratch {
public:
    T* Reserve(std::size_t count) { return static_cast<T*>(block_.Reserve(count * sizeof(T))); }
    T* Get() const { return static_cast<T*>(block_.Get()); }

private:
    ScratchBlock block_;
};

using Common::OnTwoThreads;
using Common::SpareCore;

// Runs body(part, from, to) over [0, count) a block at a time, on the caller (part 0) and, when
// the machine has a core to spare, a thread of its own (part 1): each block goes to whichever
// is free, so that a thread that gets no core leaves its share to the other rather than be
// waited for. body must not throw.
template <class Body>
void ByBlocks(std::uint32_t count, std::uint32_t block, const Body& body) noexcept {
    const std::uint64_t blocks = (std::uint64_t{count} + block - 1) / block;
    std::atomic<std::uint64_t> next{0};
    const auto run = [&](int part) {
        for (std::uint64_t b; (b = next.fetch_add(1, std::memory_order_relaxed)) < blocks;)
            body(part, static_cast<std::uint32_t>(b * block),
                 static_cast<std::uint32_t>(std::min<std::uint64_t>(count, (b + 1) * block)));
    };
    if (SpareCore())
        OnTwoThreads(run);
    else
        run(0);
}

// What a copy of ids found: the smallest, the largest, and whether they ascend (equal ids
// next to each other ascend).
struct IdSpan {
    std::uint32_t low;
    std::uint32_t high;
    bool ascending;
};

// Copies count ids (count > 0) from from to to, which may overlap, in one pass that finds their
// span; whether they ascend takes previous as the id before the first. Large arrays on two
// threads.
IdSpan CopyIds(std::uint32_t* to, const std::uint32_t* from, std::uint32_t count, std::uint32_t previous) noexcept;
// Copies count values from from to to, which may overlap; large arrays on two threads.
void CopyValues(double* to, const double* from, std::uint32_t count) noexcept;

// Sorts the ids of one component data after another during a save, reusing its memory, and
// writes the pairs in that order. Consecutive distinct ids (the usual numbering of a
// support's entities) need no sort: each value goes straight to its place, on two threads;
// any other ids go through a radix sort.
class CIdOrder {
public:
    // Orders ids[0, count), or keeps the order made last when these ids equal the ones it
    // was made for (several components filled in the same entity order).
    void Make(const std::uint32_t* ids, std::uint32_t count);
    // Writes the ids ordered last, then values (added with those ids) in their order.
    void WriteSorted(Common::IStreamAdapter& stream, const std::uint32_t* ids, const double* values);
    // Writes the count pairs of a room that holds its values at the places of their ids.
    void WritePlaced(Common::IStreamAdapter& stream, const CValueRoom& room, std::uint32_t count);

private:
    bool Same(const std::uint32_t* ids, std::uint32_t count);
    bool Consecutive(const std::uint32_t* ids);
    void MakeByRadix(const std::uint32_t* ids);
    void WriteConsecutive(Common::IStreamAdapter& stream, const std::uint32_t* ids, const double* values);
    // Writes first, first + 1, ..., first + count - 1.
    void WriteConsecutiveIds(Common::IStreamAdapter& stream, std::uint32_t first, std::uint32_t count);

    const std::uint32_t* madeFor_ = nullptr;
    std::uint32_t count_ = 0;
    bool consecutive_ = false;
    std::uint32_t first_ = 0;
    Scratch<std::uint32_t> positions_;  // [k]: where the k-th smallest id was added, unless consecutive
    Scratch<std::uint32_t> sortedIds_;  // the ids in order, unless consecutive
    Scratch<std::uint64_t> keys_;       // the radix sort's two buffers of (id, position)
    Scratch<std::uint64_t> seen_;       // consecutive ids: a bitmap of the ids each thread saw
    Scratch<double> sorted_;            // consecutive ids: the values in their order
    Scratch<std::uint32_t> chunkIds_;   // consecutive ids: made a chunk at a time for the file
    Scratch<double> chunkValues_;       // otherwise: two chunks of values on their way to the file
    CHelperThread helper_;
};

}  // namespace Tervik::Rom::Snapshot

#endif
