#include "snapshot/value_room.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include <sys/mman.h>

#include "common/zeroed_memory.hpp"
#include "snapshot/id_order.hpp"

namespace Tervik::Rom::Snapshot {

namespace {

// Smaller rooms are plain arrays: their values sort fast enough at save.
constexpr std::uint32_t kPlaceFrom = 1u << 16;
// Batches at least this large are placed on two threads, by blocks of kBlock.
constexpr std::uint32_t kTwoThreadsFrom = 1u << 18;
constexpr std::uint32_t kBlock = 1u << 16;
// How many values ahead the place of a value is asked of the memory, into the second-level
// cache: enough lines under way at once to cover the memory's latency. Measured on the 2-core
// development machine, 5,000,000 values: 3.5 ns a value at 128 or 256 ahead, 3.9 at 64, 6.5
// at 16; asked into the first-level cache instead, 6.5 at 32 (2024).
constexpr std::uint32_t kAhead = 128;
using Common::kHugePage;
using Common::Populate;

std::size_t RoundUp(std::size_t bytes, std::size_t to) { return (bytes + to - 1) / to * to; }

// Places values [from, to) at the slots of their ids (slot = id - first), marking them in mine,
// until one is outside [0, size), marked in seen or marked already; gives how many were
// placed. The place of a value some ahead is asked of the memory meanwhile. The two threads
// of a batch may store a repeated id's values at one slot at once (the batch is refused
// then): hence the relaxed atomic stores, which are plain stores.
std::uint32_t PlaceRange(const std::uint32_t* ids, const double* values, std::uint32_t from, std::uint32_t to,
                         std::uint64_t first, std::uint64_t size, const std::uint64_t* seen, std::uint64_t* mine,
                         double* slots) noexcept {
    for (std::uint32_t k = from; k < to; ++k) {
        if (k + kAhead < to) __builtin_prefetch(slots + (std::uint64_t{ids[k + kAhead]} - first), 1, 1);
        const std::uint64_t slot = std::uint64_t{ids[k]} - first;  // below first: wraps past the room
        const std::uint64_t bit = std::uint64_t{1} << (slot % 64);
        if (slot >= size || ((seen[slot / 64] | mine[slot / 64]) & bit) != 0) return k - from;
        mine[slot / 64] |= bit;
        double value = values[k];
        __atomic_store(slots + slot, &value, __ATOMIC_RELAXED);
    }
    return to - from;
}

// Unmarks the slots of ids [from, to), which PlaceRange marked.
void Unmark(const std::uint32_t* ids, std::uint32_t from, std::uint32_t to, std::uint64_t first,
            std::uint64_t* mine) noexcept {
    for (std::uint32_t k = from; k < to; ++k) {
        const std::uint64_t slot = std::uint64_t{ids[k]} - first;
        mine[slot / 64] &= ~(std::uint64_t{1} << (slot % 64));
    }
}

}  // namespace

CValueRoom::CValueRoom(std::uint32_t count) : count_(count) {
    if (count >= kPlaceFrom) {
        const std::size_t slots = 2 * std::size_t{count};
        const std::size_t slotBytes = RoundUp(slots * sizeof(double), kHugePage);
        const std::size_t bitBytes = RoundUp((slots + 63) / 64 * sizeof(std::uint64_t), kHugePage);
        const std::size_t addedBytes = RoundUp(std::size_t{count} * sizeof(double), kHugePage);
        const std::size_t bytes = slotBytes + 3 * bitBytes + addedBytes;
        void* mapped = Common::MapZeroed(bytes, false);
        if (mapped != nullptr) {
            auto* at = static_cast<char*>(mapped);
            slots_ = reinterpret_cast<double*>(at);
            filled_ = reinterpret_cast<std::uint64_t*>(at + slotBytes);
            marks_ = reinterpret_cast<std::uint64_t*>(at + slotBytes + bitBytes);
            addedOrder_ = reinterpret_cast<double*>(at + slotBytes + 3 * bitBytes);
#ifdef MADV_NOHUGEPAGE
            // The bitmaps, faulted in during a fill, in small pages: a huge page may come slowly
            // (see FaultIn), and these are small enough for the small pages' translations.
            madvise(filled_, 3 * bitBytes, MADV_NOHUGEPAGE);
#endif
            // The count values are in place now, as those of any zero-filled array are.
            const bool populated = Common::FaultIn(slots_, std::size_t{count} * sizeof(double));
            if (populated || errno != ENOMEM) {
                mapped_ = mapped;
                mappedBytes_ = bytes;
                values_ = slots_;
                if (!populated) std::memset(values_, 0, std::size_t{count} * sizeof(double));
                return;
            }
            // Memory cannot back them (the mapping reserves none): a plain array says so.
            Common::UnmapZeroed(mapped, bytes);
            slots_ = addedOrder_ = nullptr;
            filled_ = marks_ = nullptr;
        }
    }
    values_ = new double[count]();
}

CValueRoom& CValueRoom::operator=(CValueRoom&& other) noexcept {
    if (this != &other) {
        Free();
        Take(other);
    }
    return *this;
}

void CValueRoom::Take(CValueRoom& other) noexcept {
    values_ = std::exchange(other.values_, nullptr);
    mapped_ = std::exchange(other.mapped_, nullptr);
    mappedBytes_ = other.mappedBytes_;
    count_ = other.count_;
    slots_ = other.slots_;
    addedOrder_ = other.addedOrder_;
    filled_ = other.filled_;
    marks_ = other.marks_;
    placing_ = std::exchange(other.placing_, false);
    first_ = other.first_;
    size_ = other.size_;
}

void CValueRoom::Free() noexcept {
    if (mapped_ != nullptr)
        Common::UnmapZeroed(mapped_, mappedBytes_);
    else
        delete[] values_;
    values_ = nullptr;
    mapped_ = nullptr;
}

bool CValueRoom::StartPlacing(const std::uint32_t* ids, const double* values, std::uint32_t added) {
    if (!CanPlace() || added == 0) return false;
    std::uint32_t low = ids[0];
    std::uint32_t high = ids[0];
    for (std::uint32_t k = 1; k < added; ++k) {
        low = std::min(low, ids[k]);
        high = std::max(high, ids[k]);
    }
    return StartPlacing(ids, values, added, low, high);
}

bool CValueRoom::StartPlacing(const std::uint32_t* ids, const double* values, std::uint32_t added, std::uint32_t low,
                              std::uint32_t high) {
    if (!CanPlace() || added == 0 || high - low >= count_) return false;
    first_ = high >= count_ - 1 ? high - (count_ - 1) : 0;
    size_ = std::min<std::uint64_t>(std::uint64_t{low} + count_, std::uint64_t{1} << 32) - first_;
    Populate(filled_, (size_ + 63) / 64 * sizeof(std::uint64_t));
    if (!PlaceBatch(ids, values, added)) {
        // Some values went to their places already: the room holds those given, in order.
        size_ = 0;
        std::memcpy(values_, values, std::size_t{added} * sizeof(double));
        std::memset(values_ + added, 0, std::size_t{count_ - added} * sizeof(double));
        return false;
    }
    placing_ = true;
    return true;
}

bool CValueRoom::Place(const std::uint32_t* ids, const double* values, std::uint32_t count) {
    return PlaceBatch(ids, values, count);
}

bool CValueRoom::PlaceBatch(const std::uint32_t* ids, const double* values, std::uint32_t count) noexcept {
    const std::uint64_t first = first_;
    const std::uint64_t size = size_;
    // The marks of a refused batch come off again; values that went to slots no id placed
    // before are never read.
    if (count < kTwoThreadsFrom) {
        const std::uint32_t placed = PlaceRange(ids, values, 0, count, first, size, filled_, filled_, slots_);
        if (placed == count) return true;
        Unmark(ids, 0, placed, first, filled_);
        return false;
    }
    // Each thread marks a bitmap of its own, against those placed before; then the two are
    // held against each other and added to them.
    const std::uint64_t words = (size + 63) / 64;
    const std::size_t bitWords =
        RoundUp((2 * std::size_t{count_} + 63) / 64 * sizeof(std::uint64_t), kHugePage) / sizeof(std::uint64_t);
    std::uint64_t* const mine[2] = {marks_, marks_ + bitWords};
    Populate(mine[0], words * sizeof(std::uint64_t));
    Populate(mine[1], words * sizeof(std::uint64_t));
    bool whole[2] = {true, true};
    ByBlocks(count, kBlock, [&](int part, std::uint32_t from, std::uint32_t to) {
        whole[part] =
            whole[part] && PlaceRange(ids, values, from, to, first, size, filled_, mine[part], slots_) == to - from;
    });
    bool distinct = whole[0] && whole[1];
    for (std::uint64_t w = 0; distinct && w < words; ++w) distinct = (mine[0][w] & mine[1][w]) == 0;
    if (distinct)
        for (std::uint64_t w = 0; w < words; ++w) filled_[w] |= mine[0][w] | mine[1][w];
    std::memset(mine[0], 0, words * sizeof(std::uint64_t));
    std::memset(mine[1], 0, words * sizeof(std::uint64_t));
    return distinct;
}

void CValueRoom::ToAddedOrder(const std::uint32_t* ids, std::uint32_t placed, const double* rest,
                              std::uint32_t restCount) noexcept {
    double* const out = addedOrder_;
    Populate(out, std::size_t{count_} * sizeof(double));
    for (std::uint32_t i = 0; i < placed; ++i) out[i] = slots_[ids[i] - first_];
    std::memcpy(out + placed, rest, std::size_t{restCount} * sizeof(double));
    madvise(slots_, reinterpret_cast<char*>(addedOrder_) - reinterpret_cast<char*>(slots_), MADV_DONTNEED);
    values_ = out;
    placing_ = false;
}

const double* CValueRoom::Run(std::uint32_t count, std::uint32_t& first) const {
    if (!placing_ || count == 0) return nullptr;
    // The lowest and the highest slot filled: the ids are distinct, so count of them are
    // consecutive when they lie count - 1 apart.
    const std::uint64_t words = (size_ + 63) / 64;
    std::uint64_t low = 0;
    while (low < words && filled_[low] == 0) ++low;
    std::uint64_t high = words;
    while (high > low && filled_[high - 1] == 0) --high;
    if (low == words) return nullptr;
    const std::uint64_t lowest = low * 64 + static_cast<std::uint64_t>(__builtin_ctzll(filled_[low]));
    const std::uint64_t highest = (high - 1) * 64 + 63 - static_cast<std::uint64_t>(__builtin_clzll(filled_[high - 1]));
    if (highest - lowest != count - 1) return nullptr;
    first = static_cast<std::uint32_t>(first_ + lowest);
    return slots_ + lowest;
}

std::uint32_t CValueRoom::InIdOrder(std::uint32_t* ids, double* values) const {
    std::uint32_t n = 0;
    for (std::uint64_t word = 0; word < (size_ + 63) / 64; ++word)
        for (std::uint64_t bits = filled_[word]; bits != 0; bits &= bits - 1) {
            const std::uint64_t slot = word * 64 + static_cast<std::uint64_t>(__builtin_ctzll(bits));
            ids[n] = static_cast<std::uint32_t>(first_ + slot);
            values[n] = slots_[slot];
            ++n;
        }
    return n;
}

}  // namespace Tervik::Rom::Snapshot
