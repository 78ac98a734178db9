// Snapshots as a client sees them: their component data, the fill state and what a resume
// keeps, through the exported functions (and the factory for C++ clients).
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <tervik/rom/api.hpp>
#include <tervik/rom/snapshot.hpp>

#include "support/snapshots.hpp"
#include "support/temp_dir.hpp"

using Snapshots = TempDirTest;

TEST_F(Snapshots, ComponentDataFollowSupportsThenTheirLists) {
    Owned snapshot = Create(RomFactoryCreateSnapshot);
    EXPECT_EQ(Read(RomSnapshotIsInitialized, snapshot.get()), 0u);
    EXPECT_EQ(Read(RomSnapshotIsFilled, snapshot.get()), 0u);
    EXPECT_EQ(Read(RomSnapshotGetConfiguration, snapshot.get()), nullptr);
    EXPECT_EQ(TextOf(RomPersistableSave(snapshot.get(), Path("fresh.romsnp").c_str())),
              "Impossible to save the snapshot. It is unitialized.");

    // C1 is shared by S1 and S2; S3 has no list; associations are made out of support order.
    Owned cfg = SnapshotConfiguration({{"S1", 2}, {"S2", 3}, {"S3", 1}}, {"C1", "C2", "C3"},
                                      {{"S2", "C1"}, {"S1", "C3"}, {"S1", "C1"}, {"S2", "C2"}});
    ROM_OK(RomSnapshotInitialize(snapshot.get(), cfg.get()));
    EXPECT_EQ(Read(RomSnapshotIsInitialized, snapshot.get()), 1u);
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
    EXPECT_EQ(Read(RomSnapshotIsFilled, snapshot.get()), 0u);
    EXPECT_EQ(TextOf(RomPersistableSave(snapshot.get(), Path("unfilled.romsnp").c_str())),
              "The following snapshot component data are not filled:\n"
              "The component C1 on the support S1 contains 0 entity values but expect 2 entity values.\n"
              "The component C1 on the support S2 contains 1 entity values but expect 3 entity values.\n"
              "The component C2 on the support S2 contains 0 entity values but expect 3 entity values.\n");
    EXPECT_TRUE(Files().empty());

    // Initialising again discards the values; a configuration without pairs is filled at once.
    ROM_OK(RomSnapshotInitialize(snapshot.get(), cfg.get()));
    EXPECT_EQ(Read(RomSnapshotComponentDataGetAssignedEntityValueCount, Data(snapshot.get(), "C1", "S2")), 0u);
    ROM_OK(RomSnapshotInitialize(snapshot.get(), SnapshotConfiguration({{"S1", 3}}, {"C1"}, {}).get()));
    EXPECT_EQ(Read(RomSnapshotIsFilled, snapshot.get()), 1u);
}

TEST_F(Snapshots, ResumeTakesTheFilesConfiguration) {
    Owned saved = SnapshotConfiguration({{"S1", 2}}, {"C1", "C2"}, {{"S1", "C1"}, {"S1", "C2"}});
    const std::string path = Path("replace.romsnp");
    Owned filled = SnapshotOf(saved.get());
    Fill(Data(filled.get(), "C1", "S1"), {{1, 1.0}, {0, 0.5}});
    Fill(Data(filled.get(), "C2", "S1"), {{0, 2.0}, {1, 3.0}});
    ROM_OK(RomPersistableSave(filled.get(), path.c_str()));

    Owned snapshot = SnapshotOf(SnapshotConfiguration({{"S9", 4}}, {"C9"}, {{"S9", "C9"}}).get());
    ROM_OK(RomPersistableResume(snapshot.get(), path.c_str()));
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
    Owned kept = SnapshotOf(SnapshotConfiguration({{"S1", 1}}, {kLong}, {{"S1", kLong}}).get());
    data = Data(kept.get(), kLong, "S1");
    ROM_OK(RomSnapshotComponentDataAddValue(data, 4, 0.5));
    const char* id = Read(RomSnapshotComponentDataGetComponentId, data);
    ROM_OK(RomPersistableSave(kept.get(), path.c_str()));
    ROM_OK(RomPersistableResume(kept.get(), path.c_str()));
    EXPECT_EQ(Data(kept.get(), kLong, "S1"), data);
    EXPECT_STREQ(id, kLong);
}

// Pairs are sorted on disk unless the snapshot was made to keep the insertion order.
TEST_F(Snapshots, CreatedFromAConfigurationFile) {
    const std::string cfgPath = Path("snapshot.romcfg");
    ROM_OK(RomPersistableSave(SnapshotConfiguration({{"S1", 3}, {"S2", 1}}, {"C1"}, {{"S1", "C1"}, {"S2", "C1"}}).get(),
                              cfgPath.c_str()));
    RomObject* handle = nullptr;
    ROM_OK(RomFactoryCreateAndInitSnapshot(&handle, cfgPath.c_str()));
    const Pairs added = {{30, 3.0}, {10, 1.0}, {20, 2.0}};
    std::vector<std::pair<Owned, Pairs>> made;
    made.emplace_back(Owned(handle), ById(added));
    made.emplace_back(Owned(GetFactory().CreateAndInitSnapshot(cfgPath, false)), ById(added));
    made.emplace_back(Owned(GetFactory().CreateAndInitSnapshot(cfgPath, true)), added);
    for (const auto& [snapshot, expected] : made) {
        Fill(Data(snapshot.get(), "C1", "S1"), added);
        Fill(Data(snapshot.get(), "C1", "S2"), {{5, 5.0}});
        const SnapshotFile file = ParseSnapshot(Saved(snapshot.get(), Path("created.romsnp")));
        ASSERT_EQ(file.records.size(), 2u);
        EXPECT_EQ(file.records[0].pairs, expected);
        EXPECT_EQ(file.records[1].pairs, (Pairs{{5, 5.0}}));
    }
}
