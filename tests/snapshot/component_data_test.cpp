// Component data as a client sees them: values added one at a time or by arrays, read back
// as added however they are laid out inside, and their live arrays.
#include <algorithm>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "support/ids.hpp"
#include "support/snapshots.hpp"
#include "support/temp_dir.hpp"

namespace {

const std::string kFull = "Impossible to add the value for the entity ";

using ComponentData = TempDirTest;

}  // namespace

TEST_F(ComponentData, AddGetAndTheLiveArrays) {
    Owned cfg = SnapshotConfiguration({{"S0", 0}, {"S1", 3}}, {"C1"}, {{"S0", "C1"}, {"S1", "C1"}});
    Owned snapshot = SnapshotOf(cfg.get());
    RomObject* empty = Data(snapshot.get(), "C1", "S0");
    EXPECT_EQ(TextOf(RomSnapshotComponentDataAddValue(empty, 5, 1.0)),
              kFull + "5. The component C1 on the support S0 is already full.");
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
              kFull + "4000000000. The component C1 on the support S1 is already full.");
    EXPECT_EQ(Read(RomSnapshotComponentDataGetAssignedEntityValueCount, data), 3u);
    const std::uint32_t* ids = Read(RomSnapshotComponentDataGetIdArray, data);
    const double* values = Read(RomSnapshotComponentDataGetValueArray, data);
    EXPECT_EQ(std::vector<std::uint32_t>(ids, ids + 3), (std::vector<std::uint32_t>{7, 3, 1}));
    EXPECT_EQ(std::vector<double>(values, values + 3), (std::vector<double>{2.5, -1.0, 4.0}));
}

TEST_F(ComponentData, ArraysAddedAllOrNone) {
    Owned cfg = SnapshotConfiguration({{"S1", 4}}, {"C1"}, {{"S1", "C1"}});
    Owned snapshot = SnapshotOf(cfg.get());
    RomObject* data = Data(snapshot.get(), "C1", "S1");
    const std::uint32_t ids[] = {5, 6, 7, 9, 2};
    const double values[] = {0.5, 0.6, 0.7, 0.9, 0.2};
    ROM_OK(RomSnapshotComponentDataAddValues(data, ids, values, 3));
    // Two more do not fit: the text names the first that does not, and none is added.
    EXPECT_EQ(TextOf(RomSnapshotComponentDataAddValues(data, ids + 3, values + 3, 2)),
              kFull + "2. The component C1 on the support S1 is already full.");
    EXPECT_EQ(TextOf(RomSnapshotComponentDataAddValues(data, nullptr, values, 1)),
              "Impossible to add values from a null array.");
    ROM_OK(RomSnapshotComponentDataAddValues(data, ids + 4, values + 4, 1));
    EXPECT_EQ(Values(data), (Pairs{{5, 0.5}, {6, 0.6}, {7, 0.7}, {2, 0.2}}));
    // The component data's own arrays, overlapping where they go: taken as they stood.
    Owned other = SnapshotOf(cfg.get());
    RomObject* own = Data(other.get(), "C1", "S1");
    ROM_OK(RomSnapshotComponentDataAddValues(own, ids, values, 1));
    ROM_OK(RomSnapshotComponentDataAddValues(own, Read(RomSnapshotComponentDataGetIdArray, own),
                                             Read(RomSnapshotComponentDataGetValueArray, own), 2));
    EXPECT_EQ(Values(own), (Pairs{{5, 0.5}, {5, 0.5}, {0, 0.0}, {0, 0.0}}));

    // The last id broke the ascending order: the file holds them sorted. Ids added ascending,
    // then rewritten through the live array, are sorted again; so are ids a resume read.
    const std::string path = Path("arrays.romsnp");
    const auto saved = [&](RomObject* object) { return ParseSnapshot(Saved(object, path)).records[0].pairs; };
    EXPECT_EQ(saved(snapshot.get()), (Pairs{{2, 0.2}, {5, 0.5}, {6, 0.6}, {7, 0.7}}));
    // Ascending arrays after one that was not.
    Owned later = SnapshotOf(cfg.get());
    const std::uint32_t descent[] = {6, 5, 7, 9};
    ROM_OK(RomSnapshotComponentDataAddValues(Data(later.get(), "C1", "S1"), descent, values, 2));
    ROM_OK(RomSnapshotComponentDataAddValues(Data(later.get(), "C1", "S1"), descent + 2, values + 2, 2));
    EXPECT_EQ(saved(later.get()), (Pairs{{5, 0.6}, {6, 0.5}, {7, 0.7}, {9, 0.9}}));
    Owned ascending = SnapshotOf(cfg.get());
    data = Data(ascending.get(), "C1", "S1");
    ROM_OK(RomSnapshotComponentDataAddValues(data, ids, values, 4));
    saved(ascending.get());
    std::uint32_t* live = Read(RomSnapshotComponentDataGetIdArray, data);
    std::swap(live[0], live[2]);
    EXPECT_EQ(saved(ascending.get()), (Pairs{{5, 0.7}, {6, 0.6}, {7, 0.5}, {9, 0.9}}));
    Owned resumed = Create(RomFactoryCreateSnapshot);
    ROM_OK(RomPersistableResume(resumed.get(), path.c_str()));
    live = Read(RomSnapshotComponentDataGetIdArray, Data(resumed.get(), "C1", "S1"));
    std::swap(live[1], live[3]);
    EXPECT_EQ(saved(resumed.get()), (Pairs{{5, 0.7}, {6, 0.9}, {7, 0.5}, {9, 0.6}}));
}

// A large support filled out of id order has its values laid out by id as they come
// (gathered by bucket, then put at their places when the fill ends or a value is read
// first). Every read during and after the fill still gives the pairs as added, the file
// gives them by ascending id (equal ids as added), and a resume into the same snapshot
// reads the file.
TEST_F(ComponentData, LargeFillsOutOfOrderReadAsAdded) {
    constexpr std::uint32_t kCount = 200000;
    const std::vector<std::uint32_t> consecutive = Shuffled(3, kCount);
    std::vector<std::uint32_t> descending(kCount);
    for (std::uint32_t i = 0; i < kCount; ++i) descending[i] = kCount + 6 - i;
    const std::pair<const char*, std::vector<std::uint32_t>> orders[] = {
        {"consecutive", consecutive},
        {"with a gap",
         Changed(consecutive, [](auto& ids) { *std::find(ids.begin(), ids.end(), 100000u) = kCount + 3; })},
        // Seen only once every lower id has its place.
        {"repeated late",
         Changed(consecutive, [](auto& ids) { ids.back() = *std::max_element(ids.begin(), ids.end() - 1); })},
        {"far id late", Changed(consecutive, [](auto& ids) { ids[150000] = 4000000000u; })},
        {"descending", descending},
        // Distinct, in the room laid out after the first adds.
        {"descending with a gap", Changed(descending, [](auto& ids) { ids.back() = 300000; })},
    };
    struct How {
        const char* name;
        std::uint32_t bulk;    // pairs an AddValues call; 0: one AddValue a pair
        std::uint32_t lendAt;  // pairs added when the live value array is read
        bool readMidFill;
    };
    const How hows[] = {{"one a call", 0, kCount, true},        {"one a call, read once full", 0, kCount, false},
                        {"by 1000", 1000, kCount, true},        {"by 1000, read once full", 1000, kCount, false},
                        {"all at once", kCount, kCount, false}, {"array read mid-fill", 0, 80000, true}};
    const std::uint32_t midFill = kCount / 2 + 123;
    Owned cfg = SnapshotConfiguration({{"S1", kCount}}, {"C1"}, {{"S1", "C1"}});
    for (const auto& [order, ids] : orders)
        for (const How& how : hows) {
            SCOPED_TRACE(std::string(order) + ", " + how.name);
            Pairs added(kCount);
            for (std::uint32_t i = 0; i < kCount; ++i) added[i] = {ids[i], 0.5 * i + 0.25};
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
                const auto same = [](double value, const auto& pair) { return value == pair.second; };
                EXPECT_TRUE(live == nullptr || std::equal(live, live + done, expected.begin(), same)) << done;
            };
            addUpTo(how.readMidFill ? std::min(how.lendAt, midFill) : kCount);
            if (how.lendAt < kCount) live = Read(RomSnapshotComponentDataGetValueArray, data);
            if (how.readMidFill) {
                addUpTo(midFill);
                expectAddedSoFar();
            }
            addUpTo(kCount);
            expectAddedSoFar();

            const std::string path = Path("large.romsnp");
            EXPECT_TRUE(ParseSnapshot(Saved(snapshot.get(), path)).records[0].pairs == ById(added));
            ASSERT_EQ(TextOf(RomPersistableResume(snapshot.get(), path.c_str())), kOk);
            EXPECT_TRUE(Values(data) == ById(added));
        }
}
