#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/zeroed_memory.hpp"

using namespace Tervik::Rom::Common;

namespace {

TEST(ZeroedMemory, BlocksOfEverySizeAreZerosAndWritable) {
    // Below, at and past the size from which blocks come from the kernel, and sizes that are
    // not a whole number of pages: the first in small pages, the last in huge ones (it comes
    // after a large block was freed).
    for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{131071}, std::size_t{131072},
                                    std::size_t{3 * 131072 + 5}, std::size_t{5 * 131072 + 3}}) {
        SCOPED_TRACE(count);
        CZeroedArray<double> array(count);
        ASSERT_NE(array.get(), nullptr);
        if (count != 0) {
            EXPECT_EQ(array[0], 0.0);
            EXPECT_EQ(array[count / 2], 0.0);
            EXPECT_EQ(array[count - 1], 0.0);
            array[count - 1] = 1.5;
        }
        // Moved, the block has one owner: each is freed once.
        CZeroedArray<double> moved(std::move(array));
        CZeroedArray<double> other(2);
        other = std::move(moved);
        if (count != 0) {
            EXPECT_EQ(other[count - 1], 1.5);
        }
    }
}

// Whether a block holds value in the first and last byte of each of its pages.
bool Holds(const unsigned char* block, std::size_t bytes, unsigned char value) {
    for (std::size_t at = 0; at < bytes; at += 4096)
        if (block[at] != value || block[std::min(bytes, at + 4096) - 1] != value) return false;
    return true;
}

// Large blocks freed are kept for the next ones: whatever was kept, a block asked for zeros
// is zeros, and every block is whole (a kept block cut to a smaller size keeps no page of the
// block asked for from it). Sizes in MB, freed in the order given, then asked for again.
TEST(ZeroedMemory, FreedBlocksComeBackWholeAndZerosWhenAsked) {
    constexpr std::size_t kMb = std::size_t{1} << 20;
    const struct {
        const char* name;
        std::vector<std::size_t> freed;  // MB, each filled with ones before it is freed
        std::vector<std::size_t> asked;  // MB
        const char* kinds;               // of each block asked for: r for reading, z for zeros
    } cases[] = {
        {"the same sizes again", {3, 5}, {5, 3}, "rr"},
        {"one size twice", {5, 3}, {5, 5}, "rr"},
        {"zeros where a block is kept", {3}, {3, 3}, "zr"},
        {"cut to smaller ones", {9}, {1, 2, 1}, "rzr"},
        {"zeros, then reads", {2, 2}, {7, 2, 2}, "zrz"},
        {"more blocks than are kept", {2, 2, 2, 2, 2, 2, 2, 2, 2, 2}, {2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2}, "rrrrrrrrrzr"},
        {"more bytes than are kept", {520, 520}, {520, 3}, "rz"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        for (const std::size_t mb : c.freed) {
            const std::size_t bytes = mb * kMb + 24;
            void* block = AllocateZeroed(bytes);
            std::memset(block, 1, bytes);
            FreeZeroed(block, bytes);
        }
        std::vector<std::pair<unsigned char*, std::size_t>> blocks;
        for (std::size_t k = 0; k < c.asked.size(); ++k) {
            const std::size_t bytes = c.asked[k] * kMb + 8;
            const bool zeros = c.kinds[k] == 'z';
            auto* block = static_cast<unsigned char*>(zeros ? AllocateZeroed(bytes) : AllocateForReading(bytes));
            if (zeros) {
                EXPECT_TRUE(Holds(block, bytes, 0)) << k;
            }
            std::memset(block, static_cast<int>(2 + k), bytes);  // faults where a page of it was given back
            blocks.emplace_back(block, bytes);
        }
        for (std::size_t k = 0; k < blocks.size(); ++k) {
            const auto [block, bytes] = blocks[k];
            EXPECT_TRUE(Holds(block, bytes, static_cast<unsigned char>(2 + k))) << k << " overlaps another";
            FreeZeroed(block, bytes);
        }
    }
}

}  // namespace
