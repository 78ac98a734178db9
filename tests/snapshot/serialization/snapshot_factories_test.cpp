// Snapshot files: the configuration, then a record per pair with its ids and values by
// ascending id however they were added; damaged files refused with the cause.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "support/ids.hpp"
#include "support/snapshots.hpp"
#include "support/temp_dir.hpp"

namespace {

// Consecutive ids from 5 in a shuffled order, but 7 comes twice (and 6 never): the second 7 at
// the end, or right after the first.
std::vector<std::uint32_t> ShuffledWithRepeat(bool farApart) {
    return Changed(Shuffled(5, 1200000), [farApart](auto& ids) {
        const auto at = [&ids](std::uint32_t id) { return std::find(ids.begin(), ids.end(), id) - ids.begin(); };
        std::swap(ids[0], ids[at(6)]);
        std::swap(ids[farApart ? ids.size() - 1 : 1], ids[at(7)]);
        ids[0] = 7;
    });
}

// The pairs added by two calls, for the first half of the arrays and the rest.
void FillWhole(RomObject* data, const Pairs& pairs) {
    std::vector<std::uint32_t> ids;
    std::vector<double> values;
    for (const auto& [id, value] : pairs) {
        ids.push_back(id);
        values.push_back(value);
    }
    const auto half = static_cast<std::uint32_t>(ids.size() / 2);
    ROM_OK(RomSnapshotComponentDataAddValues(data, ids.data(), values.data(), half));
    ROM_OK(RomSnapshotComponentDataAddValues(data, ids.data() + half, values.data() + half,
                                             static_cast<std::uint32_t>(ids.size()) - half));
}

class SnapshotFiles : public TempDirTest {
protected:
    // A snapshot of the configuration, each pair filled with the values given, saved and read back.
    // The pairs of the component named in whole are added by whole arrays, the others one a call.
    SnapshotFile Saved(RomObject* cfg, const std::vector<std::pair<PairPlan, Pairs>>& fill,
                       const std::string& whole = "") {
        Owned snapshot = SnapshotOf(cfg);
        for (const auto& [pair, values] : fill)
            (pair.component == whole ? FillWhole : Fill)(Data(snapshot.get(), pair.component, pair.support), values);
        return ParseSnapshot(::Saved(snapshot.get(), Path("saved.romsnp")));
    }
};

}  // namespace

// Two components filled in the same order: the second takes the first one's sort. The first
// is filled one pair a call, the second by two halves of the arrays (large ones placed on two
// threads; an id repeated within a thread's blocks, across the threads or across the calls
// turns the pairs back to the order added).
TEST_F(SnapshotFiles, PairsWrittenInAscendingIdOrder) {
    const std::vector<std::uint32_t> cases[] = {
        {9, 7, 7, 3, 9, 1},      // descending with equal ids
        {12, 10, 13, 11},        // consecutive
        Shuffled(5, 1200000),    // consecutive, placed by id as added
        Shuffled(0, 700000, 3),  // spread out
        ShuffledWithRepeat(true),
        ShuffledWithRepeat(false),  // placed by id until 7 comes again
        // Eight ids twice, each in two blocks of 65,536 pairs next to each other (the blocks two
        // threads take in turns), and as many never.
        Changed(Shuffled(5, 1200000),
                [](auto& ids) {
                    for (std::uint32_t b = 0; b < 8; ++b) ids[b * 65536 + 100] = ids[(b + 1) * 65536 + 200];
                }),
    };
    for (const auto& ids : cases) {
        const auto count = static_cast<std::uint32_t>(ids.size());
        Pairs first, second;
        for (std::uint32_t i = 0; i < count; ++i) {
            first.push_back({ids[i], 0.25 * (i + 1)});
            second.push_back({ids[i], -0.5 * i});
        }
        Owned cfg = SnapshotConfiguration({{"S1", count}}, {"C1", "C2"}, {{"S1", "C1"}, {"S1", "C2"}});
        const SnapshotFile file = Saved(cfg.get(), {{{"S1", "C1"}, first}, {{"S1", "C2"}, second}}, "C2");
        ASSERT_EQ(file.records.size(), 2u);
        EXPECT_EQ(file.data["supports"][0]["solverId"].asString(), "S1");
        EXPECT_TRUE(file.records[0].pairs == ById(first)) << ids[0];
        EXPECT_TRUE(file.records[1].pairs == ById(second)) << ids[0];

        Owned resumed = Create(RomFactoryCreateSnapshot);
        ROM_OK(RomPersistableResume(resumed.get(), Path("saved.romsnp").c_str()));
        EXPECT_EQ(Read(RomSnapshotIsFilled, resumed.get()), 1u);
        EXPECT_TRUE(Values(Data(resumed.get(), "C2", "S1")) == file.records[1].pairs) << ids[0];
    }
}

// A and C share an order; B, between them, has the same ids in another order; T has the same
// count and ids as S on another support. S0 has no entity: its record is two texts and a zero.
TEST_F(SnapshotFiles, EachRecordSortedInItsOwnOrder) {
    Owned cfg = SnapshotConfiguration({{"S0", 0}, {"S", 5}, {"T", 5}}, {"A", "B", "C"},
                                      {{"S0", "A"}, {"S", "A"}, {"S", "B"}, {"S", "C"}, {"T", "A"}});
    const auto pairs = [](std::vector<std::uint32_t> ids, double base) {
        Pairs result;
        for (std::uint32_t id : ids) result.push_back({id, base + id});
        return result;
    };
    const std::vector<std::uint32_t> first = {40, 10, 30, 0, 20}, second = {20, 40, 0, 10, 30};
    const SnapshotFile file = Saved(cfg.get(), {{{"S", "A"}, pairs(first, 100)},
                                                {{"S", "B"}, pairs(second, 200)},
                                                {{"S", "C"}, pairs(first, 300)},
                                                {{"T", "A"}, pairs(second, 400)}});
    const std::vector<std::string> expected = {"A on S0", "A on S", "B on S", "C on S", "A on T"};
    ASSERT_EQ(file.records.size(), expected.size());
    for (std::size_t r = 0; r < expected.size(); ++r) {
        EXPECT_EQ(file.records[r].component + " on " + file.records[r].support, expected[r]);
        EXPECT_EQ(file.records[r].pairs, r == 0 ? Pairs() : pairs({0, 10, 20, 30, 40}, 100.0 * r)) << r;
    }
    Owned resumed = Create(RomFactoryCreateSnapshot);
    ROM_OK(RomPersistableResume(resumed.get(), Path("saved.romsnp").c_str()));
    EXPECT_EQ(Read(RomSnapshotComponentDataGetExpectedEntityValueCount, Data(resumed.get(), "A", "S0")), 0u);
}

// A damaged file is refused with its cause, once the whole file was read where its parts
// disagree.
TEST_F(SnapshotFiles, DamagedFilesRefused) {
    const std::string twelve = ::Saved(FilledSnapshot(12).get(), Path("twelve.romsnp"));
    const SnapshotFile parsed = ParseSnapshot(twelve);
    Owned two = SnapshotOf(SnapshotConfiguration({{"s1", 2}, {"s2", 2}}, {"c"}, {{"s1", "c"}, {"s2", "c"}}).get());
    Fill(Data(two.get(), "c", "s1"), {{0, 0.0}, {1, 0.5}});
    Fill(Data(two.get(), "c", "s2"), {{0, 0.0}, {1, 0.5}});
    const std::string pair = ::Saved(two.get(), Path("two.romsnp"));
    const std::string path = Path("damaged.romsnp"), refused = "The file " + path + " cannot be resumed: ";
    struct Case {
        const char* name;
        std::string bytes, message;
    };
    const Case cases[] = {
        {"snapshot version", Patched(twelve, parsed.envelopeAt - 12, 2),  // version, product, envelope
         "The snapshot has been saved using the unsupported version 2. (Current supported version: 1)"},
        {"component data version", Patched(twelve, parsed.records[0].versionAt, 2),
         "The snapshot component data has been saved using the unsupported version 2. (Current supported version: "
         "1)"},
        {"a count beyond the file", Patched(twelve, parsed.records[0].countAt, 1500000000u),
         "System error while trying to read from a file."},
        {"24 entities announced, 12 pairs held, 600 bytes of padding",
         PatchJson(twelve, "\"size\":12", "\"size\":24", 0) + std::string(600, '\0'),
         refused + "its record of the component c on the support s holds 12 values where the support announces 24."},
        {"a support named twice in componentSupports", PatchJson(pair, "\"s2\":[\"c\"]", "\"s1\":[\"c\"]", 0),
         refused + "one of the objects of its JSON text has the key \"s1\" twice."},
        {"a record of another pair", Patched(pair, pair.rfind("s2") + 1, '3'),
         refused + "its record 1 holds the component c on the support s3 where its configuration announces the "
                   "component c on the support s2."},
        {"a record that is its null flag alone", twelve.substr(0, parsed.envelopeEnd) + std::string("\x01\0\0\0", 4),
         "Internal error: Tried to restore a NULL object to an already instanciated object."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::filesystem::remove(path);
        WriteBytes(path, c.bytes);
        Owned snapshot = Create(RomFactoryCreateSnapshot);
        EXPECT_EQ(TextOf(RomPersistableResume(snapshot.get(), path.c_str())), c.message);
    }
}
