// The memory of a component data's values.
#ifndef TERVIK_ROM_SRC_SNAPSHOT_VALUE_ROOM_HPP
#define TERVIK_ROM_SRC_SNAPSHOT_VALUE_ROOM_HPP

#include <cstddef>
#include <cstdint>

namespace Tervik::Rom::Snapshot {

// Zero-filled room for count values, faulted in when made. A large room is laid out so that
// it can later hold the values at the places of their ids instead (slot = id - first): its
// own memory (huge pages asked for), followed by as much address space again and a bitmap
// of the slots filled, both touched only when used. Values added out of id order then go
// straight to their places, and a save of consecutive ids needs no sort.
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
    bool CanPlace() const { return mapped_ != nullptr; }
    bool Placing() const { return placing_; }

    // Lays the room out by id from now on, for count ids of which the first added are given
    // (their values must not live in this room: it is overwritten). False, with the room
    // left as it was, when it cannot place (small, or placed before), when no count
    // consecutive ids include those added, or when an id is repeated.
    bool StartPlacing(const std::uint32_t* ids, const double* values, std::uint32_t added, std::uint32_t count);
    // Puts count values at the places of their ids; false when an id falls outside the room
    // or was placed before. The values placed before stay as they were, and those of the
    // refused call that went to their places are not to be read; the room places no more.
    bool Place(const std::uint32_t* ids, const double* values, std::uint32_t count);
    double ValueOf(std::uint32_t id) const { return values_[id - first_]; }
    // The values of the placed ids, when there are count of them and they are consecutive:
    // the first id and its value; the rest follow.
    const double* Run(std::uint32_t count, std::uint32_t& first) const;
    // Copies every placed (id, value) pair by ascending id; returns how many.
    std::uint32_t InIdOrder(std::uint32_t* ids, double* values) const;

private:
    void Take(CValueRoom& other) noexcept;
    void Free() noexcept;

    double* values_ = nullptr;
    void* mapped_ = nullptr;  // null: values_ comes from new[]
    std::size_t mappedBytes_ = 0;
    std::uint64_t* filled_ = nullptr;  // one bit a slot
    bool placing_ = false;
    std::uint64_t first_ = 0;  // the id of slot 0 while placing
    std::uint64_t size_ = 0;   // slots usable while placing
};

}  // namespace Tervik::Rom::Snapshot

#endif
