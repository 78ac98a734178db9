// An open-addressing index from keys to positions in a list that holds the keys.
#ifndef TERVIK_ROM_SRC_COMMON_FLAT_INDEX_HPP
#define TERVIK_ROM_SRC_COMMON_FLAT_INDEX_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

namespace Tervik::Rom::Common {

// Slots hold a 64-bit key (a hash, or the key itself when it fits) and a position, in
// one flat array, so a look-up touches one cache line in the common case. Where the
// key is a hash the caller confirms a match by comparing the key at the position.
class CFlatIndex {
public:
    static constexpr std::uint32_t kNone = 0xFFFFFFFFu;

    static std::uint64_t Hash(std::string_view text) { return std::hash<std::string_view>()(text); }
    static std::uint64_t Key(const void* pointer) { return reinterpret_cast<std::uintptr_t>(pointer); }

    void Clear() {
        slots_.clear();
        size_ = 0;
    }

    void Reserve(std::size_t count) {
        if (count * 2 > slots_.size()) Rehash(count * 2);
    }

    // The first position inserted under key for which matches(position) holds, or kNone.
    template <class Matches>
    std::uint32_t Find(std::uint64_t key, Matches matches) const {
        if (slots_.empty()) return kNone;
        const std::size_t mask = slots_.size() - 1;
        for (std::size_t i = Mix(key) & mask;; i = (i + 1) & mask) {
            const Slot& slot = slots_[i];
            if (slot.position == kNone) return kNone;
            if (slot.key == key && matches(slot.position)) return slot.position;
        }
    }

    std::uint32_t Find(std::uint64_t key) const {
        return Find(key, [](std::uint32_t) { return true; });
    }

    // Adds a position under key; earlier positions under the same key are found first.
    void Insert(std::uint64_t key, std::uint32_t position) {
        if ((size_ + 1) * 2 > slots_.size()) Rehash(slots_.empty() ? 32 : slots_.size() * 2);
        Place(key, position);
        ++size_;
    }

private:
    struct Slot {
        std::uint64_t key = 0;
        std::uint32_t position = kNone;
    };

    static std::uint64_t Mix(std::uint64_t key) {
        key ^= key >> 33;
        key *= 0xff51afd7ed558ccdull;
        key ^= key >> 33;
        return key;
    }

    void Place(std::uint64_t key, std::uint32_t position) {
        const std::size_t mask = slots_.size() - 1;
        std::size_t i = Mix(key) & mask;
        while (slots_[i].position != kNone) i = (i + 1) & mask;
        slots_[i] = Slot{key, position};
    }

    // Grows to a power of two at least count, keeping the order of equal keys: entries
    // are placed again in position order.
    void Rehash(std::size_t count) {
        std::size_t capacity = 32;
        while (capacity < count) capacity *= 2;
        std::vector<Slot> old(capacity);
        old.swap(slots_);
        std::vector<Slot> live;
        live.reserve(size_);
        for (const Slot& slot : old)
            if (slot.position != kNone) live.push_back(slot);
        std::sort(live.begin(), live.end(), [](const Slot& a, const Slot& b) { return a.position < b.position; });
        for (const Slot& slot : live) Place(slot.key, slot.position);
    }

    std::vector<Slot> slots_;
    std::size_t size_ = 0;
};

}  // namespace Tervik::Rom::Common

#endif
