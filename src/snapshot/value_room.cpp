#include "snapshot/value_room.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include <sys/mman.h>

#include "common/zeroed_memory.hpp"

namespace Tervik::Rom::Snapshot {

namespace {

// Smaller rooms are plain arrays: their values sort fast enough at save.
constexpr std::uint32_t kPlaceFrom = 1u << 16;
// A bucket's slots: its values fit in cache while they are settled, and a value's offset in
// it fits 16 bits. Fewer, wider buckets gather faster (longer runs to append); these
// measured best of 2,048 to 65,536 slots.
constexpr unsigned kBucketShift = 16;
constexpr std::uint64_t kBucketSlots = std::uint64_t{1} << kBucketShift;
// Values sorted by bucket at a time while gathering; the same scratch holds a bucket
// while it is settled.
constexpr std::uint32_t kChunk = 1u << 16;
static_assert(kChunk >= kBucketSlots);
using Common::kHugePage;
using Common::Populate;

std::size_t RoundUp(std::size_t bytes, std::size_t to) { return (bytes + to - 1) / to * to; }

}  // namespace

CValueRoom::CValueRoom(std::uint32_t count) : count_(count) {
    if (count >= kPlaceFrom) {
        const std::size_t slots = 2 * std::size_t{count};
        const std::size_t buckets = (slots + kBucketSlots - 1) / kBucketSlots;
        const std::size_t slotBytes = RoundUp(slots * sizeof(double), kHugePage);
        const std::size_t bitBytes = RoundUp((slots + 63) / 64 * sizeof(std::uint64_t), kHugePage);
        const std::size_t offsetBytes = RoundUp(slots * sizeof(std::uint16_t), kHugePage);
        const std::size_t scratchBytes =
            RoundUp(kChunk * (sizeof(double) + sizeof(std::uint16_t)) + buckets * sizeof(std::uint64_t) +
                        (buckets + 1) * sizeof(std::uint32_t),
                    kHugePage);
        const std::size_t addedBytes = RoundUp(std::size_t{count} * sizeof(double), kHugePage);
        const std::size_t bytes = slotBytes + bitBytes + offsetBytes + scratchBytes + addedBytes;
        void* mapped = Common::MapZeroed(bytes, false);
        if (mapped != nullptr) {
            auto at = reinterpret_cast<std::uintptr_t>(mapped);
            const auto next = [&at](std::size_t partBytes) {
                const std::uintptr_t part = at;
                at += partBytes;
                return part;
            };
            slots_ = reinterpret_cast<double*>(next(slotBytes));
            filled_ = reinterpret_cast<std::uint64_t*>(next(bitBytes));
            offsets_ = reinterpret_cast<std::uint16_t*>(next(offsetBytes));
            const std::uintptr_t scratch = next(scratchBytes);
            addedOrder_ = reinterpret_cast<double*>(next(addedBytes));
            scratchValues_ = reinterpret_cast<double*>(scratch);
            scratchOffsets_ = reinterpret_cast<std::uint16_t*>(scratch + kChunk * sizeof(double));
            gatherBytes_ = offsetBytes + scratchBytes;
            // The count values are in place now, as those of any zero-filled array are.
            const bool populated = Populate(slots_, std::size_t{count} * sizeof(double));
            if (populated || errno != ENOMEM) {
                mapped_ = mapped;
                mappedBytes_ = bytes;
                values_ = slots_;
                if (!populated) std::memset(values_, 0, std::size_t{count} * sizeof(double));
                return;
            }
            // Memory cannot back them (the mapping reserves none): a plain array says so.
            Common::UnmapZeroed(mapped, bytes);
            slots_ = addedOrder_ = scratchValues_ = nullptr;
            filled_ = nullptr;
            offsets_ = scratchOffsets_ = nullptr;
            gatherBytes_ = 0;
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
    offsets_ = other.offsets_;
    scratchValues_ = other.scratchValues_;
    scratchOffsets_ = other.scratchOffsets_;
    starts_ = other.starts_;
    heads_ = std::exchange(other.heads_, nullptr);
    gatherBytes_ = other.gatherBytes_;
    placing_ = std::exchange(other.placing_, false);
    first_ = other.first_;
    size_ = other.size_;
    buckets_ = other.buckets_;
    settledBuckets_ = other.settledBuckets_;
}

void CValueRoom::Free() noexcept {
    if (mapped_ != nullptr)
        Common::UnmapZeroed(mapped_, mappedBytes_);
    else
        delete[] values_;
    values_ = nullptr;
    mapped_ = nullptr;
}

std::uint64_t CValueRoom::BucketEnd(std::uint64_t bucket) const {
    return std::min((bucket + 1) << kBucketShift, size_);
}

bool CValueRoom::StartPlacing(const std::uint32_t* ids, const double* values, std::uint32_t added) {
    if (!CanPlace() || added == 0) return false;
    const auto [low, high] = std::minmax_element(ids, ids + added);
    if (*high - *low >= count_) return false;
    const std::uint64_t first = *high >= count_ - 1 ? *high - (count_ - 1) : 0;
    const std::uint64_t size = std::min<std::uint64_t>(std::uint64_t{*low} + count_, std::uint64_t{1} << 32) - first;
    Populate(filled_, (size + 63) / 64 * sizeof(std::uint64_t));
    // A repeated id is refused before anything moves; the bitmap is clean again after.
    std::uint32_t marked = 0;
    for (; marked < added; ++marked) {
        const std::uint64_t slot = ids[marked] - first;
        const std::uint64_t bit = std::uint64_t{1} << (slot % 64);
        if ((filled_[slot / 64] & bit) != 0) break;
        filled_[slot / 64] |= bit;
    }
    for (std::uint32_t k = 0; k < marked; ++k) filled_[(ids[k] - first) / 64] = 0;
    if (marked != added) return false;

    Populate(offsets_, size * sizeof(std::uint16_t));
    const std::size_t offsetBytes = reinterpret_cast<char*>(scratchValues_) - reinterpret_cast<char*>(offsets_);
    Populate(scratchValues_, gatherBytes_ - offsetBytes);
    first_ = first;
    size_ = size;
    buckets_ = (size + kBucketSlots - 1) >> kBucketShift;
    settledBuckets_ = 0;
    heads_ = reinterpret_cast<std::uint64_t*>(scratchOffsets_ + kChunk);
    starts_ = reinterpret_cast<std::uint32_t*>(heads_ + buckets_);
    for (std::uint64_t b = 0; b < buckets_; ++b) heads_[b] = b << kBucketShift;
    placing_ = true;
    // Distinct ids in the room: every bucket has a slot for each of its values.
    Gather(ids, values, added);
    return true;
}

bool CValueRoom::Gather(const std::uint32_t* ids, const double* values, std::uint32_t count) noexcept {
    const std::uint64_t first = first_;
    const std::uint64_t size = size_;
    const std::uint64_t buckets = buckets_;
    std::uint32_t* const starts = starts_;
    std::uint64_t* const heads = heads_;
    for (std::uint32_t done = 0; done < count;) {
        const std::uint32_t n = std::min(kChunk, count - done);
        const std::uint32_t* id = ids + done;
        const double* value = values + done;
        // Each bucket's share of the chunk, refused whole when an id is outside the room or
        // a bucket has no slot left (an id repeated).
        std::fill(starts, starts + buckets + 1, 0u);
        for (std::uint32_t k = 0; k < n; ++k) {
            const std::uint64_t slot = id[k] - first;  // below first: wraps past the room
            if (slot >= size) return false;
            ++starts[(slot >> kBucketShift) + 1];
        }
        for (std::uint64_t b = 0; b < buckets; ++b) {
            if (heads[b] + starts[b + 1] > BucketEnd(b)) return false;
            starts[b + 1] += starts[b];
        }
        for (std::uint32_t k = 0; k < n; ++k) {
            const std::uint64_t slot = id[k] - first;
            const std::uint32_t at = starts[slot >> kBucketShift]++;
            scratchValues_[at] = value[k];
            scratchOffsets_[at] = static_cast<std::uint16_t>(slot);
        }
        // starts[b] is now where bucket b's share ends.
        std::uint32_t begin = 0;
        for (std::uint64_t b = 0; b < buckets; ++b) {
            const std::uint32_t length = starts[b] - begin;
            if (length != 0) {
                std::memcpy(slots_ + heads[b], scratchValues_ + begin, length * sizeof(double));
                std::memcpy(offsets_ + heads[b], scratchOffsets_ + begin, length * sizeof(std::uint16_t));
                heads[b] += length;
            }
            begin = starts[b];
        }
        done += n;
    }
    return true;
}

bool CValueRoom::Place(const std::uint32_t* ids, const double* values, std::uint32_t count) {
    if (heads_ != nullptr) return Gather(ids, values, count);
    const std::uint64_t first = first_;
    const std::uint64_t size = size_;
    std::uint64_t* const filled = filled_;
    double* const slots = slots_;
    // A value goes only to a slot no value went to before, so a refusal loses none.
    for (std::uint32_t k = 0; k < count; ++k) {
        const std::uint64_t slot = std::uint64_t{ids[k]} - first;
        const std::uint64_t bit = std::uint64_t{1} << (slot % 64);
        if (slot >= size || (filled[slot / 64] & bit) != 0) return false;
        filled[slot / 64] |= bit;
        slots[slot] = values[k];
    }
    return true;
}

bool CValueRoom::Settle() noexcept {
    if (heads_ == nullptr) return true;
    double* const bucket = scratchValues_;
    for (std::uint64_t b = settledBuckets_; b < buckets_; ++b) {
        const std::uint64_t from = b << kBucketShift;
        const std::uint64_t count = heads_[b] - from;
        const std::uint64_t width = BucketEnd(b) - from;
        std::uint64_t* const bits = filled_ + from / 64;
        // The bucket is copied back only once every offset is known to be distinct. Slots
        // no value went to are never read: what they hold does not matter.
        for (std::uint64_t i = 0; i < count; ++i) {
            const std::uint16_t offset = offsets_[from + i];
            const std::uint64_t bit = std::uint64_t{1} << (offset % 64);
            if ((bits[offset / 64] & bit) != 0) return false;
            bits[offset / 64] |= bit;
            bucket[offset] = slots_[from + i];
        }
        std::memcpy(slots_ + from, bucket, width * sizeof(double));
        settledBuckets_ = b + 1;
    }
    heads_ = nullptr;
    starts_ = nullptr;
    madvise(offsets_, gatherBytes_, MADV_DONTNEED);
    return true;
}

void CValueRoom::ToAddedOrder(const std::uint32_t* ids, std::uint32_t placed, const double* rest,
                              std::uint32_t restCount) noexcept {
    double* const out = addedOrder_;
    Populate(out, std::size_t{count_} * sizeof(double));
    if (heads_ == nullptr) {
        for (std::uint32_t i = 0; i < placed; ++i) out[i] = slots_[ids[i] - first_];
    } else {
        // Settled buckets hold their values at their places; the others in the order added.
        for (std::uint64_t b = settledBuckets_; b < buckets_; ++b) heads_[b] = b << kBucketShift;
        for (std::uint32_t i = 0; i < placed; ++i) {
            const std::uint64_t slot = ids[i] - first_;
            const std::uint64_t b = slot >> kBucketShift;
            out[i] = b < settledBuckets_ ? slots_[slot] : slots_[heads_[b]++];
        }
    }
    std::memcpy(out + placed, rest, std::size_t{restCount} * sizeof(double));
    madvise(slots_, reinterpret_cast<char*>(addedOrder_) - reinterpret_cast<char*>(slots_), MADV_DONTNEED);
    values_ = out;
    placing_ = false;
    heads_ = nullptr;
    starts_ = nullptr;
}

const double* CValueRoom::Run(std::uint32_t count, std::uint32_t& first) const {
    if (!placing_ || heads_ != nullptr || count == 0) return nullptr;
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
