#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "snapshot/point.hpp"
#include "support/temp_dir.hpp"

using namespace Tervik::Rom::Snapshot;
using Tervik::Rom::Common::RomException;

namespace {

CPoint Point(std::initializer_list<std::pair<const char*, double>> values) {
    CPoint point;
    for (const auto& [name, value] : values) point.SetValue(name, value);
    return point;
}

}  // namespace

TEST(Point, SetOverwritesAndGetReportsAbsentNames) {
    CPoint point = Point({{"x", 1}, {"x", 2}});
    EXPECT_EQ(point.GetValue("x"), 2);
    EXPECT_TRUE(point.HasValue("x"));
    EXPECT_FALSE(point.HasValue("X"));
    EXPECT_EQ(MessageOf<RomException>([&] { point.GetValue("y"); }), "The point does not contains the parameter y.");
    double untouched = 42;
    EXPECT_FALSE(point.TryGetValue("y", untouched));
    EXPECT_EQ(untouched, 42);
}

TEST(Point, CopyToReplacesEverything) {
    const CPoint source = Point({{"a", 1}, {"b", 2}});
    CPoint target = Point({{"c", 3}});
    source.CopyTo(target);
    EXPECT_FALSE(target.HasValue("c"));
    EXPECT_EQ(target.GetValue("a"), 1);
    EXPECT_EQ(target.GetValue("b"), 2);
    target.CopyTo(target);
    EXPECT_EQ(target.GetValue("b"), 2);
}

TEST(PointEquality, OneSidedWithinTheDigitAndRelativeTests) {
    const double eps = std::numeric_limits<double>::epsilon(), inf = std::numeric_limits<double>::infinity();
    const double tiny = std::numeric_limits<double>::denorm_min();
    const double nan = std::nan("");
    // Pairs (a, b) that match or not. The same infinity matches: the quotient of the relative
    // test is NaN, which exceeds no bound.
    const auto expect = [](bool match, std::initializer_list<double> pairs) {
        for (const double* p = pairs.begin(); p != pairs.end(); p += 2)
            EXPECT_EQ(PointValuesMatch(p[0], p[1]), match) << p[0] << " " << p[1];
    };
    expect(true, {1.0, 1.0 + eps, 1.0 + eps, 1.0, 0.0, -0.0, -3.5e200, -3.5e200, inf, inf, -inf, -inf});
    expect(false, {1.0, 1.0000000000001, 1.0, 1.0 + 4 * eps, 0.0, 1e-300, 1e-300, 0.0, tiny, 0.0});
    expect(false, {2.0, -2.0, nan, nan, inf, -inf, -inf, inf, inf, 1e308, 1.0, inf});
    EXPECT_FALSE(Point({{"p", 1.0}}).Equals(Point({{"p", 1.0000000000001}})));
    EXPECT_TRUE(Point({{"p", 1.0}}).Equals(Point({{"p", 1.0 + eps}})));
    const CPoint small = Point({{"x", 1}}), large = Point({{"x", 1}, {"y", 2}});
    EXPECT_TRUE(small.Equals(large) && CPoint().Equals(large));
    EXPECT_FALSE(large.Equals(small) || large.Equals(CPoint()));
}

TEST(PointJson, SortedArrayOfIdsAndValues) {
    const CPoint point = Point({{"b", 2.5}, {"a", -1}, {"B", 0.1}});
    Json::Value value;
    point.ToJson(value);
    ASSERT_TRUE(value.isArray());
    ASSERT_EQ(value.size(), 3u);
    EXPECT_EQ(value[0]["id"].asString(), "B");
    EXPECT_EQ(value[1]["id"].asString(), "a");
    EXPECT_EQ(value[2]["id"].asString(), "b");
    EXPECT_EQ(value[2]["value"].asDouble(), 2.5);

    CPoint read = Point({{"old", 1}});
    read.FromJson(value);
    EXPECT_FALSE(read.HasValue("old"));
    EXPECT_TRUE(read.Equals(point));
    EXPECT_TRUE(point.Equals(read));

    CPoint().ToJson(value);
    EXPECT_TRUE(value.isNull());
    read.FromJson(value);
    EXPECT_FALSE(read.HasValue("a"));
}

TEST(PointJson, RefusesDimensionsWithoutIdOrValue) {
    Json::Value value(Json::arrayValue);
    value.append(Json::objectValue)["id"] = "x";
    value[0]["value"] = 1.0;
    value.append(Json::objectValue)["value"] = 2.0;
    CPoint point;
    EXPECT_EQ(MessageOf<RomException>([&] { point.FromJson(value); }),
              "The point is invalid, it contains a dimension without any identifier.");
    EXPECT_EQ(point.GetValue("x"), 1.0);  // read before the faulty element

    value[1]["id"] = "y";
    value[1].removeMember("value");
    EXPECT_EQ(MessageOf<RomException>([&] { point.FromJson(value); }),
              "The point is invalid, it contains a dimension without any value.");
}
