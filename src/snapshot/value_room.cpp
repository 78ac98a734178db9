#include "snapshot/value_room.hpp"

#include <algorithm>
#include <cstring>
#include <new>

#include <sys/mman.h>

namespace Tervik::Rom::Snapshot {

namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;
constexpr std::size_t kPage = std::size_t{4} << 10;
// Smaller rooms are plain arrays: their values sort fast enough at save.
constexpr std::uint32_t kPlaceFrom = 1u << 16;
#ifdef MADV_POPULATE_WRITE
constexpr int kPopulate = MADV_POPULATE_WRITE;
#else
constexpr int kPopulate = 23;  // Linux 5.14 and later; older kernels refuse it
#endif

std::size_t RoundUp(std::size_t bytes, std::size_t to) { return (bytes + to - 1) / to * to; }

}  // namespace

CValueRoom::CValueRoom(std::uint32_t count) {
    if (count >= kPlaceFrom) {
        const std::size_t slots = 2 * std::size_t{count};
        const std::size_t valueBytes = RoundUp(slots * sizeof(double), kHugePage);
        const std::size_t bitBytes = RoundUp((slots + 63) / 64 * sizeof(std::uint64_t), kHugePage);
        const std::size_t bytes = valueBytes + bitBytes + kHugePage;
        void* mapped = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (mapped != MAP_FAILED) {
            const auto base = (reinterpret_cast<std::uintptr_t>(mapped) + kHugePage - 1) & ~(std::uintptr_t{kHugePage} - 1);
            values_ = reinterpret_cast<double*>(base);
            filled_ = reinterpret_cast<std::uint64_t*>(base + valueBytes);
            mapped_ = mapped;
            mappedBytes_ = bytes;
#ifdef MADV_HUGEPAGE
            madvise(values_, valueBytes + bitBytes, MADV_HUGEPAGE);
#endif
            // The count values are in place now, as those of any zero-filled array are.
            const std::size_t used = RoundUp(std::size_t{count} * sizeof(double), kPage);
            if (madvise(values_, used, kPopulate) != 0) std::memset(values_, 0, used);
            return;
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
    values_ = other.values_;
    mapped_ = other.mapped_;
    mappedBytes_ = other.mappedBytes_;
    filled_ = other.filled_;
    placing_ = other.placing_;
    first_ = other.first_;
    size_ = other.size_;
    other.values_ = nullptr;
    other.mapped_ = nullptr;
    other.placing_ = false;
}

void CValueRoom::Free() noexcept {
    if (mapped_ != nullptr)
        munmap(mapped_, mappedBytes_);
    else
        delete[] values_;
    values_ = nullptr;
    mapped_ = nullptr;
}

bool CValueRoom::StartPlacing(const std::uint32_t* ids, const double* values, std::uint32_t added,
                              std::uint32_t count) {
    // A room places once: its bitmap is clean only the first time.
    if (mapped_ == nullptr || size_ != 0 || added == 0 || count == 0) return false;
    const auto [low, high] = std::minmax_element(ids, ids + added);
    if (*high - *low >= count) return false;
    first_ = *high >= count - 1 ? *high - (count - 1) : 0;
    size_ = std::min<std::uint64_t>(std::uint64_t{*low} + count, std::uint64_t{1} << 32) - first_;
    // The bitmap comes in now, in one step rather than page by page.
    madvise(filled_, RoundUp((size_ + 63) / 64 * sizeof(std::uint64_t), kPage), kPopulate);
    // The room still holds values in the order added: every id is checked before any value
    // goes to its place.
    for (std::uint32_t k = 0; k < added; ++k) {
        const std::uint64_t slot = ids[k] - first_;
        const std::uint64_t bit = std::uint64_t{1} << (slot % 64);
        if ((filled_[slot / 64] & bit) != 0) return false;
        filled_[slot / 64] |= bit;
    }
    for (std::uint32_t k = 0; k < added; ++k) values_[ids[k] - first_] = values[k];
    placing_ = true;
    return true;
}

bool CValueRoom::Place(const std::uint32_t* ids, const double* values, std::uint32_t count) {
    const std::uint64_t first = first_;
    const std::uint64_t size = size_;
    std::uint64_t* const filled = filled_;
    double* const slots = values_;
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
    return values_ + lowest;
}

std::uint32_t CValueRoom::InIdOrder(std::uint32_t* ids, double* values) const {
    std::uint32_t n = 0;
    for (std::uint64_t word = 0; word < (size_ + 63) / 64; ++word)
        for (std::uint64_t bits = filled_[word]; bits != 0; bits &= bits - 1) {
            const std::uint64_t slot = word * 64 + static_cast<std::uint64_t>(__builtin_ctzll(bits));
            ids[n] = static_cast<std::uint32_t>(first_ + slot);
            values[n] = values_[slot];
            ++n;
        }
    return n;
}

}  // namespace Tervik::Rom::Snapshot
