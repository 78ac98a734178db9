// The memory of a component data's values.
#ifndef TERVIK_ROM_SRC_SNAPSHOT_VALUE_ROOM_HPP
#define TERVIK_ROM_SRC_SNAPSHOT_VALUE_ROOM_HPP

#include <cstddef>
#include <cstdint>

namespace Tervik::Rom::Snapshot {

// Zero-filled room for count values, faulted in when made. A large room can later hold the
// values at the places of their ids instead (slot = id - first), so that a save of
// consecutive ids needs no sort. Values added out of id order get there in two steps, as
// one store at a random place per value would miss the cache every time:
// - gathering: each batch of values is sorted by bucket (65,536 slots) in cache and each
//   bucket's share appended to the bucket's own slots, with the value's offset in it;
// - settling: each bucket's values are put at their offsets, in cache, once all are added
//   (or earlier, when a value is read by id); from then on values go straight to their places.
// The room is one mapping with address space for all of this (values for twice count slots,
// the values in the order added should placing be given up, a bitmap of the slots filled,
// the offsets and the sort's scratch), each part touched only when used and the gathering's
// parts given back once settled: nothing is allocated after the room is made.
class CValueRoom {
public:
    CValueRoom() = default;
    // Throws std::bad_alloc.
    explicit CValueRoom(std::uint32_t count);
    CValueRoom(const CValueRoom&) = delete;
    CValueRoom& operator=(const CValueRoom&) = delete;
    CValueRoom(CValueRoom&& other) noexcept { Take(other); }
    CValueRoom& operator=(CValueRoom&& other) noexcept;
    ~CValueRoom() { Free(); }

    double* Values() const { return values_; }
    bool CanPlace() const { return mapped_ != nullptr && size_ == 0; }
    bool Placing() const { return placing_; }
    // Every value placed so far is at the place of its id (not only in its bucket).
    bool Settled() const { return heads_ == nullptr; }

    // Lays the room out by id from now on, for as many ids as it has values, of which the first
    // added are given (their values must not live in this room: it is overwritten), and
    // gathers those. False, with the room left as it was, when it cannot place (small, or
    // placed before), when no run of that many consecutive ids includes those added, or when an id
    // is repeated.
    bool StartPlacing(const std::uint32_t* ids, const double* values, std::uint32_t added);
    // Gathers, or once settled places, count more values; false when an id falls outside the
    // room, or is seen to repeat one placed before. The room then places no more: what it
    // holds is to be taken back with ToAddedOrder.
    bool Place(const std::uint32_t* ids, const double* values, std::uint32_t count);
    // Puts the values gathered at their places; false when an id was added twice, and the
    // room is then to be taken back with ToAddedOrder.
    bool Settle() noexcept;
    // The values in the order added from now on: those of the first placed ids added (as
    // given, in that order), then rest more. The room places no more.
    void ToAddedOrder(const std::uint32_t* ids, std::uint32_t placed, const double* rest, std::uint32_t restCount) noexcept;

    // Once settled:
    double ValueOf(std::uint32_t id) const { return values_[id - first_]; }
    // The values of the placed ids, when there are count of them and they are consecutive:
    // the first id and its value; the rest follow.
    const double* Run(std::uint32_t count, std::uint32_t& first) const;
    // Copies every placed (id, value) pair by ascending id; returns how many.
    std::uint32_t InIdOrder(std::uint32_t* ids, double* values) const;

private:
    void Take(CValueRoom& other) noexcept;
    void Free() noexcept;
    bool Gather(const std::uint32_t* ids, const double* values, std::uint32_t count) noexcept;
    std::uint64_t BucketEnd(std::uint64_t bucket) const;

    double* values_ = nullptr;
    void* mapped_ = nullptr;  // null: values_ comes from new[]
    std::size_t mappedBytes_ = 0;
    std::uint32_t count_ = 0;
    // Parts of the mapping.
    double* slots_ = nullptr;          // 2 * count: the values while placing
    double* addedOrder_ = nullptr;     // count: the values should placing be given up
    std::uint64_t* filled_ = nullptr;  // one bit a slot
    std::uint16_t* offsets_ = nullptr; // each gathered value's slot in its bucket
    double* scratchValues_ = nullptr;
    std::uint16_t* scratchOffsets_ = nullptr;
    std::uint32_t* starts_ = nullptr;  // buckets + 1
    std::uint64_t* heads_ = nullptr;   // buckets: the next slot of each; null once settled
    std::size_t gatherBytes_ = 0;      // the offsets and scratch, given back once settled

    bool placing_ = false;
    std::uint64_t first_ = 0;  // the id of slot 0 while placing
    std::uint64_t size_ = 0;   // slots usable while placing
    std::uint64_t buckets_ = 0;
    std::uint64_t settledBuckets_ = 0;  // those whose values are at their places
};

}  // namespace Tervik::Rom::Snapshot

#endif
