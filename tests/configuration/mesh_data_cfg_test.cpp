// Mesh data configurations: supports, regions, their checks, support look-ups and their
// documents, through the exported functions.
#include <cstdint>
#include <string>
#include <vector>
#include <sstream>

#include "support/configurations.hpp"
#include "support/temp_dir.hpp"

namespace {

const std::string kNoSupport = "The region must have at least one support";
const std::string kSupportType = "The support must have a defined entity type.";
const std::string kNotFound = "Unable to find support configuration with solver id: ";

using MeshDataCfgFiles = TempDirTest;

}  // namespace

TEST(MeshDataCfg, Supports) {
    // A region's support needs an entity type; a snapshot's does not.
    struct SupportCase {
        bool inRegion;
        const char* id;
        std::uint32_t size;
        std::int32_t type;
        std::string message;
    };
    const SupportCase supports[] = {
        {true, "", 4, 1, kSupportId}, {true, "S", 0, 1, kSupportSize}, {true, "S", 4, 0, kSupportType},
        {true, "S", 4, -3, kOk},      {false, "", 4, 0, kSupportId},   {false, "S", 0, 7, kSupportSize},
        {false, "S", 4, 0, kOk},
    };
    for (const SupportCase& c : supports) {
        SCOPED_TRACE(std::string(c.inRegion ? "region " : "snapshot ") + c.id + " " + std::to_string(c.size) + " " +
                     std::to_string(c.type));
        Owned owner = c.inRegion ? NewMesh() : NewSnapshot();
        RomObject* support = c.inRegion ? Child(RomRegionCfgAddSupport, Child(RomMeshDataCfgAddRegion, owner.get()))
                                        : Child(RomSnapshotCfgAddSupport, owner.get());
        ROM_OK(RomSetSolverId(support, c.id));
        ROM_OK(RomSupportCfgSetEntityCount(support, c.size));
        ROM_OK(RomSupportCfgSetEntitiesType(support, c.type));
        EXPECT_EQ(Check(support), c.message);
    }
}

TEST(MeshDataCfg, RegionsAndMeshDataOrder) {
    const std::string duplicate =
        "In mesh data configuration, supports with the same solverId have been added to different regions !\n"
        " solverId of support is :D";
    const std::string noRegionId = "No solver id has been set to the region configuration !";
    // region: what the first region's own check says, where the case looks at it.
    struct Case {
        const char* name;
        bool tables;
        std::vector<RegionPlan> regions;
        std::string message, region;
    };
    const Case cases[] = {
        {"empty", false, {}, kNoNodes, ""},
        {"nodes before regions", false, {{"", {}}}, kNoNodes, ""},
        {"no region", true, {}, kNoRegion, ""},
        {"region without id", true, {{"", {{"S", 4, 1}}}}, noRegionId, noRegionId},
        {"region without support", true, {{"R", {}}}, kNoSupport, kNoSupport},
        {"supports of a region checked", true, {{"R", {{"A", 4, 1}, {"B", 4, 0}}}}, kSupportType, kSupportType},
        {"regions before duplicates",
         true,
         {{"R1", {{"D", 4, 1}}}, {"R2", {{"D", 4, 1}}}, {"R3", {}}},
         kNoSupport,
         kOk},
        {"same id in two regions", true, {{"R1", {{"D", 4, 1}, {"A", 4, 1}}}, {"R2", {{"D", 2, 2}}}}, duplicate, ""},
        {"same id within a region", true, {{"R1", {{"D", 4, 1}, {"D", 5, 2}}}}, duplicate, ""},
        {"consistent", true, {{"R1", {{"D", 4, 1}, {"F", 4, 2}}}, {"R2", {{"E", 4, 1}}}}, kOk, kOk},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Owned mesh = NewMesh();
        if (c.tables) SetTables(mesh.get());
        AddRegions(mesh.get(), c.regions);
        EXPECT_EQ(Check(mesh.get()), c.message);
        if (!c.region.empty()) {
            EXPECT_EQ(Check(Members(Child(RomMeshDataCfgGetRegionCfgs, mesh.get()))[0]), c.region);
        }
    }
}

TEST(MeshDataCfg, GetSupportCfgBySolverId) {
    const auto lookUp = [](RomObject* mesh, const char* id) { return Read(RomMeshDataCfgGetSupportCfg, mesh, id); };
    Owned owner = NewMesh();
    RomObject* mesh = owner.get();
    RomObject* untouched = mesh;
    const std::string empty = kNotFound + "S1. Support configuration list is empty.";
    EXPECT_EQ(TextOf(RomMeshDataCfgGetSupportCfg(mesh, "S1", &untouched)), empty);
    RomObject* r1 = AddRegion(mesh, "R1");
    RomObject* r2 = AddRegion(mesh, "R2");
    RomObject* flat = Child(RomMeshDataCfgGetSupportCfgs, mesh);  // kept: it follows every change
    EXPECT_EQ(TextOf(RomMeshDataCfgGetSupportCfg(mesh, "S1", &untouched)), empty);
    EXPECT_EQ(untouched, mesh) << "out-parameter written on failure";

    RomObject* a = AddSupport(r1, "A", 1, 1);
    RomObject* first = AddSupport(r1, "D", 2, 1);
    RomObject* second = AddSupport(r2, "D", 3, 1);
    EXPECT_EQ(TextOf(RomMeshDataCfgGetSupportCfg(mesh, "a", &untouched)), kNotFound + "a. Unknown solver id.");
    EXPECT_EQ(lookUp(mesh, "A"), a);
    EXPECT_EQ(lookUp(mesh, "D"), first) << "first in index order";

    ROM_OK(RomSetSolverId(first, "E"));
    ROM_OK(RomSetSolverId(a, "Z"));
    EXPECT_EQ(lookUp(mesh, "E"), first);
    EXPECT_EQ(lookUp(mesh, "D"), second);
    EXPECT_EQ(lookUp(mesh, "Z"), a);
    EXPECT_EQ(TextOf(RomMeshDataCfgGetSupportCfg(mesh, "A", &untouched)), kNotFound + "A. Unknown solver id.");

    RomObject* late = AddSupport(r1, "N", 1, 1);
    RomObject* newest = AddSupport(AddRegion(mesh, "R3"), "M", 1, 1);
    EXPECT_EQ(lookUp(mesh, "N"), late);
    EXPECT_EQ(lookUp(mesh, "M"), newest);
    EXPECT_EQ(Members(Child(RomMeshDataCfgGetSupportCfgs, mesh)),
              (std::vector<RomObject*>{a, first, late, second, newest}));
    RomObject* last = AddSupport(r2, "L", 1, 1);
    EXPECT_EQ(Members(flat), (std::vector<RomObject*>{a, first, late, second, last, newest}));
}

TEST_F(MeshDataCfgFiles, ResumedElementDataDropsMissingParts) {
    Owned mesh = NewMesh();
    SetNodes(mesh.get(), 7, 2);
    StdPartOf(mesh.get());
    AddSupport(AddRegion(mesh.get(), "Old"), "O", 1, 1);
    RomObject* found = Read(RomMeshDataCfgGetSupportCfg, mesh.get(), "O");  // looked up before the resume
    const std::string body = R"({
        "elementData": {"userElementData": {"polygonData": {"connectivityTableSize": 6, "count": 2}}},
        "regions": [{"caption": "", "solverId": "R", "supports": [{"entityType": 1, "size": 3, "solverId": "S"}]}]
    })";
    EXPECT_EQ(Resumed(mesh.get(), Path("mesh.romcfg"), "meshData", body), kOk);
    EXPECT_EQ(TextOf(RomMeshDataCfgGetSupportCfg(mesh.get(), "O", &found)), kNotFound + "O. Unknown solver id.");
    EXPECT_EQ(Read(RomSupportCfgGetEntityCount, Read(RomMeshDataCfgGetSupportCfg, mesh.get(), "S")), 3u);
    // What the file left out keeps its value: the nodes.
    Json::Value expected;
    std::istringstream(body) >> expected;
    expected["nodeData"]["count"] = 7;
    expected["nodeData"]["dim"] = 2;
    expected["unit"] = "";
    Saved(mesh.get(), Path("saved.romcfg"));
    EXPECT_EQ(WithoutInternalIds(ReadJson(Path("saved.romcfg"))["meshData"]), expected);
}

TEST_F(MeshDataCfgFiles, DocumentsRefused) {
    Owned mesh = NewMesh();
    const std::string path = Path("bad.romcfg"), refused = "The file " + path + " cannot be resumed: ";
    EXPECT_NE(Resumed(mesh.get(), path, "meshData", R"({"nodeData": {"count": "abc", "dim": 3}})"), kOk);
    EXPECT_EQ(Resumed(mesh.get(), path, "meshData", R"({"nodeData": {"count": 65536, "dim": 65537}})"),
              refused +
                  "the node data configuration announces 65536 nodes of dimension 65537, 4295032832 "
                  "coordinates, where a table holds at most 4294967295 values.");
    EXPECT_EQ(Resumed(mesh.get(), path, "meshData", R"({"unit": "m", "unit": "mm"})"),
              refused + "one of its objects has the key \"unit\" twice.");
}
