// Entity ids for the tests of snapshot values: shuffled runs of ids, and changed copies.
#ifndef TERVIK_ROM_TESTS_SUPPORT_IDS_HPP
#define TERVIK_ROM_TESTS_SUPPORT_IDS_HPP

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

// count ids first, first + step, ... in a fixed shuffled order.
inline std::vector<std::uint32_t> Shuffled(std::uint32_t first, std::uint32_t count, std::uint32_t step = 1) {
    std::vector<std::uint32_t> ids(count);
    for (std::uint32_t i = 0; i < count; ++i) ids[i] = first + i * step;
    std::shuffle(ids.begin(), ids.end(), std::mt19937(7));
    return ids;
}

template <class Change>
std::vector<std::uint32_t> Changed(std::vector<std::uint32_t> ids, Change change) {
    change(ids);
    return ids;
}

#endif
