#include "snapshot/snapshot_cache.hpp"
#include "support/temp_dir.hpp"

using namespace Tervik::Rom::Snapshot;

namespace {

CPoint Point(std::initializer_list<std::pair<const char*, double>> values) {
    CPoint point;
    for (const auto& [name, value] : values) point.SetValue(name, value);
    return point;
}

class SnapshotCacheTest : public TempDirTest {};

}  // namespace

TEST(SnapshotCache, PushRefusesAnInputThatMatchesOneSidedAndTheFirstEntryWins) {
    CSnapshotCache cache;
    EXPECT_EQ(cache.Pull(Point({{"x", 1}})), nullptr);
    EXPECT_TRUE(cache.Push(Point({{"x", 1}, {"y", 2}}), Point({{"lift", 0.5}}), "xy.romsnp"));
    EXPECT_FALSE(cache.Push(Point({{"x", 1}, {"y", 2}}), Point({{"lift", 9}}), "again.romsnp"));
    // {x=1} matches the entry {x=1, y=2}.
    EXPECT_FALSE(cache.Push(Point({{"x", 1}}), CPoint(), "x.romsnp"));
    ISnapshotCacheEntry* entry = cache.Pull(Point({{"x", 1}}));
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->GetSnapshotFile(), "xy.romsnp");
    EXPECT_EQ(entry->GetOutputPoint().GetValue("lift"), 0.5);

    CSnapshotCache other;
    EXPECT_TRUE(other.Push(Point({{"x", 1}}), CPoint(), "x.romsnp"));
    EXPECT_TRUE(other.Push(Point({{"x", 1}, {"y", 2}}), CPoint(), "xy.romsnp"));
    EXPECT_EQ(other.GetEntries().GetCount(), 2u);
    // The first entry in insertion order wins.
    EXPECT_EQ(other.Pull(Point({{"x", 1}, {"y", 2}}))->GetSnapshotFile(), "xy.romsnp");
    EXPECT_EQ(other.Pull(CPoint())->GetSnapshotFile(), "x.romsnp");

    other.Clear();
    EXPECT_EQ(other.Pull(CPoint()), nullptr);
}

TEST(SnapshotCache, EntriesCopyThePointsTheyAreGiven) {
    CSnapshotCache cache;
    CPoint input = Point({{"x", 1}});
    cache.Push(input, input, "a.romsnp");
    input.SetValue("x", 2);
    EXPECT_EQ(cache.Pull(Point({{"x", 1}}))->GetInputPoint().GetValue("x"), 1);
}

TEST_F(SnapshotCacheTest, SaveAndResumeRoundTrip) {
    CSnapshotCache cache;
    cache.Push(Point({{"mach", 0.8}, {"alpha", 2.5}}), Point({{"lift", 0.1 + 0.2}}), "runs/one.romsnp");
    cache.Push(Point({{"mach", 0.9}}), CPoint(), "two.romsnp");
    cache.Save(Path("cache.romcch"));

    Json::Value document;
    const std::string text = ReadBytes(Path("cache.romcch"));
    ASSERT_TRUE(Tervik::Rom::Common::ParseJson(text.data(), text.data() + text.size(), document));
    const Json::Value& first = document["snapshotCache"]["entries"][0];
    EXPECT_EQ(first["input"][0]["id"].asString(), "alpha");
    EXPECT_EQ(first["snapshotFile"].asString(), "runs/one.romsnp");
    EXPECT_TRUE(document["snapshotCache"]["entries"][1]["output"].isNull());

    CSnapshotCache read;
    read.Push(Point({{"stale", 1}}), CPoint(), "stale.romsnp");
    read.Resume(Path("cache.romcch"));
    ASSERT_EQ(read.GetEntries().GetCount(), 2u);
    ISnapshotCacheEntry* entry = read.Pull(Point({{"mach", 0.8}, {"alpha", 2.5}}));
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->GetOutputPoint().GetValue("lift"), 0.1 + 0.2);  // doubles survive exactly
    EXPECT_EQ(read.Pull(Point({{"stale", 1}})), nullptr);
}

TEST_F(SnapshotCacheTest, ResumeErrors) {
    const std::string path = Path("bad.romcch");
    CSnapshotCache cache;
    const auto resume = [&](const std::string& content) {
        WriteBytes(path, R"({"version": 1, "snapshotCache": )" + content + "}");
        return MessageOf([&] { cache.Resume(path); });
    };
    EXPECT_EQ(resume("{}"), "The snapshot cache file does not have the list of snapshots.");
    EXPECT_EQ(resume(R"({"entries": [{"output": null, "snapshotFile": "a"}]})"),
              "A snapshot cache entry misses its input value.");
    EXPECT_EQ(resume(R"({"entries": [{"input": null, "snapshotFile": "a"}]})"),
              "A snapshot cache entry misses its output value.");
    EXPECT_EQ(resume(R"({"entries": [{"input": null, "output": null}]})"),
              "A snapshot cache entry misses its snapshot file name.");
    EXPECT_EQ(resume(R"({"entries": [{"input": [{"value": 1}], "output": null, "snapshotFile": "a"}]})"),
              "The point is invalid, it contains a dimension without any identifier.");
    EXPECT_NE(resume(R"({"entries": [{"input": null, "output": null, "snapshotFile": "a"},
                                    {"input": null, "output": null, "snapshotFile": "a"}]})")
                  .find("found 2 objects with the same content"),
              std::string::npos);
    EXPECT_EQ(resume(R"({"entries": []})"), "no exception");
    EXPECT_EQ(cache.GetEntries().GetCount(), 0u);
}
