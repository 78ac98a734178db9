#include <cstdint>
#include <utility>

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

}  // namespace
