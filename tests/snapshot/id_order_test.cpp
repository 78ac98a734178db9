// The id order through its interface: what it writes is the pairs by ascending id, equal
// ids in the order added, for random, repeated, consecutive and spread ids, at the ends of
// the id range and around its thread (65,536 ids) and chunk (524,288 values) sizes.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/serialization_file.hpp"
#include "snapshot/id_order.hpp"
#include "snapshot/value_room.hpp"
#include "support/ids.hpp"

namespace Snap = Tervik::Rom::Snapshot;
using Pairs = std::vector<std::pair<std::uint32_t, double>>;

namespace {

// What write puts into a stream, read back as count ids and then count values.
Pairs Written(std::uint32_t count, const std::function<void(Tervik::Rom::Common::IStreamAdapter&)>& write) {
    std::FILE* file = std::tmpfile();
    Tervik::Rom::Common::CStreamAdapter stream(file, 0);
    write(stream);
    std::rewind(file);
    std::vector<std::uint32_t> ids(count);
    std::vector<double> values(count);
    EXPECT_EQ(std::fread(ids.data(), sizeof(std::uint32_t), count, file), count);
    EXPECT_EQ(std::fread(values.data(), sizeof(double), count, file), count);
    EXPECT_EQ(std::fgetc(file), EOF) << "nothing more";
    std::fclose(file);
    Pairs pairs(count);
    for (std::uint32_t i = 0; i < count; ++i) pairs[i] = {ids[i], values[i]};
    return pairs;
}

std::vector<double> ValuesFor(const std::vector<std::uint32_t>& ids, double scale) {
    std::vector<double> values(ids.size());
    for (std::size_t i = 0; i < ids.size(); ++i) values[i] = scale * static_cast<double>(i + 1);
    return values;
}

// The pairs by ascending id, equal ids in the order added.
Pairs Expected(const std::vector<std::uint32_t>& ids, const std::vector<double>& values) {
    Pairs pairs(ids.size());
    for (std::size_t i = 0; i < ids.size(); ++i) pairs[i] = {ids[i], values[i]};
    std::stable_sort(pairs.begin(), pairs.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    return pairs;
}

Pairs Sorted(Snap::CIdOrder& order, const std::vector<std::uint32_t>& ids, const std::vector<double>& values) {
    const auto count = static_cast<std::uint32_t>(ids.size());
    return Written(count, [&](auto& stream) {
        order.Make(ids.data(), count);
        order.WriteSorted(stream, ids.data(), values.data());
    });
}

}  // namespace

TEST(IdOrder, PairsByAscendingIdEqualIdsAsAdded) {
    std::mt19937 random(3);
    std::vector<std::uint32_t> anyIds(100000);  // any 32-bit ids, some of them repeated
    for (std::uint32_t& id : anyIds) id = random();
    for (std::size_t i = 0; i < anyIds.size(); i += 97) anyIds[i] = anyIds[i / 2];
    const std::pair<const char*, std::vector<std::uint32_t>> cases[] = {
        {"one id", {7}},
        {"descending, equal ids", {9, 7, 7, 3, 9, 1}},
        {"every byte of the id", {0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu, 2048, 2047, 0, 4194304, 255, 256}},
        {"only the high byte differs", {3u << 24, 1u << 24, 2u << 24, 1u << 24}},
        {"consecutive", {12, 10, 13, 11}},
        {"consecutive up to the largest id", {0xFFFFFFFFu, 0xFFFFFFFDu, 0xFFFFFFFEu}},
        {"consecutive, one thread", Shuffled(0, (1u << 16) - 1)},
        {"consecutive, two threads", Shuffled(1u << 31, 1u << 16)},
        {"consecutive, over several chunks", Shuffled(0xFFFFFFFFu - 600000, 600001)},
        {"a consecutive span with one id twice", {6, 4, 5, 5}},
        {"a consecutive span with one id twice, many", Changed(Shuffled(5, 600000),
                                                               [](auto& ids) {
                                                                   std::swap(ids[1],
                                                                             *std::find(ids.begin(), ids.end(), 7u));
                                                                   *std::find(ids.begin(), ids.end(), 6u) = 7;
                                                               })},
        {"spread, over several chunks", Shuffled(3, 600000, 7)},
        {"any ids", anyIds},
    };
    for (const auto& [name, ids] : cases) {
        SCOPED_TRACE(name);
        Snap::CIdOrder order;
        const std::vector<double> values = ValuesFor(ids, 0.25);
        EXPECT_TRUE(Sorted(order, ids, values) == Expected(ids, values));
        // Another component of the same ids, added in the same order: the order made is kept.
        const std::vector<std::uint32_t> same = ids;
        const std::vector<double> other = ValuesFor(ids, -0.5);
        EXPECT_TRUE(Sorted(order, same, other) == Expected(same, other));
        // As many ids in another order: made again.
        const std::vector<std::uint32_t> reversed(ids.rbegin(), ids.rend());
        EXPECT_TRUE(Sorted(order, reversed, other) == Expected(reversed, other));
    }
}

TEST(IdOrder, RoomsOfPlacedValuesWrittenByIdAndAnOrderMadeBeforeIsNotReused) {
    constexpr std::uint32_t kCount = 1u << 17;
    const std::pair<const char*, std::vector<std::uint32_t>> cases[] = {
        {"consecutive", Shuffled(0xFFFFFFFFu - kCount + 1, kCount)},
        {"with gaps",
         Changed(Shuffled(10, kCount), [](auto& ids) { *std::min_element(ids.begin(), ids.end()) += kCount + 1; })},
    };
    for (const auto& [name, ids] : cases) {
        SCOPED_TRACE(name);
        const std::vector<double> values = ValuesFor(ids, 1.5);
        Snap::CIdOrder order;
        const std::vector<std::uint32_t> before = Shuffled(0, kCount, 3);
        const std::vector<double> beforeValues = ValuesFor(before, 2.0);
        ASSERT_TRUE(Sorted(order, before, beforeValues) == Expected(before, beforeValues));

        Snap::CValueRoom room(kCount);
        ASSERT_TRUE(room.StartPlacing(ids.data(), values.data(), 1));
        ASSERT_TRUE(room.Place(ids.data() + 1, values.data() + 1, kCount - 1));
        ASSERT_TRUE(room.Settle());
        EXPECT_TRUE(Written(kCount, [&](auto& stream) { order.WritePlaced(stream, room, kCount); }) ==
                    Expected(ids, values));

        const std::vector<std::uint32_t> again = before;
        EXPECT_TRUE(Sorted(order, again, beforeValues) == Expected(again, beforeValues));
    }
}

TEST(IdOrder, CopiesFindTheSpanAndWhetherTheIdsAscend) {
    constexpr std::uint32_t kBlock = 1u << 17;  // arrays of two blocks or more are copied on two threads
    std::vector<std::uint32_t> large(2 * kBlock + 5);
    std::iota(large.begin(), large.end(), 10u);
    const struct {
        const char* name;
        std::vector<std::uint32_t> ids;
        std::uint32_t previous;
        bool ascending;
        std::size_t at = 0;  // where in the destination the copy starts
    } cases[] = {
        {"equal ids", {3, 3, 9}, 3, true},
        {"below the id before", {3, 4}, 4, false},
        {"large", large, 10, true},
        {"large, to an address off the vector width", large, 10, true, 1},
        {"large, below the id before", large, 11, false},
        {"large, a descent where a block starts",
         Changed(large, [](auto& ids) { std::swap(ids[kBlock - 1], ids[kBlock]); }), 0, false, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto count = static_cast<std::uint32_t>(c.ids.size());
        std::vector<std::uint32_t> copy(count + c.at + 1, 7);
        const Snap::IdSpan span = Snap::CopyIds(copy.data() + c.at, c.ids.data(), count, c.previous);
        EXPECT_TRUE(std::equal(c.ids.begin(), c.ids.end(), copy.begin() + c.at));
        EXPECT_TRUE(copy[count + c.at] == 7 && (c.at == 0 || copy[c.at - 1] == 7)) << "a neighbour written";
        EXPECT_EQ(span.low, *std::min_element(c.ids.begin(), c.ids.end()));
        EXPECT_EQ(span.high, *std::max_element(c.ids.begin(), c.ids.end()));
        EXPECT_EQ(span.ascending, c.ascending);

        const std::vector<double> values(c.ids.begin(), c.ids.end());
        std::vector<double> copied(count + c.at + 1, -1.0);
        Snap::CopyValues(copied.data() + c.at, values.data(), count);
        EXPECT_TRUE(std::equal(values.begin(), values.end(), copied.begin() + c.at));
        EXPECT_TRUE(copied[count + c.at] == -1.0 && (c.at == 0 || copied[c.at - 1] == -1.0)) << "a neighbour written";
    }
}
