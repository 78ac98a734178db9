// Snapshots as a client sees them: component data, fill checks and snapshot files,
// through the exported functions (and the factory for C++ clients).
#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <tervik/rom/api.hpp>
#include <tervik/rom/rom.h>
#include <tervik/rom/snapshot.hpp>

#include "support/temp_dir.hpp"
#include "support/exports.hpp"
#include "support/file_bytes.hpp"

namespace {

const std::string kReadError = "System error while trying to read from a file.";
const std::string kSnapshotUuid = "5B37D1B0-D9FD-4CE1-AB14-3B41E04F4F23";
const std::string kDataUuid = "76323E85-420C-430F-A0E2-3C576F16718D";

struct SupportPlan { const char* id; std::uint32_t size; };
struct PairPlan { const char* support; const char* component; };

// Supports and components in the order given, then the associations in the order given.
Owned Configuration(const std::vector<SupportPlan>& supports, const std::vector<const char*>& components,
                    const std::vector<PairPlan>& pairs) {
    Owned cfg = Create(RomFactoryCreateSnapshotCfg);
    std::map<std::string, RomObject*> byId;
    const auto add = [&](RomExceptionHandle (*make)(RomObject*, RomObject**), const char* id) {
        ROM_OK(make(cfg.get(), &byId[id]));
        ROM_OK(RomSetSolverId(byId[id], id));
        return byId[id];
    };
    for (const SupportPlan& s : supports)
        ROM_OK(RomSupportCfgSetEntityCount(add(RomSnapshotCfgAddSupport, s.id), s.size));
    for (const char* id : components) add(RomSnapshotCfgAddComponent, id);
    for (const PairPlan& p : pairs)
        ROM_OK(RomSnapshotCfgAddComponentToSupport(cfg.get(), byId[p.component], byId[p.support]));
    return cfg;
}

Owned SnapshotOf(RomObject* cfg) {
    Owned snapshot = Create(RomFactoryCreateSnapshot);
    ROM_OK(RomSnapshotInitialize(snapshot.get(), cfg));
    return snapshot;
}

RomObject* Data(RomObject* snapshot, const char* component, const char* support) {
    RomObject* data = nullptr;
    ROM_OK(RomSnapshotGetComponentData(snapshot, component, support, &data));
    return data;
}

using Pairs = std::vector<std::pair<std::uint32_t, double>>;

void Fill(RomObject* data, const Pairs& pairs) {
    for (const auto& [id, value] : pairs) ROM_OK(RomSnapshotComponentDataAddValue(data, id, value));
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

Pairs Values(RomObject* data) {
    Pairs pairs(Read(RomSnapshotComponentDataGetExpectedEntityValueCount, data));
    for (std::uint32_t i = 0; i < pairs.size(); ++i)
        ROM_OK(RomSnapshotComponentDataGetValue(data, i, &pairs[i].first, &pairs[i].second));
    return pairs;
}

Pairs Sorted(Pairs pairs) {
    std::sort(pairs.begin(), pairs.end());
    return pairs;
}

// ---- Snapshot files as bytes ---------------------------------------------------------

// Offsets are those of the type version and of the count, for patching.
struct Record { std::size_t versionAt, countAt; std::string component, support; Pairs pairs; };
struct SnapshotFile { std::size_t envelopeAt, envelopeEnd; Json::Value data; std::vector<Record> records; };

SnapshotFile Parse(const std::string& bytes) {
    SnapshotFile file{};
    FileBytes cursor(bytes);
    cursor.Frame(kSnapshotUuid);
    file.envelopeAt = cursor.At();
    file.data = cursor.Envelope();
    file.envelopeEnd = cursor.At();
    while (!cursor.AtEnd()) {
        Record record{cursor.Frame(kDataUuid), 0, cursor.Text(), cursor.Text(), {}};
        record.countAt = cursor.At();
        record.pairs.resize(std::min<std::size_t>(cursor.Next<std::uint32_t>(), bytes.size()));
        for (auto& pair : record.pairs) pair.first = cursor.Next<std::uint32_t>();
        for (auto& pair : record.pairs) pair.second = cursor.Next<double>();
        file.records.push_back(std::move(record));
    }
    return file;
}

// ---- Component data and fill state ------------------------------------------------------

// Saves that fail must leave nothing in the folder.
class SnapshotExports : public TempDirTest {};

TEST_F(SnapshotExports, ComponentDataFollowSupportsThenTheirLists) {
    // C1 is shared by S1 and S2; S3 has no list; associations are made out of support order.
    Owned cfg = Configuration({{"S1", 2}, {"S2", 3}, {"S3", 1}}, {"C1", "C2", "C3"},
                              {{"S2", "C1"}, {"S1", "C3"}, {"S1", "C1"}, {"S2", "C2"}});
    Owned snapshot = SnapshotOf(cfg.get());
    RomObject* onS1 = Data(snapshot.get(), "C1", "S1");
    RomObject* onS2 = Data(snapshot.get(), "C1", "S2");
    ASSERT_NE(onS1, onS2);
    EXPECT_STREQ(Read(RomSnapshotComponentDataGetComponentId, onS2), "C1");
    EXPECT_STREQ(Read(RomSnapshotComponentDataGetSupportId, onS2), "S2");
    EXPECT_EQ(Read(RomSnapshotComponentDataGetExpectedEntityValueCount, onS1), 2u);
    EXPECT_EQ(Read(RomSnapshotComponentDataGetExpectedEntityValueCount, onS2), 3u);

    RomObject* data = nullptr;
    EXPECT_EQ(TextOf(RomSnapshotGetComponentData(snapshot.get(), "C1", "S3", &data)),
              "Tried to retrieve the snapshot data for the component C1 on the support S3but this "
              "component/support pair is unknown according to this configuration.");
    EXPECT_EQ(data, nullptr);

    // The fill report walks the component data in order and lists only the unfilled ones.
    Fill(onS2, {{4, 1.0}});
    Fill(Data(snapshot.get(), "C3", "S1"), {{0, 1.0}, {1, 2.0}});
    EXPECT_EQ(TextOf(RomPersistableSave(snapshot.get(), Path("unfilled.romsnp").c_str())),
              "The following snapshot component data are not filled:\n"
              "The component C1 on the support S1 contains 0 entity values but expect 2 entity values.\n"
              "The component C1 on the support S2 contains 1 entity values but expect 3 entity values.\n"
              "The component C2 on the support S2 contains 0 entity values but expect 3 entity values.\n");
    EXPECT_TRUE(Files().empty());
}

TEST_F(SnapshotExports, AddAndGetValues) {
    Owned snapshot = Create(RomFactoryCreateSnapshot);
    EXPECT_EQ(Read(RomSnapshotIsInitialized, snapshot.get()), 0u);
    EXPECT_EQ(Read(RomSnapshotIsFilled, snapshot.get()), 0u);
    EXPECT_EQ(Read(RomSnapshotGetConfiguration, snapshot.get()), nullptr);
    EXPECT_EQ(TextOf(RomPersistableSave(snapshot.get(), Path("fresh.romsnp").c_str())),
              "Impossible to save the snapshot. It is unitialized.");
    EXPECT_TRUE(Files().empty());

    Owned cfg = Configuration({{"S0", 0}, {"S1", 3}}, {"C1"}, {{"S0", "C1"}, {"S1", "C1"}});
    ROM_OK(RomSnapshotInitialize(snapshot.get(), cfg.get()));
    EXPECT_EQ(Read(RomSnapshotIsInitialized, snapshot.get()), 1u);
    EXPECT_EQ(Read(RomSnapshotIsFilled, snapshot.get()), 0u);

    RomObject* empty = Data(snapshot.get(), "C1", "S0");
    EXPECT_EQ(TextOf(RomSnapshotComponentDataAddValue(empty, 5, 1.0)),
              "Impossible to add the value for the entity 5. The component C1 on the support S0 is already full.");
    EXPECT_EQ(Read(RomSnapshotComponentDataGetAssignedEntityValueCount, empty), 0u);

    // Slots past the assigned count read as zeros; past the expected count they fail.
    RomObject* data = Data(snapshot.get(), "C1", "S1");
    Fill(data, {{7, 2.5}});
    EXPECT_EQ(Values(data), (Pairs{{7, 2.5}, {0, 0.0}, {0, 0.0}}));
    std::uint32_t id = 0;
    double value = 0;
    EXPECT_EQ(TextOf(RomSnapshotComponentDataGetValue(data, 3, &id, &value)),
              "Tried to access an out of bound value when retrieving a value from a snapshot.");

    Fill(data, {{3, -1.0}, {1, 4.0}});
    EXPECT_EQ(TextOf(RomSnapshotComponentDataAddValue(data, 4000000000u, 1.0)),
              "Impossible to add the value for the entity 4000000000. The component C1 on the support S1 is "
              "already full.");
    EXPECT_EQ(Read(RomSnapshotComponentDataGetAssignedEntityValueCount, data), 3u);
    EXPECT_EQ(Read(RomSnapshotIsFilled, snapshot.get()), 1u);
    const std::uint32_t* ids = Read(RomSnapshotComponentDataGetIdArray, data);
    const double* values = Read(RomSnapshotComponentDataGetValueArray, data);
    EXPECT_EQ(std::vector<std::uint32_t>(ids, ids + 3), (std::vector<std::uint32_t>{7, 3, 1}));
    EXPECT_EQ(std::vector<double>(values, values + 3), (std::vector<double>{2.5, -1.0, 4.0}));

    // Initialising again discards the values; a configuration without pairs is filled at once.
    ROM_OK(RomSnapshotInitialize(snapshot.get(), cfg.get()));
    EXPECT_EQ(Read(RomSnapshotComponentDataGetAssignedEntityValueCount, Data(snapshot.get(), "C1", "S1")), 0u);
    Owned none = Configuration({{"S1", 3}}, {"C1"}, {});
    ROM_OK(RomSnapshotInitialize(snapshot.get(), none.get()));
    EXPECT_EQ(Read(RomSnapshotIsFilled, snapshot.get()), 1u);
}

// ---- Snapshot files ---------------------------------------------------------------------

class SnapshotFiles : public TempDirTest {
protected:
    // A filled snapshot saved to path, built from the configuration and pair values given.
    // Pairs of the components named in whole are added by one call, the others one by one.
    void SaveFilled(RomObject* cfg, const std::map<std::pair<std::string, std::string>, Pairs>& fill,
                    const std::string& path, const std::string& whole = "") {
        Owned snapshot = SnapshotOf(cfg);
        for (const auto& [pair, values] : fill)
            (pair.first == whole ? FillWhole : Fill)(Data(snapshot.get(), pair.first.c_str(), pair.second.c_str()),
                                                     values);
        ROM_OK(RomPersistableSave(snapshot.get(), path.c_str()));
    }
    std::string Resume(RomObject* snapshot, const std::string& path) {
        return TextOf(RomPersistableResume(snapshot, path.c_str()));
    }
};

// Ids first, first + step, ... in a fixed shuffled order.
std::vector<std::uint32_t> Shuffled(std::uint32_t first, std::uint32_t count, std::uint32_t step = 1) {
    std::vector<std::uint32_t> ids(count);
    for (std::uint32_t i = 0; i < count; ++i) ids[i] = first + i * step;
    std::shuffle(ids.begin(), ids.end(), std::mt19937(7));
    return ids;
}

// Consecutive ids from 5 in a shuffled order, but 7 comes twice (and 6 never): the second 7 at
// the end, or right after the first.
std::vector<std::uint32_t> ShuffledWithRepeat(bool farApart) {
    std::vector<std::uint32_t> ids = Shuffled(5, 1200000);
    const auto at = [&ids](std::uint32_t id) { return std::find(ids.begin(), ids.end(), id) - ids.begin(); };
    std::swap(ids[0], ids[at(6)]);
    const std::size_t second = farApart ? ids.size() - 1 : 1;
    std::swap(ids[second], ids[at(7)]);
    ids[0] = 7;
    return ids;
}

// Consecutive ids from 5 in a shuffled order, but eight of them twice, each in two blocks of
// 65,536 pairs next to each other (the blocks two threads take in turns), and as many never.
std::vector<std::uint32_t> ShuffledWithRepeatsAcrossBlocks() {
    std::vector<std::uint32_t> ids = Shuffled(5, 1200000);
    for (std::uint32_t block = 0; block < 8; ++block) ids[block * 65536 + 100] = ids[(block + 1) * 65536 + 200];
    return ids;
}

TEST_F(SnapshotFiles, PairsWrittenInAscendingIdOrder) {
    // Two components filled in the same order: the second reuses the first one's sort. The
    // first is filled one pair a call, the second by two halves of the arrays (large ones
    // placed on two threads; an id repeated within a thread's blocks, across the threads or
    // across the calls turns the pairs back to the order added).
    const std::vector<std::vector<std::uint32_t>> cases = {
        {9, 7, 7, 3, 9, 1},                                      // descending with equal ids
        {0xFFFFFFFFu, 0x80000000u, 2048, 2047, 0, 4194304},     // every digit of the id
        {3u << 22, 1u << 22, 2u << 22, 1u << 22},               // only the high digit differs
        {6, 4, 5, 5},                                            // a consecutive range, one id twice
        {12, 10, 13, 11},                                        // consecutive
        {0xFFFFFFFFu, 0xFFFFFFFDu, 0xFFFFFFFEu},                 // consecutive, up to the largest id
        Shuffled(5, 1200000),                                    // consecutive, many chunks
        Shuffled(0, 700000, 3),                                  // spread out, many chunks
        ShuffledWithRepeat(true), ShuffledWithRepeat(false),     // a consecutive range, one id twice
        ShuffledWithRepeatsAcrossBlocks(),
    };
    for (const auto& ids : cases) {
        const auto count = static_cast<std::uint32_t>(ids.size());
        Pairs first;
        Pairs second;
        for (std::uint32_t i = 0; i < count; ++i) {
            first.push_back({ids[i], 0.25 * (i + 1)});
            second.push_back({ids[i], -0.5 * i});
        }
        Owned cfg = Configuration({{"S1", count}}, {"C1", "C2"}, {{"S1", "C1"}, {"S1", "C2"}});
        const std::string path = Path("sorted.romsnp");
        SaveFilled(cfg.get(), {{{"C1", "S1"}, first}, {{"C2", "S1"}, second}}, path, "C2");

        const SnapshotFile file = Parse(ReadBytes(path));
        ASSERT_EQ(file.records.size(), 2u);
        EXPECT_EQ(file.data["supports"][0]["solverId"].asString(), "S1");
        const Pairs* added[] = {&first, &second};
        for (std::size_t r = 0; r < 2; ++r) {
            // Ascending ids; equal ids keep the order they were added in.
            Pairs expected = *added[r];
            std::stable_sort(expected.begin(), expected.end(),
                             [](const auto& a, const auto& b) { return a.first < b.first; });
            EXPECT_TRUE(file.records[r].pairs == expected) << ids[0] << " record " << r;
        }

        Owned resumed = Create(RomFactoryCreateSnapshot);
        ASSERT_EQ(Resume(resumed.get(), path), kOk);
        EXPECT_EQ(Read(RomSnapshotIsFilled, resumed.get()), 1u);
        EXPECT_TRUE(Values(Data(resumed.get(), "C2", "S1")) == file.records[1].pairs) << ids[0];
    }
}

TEST_F(SnapshotFiles, LargeFillsOutOfOrderReadAsAdded) {
    // A large support filled out of id order has its values laid out by id as they come
    // (gathered by bucket, then put at their places when the fill ends or a value is read
    // first). Every read during and after the fill still gives the pairs as added, the file
    // gives them by ascending id (equal ids as added), and a resume into the same snapshot
    // reads the file.
    constexpr std::uint32_t kCount = 200000;
    const auto consecutive = [] { return Shuffled(3, kCount); };
    const auto withGap = [&] {  // distinct, one id past the others
        std::vector<std::uint32_t> ids = consecutive();
        *std::find(ids.begin(), ids.end(), 100000u) = kCount + 3;
        return ids;
    };
    const auto repeatedLate = [&] {  // seen only once every lower id has its place
        std::vector<std::uint32_t> ids = consecutive();
        ids[kCount - 1] = *std::max_element(ids.begin(), ids.end() - 1);
        return ids;
    };
    const auto farLate = [&] {
        std::vector<std::uint32_t> ids = consecutive();
        ids[150000] = 4000000000u;
        return ids;
    };
    const auto descending = [] {
        std::vector<std::uint32_t> ids(kCount);
        for (std::uint32_t i = 0; i < kCount; ++i) ids[i] = kCount + 6 - i;
        return ids;
    };
    const auto descendingWithGap = [&] {  // distinct, in the room laid out after the first adds
        std::vector<std::uint32_t> ids = descending();
        ids[kCount - 1] = 300000;
        return ids;
    };
    const std::vector<std::pair<const char*, std::vector<std::uint32_t>>> orders = {
        {"consecutive", consecutive()}, {"with a gap", withGap()},   {"repeated late", repeatedLate()},
        {"far id late", farLate()},     {"descending", descending()}, {"descending with a gap", descendingWithGap()},
    };
    struct How {
        const char* name;
        std::uint32_t bulk;    // pairs an AddValues call; 0: one AddValue a pair
        std::uint32_t lendAt;  // pairs added when the live value array is read
        bool readMidFill;
    };
    const How hows[] = {{"one a call", 0, kCount, true},         {"one a call, read once full", 0, kCount, false},
                        {"by 1000", 1000, kCount, true},         {"by 1000, read once full", 1000, kCount, false},
                        {"all at once", kCount, kCount, false}, {"array read mid-fill", 0, 80000, true}};
    const std::uint32_t midFill = kCount / 2 + 123;
    for (const auto& [order, ids] : orders)
        for (const How& how : hows) {
            SCOPED_TRACE(std::string(order) + ", " + how.name);
            Pairs added(kCount);
            for (std::uint32_t i = 0; i < kCount; ++i) added[i] = {ids[i], 0.5 * i + 0.25};
            Owned cfg = Configuration({{"S1", kCount}}, {"C1"}, {{"S1", "C1"}});
            Owned snapshot = SnapshotOf(cfg.get());
            RomObject* data = Data(snapshot.get(), "C1", "S1");
            const double* live = nullptr;
            std::uint32_t done = 0;
            const auto addUpTo = [&](std::uint32_t end) {
                while (done < end) {
                    if (how.bulk == 0) {
                        ROM_OK(RomSnapshotComponentDataAddValue(data, added[done].first, added[done].second));
                        ++done;
                        continue;
                    }
                    const std::uint32_t n = std::min(how.bulk, end - done);
                    std::vector<std::uint32_t> someIds(n);
                    std::vector<double> someValues(n);
                    for (std::uint32_t k = 0; k < n; ++k) std::tie(someIds[k], someValues[k]) = added[done + k];
                    ROM_OK(RomSnapshotComponentDataAddValues(data, someIds.data(), someValues.data(), n));
                    done += n;
                }
            };
            const auto expectAddedSoFar = [&] {
                Pairs expected(added.begin(), added.begin() + done);
                expected.resize(kCount, {0, 0.0});
                EXPECT_TRUE(Values(data) == expected) << done << " added";
                if (live == nullptr) return;
                const auto same = [](double value, const auto& pair) { return value == pair.second; };
                EXPECT_TRUE(std::equal(live, live + done, expected.begin(), same)) << done << " added";
            };
            addUpTo(how.readMidFill ? std::min(how.lendAt, midFill) : kCount);
            if (how.lendAt < kCount) live = Read(RomSnapshotComponentDataGetValueArray, data);
            if (how.readMidFill) {
                addUpTo(midFill);
                expectAddedSoFar();
            }
            addUpTo(kCount);
            expectAddedSoFar();

            Pairs expected = added;
            std::stable_sort(expected.begin(), expected.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
            const std::string path = Path("large.romsnp");
            ROM_OK(RomPersistableSave(snapshot.get(), path.c_str()));
            EXPECT_TRUE(Parse(ReadBytes(path)).records[0].pairs == expected);
            ASSERT_EQ(Resume(snapshot.get(), path), kOk);
            EXPECT_TRUE(Values(data) == expected);
        }
}

TEST_F(SnapshotFiles, ArraysAddedAllOrNone) {
    Owned cfg = Configuration({{"S1", 4}}, {"C1"}, {{"S1", "C1"}});
    Owned snapshot = SnapshotOf(cfg.get());
    RomObject* data = Data(snapshot.get(), "C1", "S1");
    const std::uint32_t ids[] = {5, 6, 7, 9, 2};
    const double values[] = {0.5, 0.6, 0.7, 0.9, 0.2};
    ROM_OK(RomSnapshotComponentDataAddValues(data, ids, values, 3));
    // Two more do not fit: the text names the first that does not, and none is added.
    EXPECT_EQ(TextOf(RomSnapshotComponentDataAddValues(data, ids + 3, values + 3, 2)),
              "Impossible to add the value for the entity 2. The component C1 on the support S1 is already full.");
    EXPECT_EQ(TextOf(RomSnapshotComponentDataAddValues(data, nullptr, values, 1)),
              "Impossible to add values from a null array.");
    EXPECT_EQ(Read(RomSnapshotComponentDataGetAssignedEntityValueCount, data), 3u);
    ROM_OK(RomSnapshotComponentDataAddValues(data, ids + 4, values + 4, 1));
    EXPECT_EQ(Values(data), (Pairs{{5, 0.5}, {6, 0.6}, {7, 0.7}, {2, 0.2}}));
    // The component data's own arrays, overlapping where they go: taken as they stood.
    Owned other = SnapshotOf(cfg.get());
    RomObject* own = Data(other.get(), "C1", "S1");
    ROM_OK(RomSnapshotComponentDataAddValues(own, ids, values, 1));
    ROM_OK(RomSnapshotComponentDataAddValues(own, Read(RomSnapshotComponentDataGetIdArray, own),
                                             Read(RomSnapshotComponentDataGetValueArray, own), 2));
    EXPECT_EQ(Values(own), (Pairs{{5, 0.5}, {5, 0.5}, {0, 0.0}, {0, 0.0}}));

    // The last id breaks the ascending order, so the file holds them sorted.
    const std::string path = Path("arrays.romsnp");
    ROM_OK(RomPersistableSave(snapshot.get(), path.c_str()));
    EXPECT_EQ(Parse(ReadBytes(path)).records[0].pairs, (Pairs{{2, 0.2}, {5, 0.5}, {6, 0.6}, {7, 0.7}}));

    // Ids added ascending, then rewritten through the live array, are sorted again; so are
    // ids a resume read.
    Owned ascending = SnapshotOf(cfg.get());
    data = Data(ascending.get(), "C1", "S1");
    ROM_OK(RomSnapshotComponentDataAddValues(data, ids, values, 4));
    ROM_OK(RomPersistableSave(ascending.get(), path.c_str()));
    std::uint32_t* live = Read(RomSnapshotComponentDataGetIdArray, data);
    std::swap(live[0], live[2]);
    ROM_OK(RomPersistableSave(ascending.get(), path.c_str()));
    const Pairs sorted = {{5, 0.7}, {6, 0.6}, {7, 0.5}, {9, 0.9}};
    EXPECT_EQ(Parse(ReadBytes(path)).records[0].pairs, sorted);
    Owned resumed = Create(RomFactoryCreateSnapshot);
    ROM_OK(RomPersistableResume(resumed.get(), path.c_str()));
    live = Read(RomSnapshotComponentDataGetIdArray, Data(resumed.get(), "C1", "S1"));
    std::swap(live[1], live[3]);
    ROM_OK(RomPersistableSave(resumed.get(), path.c_str()));
    EXPECT_EQ(Parse(ReadBytes(path)).records[0].pairs, (Pairs{{5, 0.7}, {6, 0.9}, {7, 0.5}, {9, 0.6}}));
}

TEST_F(SnapshotFiles, ComponentsOfOneSupportSortedInTheirOwnOrders) {
    // A and C share an order; B, between them, has the same ids in another order; T has the
    // same count and ids as S on another support.
    Owned cfg = Configuration({{"S", 5}, {"T", 5}}, {"A", "B", "C"},
                              {{"S", "A"}, {"S", "B"}, {"S", "C"}, {"T", "A"}});
    const std::vector<std::uint32_t> first = {40, 10, 30, 0, 20};
    const std::vector<std::uint32_t> second = {20, 40, 0, 10, 30};
    const auto pairs = [](std::vector<std::uint32_t> ids, double base) {
        Pairs result;
        for (std::uint32_t id : ids) result.push_back({id, base + id});
        return result;
    };
    const std::string path = Path("components.romsnp");
    SaveFilled(cfg.get(),
               {{{"A", "S"}, pairs(first, 100)}, {{"B", "S"}, pairs(second, 200)},
                {{"C", "S"}, pairs(first, 300)}, {{"A", "T"}, pairs(second, 400)}},
               path);

    const SnapshotFile file = Parse(ReadBytes(path));
    const std::vector<std::string> expected = {"A on S", "B on S", "C on S", "A on T"};
    ASSERT_EQ(file.records.size(), expected.size());
    for (std::size_t r = 0; r < expected.size(); ++r) {
        EXPECT_EQ(file.records[r].component + " on " + file.records[r].support, expected[r]);
        EXPECT_EQ(file.records[r].pairs, pairs({0, 10, 20, 30, 40}, 100.0 * static_cast<double>(r + 1))) << r;
    }
}

TEST_F(SnapshotFiles, EmptyComponentDataWrittenAsTwoStringsAndAZeroCount) {
    Owned cfg = Configuration({{"S0", 0}, {"S1", 1}}, {"C1"}, {{"S0", "C1"}, {"S1", "C1"}});
    const std::string path = Path("empty.romsnp");
    SaveFilled(cfg.get(), {{{"C1", "S1"}, {{3, 1.5}}}}, path);

    const SnapshotFile file = Parse(ReadBytes(path));
    ASSERT_EQ(file.records.size(), 2u);
    EXPECT_EQ(file.records[0].support, "S0");
    EXPECT_TRUE(file.records[0].pairs.empty());
    EXPECT_EQ(file.records[1].pairs, (Pairs{{3, 1.5}}));

    Owned resumed = Create(RomFactoryCreateSnapshot);
    ASSERT_EQ(Resume(resumed.get(), path), kOk);
    EXPECT_EQ(Read(RomSnapshotComponentDataGetExpectedEntityValueCount, Data(resumed.get(), "C1", "S0")), 0u);
    EXPECT_EQ(Values(Data(resumed.get(), "C1", "S1")), (Pairs{{3, 1.5}}));
}

TEST_F(SnapshotFiles, ResumeTakesTheFilesConfiguration) {
    Owned saved = Configuration({{"S1", 2}}, {"C1", "C2"}, {{"S1", "C1"}, {"S1", "C2"}});
    const std::string path = Path("replace.romsnp");
    SaveFilled(saved.get(), {{{"C1", "S1"}, {{1, 1.0}, {0, 0.5}}}, {{"C2", "S1"}, {{0, 2.0}, {1, 3.0}}}}, path);

    Owned other = Configuration({{"S9", 4}}, {"C9"}, {{"S9", "C9"}});
    Owned snapshot = SnapshotOf(other.get());
    ASSERT_EQ(Resume(snapshot.get(), path), kOk);
    RomObject* data = nullptr;
    EXPECT_NE(TextOf(RomSnapshotGetComponentData(snapshot.get(), "C9", "S9", &data)), kOk);
    EXPECT_EQ(Values(Data(snapshot.get(), "C1", "S1")), (Pairs{{0, 0.5}, {1, 1.0}}));
    EXPECT_EQ(Values(Data(snapshot.get(), "C2", "S1")), (Pairs{{0, 2.0}, {1, 3.0}}));
    const std::vector<RomObject*> supports =
        Members(Read(RomSnapshotCfgGetSupportCfgs, Read(RomSnapshotGetConfiguration, snapshot.get())));
    ASSERT_EQ(supports.size(), 1u);
    EXPECT_EQ(Id(supports[0]), "S1");

    // An equal configuration keeps the snapshot's component data, and the texts read from them.
    const char* const kLong = "temperature_of_the_fluid_on_the_wall";
    Owned equal = Configuration({{"S1", 1}}, {kLong}, {{"S1", kLong}});
    Owned kept = SnapshotOf(equal.get());
    data = Data(kept.get(), kLong, "S1");
    ROM_OK(RomSnapshotComponentDataAddValue(data, 4, 0.5));
    const char* id = Read(RomSnapshotComponentDataGetComponentId, data);
    ROM_OK(RomPersistableSave(kept.get(), path.c_str()));
    ASSERT_EQ(Resume(kept.get(), path), kOk);
    EXPECT_EQ(Data(kept.get(), kLong, "S1"), data);
    EXPECT_STREQ(id, kLong);
}

TEST_F(SnapshotFiles, DamagedFilesRefused) {
    Owned cfg = Configuration({{"S1", 2}}, {"C1"}, {{"S1", "C1"}});
    const std::string path = Path("good.romsnp");
    SaveFilled(cfg.get(), {{{"C1", "S1"}, {{0, 1.0}, {1, 2.0}}}}, path);
    const std::string good = ReadBytes(path);
    const SnapshotFile file = Parse(good);
    ASSERT_EQ(file.records.size(), 1u);

    // The envelope announcing a support far larger than the file.
    Json::Value envelope;
    envelope["version"] = 1;
    envelope["data"] = file.data;
    envelope["data"]["supports"][0]["size"] = 1500000000u;
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    const std::string text = Json::writeString(writer, envelope);
    std::string large = good.substr(0, file.envelopeAt) + std::string(4, '\0') + text + good.substr(file.envelopeEnd);
    Put(large, file.envelopeAt, static_cast<std::uint32_t>(text.size()));

    // at 0: the bytes as they are. A refusal before the configuration leaves the snapshot as it was.
    struct Case { const char* name; std::size_t at; std::uint32_t value; std::string bytes, message; bool before; };
    const std::vector<Case> cases = {
        {"snapshot version", file.envelopeAt - 12, 2, good,  // type version, major, minor, envelope
         "The snapshot has been saved using the unsupported version 2. (Current supported version: 1)", true},
        {"component data version", file.records[0].versionAt, 2, good,
         "The snapshot component data has been saved using the unsupported version 2. (Current supported "
         "version: 1)", false},
        {"component data count", file.records[0].countAt, 1500000000u, good, kReadError, false},
        {"support size", 0, 0, large,
         "The file " + Path("damaged.romsnp") + " cannot be resumed: its record of the component C1 on the support S1 "
         "holds 2 values where the support announces 1500000000.", true},
    };
    for (const Case& c : cases) {
        std::string bytes = c.bytes;
        if (c.at != 0) Put(bytes, c.at, c.value);
        const std::string damaged = Path("damaged.romsnp");
        WriteBytes(damaged, bytes);
        Owned snapshot = Create(RomFactoryCreateSnapshot);
        EXPECT_EQ(Resume(snapshot.get(), damaged), c.message) << c.name;
        if (c.before) {
            EXPECT_EQ(Read(RomSnapshotIsInitialized, snapshot.get()), 0u) << c.name;
        }
    }
}

TEST_F(SnapshotFiles, CreatedFromAConfigurationFile) {
    Owned cfg = Configuration({{"S1", 3}, {"S2", 1}}, {"C1"}, {{"S1", "C1"}, {"S2", "C1"}});
    const std::string cfgPath = Path("snapshot.romcfg");
    ROM_OK(RomPersistableSave(cfg.get(), cfgPath.c_str()));
    RomObject* handle = nullptr;
    ROM_OK(RomFactoryCreateAndInitSnapshot(&handle, cfgPath.c_str()));

    // Pairs are sorted on disk unless the snapshot was made to keep the insertion order.
    const Pairs added = {{30, 3.0}, {10, 1.0}, {20, 2.0}};
    std::vector<std::pair<Owned, Pairs>> made;
    made.emplace_back(Owned(handle), Sorted(added));
    made.emplace_back(Owned(GetFactory().CreateAndInitSnapshot(cfgPath, false)), Sorted(added));
    made.emplace_back(Owned(GetFactory().CreateAndInitSnapshot(cfgPath, true)), added);
    for (std::size_t i = 0; i < made.size(); ++i) {
        RomObject* snapshot = made[i].first.get();
        EXPECT_EQ(Read(RomSnapshotIsInitialized, snapshot), 1u);
        Fill(Data(snapshot, "C1", "S1"), added);
        Fill(Data(snapshot, "C1", "S2"), {{5, 5.0}});
        const std::string path = Path("created.romsnp");
        ROM_OK(RomPersistableSave(snapshot, path.c_str()));
        const SnapshotFile file = Parse(ReadBytes(path));
        ASSERT_EQ(file.records.size(), 2u);
        EXPECT_EQ(file.records[0].pairs, made[i].second) << i;
        EXPECT_EQ(file.records[1].pairs, (Pairs{{5, 5.0}})) << i;
    }
}

}  // namespace
