// The memory of a component data's values.
#ifndef TERVIK_ROM_SRC_SNAPSHOT_VALUE_ROOM_HPP
#define TERVIK_ROM_SRC_SNAPSHOT_VALUE_ROOM_HPP

#include <cstddef>
#include <cstdint>

namespace Tervik::Rom::Snapshot {

// Zero-filled room for count values, faulted in when made. A large room can later hold the
// values at the places of their ids instead (slot = id - first), so that a save of
// consecutive ids needs no sort. Each batch of values goes straight to the places of its ids,
// each place asked of the memory some values ahead so that the stores do not wait on it one
// after the other; a large batch on two threads, each marking a bitmap of its own (merged
// after). A bitmap of the slots filled refuses a repeated id.
// The room is one mapping with address space for all of this (values for twice count slots,
// the values in the order added should placing be given up, the bitmap of the slots filled
// and the two threads' bitmaps), each part touched only when used: nothing is allocated
// after the room is made.
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
    // Every value placed so far is at the place of its id: always, as each batch goes
    // straight there.
    bool Settled() const { return true; }

    // Lays the room out by id from now on, for as many ids as it has values, of which the first
    // added are given (their values must not live in this room: it is overwritten), and
    // places those. False when it cannot place (small, or placed before), when no run of that
    // many consecutive ids includes those added, or when an id is repeated; the room then
    // holds the values given, in their order, and zeros after them.
    bool StartPlacing(const std::uint32_t* ids, const double* values, std::uint32_t added);
    // The same, given the smallest and the largest of the ids.
    bool StartPlacing(const std::uint32_t* ids, const double* values, std::uint32_t added, std::uint32_t low,
                      std::uint32_t high);
    // Places count more values; false when an id falls outside the room, or repeats one
    // placed before. The room then places no more: what it holds is to be taken back with
    // ToAddedOrder (the values of the refused batch may have been placed in part).
    bool Place(const std::uint32_t* ids, const double* values, std::uint32_t count);
    // Nothing is left to put at its place; true.
    bool Settle() noexcept { return true; }
    // The values in the order added from now on: those of the first placed ids added (as
    // given, in that order), then rest more. The room places no more.
    void ToAddedOrder(const std::uint32_t* ids, std::uint32_t placed, const double* rest,
                      std::uint32_t restCount) noexcept;

    // While placing:
    double ValueOf(std::uint32_t id) const { return values_[id - first_]; }
    // The values of the placed ids, when there are count of them and they are consecutive:
    // the first id and its value; the rest follow.
    const double* Run(std::uint32_t count, std::uint32_t& first) const;
    // Copies every placed (id, value) pair by ascending id; returns how many.
    std::uint32_t InIdOrder(std::uint32_t* ids, double* values) const;

private:
    void Take(CValueRoom& other) noexcept;
    void Free() noexcept;
    // Places count values; false when one does not go (see Place).
    bool PlaceBatch(const std::uint32_t* ids, const double* values, std::uint32_t count) noexcept;

    double* values_ = nullptr;
    void* mapped_ = nullptr;  // null: values_ comes from new[]
    std::size_t mappedBytes_ = 0;
    std::uint32_t count_ = 0;
    // Parts of the mapping.
    double* slots_ = nullptr;          // 2 * count: the values while placing
    double* addedOrder_ = nullptr;     // count: the values should placing be given up
    std::uint64_t* filled_ = nullptr;  // one bit a slot
    std::uint64_t* marks_ = nullptr;   // two bitmaps like filled_: the slots each thread fills of a batch

    bool placing_ = false;
    std::uint64_t first_ = 0;  // the id of slot 0 while placing
    std::uint64_t size_ = 0;   // slots usable while placing
};

}  // namespace Tervik::Rom::Snapshot

#endif
