// Set-up configurations: fields and their components, their checks, and the mesh and
// snapshot configurations a set-up saves, through the exported functions.
#include <cstdint>
#include <string>
#include <vector>
#include <filesystem>

#include "support/configurations.hpp"
#include "support/temp_dir.hpp"

namespace {

const std::string kTwoSupports =
    "The field F is linked to at least two different supports for the region R1.\n"
    "A field can only be linked to one support of a region.\nThe two supports are: ";

using SetupCfgFiles = TempDirTest;

}  // namespace

TEST(SetupCfg, SetupOrder) {
    const std::string unknown = "The support X is not part of the mesh but it has been added to the field F.";
    ExpectChecks(NewSetup, Itself,
                 {
                     {"empty", [](RomObject*) {}, kNoNodes},
                     {"mesh before fields", [](RomObject* s) { AddField(s, "F", {"C"}, {"S1"}); }, kNoNodes},
                     {"consistent", BuildSetup, kOk},
                 });
    const auto withMesh = [] {
        Owned setup = NewSetup();
        BuildMesh(MeshOf(setup.get()));
        return setup;
    };
    ExpectChecks(
        withMesh, Itself,
        {
            {"no field", [](RomObject*) {}, "The ROM setup needs at least one field."},
            {"field without id", [](RomObject* s) { Child(RomSetupCfgAddField, s); },
             "No ID has been assigned to a field."},
            {"field without caption", [](RomObject* s) { ROM_OK(RomSetSolverId(Child(RomSetupCfgAddField, s), "F")); },
             "No caption has been set to the field configuration F."},
            {"no component", [](RomObject* s) { AddField(s, "F", {}, {"S1"}); },
             "At least one component has to be added to the field !"},
            {"component checked",
             [](RomObject* s) {
                 ROM_OK(RomSetSolverId(Child(RomFieldCfgAddComponent, AddField(s, "F", {}, {})), "C"));
             },
             kComponentCaption},
            {"no support", [](RomObject* s) { AddField(s, "F", {"C"}, {}); },
             "At least one support has to be added to the field !"},
            {"two supports of one region",
             [](RomObject* s) {
                 AddField(s, "F", {"C"}, {"S3", "S2", "S1"});
             },
             kTwoSupports + "S2 and S1."},
            {"two supports before unknown ones",
             [](RomObject* s) {
                 AddField(s, "F", {"C"}, {"S1", "X", "S2"});
             },
             kTwoSupports + "S1 and S2."},
            {"unknown support",
             [](RomObject* s) {
                 AddField(s, "F", {"C"}, {"S1", "X"});
             },
             unknown},
            {"a field is finished before the next",
             [](RomObject* s) { AddField(s, "F", {"C"}, {"X"}), Child(RomSetupCfgAddField, s); }, unknown},
        });
}

TEST(SetupCfg, FieldSupportIdsAndComponents) {
    Owned setup = NewSetup();
    RomObject* field = AddField(setup.get(), "F", {}, {"S1", "S2"});
    EXPECT_EQ(TextOf(RomFieldCfgAddSupport(field, "S1")), "The support S1 has been added twice to the field F.");
    std::vector<std::string> ids;
    for (RomObject* id : Members(Child(RomFieldCfgGetSupportCfgIds, field)))
        ids.push_back(RomSolverIdentifierGetId(id));
    EXPECT_EQ(ids, (std::vector<std::string>{"S1", "S2"}));

    // A field's component needs a caption; a snapshot's does not.
    struct Case {
        bool inField;
        const char* caption;
        const char* id;
        std::string message;
    };
    const Case cases[] = {
        {true, "", "", kComponentCaption}, {true, "", "C", kComponentCaption},
        {true, "c", "", kComponentId},     {true, "c", "C", kOk},
        {false, "", "", kComponentId},     {false, "", "C", kOk},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.inField ? "field '" : "snapshot '") + c.caption + "' '" + c.id + "'");
        Owned owner = c.inField ? NewSetup() : NewSnapshot();
        RomObject* component = c.inField ? Child(RomFieldCfgAddComponent, Child(RomSetupCfgAddField, owner.get()))
                                         : Child(RomSnapshotCfgAddComponent, owner.get());
        ROM_OK(RomComponentCfgSetCaption(component, c.caption));
        ROM_OK(RomSetSolverId(component, c.id));
        EXPECT_EQ(Check(component), c.message);
    }
}

TEST_F(SetupCfgFiles, EveryConfigurationDocumentRoundTrips) {
    const struct {
        const char* name;
        Owned (*create)();
        void (*build)(RomObject*);
        const char* key;
    } documents[] = {
        {"mesh", NewMesh, BuildFullMesh, "meshData"},
        {"setup", NewSetup, BuildSetup, "setup"},
        {"snapshot", NewSnapshot, BuildSnapshot, "snapshot"},
    };
    for (const auto& d : documents) {
        SCOPED_TRACE(d.name);
        Owned original = d.create(), copy = d.create();
        d.build(original.get());
        ASSERT_EQ(Check(original.get()), kOk);
        const std::string path = Path(std::string(d.name) + ".romcfg");
        const std::string bytes = Saved(original.get(), path);
        EXPECT_EQ(Keys(ReadJson(path)), (std::vector<std::string>{"loomsteadVersion", d.key, "version"}));
        ROM_OK(RomPersistableResume(copy.get(), path.c_str()));
        EXPECT_EQ(Saved(copy.get(), Path("copy.romcfg")), bytes);
        EXPECT_EQ(Check(copy.get()), kOk) << "owners are restored on reading";
    }
}

TEST_F(SetupCfgFiles, MembersWrittenOnlyWhenSet) {
    Owned setup = NewSetup();
    const std::string path = Path("setup.romcfg");
    Saved(setup.get(), path);
    const Json::Value bare = ReadJson(path)["setup"];

    RomObject* mesh = MeshOf(setup.get());
    RomObject* region = AddRegion(mesh, "R");
    ROM_OK(RomRegionCfgSetParentRegion(region, "Parent"));
    EXPECT_STREQ(Read(RomRegionCfgGetParentRegion, region), "Parent");
    AddSupport(region, "bare", 0, 0);
    AddSupport(region, "full", 4, -2);
    StdPartOf(mesh);
    PolygonsOf(mesh);
    AddField(setup.get(), "plain", {"C"}, {"full"});
    ROM_OK(RomFieldCfgSetEntitiesType(AddField(setup.get(), "typed", {"C"}, {"full"}), 5));
    const std::string bytes = Saved(setup.get(), path);
    EXPECT_EQ(bytes.find("Parent"), std::string::npos);
    const Json::Value root = ReadJson(path)["setup"];
    const Json::Value& elements = root["meshData"]["elementData"];
    const Json::Value& supports = root["meshData"]["regions"][0]["supports"];
    const Json::Value& field = root["fields"][0];

    using Names = std::vector<std::string>;
    const std::pair<Json::Value, Names> objects[] = {
        {bare, {"meshData"}},
        {bare["meshData"]["nodeData"], {"count", "dim"}},
        {bare["meshData"]["elementData"], {}},
        {root["meshData"]["regions"][0], {"caption", "solverId", "supports"}},
        {supports[0], {"solverId"}},
        {supports[1], {"entityType", "size", "solverId"}},
        {elements, {"stdElementData", "userElementData"}},
        {elements["stdElementData"], {"connectivityTableSize", "count"}},
        {elements["userElementData"], {"polygonData"}},
        {elements["userElementData"]["polygonData"], {"connectivityTableSize", "count"}},
        {field, {"caption", "components", "quantity", "solverId", "supports", "unit"}},
        {root["fields"][1], {"caption", "components", "entityType", "quantity", "solverId", "supports", "unit"}},
        {field["components"][0], {"caption", "solverId"}},
    };
    for (const auto& [object, names] : objects) EXPECT_EQ(Keys(object), names) << object.toStyledString();
    EXPECT_EQ(supports[1]["size"].asInt(), 4);
    EXPECT_EQ(supports[1]["entityType"].asInt(), -2);
    EXPECT_EQ(root["fields"][1]["entityType"].asInt(), 5);
    EXPECT_EQ(Strings(supports, "solverId"), (Names{"bare", "full"}));
    EXPECT_EQ(Strings(field["supports"]), Names{"full"});
    EXPECT_EQ(Strings(field["components"], "caption"), Names{"caption of C"});

    Owned copy = NewSetup();
    ROM_OK(RomPersistableResume(copy.get(), path.c_str()));
    EXPECT_EQ(Saved(copy.get(), Path("copy.romcfg")), bytes);
    RomObject* resumed = Members(Child(RomMeshDataCfgGetRegionCfgs, MeshOf(copy.get())))[0];
    EXPECT_STREQ(Read(RomRegionCfgGetParentRegion, resumed), "");
}

TEST_F(SetupCfgFiles, SetupSavesSnapshotAndMeshConfigurations) {
    Owned setup = NewSetup();
    BuildMesh(MeshOf(setup.get()));
    AddField(setup.get(), "F1", {"C1", "C2"}, {"S1"});
    AddField(setup.get(), "F2", {"C2", "C3"}, {"S3"});
    ASSERT_EQ(Check(setup.get()), kOk);
    const std::string before = Saved(setup.get(), Path("setup.romcfg"));

    const std::string snapshotPath = Path("snapshot.romcfg");
    ROM_OK(RomSetupCfgSaveSnapshotConfiguration(setup.get(), snapshotPath.c_str()));
    EXPECT_EQ(Saved(setup.get(), Path("setup.romcfg")), before);
    const Json::Value snapshot = ReadJson(snapshotPath)["snapshot"];
    EXPECT_EQ(Strings(snapshot["supports"], "solverId"), (std::vector<std::string>{"S1", "S2", "S3"}));
    EXPECT_EQ(Strings(snapshot["supports"], "size"), (std::vector<std::string>{"4", "2", "3"}));
    for (const Json::Value& support : snapshot["supports"]) EXPECT_FALSE(support.isMember("entityType"));
    EXPECT_EQ(Strings(snapshot["components"], "solverId"), (std::vector<std::string>{"C1", "C2", "C3"}));
    const Json::Value& links = snapshot["componentSupports"];
    EXPECT_EQ(Keys(links), (std::vector<std::string>{"S1", "S3"}));
    EXPECT_EQ(Strings(links["S1"]), (std::vector<std::string>{"C1", "C2"}));
    EXPECT_EQ(Strings(links["S3"]), (std::vector<std::string>{"C2", "C3"}));
    Owned resumed = NewSnapshot();
    ROM_OK(RomPersistableResume(resumed.get(), snapshotPath.c_str()));
    EXPECT_EQ(Check(resumed.get()), kOk);

    const std::string meshPath = Path("mesh.romcfg");
    ROM_OK(RomSetupCfgSaveMeshConfiguration(setup.get(), meshPath.c_str()));
    EXPECT_EQ(ReadJson(meshPath)["meshData"], ReadJson(Path("setup.romcfg"))["setup"]["meshData"]);
    Owned mesh = NewMesh();
    ROM_OK(RomPersistableResume(mesh.get(), meshPath.c_str()));
    EXPECT_EQ(Check(mesh.get()), kOk);

    // A component given twice on one support: nothing is written.
    AddField(setup.get(), "F3", {"C2"}, {"S1"});
    const std::string failedPath = Path("failed.romcfg");
    const std::string text = TextOf(RomSetupCfgSaveSnapshotConfiguration(setup.get(), failedPath.c_str()));
    EXPECT_NE(text.find("already exists in container !"), std::string::npos) << text;
    EXPECT_FALSE(std::filesystem::exists(failedPath));
}

TEST_F(SetupCfgFiles, DocumentsRefused) {
    Owned setup = NewSetup();
    const std::string path = Path("bad.romcfg");
    EXPECT_NE(Resumed(setup.get(), path, "setup", R"({"fields": [{"solverId": "F", "entityType": "x"}]})"), kOk);
    EXPECT_EQ(Resumed(setup.get(), path, "setup", R"({"meshData": {"nodeData": {"count": 3, "dim": -2}}})"),
              "The file " + path +
                  " cannot be resumed: the node data configuration announces 3 nodes of dimension -2: "
                  "a dimension cannot be negative.");
}
