// The value rooms through their interface: ids added in batches as a component data adds
// them, at the ends of the id range, across 2^31 and in rooms several times the smallest that
// places (65,536 values); either every value ends at the place of its id, or the room gives
// the values back in the order they were added.
#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "snapshot/value_room.hpp"
#include "support/ids.hpp"

using Tervik::Rom::Snapshot::CValueRoom;

namespace {

constexpr std::uint32_t kPlacesFrom = 1u << 16;
constexpr std::uint32_t kCount = 3 * kPlacesFrom + 5;

// Start: StartPlacing of the next count ids; Place: Place of them; Settle. ok: the result.
struct Step {
    enum { Start, Place, Settle } what;
    std::uint32_t count;
    bool ok;
};

struct Case {
    const char* name;
    std::vector<std::uint32_t> ids;  // added in this order, as many as the room has values
    std::vector<Step> steps;
};

// Runs the steps; then every value must be at the place of its id, or, after the first
// refusal, come back in the order added.
void Expect(const Case& c) {
    SCOPED_TRACE(c.name);
    const auto count = static_cast<std::uint32_t>(c.ids.size());
    std::vector<double> values(count);
    for (std::uint32_t i = 0; i < count; ++i) values[i] = 0.5 * i + 1;
    CValueRoom room(count);
    ASSERT_TRUE(room.CanPlace());
    std::uint32_t placed = 0;
    for (const Step& step : c.steps) {
        const std::uint32_t n = std::min(step.count, count - placed);
        const bool ok = step.what == Step::Start   ? room.StartPlacing(&c.ids[placed], &values[placed], n)
                        : step.what == Step::Place ? room.Place(&c.ids[placed], &values[placed], n)
                                                   : room.Settle();
        ASSERT_EQ(ok, step.ok) << "step " << (&step - c.steps.data());
        if (!ok && step.what == Step::Start) {
            EXPECT_FALSE(room.Placing());
            // The values given, as given (or zeros when none was placed), then zeros.
            EXPECT_TRUE(std::equal(values.begin(), values.begin() + n, room.Values()) ||
                        std::count(room.Values(), room.Values() + n, 0.0) == n);
            EXPECT_EQ(std::count(room.Values() + n, room.Values() + count, 0.0), count - n);
            return;
        }
        if (!ok) {
            const std::uint32_t added = step.what == Step::Settle ? placed : placed + n;
            room.ToAddedOrder(c.ids.data(), placed, &values[placed], added - placed);
            EXPECT_FALSE(room.Placing());
            EXPECT_TRUE(std::equal(values.begin(), values.begin() + added, room.Values())) << "as added";
            return;
        }
        if (step.what != Step::Settle) placed += n;
    }
    ASSERT_EQ(placed, count);
    ASSERT_TRUE(room.Placing() && room.Settled());
    std::vector<std::pair<std::uint32_t, double>> expected(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        expected[i] = {c.ids[i], values[i]};
        ASSERT_EQ(room.ValueOf(c.ids[i]), values[i]) << c.ids[i];
    }
    std::sort(expected.begin(), expected.end());
    std::vector<std::uint32_t> ids(count);
    std::vector<double> byId(count);
    ASSERT_EQ(room.InIdOrder(ids.data(), byId.data()), count);
    for (std::uint32_t i = 0; i < count; ++i) ASSERT_EQ(std::make_pair(ids[i], byId[i]), expected[i]) << i;
    std::uint32_t first = 0;
    const double* run = room.Run(count, first);
    const bool consecutive = expected.back().first - expected.front().first == count - 1;
    ASSERT_EQ(run != nullptr, consecutive);
    if (consecutive) {
        EXPECT_EQ(first, expected.front().first);
        EXPECT_TRUE(std::equal(byId.begin(), byId.end(), run));
    }
    const CValueRoom moved(std::move(room));
    EXPECT_EQ(moved.ValueOf(c.ids[0]), values[0]);
}

constexpr Step kSettle{Step::Settle, 0, true};
Step Start(std::uint32_t count, bool ok = true) { return {Step::Start, count, ok}; }
Step Place(std::uint32_t count, bool ok = true) { return {Step::Place, count, ok}; }

}  // namespace

TEST(ValueRoom, SmallRoomsAreArraysOfZeros) {
    CValueRoom small(kPlacesFrom - 1);
    EXPECT_FALSE(small.CanPlace());
    const std::vector<std::uint32_t> ids = Shuffled(0, kPlacesFrom - 1);
    const std::vector<double> values(ids.size(), 1.0);
    EXPECT_FALSE(small.StartPlacing(ids.data(), values.data(), kPlacesFrom - 1));
    EXPECT_EQ(std::count(small.Values(), small.Values() + kPlacesFrom - 1, 0.0), kPlacesFrom - 1);
    EXPECT_TRUE(CValueRoom(kPlacesFrom).CanPlace());
}

TEST(ValueRoom, ValuesGoToTheirPlacesOrBackInTheOrderAdded) {
    const std::uint32_t kTop = 0xFFFFFFFFu - kCount + 1;
    const std::vector<std::uint32_t> fromZero = Shuffled(0, kCount);
    const auto swapFirst = [](std::uint32_t id) {
        return [id](std::vector<std::uint32_t>& ids) { std::swap(ids[0], *std::find(ids.begin(), ids.end(), id)); };
    };
    // Distinct even ids over twice as many slots, the first in the middle of the room.
    std::vector<std::uint32_t> spread(kCount);
    for (std::uint32_t i = 0; i < kCount; ++i) spread[i] = 2 * i;
    std::shuffle(spread.begin(), spread.end(), std::mt19937(5));
    std::swap(spread[0], *std::find(spread.begin(), spread.end(), kCount - 1));
    const std::vector<std::uint32_t> beyond = Changed(spread, [](auto& ids) { ids.back() = 2 * kCount - 1; });
    // The last id of a 65,536-id span of the room repeats its first one.
    const auto repeatIn = [](std::uint32_t bucket) {
        return [bucket](std::vector<std::uint32_t>& ids) {
            const auto in = [bucket](std::uint32_t id) { return id / kPlacesFrom == bucket; };
            *std::find_if(ids.rbegin(), ids.rend() - 100, in) = *std::find_if(ids.begin(), ids.end(), in);
        };
    };

    const Case cases[] = {
        {"consecutive from 0, across chunks", fromZero, {Start(1000), Place(70000), Place(kCount), kSettle}},
        {"consecutive up to the largest id", Shuffled(kTop, kCount), {Start(kPlacesFrom), Place(kCount), kSettle}},
        {"consecutive across 2^31", Shuffled(0x80000000u - kCount / 2, kCount), {Start(7), Place(kCount), kSettle}},
        {"first batch at the top of the room",
         Changed(fromZero, swapFirst(kCount - 1)),
         {Start(1), Place(kPlacesFrom + 1), Place(kCount), kSettle}},
        {"first batch at the foot of the room",
         Changed(Shuffled(kTop, kCount), swapFirst(kTop)),
         {Start(1), Place(kCount), kSettle}},
        {"distinct ids with gaps", spread, {Start(1), Place(kCount), kSettle}},
        {"settled early, then straight to their places",
         fromZero,
         {Start(kPlacesFrom), kSettle, Place(kPlacesFrom), Place(kCount), kSettle}},
        // Refused starts.
        {"an id repeated in the first batch",
         Changed(fromZero, [](auto& ids) { ids[5] = ids[2]; }),
         {Start(10, false)}},
        {"first batch wider than the room",
         Changed(fromZero, [](auto& ids) { ids[0] = 0, ids[1] = kCount; }),
         {Start(2, false)}},
        // Refusals once placing.
        {"an id past the room", beyond, {Start(1), Place(kCount, false)}},
        {"an id past the room once settled", beyond, {Start(1), kSettle, Place(kCount, false)}},
        {"an id below the room",
         Changed(Shuffled(kTop, kCount), [kTop](auto& ids) { ids.back() = kTop - kCount; }),
         {Start(kPlacesFrom), Place(kCount, false)}},
        {"an id repeated among the first ids placed",
         Changed(fromZero, repeatIn(0)),
         {Start(100), Place(kCount, false)}},
        {"an id repeated among the last ids placed",
         Changed(fromZero, repeatIn(3)),
         {Start(100), Place(kCount, false)}},
        {"a bucket fuller than its slots",
         Changed(fromZero,
                 [](auto& ids) {
                     std::sort(ids.begin(), ids.end());
                     ids.back() = 0;
                 }),
         {Start(kPlacesFrom), Place(kCount, false)}},
        {"an id repeated once settled",
         Changed(fromZero, [](auto& ids) { ids.back() = ids[0]; }),
         {Start(kPlacesFrom), kSettle, Place(kCount, false)}},
    };
    for (const Case& c : cases) Expect(c);
}
