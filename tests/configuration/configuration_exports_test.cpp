// The configuration family as a client sees it: checks, look-ups and configuration files,
// all through the exported functions.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <tervik/rom/rom.h>

#include "support/temp_dir.hpp"
#include "support/exports.hpp"

namespace {

const std::string kNoNodes = "The number of nodes has not been defined in node data configuration.";
const std::string kNoElementData = "No user element data have been configurated !";
const std::string kNoUserParts = "No user defined element data have been configurated !";
const std::string kNoRegion = "No region has been configured in the mesh data !";
const std::string kNoSupport = "The region must have at least one support";
const std::string kSupportId = "No solver id has been set to the support configuration !";
const std::string kSupportSize = "Every support must have a size defined and greater than zero.";
const std::string kSupportType = "The support must have a defined entity type.";
const std::string kComponentCaption = "No caption has been set to the component configuration !";
const std::string kComponentId = "No solver id has been set to the component configuration !";
const std::string kStdCount = "The number of element has not been defined in standard element data configuration.";
const std::string kPolyhedronCount = "The number of polyhedrons has not been defined in polyhedron data configuration.";
const std::string kNoPair = "There is no component or support in the snapshot configuration.";
const std::string kNotFound = "Unable to find support configuration with solver id: ";
const std::string kTwoSupports =
    "The field F is linked to at least two different supports for the region R1.\n"
    "A field can only be linked to one support of a region.\nThe two supports are: ";

Owned NewSetup() { return Create(RomFactoryCreateSetupCfg); }
Owned NewMesh() { return Create(RomFactoryCreateMeshDataCfg); }
Owned NewSnapshot() { return Create(RomFactoryCreateSnapshotCfg); }

std::string ReadText(RomExceptionHandle (*get)(RomObject*, const char**), RomObject* object) {
    const char* text = Read(get, object);
    return text == nullptr ? "<null>" : text;
}
std::string Check(RomObject* configuration) { return TextOf(RomConfigurationCheck(configuration)); }

// Each case builds on a fresh object of create(); checked(object) is what it checks.
struct CheckCase { const char* name; void (*build)(RomObject*); std::string message; };
void ExpectChecks(Owned (*create)(), RomObject* (*checked)(RomObject*), std::initializer_list<CheckCase> cases) {
    for (const CheckCase& c : cases) {
        SCOPED_TRACE(c.name);
        Owned object = create();
        c.build(object.get());
        EXPECT_EQ(Check(checked(object.get())), c.message);
    }
}
RomObject* Itself(RomObject* object) { return object; }

// ---- Builders ----------------------------------------------------------------------

RomObject* MeshOf(RomObject* setup) { return Child(RomSetupCfgConfigureMeshData, setup); }
RomObject* ElementsOf(RomObject* mesh) { return Child(RomMeshDataCfgConfigureElementData, mesh); }
RomObject* StdPartOf(RomObject* mesh) { return Child(RomElementDataCfgConfigureStdElementData, ElementsOf(mesh)); }
RomObject* UserPartOf(RomObject* mesh) { return Child(RomElementDataCfgConfigureUserElementData, ElementsOf(mesh)); }
RomObject* PolygonsOf(RomObject* mesh) { return Child(RomUserElementDataCfgConfigurePolygonData, UserPartOf(mesh)); }
RomObject* PolyhedronsOf(RomObject* mesh) {
    return Child(RomUserElementDataCfgConfigurePolyhedronData, UserPartOf(mesh));
}

RomObject* AddSupport(RomObject* region, const char* id, std::uint32_t size, std::int32_t type) {
    RomObject* support = Child(RomRegionCfgAddSupport, region);
    ROM_OK(RomSetSolverId(support, id));
    ROM_OK(RomSupportCfgSetEntityCount(support, size));
    ROM_OK(RomSupportCfgSetEntitiesType(support, type));
    return support;
}

RomObject* AddRegion(RomObject* mesh, const char* id) {
    RomObject* region = Child(RomMeshDataCfgAddRegion, mesh);
    ROM_OK(RomSetSolverId(region, id));
    ROM_OK(RomRegionCfgSetCaption(region, (std::string("caption of ") + id).c_str()));
    return region;
}

void SetNodes(RomObject* mesh, std::uint32_t count = 10, std::int32_t dimension = 3) {
    RomObject* nodes = Child(RomMeshDataCfgConfigureNodeData, mesh);
    ROM_OK(RomNodeDataCfgSetCount(nodes, count));
    ROM_OK(RomNodeDataCfgSetDimension(nodes, dimension));
}

// Node and standard element tables that pass their checks.
void SetTables(RomObject* mesh) {
    SetNodes(mesh);
    ROM_OK(RomStdElementDataCfgSetCount(StdPartOf(mesh), 2));
    ROM_OK(RomStdElementDataCfgSetConnectivityTableSize(StdPartOf(mesh), 8));
}

struct SupportPlan { const char* id; std::uint32_t size; std::int32_t type; };
struct RegionPlan { const char* id; std::vector<SupportPlan> supports; };
void AddRegions(RomObject* mesh, const std::vector<RegionPlan>& regions) {
    for (const RegionPlan& r : regions) {
        RomObject* region = AddRegion(mesh, r.id);
        for (const SupportPlan& s : r.supports) AddSupport(region, s.id, s.size, s.type);
    }
}

// A consistent mesh: R1 {S1, S2} and R2 {S3}.
void BuildMesh(RomObject* mesh) {
    SetTables(mesh);
    AddRegions(mesh, {{"R1", {{"S1", 4, 1}, {"S2", 2, 2}}}, {"R2", {{"S3", 3, 5}}}});
}

// The same with every part of the element data and a unit.
void BuildFullMesh(RomObject* mesh) {
    BuildMesh(mesh);
    ROM_OK(RomMeshDataCfgSetUnit(mesh, "mm"));
    ROM_OK(RomPolygonDataCfgSetCount(PolygonsOf(mesh), 2));
    ROM_OK(RomPolygonDataCfgSetConnectivityTableSize(PolygonsOf(mesh), 7));
    ROM_OK(RomPolyhedronDataCfgSetCount(PolyhedronsOf(mesh), 1));
    ROM_OK(RomPolyhedronDataCfgSetConnectivityTableSize(PolyhedronsOf(mesh), 30));
}

RomObject* AddField(RomObject* setup, const char* id, const std::vector<std::string>& components,
                    const std::vector<std::string>& supports) {
    RomObject* field = Child(RomSetupCfgAddField, setup);
    ROM_OK(RomSetSolverId(field, id));
    ROM_OK(RomFieldCfgSetCaption(field, (std::string("caption of ") + id).c_str()));
    for (const std::string& componentId : components) {
        RomObject* component = Child(RomFieldCfgAddComponent, field);
        ROM_OK(RomSetSolverId(component, componentId.c_str()));
        ROM_OK(RomComponentCfgSetCaption(component, ("caption of " + componentId).c_str()));
    }
    for (const std::string& supportId : supports) ROM_OK(RomFieldCfgAddSupport(field, supportId.c_str()));
    return field;
}

void BuildSetup(RomObject* setup) {
    BuildFullMesh(MeshOf(setup));
    RomObject* pressure = AddField(setup, "F1", {"C1", "C2"}, {"S1", "S3"});
    ROM_OK(RomFieldCfgSetQuantity(pressure, "pressure"));
    ROM_OK(RomFieldCfgSetUnit(pressure, "Pa"));
    RomObject* velocity = AddField(setup, "F2", {"C3"}, {"S2"});
    ROM_OK(RomFieldCfgSetQuantity(velocity, "velocity"));
    ROM_OK(RomFieldCfgSetUnit(velocity, "m/s"));
    ROM_OK(RomFieldCfgSetEntitiesType(velocity, 7));
}

RomObject* SnapshotSupport(RomObject* snapshot, const char* id, std::uint32_t size) {
    RomObject* support = Child(RomSnapshotCfgAddSupport, snapshot);
    ROM_OK(RomSetSolverId(support, id));
    ROM_OK(RomSupportCfgSetEntityCount(support, size));
    return support;
}

RomObject* SnapshotComponent(RomObject* snapshot, const char* id) {
    RomObject* component = Child(RomSnapshotCfgAddComponent, snapshot);
    ROM_OK(RomSetSolverId(component, id));
    return component;
}

// S1 -> [C2, C1], S3 -> [C1]; S2 has no list.
void BuildSnapshot(RomObject* snapshot) {
    RomObject* s1 = SnapshotSupport(snapshot, "S1", 4);
    ROM_OK(RomSupportCfgSetEntitiesType(SnapshotSupport(snapshot, "S2", 2), 3));
    RomObject* s3 = SnapshotSupport(snapshot, "S3", 3);
    RomObject* c1 = SnapshotComponent(snapshot, "C1");
    ROM_OK(RomComponentCfgSetCaption(c1, "first"));
    ROM_OK(RomSnapshotCfgAddComponentToSupport(snapshot, SnapshotComponent(snapshot, "C2"), s1));
    ROM_OK(RomSnapshotCfgAddComponentToSupport(snapshot, c1, s1));
    ROM_OK(RomSnapshotCfgAddComponentToSupport(snapshot, c1, s3));
}

// ---- Descriptions, compared before and after a file ---------------------------------

std::string DescribeSupport(RomObject* support) {
    return Id(support) + ":" + std::to_string(Read(RomSupportCfgGetEntityCount, support)) + ":" +
           std::to_string(Read(RomSupportCfgGetEntitiesType, support));
}

using SizeFn = RomExceptionHandle (*)(RomObject*, std::uint32_t*);
std::string Sizes(SizeFn count, SizeFn size, RomObject* part) {
    return std::to_string(Read(count, part)) + "/" + std::to_string(Read(size, part));
}

std::string DescribeMesh(RomObject* mesh) {
    std::ostringstream out;
    RomObject* nodes = Child(RomMeshDataCfgGetNodeDataCfg, mesh);
    out << "nodes " << Read(RomNodeDataCfgGetCount, nodes) << "x" << Read(RomNodeDataCfgGetDimension, nodes);
    RomObject* elements = Child(RomMeshDataCfgGetElementDataCfg, mesh);
    RomObject* part = nullptr;
    RomObject* user = nullptr;
    if (RomElementDataCfgTryGetStdElementDataCfg(elements, &part))
        out << " std " << Sizes(RomStdElementDataCfgGetCount, RomStdElementDataCfgGetConnectivityTableSize, part);
    if (RomElementDataCfgTryGetUserElementDataCfg(elements, &user)) {
        out << " user";
        if (RomUserElementDataCfgTryGetPolyhedronDataCfg(user, &part))
            out << " polyhedrons "
                << Sizes(RomPolyhedronDataCfgGetCount, RomPolyhedronDataCfgGetConnectivityTableSize, part);
        if (RomUserElementDataCfgTryGetPolygonDataCfg(user, &part))
            out << " polygons " << Sizes(RomPolygonDataCfgGetCount, RomPolygonDataCfgGetConnectivityTableSize, part);
    }
    out << " unit '" << ReadText(RomMeshDataCfgGetUnit, mesh) << "'";
    for (RomObject* region : Members(Child(RomMeshDataCfgGetRegionCfgs, mesh))) {
        out << "; " << Id(region) << " '" << ReadText(RomRegionCfgGetCaption, region) << "'";
        for (RomObject* support : Members(Child(RomRegionCfgGetSupportCfgs, region)))
            out << " " << DescribeSupport(support);
    }
    return out.str();
}

std::string DescribeSetup(RomObject* setup) {
    std::ostringstream out;
    out << DescribeMesh(Child(RomSetupCfgGetMeshData, setup));
    for (RomObject* field : Members(Child(RomSetupCfgGetFields, setup))) {
        out << "; field " << Id(field) << " '" << ReadText(RomFieldCfgGetCaption, field) << "' "
            << ReadText(RomFieldCfgGetQuantity, field) << " " << ReadText(RomFieldCfgGetUnit, field) << " "
            << Read(RomFieldCfgGetEntitiesType, field);
        for (RomObject* component : Members(Child(RomFieldCfgGetComponentCfgs, field)))
            out << " c " << Id(component) << " '" << ReadText(RomComponentCfgGetCaption, component) << "'";
        for (RomObject* id : Members(Child(RomFieldCfgGetSupportCfgIds, field)))
            out << " s " << RomSolverIdentifierGetId(id);
    }
    return out.str();
}

std::string DescribeSnapshot(RomObject* snapshot) {
    std::ostringstream out;
    const std::vector<RomObject*> supports = Members(Child(RomSnapshotCfgGetSupportCfgs, snapshot));
    for (RomObject* support : supports) out << DescribeSupport(support) << " ";
    for (RomObject* component : Members(Child(RomSnapshotCfgGetComponentCfgs, snapshot)))
        out << Id(component) << " '" << ReadText(RomComponentCfgGetCaption, component) << "' ";
    for (RomObject* support : supports) {
        RomObject* list = nullptr;
        if (TextOf(RomSnapshotCfgGetComponentsOfSupport(snapshot, support, &list)) != kOk) continue;
        out << Id(support) << "->";
        for (RomObject* component : Members(list)) out << Id(component) << ",";
        out << " ";
    }
    return out.str();
}

// ---- Files -------------------------------------------------------------------------

Json::Value ReadJson(const std::string& path) {
    std::ifstream in(path);
    Json::Value root;
    std::string errors;
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), in, &root, &errors)) << path << ": " << errors;
    return root;
}

// Member names in order, without the generated internal id.
std::vector<std::string> Keys(const Json::Value& object) {
    std::vector<std::string> keys = object.getMemberNames();
    keys.erase(std::remove(keys.begin(), keys.end(), "internalId"), keys.end());
    std::sort(keys.begin(), keys.end());
    return keys;
}

std::vector<std::string> Strings(const Json::Value& array, const char* member = nullptr) {
    std::vector<std::string> texts;
    for (const Json::Value& item : array) texts.push_back((member == nullptr ? item : item[member]).asString());
    return texts;
}

class ConfigurationFiles : public TempDirTest {
protected:
    // A configuration document written by hand.
    std::string WriteDocument(const std::string& name, const std::string& key, const std::string& body) {
        const std::string path = Path(name);
        WriteBytes(path, R"({"version": 1, "loomsteadVersion": [18, 2], ")" + key + "\": " + body + "}");
        return path;
    }
};

}  // namespace

// ---- Checks ------------------------------------------------------------------------

TEST(ConfigurationChecks, NodeDataCountThenDimension) {
    const std::string noDimension = "The dimension has not been defined in node data configuration.";
    struct Case { std::uint32_t count; std::int32_t dimension; std::string message; std::uint32_t coordinates; };
    const Case cases[] = {
        {0, 0, kNoNodes, 0},   {0, 3, kNoNodes, 0}, {10, 0, noDimension, 0}, {10, 3, kOk, 30},
        {100000, 100000, kOk, 1410065408u},  // wraps modulo 2^32
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.count) + "x" + std::to_string(c.dimension));
        Owned mesh = NewMesh();
        SetNodes(mesh.get(), c.count, c.dimension);
        RomObject* nodes = Child(RomMeshDataCfgConfigureNodeData, mesh.get());
        EXPECT_EQ(Check(nodes), c.message);
        EXPECT_EQ(Check(mesh.get()), c.message == kOk ? kNoElementData : c.message);
        EXPECT_EQ(Read(RomNodeDataCfgGetCoordinateTableSize, nodes), c.coordinates);
    }
}

TEST(ConfigurationChecks, ElementTablesCountThenConnectivity) {
    using SetFn = RomExceptionHandle (*)(RomObject*, std::uint32_t);
    const std::string noSize = "The size of the connectivity table has not been defined in ";
    struct Family {
        const char* name;
        RomObject* (*configure)(RomObject* mesh);
        SetFn setCount, setSize;
        SizeFn getCount, getSize;
        std::string countMessage, sizeMessage;
    };
    const Family families[] = {
        {"standard", StdPartOf, RomStdElementDataCfgSetCount, RomStdElementDataCfgSetConnectivityTableSize,
         RomStdElementDataCfgGetCount, RomStdElementDataCfgGetConnectivityTableSize, kStdCount,
         noSize + "standard element data configuration."},
        {"polygon", PolygonsOf, RomPolygonDataCfgSetCount, RomPolygonDataCfgSetConnectivityTableSize,
         RomPolygonDataCfgGetCount, RomPolygonDataCfgGetConnectivityTableSize,
         "The number of polygon has not been defined in polygon data configuration.",
         noSize + "polygon data configuration."},
        {"polyhedron", PolyhedronsOf, RomPolyhedronDataCfgSetCount, RomPolyhedronDataCfgSetConnectivityTableSize,
         RomPolyhedronDataCfgGetCount, RomPolyhedronDataCfgGetConnectivityTableSize, kPolyhedronCount,
         noSize + "polyhedron data configuration."},
    };
    for (const Family& f : families) {
        for (const std::uint32_t count : {0u, 5u}) {
            for (const std::uint32_t size : {0u, 20u}) {
                SCOPED_TRACE(std::string(f.name) + " " + std::to_string(count) + "/" + std::to_string(size));
                Owned mesh = NewMesh();
                SetNodes(mesh.get());
                RomObject* table = f.configure(mesh.get());
                ROM_OK(f.setCount(table, count));
                ROM_OK(f.setSize(table, size));
                const std::string expected = count == 0 ? f.countMessage : size == 0 ? f.sizeMessage : kOk;
                EXPECT_EQ(Check(table), expected);
                EXPECT_EQ(Check(ElementsOf(mesh.get())), expected);
                EXPECT_EQ(Check(mesh.get()), expected == kOk ? kNoRegion : expected);
                EXPECT_EQ(Sizes(f.getCount, f.getSize, table), std::to_string(count) + "/" + std::to_string(size));
            }
        }
    }
}

TEST(ConfigurationChecks, ElementDataParts) {
    ExpectChecks(NewMesh, ElementsOf, {
        {"nothing", [](RomObject*) {}, kNoElementData},
        {"empty user part", [](RomObject* mesh) { UserPartOf(mesh); }, kNoUserParts},
        {"polygons only",
         [](RomObject* mesh) {
             ROM_OK(RomPolygonDataCfgSetCount(PolygonsOf(mesh), 2));
             ROM_OK(RomPolygonDataCfgSetConnectivityTableSize(PolygonsOf(mesh), 6));
         },
         kOk},
        {"standard before user", [](RomObject* mesh) { StdPartOf(mesh), UserPartOf(mesh); }, kStdCount},
        {"valid standard, empty user", [](RomObject* mesh) { SetTables(mesh), UserPartOf(mesh); }, kNoUserParts},
        {"polyhedrons before polygons", [](RomObject* mesh) { PolygonsOf(mesh), PolyhedronsOf(mesh); },
         kPolyhedronCount},
        {"every part valid", BuildFullMesh, kOk},
    });
}

TEST(ConfigurationChecks, Supports) {
    // A region's support needs an entity type; a snapshot's does not.
    struct SupportCase { bool inRegion; const char* id; std::uint32_t size; std::int32_t type; std::string message; };
    const SupportCase supports[] = {
        {true, "", 4, 1, kSupportId},  {true, "S", 0, 1, kSupportSize},  {true, "S", 4, 0, kSupportType},
        {true, "S", 4, -3, kOk},       {false, "", 4, 0, kSupportId},    {false, "S", 0, 7, kSupportSize},
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

TEST(ConfigurationChecks, RegionsAndMeshDataOrder) {
    const std::string duplicate =
        "In mesh data configuration, supports with the same solverId have been added to different regions !\n"
        " solverId of support is :D";
    const std::string noRegionId = "No solver id has been set to the region configuration !";
    // region: what the first region's own check says, where the case looks at it.
    struct Case { const char* name; bool tables; std::vector<RegionPlan> regions; std::string message, region; };
    const Case cases[] = {
        {"empty", false, {}, kNoNodes, ""},
        {"nodes before regions", false, {{"", {}}}, kNoNodes, ""},
        {"no region", true, {}, kNoRegion, ""},
        {"region without id", true, {{"", {{"S", 4, 1}}}}, noRegionId, noRegionId},
        {"region without support", true, {{"R", {}}}, kNoSupport, kNoSupport},
        {"supports of a region checked", true, {{"R", {{"A", 4, 1}, {"B", 4, 0}}}}, kSupportType, kSupportType},
        {"regions before duplicates", true, {{"R1", {{"D", 4, 1}}}, {"R2", {{"D", 4, 1}}}, {"R3", {}}}, kNoSupport,
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

TEST(ConfigurationChecks, SetupOrder) {
    const std::string unknown = "The support X is not part of the mesh but it has been added to the field F.";
    ExpectChecks(NewSetup, Itself, {
        {"empty", [](RomObject*) {}, kNoNodes},
        {"mesh before fields", [](RomObject* s) { AddField(s, "F", {"C"}, {"S1"}); }, kNoNodes},
        {"consistent", BuildSetup, kOk},
    });
    const auto withMesh = [] {
        Owned setup = NewSetup();
        BuildMesh(MeshOf(setup.get()));
        return setup;
    };
    ExpectChecks(withMesh, Itself, {
        {"no field", [](RomObject*) {}, "The ROM setup needs at least one field."},
        {"field without id", [](RomObject* s) { Child(RomSetupCfgAddField, s); },
         "No ID has been assigned to a field."},
        {"field without caption", [](RomObject* s) { ROM_OK(RomSetSolverId(Child(RomSetupCfgAddField, s), "F")); },
         "No caption has been set to the field configuration F."},
        {"no component", [](RomObject* s) { AddField(s, "F", {}, {"S1"}); },
         "At least one component has to be added to the field !"},
        {"component checked",
         [](RomObject* s) { ROM_OK(RomSetSolverId(Child(RomFieldCfgAddComponent, AddField(s, "F", {}, {})), "C")); },
         kComponentCaption},
        {"no support", [](RomObject* s) { AddField(s, "F", {"C"}, {}); },
         "At least one support has to be added to the field !"},
        {"two supports of one region", [](RomObject* s) { AddField(s, "F", {"C"}, {"S3", "S2", "S1"}); },
         kTwoSupports + "S2 and S1."},
        {"two supports before unknown ones", [](RomObject* s) { AddField(s, "F", {"C"}, {"S1", "X", "S2"}); },
         kTwoSupports + "S1 and S2."},
        {"unknown support", [](RomObject* s) { AddField(s, "F", {"C"}, {"S1", "X"}); }, unknown},
        {"a field is finished before the next",
         [](RomObject* s) { AddField(s, "F", {"C"}, {"X"}), Child(RomSetupCfgAddField, s); }, unknown},
    });
}

TEST(ConfigurationChecks, FieldSupportIdsAndComponents) {
    Owned setup = NewSetup();
    RomObject* field = AddField(setup.get(), "F", {}, {"S1", "S2"});
    EXPECT_EQ(TextOf(RomFieldCfgAddSupport(field, "S1")), "The support S1 has been added twice to the field F.");
    std::vector<std::string> ids;
    for (RomObject* id : Members(Child(RomFieldCfgGetSupportCfgIds, field)))
        ids.push_back(RomSolverIdentifierGetId(id));
    EXPECT_EQ(ids, (std::vector<std::string>{"S1", "S2"}));

    // A field's component needs a caption; a snapshot's does not.
    struct Case { bool inField; const char* caption; const char* id; std::string message; };
    const Case cases[] = {
        {true, "", "", kComponentCaption}, {true, "", "C", kComponentCaption}, {true, "c", "", kComponentId},
        {true, "c", "C", kOk},             {false, "", "", kComponentId},      {false, "", "C", kOk},
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

const std::string kSameSupportId = "Two supports of the snapshot configuration have the solver id S.";
// Supports S and S, the second with a list.
void DuplicateSupport(RomObject* s) {
    SnapshotSupport(s, "S", 2);
    ROM_OK(RomSnapshotCfgAddComponentToSupport(s, SnapshotComponent(s, "C"), SnapshotSupport(s, "S", 4)));
}

TEST(ConfigurationChecks, SnapshotOrder) {
    const std::string noSupport = "A snapshot must have at least one support.";
    ExpectChecks(NewSnapshot, Itself, {
        {"empty", [](RomObject*) {}, noSupport},
        {"component only", [](RomObject* s) { SnapshotComponent(s, "C"); }, noSupport},
        {"support only", [](RomObject* s) { SnapshotSupport(s, "S", 4); },
         "A snapshot must have at least one component."},
        {"supports before components", [](RomObject* s) { SnapshotSupport(s, "S", 0), SnapshotComponent(s, ""); },
         kSupportSize},
        {"components checked", [](RomObject* s) { SnapshotSupport(s, "S", 4), SnapshotComponent(s, ""); },
         kComponentId},
        {"no association", [](RomObject* s) { SnapshotSupport(s, "S", 4), SnapshotComponent(s, "C"); },
         "No component associated to a support !"},
        {"a support without list is tolerated",
         [](RomObject* s) {
             SnapshotSupport(s, "Lonely", 2);
             ROM_OK(RomSnapshotCfgAddComponentToSupport(s, SnapshotComponent(s, "C"), SnapshotSupport(s, "S", 4)));
         },
         kOk},
        {"consistent", BuildSnapshot, kOk},
        // A file names supports and components by solver id: ones it could not tell apart.
        {"unlisted supports may share an id", [](RomObject* s) {
             SnapshotSupport(s, "Lonely", 2), SnapshotSupport(s, "Lonely", 3);
             ROM_OK(RomSnapshotCfgAddComponentToSupport(s, SnapshotComponent(s, "C"), SnapshotSupport(s, "S", 4)));
         }, kOk},
        {"a listed support's id twice", DuplicateSupport, kSameSupportId},
        {"a listed component's id twice", [](RomObject* s) {
             SnapshotComponent(s, "C");
             ROM_OK(RomSnapshotCfgAddComponentToSupport(s, SnapshotComponent(s, "C"), SnapshotSupport(s, "S", 4)));
         }, "Two components of the snapshot configuration have the solver id C."},
    });
}

// Nor is such a configuration written, alone or in a snapshot.
TEST_F(ConfigurationFiles, AmbiguousSnapshotConfigurationsAreNotWritten) {
    Owned duplicate = NewSnapshot();
    DuplicateSupport(duplicate.get());
    EXPECT_EQ(TextOf(RomPersistableSave(duplicate.get(), Path("twice.romcfg").c_str())), kSameSupportId);
    Owned snapshot = Create(RomFactoryCreateSnapshot);
    ROM_OK(RomSnapshotInitialize(snapshot.get(), duplicate.get()));
    RomObject* data = nullptr;
    ROM_OK(RomSnapshotGetComponentData(snapshot.get(), "C", "S", &data));
    for (std::uint32_t id = 0; id < 4; ++id) ROM_OK(RomSnapshotComponentDataAddValue(data, id, 1.0));
    EXPECT_EQ(TextOf(RomPersistableSave(snapshot.get(), Path("twice.romsnp").c_str())), kSameSupportId);
    EXPECT_TRUE(Files().empty());
}

// The other kinds are checked on their own, valid and not, by the tests above.
TEST(ConfigurationChecks, UserElementsFieldsAndNoConfiguration) {
    Owned setup = NewSetup();
    BuildSetup(setup.get());
    EXPECT_EQ(Check(UserPartOf(MeshOf(setup.get()))), kOk);
    EXPECT_EQ(Check(Members(Child(RomSetupCfgGetFields, setup.get()))[1]), kOk);
    Owned point = Create(RomFactoryCreateUserPoint);
    EXPECT_NE(Check(point.get()), kOk) << "a point is no configuration";
}

// ---- Exports -----------------------------------------------------------------------

TEST(ConfigurationExports, AddComponentToSupport) {
    Owned other = NewSnapshot();
    RomObject* foreignComponent = SnapshotComponent(other.get(), "FC");
    RomObject* foreignSupport = SnapshotSupport(other.get(), "FS", 1);
    struct Case {
        const char* name;
        bool hasComponent, hasSupport, foreignComponent, foreignSupport;
        std::string message;
    };
    const Case cases[] = {
        {"empty", false, false, true, true, kNoPair},
        {"no support", true, false, false, true, kNoPair},
        {"no component", false, true, true, false, kNoPair},
        {"component of another", true, true, true, false, "The snapshot does not have the component FC."},
        {"support of another", true, true, false, true, "The snapshot does not have the support FS."},
        {"component looked at first", true, true, true, true, "The snapshot does not have the component FC."},
        {"own", true, true, false, false, kOk},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Owned snapshot = NewSnapshot();
        RomObject* component = c.hasComponent ? SnapshotComponent(snapshot.get(), "C") : nullptr;
        RomObject* support = c.hasSupport ? SnapshotSupport(snapshot.get(), "S", 2) : nullptr;
        EXPECT_EQ(TextOf(RomSnapshotCfgAddComponentToSupport(snapshot.get(),
                                                             c.foreignComponent ? foreignComponent : component,
                                                             c.foreignSupport ? foreignSupport : support)),
                  c.message);
    }

    Owned snapshot = NewSnapshot();
    RomObject* linked = SnapshotSupport(snapshot.get(), "S", 2);
    RomObject* bare = SnapshotSupport(snapshot.get(), "B", 2);
    RomObject* component = SnapshotComponent(snapshot.get(), "C");
    ROM_OK(RomSnapshotCfgAddComponentToSupport(snapshot.get(), component, linked));
    const std::string again = TextOf(RomSnapshotCfgAddComponentToSupport(snapshot.get(), component, linked));
    EXPECT_EQ(again.rfind("Object with id ", 0), 0u) << again;
    EXPECT_NE(again.find(" already exists in container !"), std::string::npos) << again;

    RomObject* list = Child(RomSnapshotCfgGetComponentCfgs, snapshot.get());
    ROM_OK(RomSnapshotCfgGetComponentsOfSupport(snapshot.get(), linked, &list));
    EXPECT_EQ(Members(list), std::vector<RomObject*>{component});
    EXPECT_EQ(TextOf(RomSnapshotCfgGetComponentsOfSupport(snapshot.get(), bare, &list)), "invalid map<K, T> key");
}

TEST(ConfigurationExports, GetSupportCfgBySolverId) {
    auto lookUp = [](RomObject* mesh, const char* id) {
        RomObject* support = nullptr;
        return TextOf(RomMeshDataCfgGetSupportCfg(mesh, id, &support)) == kOk ? support : nullptr;
    };
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

TEST(ConfigurationExports, TryGetAndConfigureParts) {
    struct Case {
        const char* name;
        RomObject* (*parentOf)(RomObject* mesh);
        bool (*tryGet)(RomObject*, RomObject**);
        ChildFn configure;
    };
    const Case cases[] = {
        {"standard", ElementsOf, RomElementDataCfgTryGetStdElementDataCfg, RomElementDataCfgConfigureStdElementData},
        {"user", ElementsOf, RomElementDataCfgTryGetUserElementDataCfg, RomElementDataCfgConfigureUserElementData},
        {"polygon", UserPartOf, RomUserElementDataCfgTryGetPolygonDataCfg, RomUserElementDataCfgConfigurePolygonData},
        {"polyhedron", UserPartOf, RomUserElementDataCfgTryGetPolyhedronDataCfg,
         RomUserElementDataCfgConfigurePolyhedronData},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Owned mesh = NewMesh();
        RomObject* parent = c.parentOf(mesh.get());
        RomObject* found = mesh.get();
        EXPECT_FALSE(c.tryGet(parent, &found));
        EXPECT_EQ(found, nullptr);
        RomObject* part = Child(c.configure, parent);
        ASSERT_NE(part, nullptr);
        EXPECT_EQ(Child(c.configure, parent), part);
        EXPECT_TRUE(c.tryGet(parent, &found));
        EXPECT_EQ(found, part);
    }

    Owned setup = NewSetup();
    RomObject* mesh = MeshOf(setup.get());
    EXPECT_EQ(Child(RomSetupCfgGetMeshData, setup.get()), mesh);
    EXPECT_EQ(Child(RomMeshDataCfgGetNodeDataCfg, mesh), Child(RomMeshDataCfgConfigureNodeData, mesh));
    EXPECT_EQ(Child(RomMeshDataCfgGetElementDataCfg, mesh), ElementsOf(mesh));
}

// ---- Files -------------------------------------------------------------------------

TEST_F(ConfigurationFiles, DocumentsRoundTrip) {
    struct Document {
        const char* name;
        Owned (*create)();
        void (*build)(RomObject*);
        std::string (*describe)(RomObject*);
        const char* key;
    };
    const Document documents[] = {
        {"mesh", NewMesh, BuildFullMesh, DescribeMesh, "meshData"},
        {"setup", NewSetup, BuildSetup, DescribeSetup, "setup"},
        {"snapshot", NewSnapshot, BuildSnapshot, DescribeSnapshot, "snapshot"},
    };
    for (const Document& d : documents) {
        SCOPED_TRACE(d.name);
        Owned original = d.create();
        d.build(original.get());
        ASSERT_EQ(Check(original.get()), kOk);
        const std::string path = Path(std::string(d.name) + ".romcfg");
        ROM_OK(RomPersistableSave(original.get(), path.c_str()));

        const Json::Value root = ReadJson(path);
        EXPECT_EQ(Keys(root), (std::vector<std::string>{"loomsteadVersion", d.key, "version"}));
        EXPECT_EQ(root["version"].asInt(), 1);
        ASSERT_EQ(root["loomsteadVersion"].size(), 2u);
        EXPECT_EQ(root["loomsteadVersion"][0].asInt(), 18);
        EXPECT_EQ(root["loomsteadVersion"][1].asInt(), 2);

        Owned copy = d.create();
        ROM_OK(RomPersistableResume(copy.get(), path.c_str()));
        EXPECT_EQ(d.describe(copy.get()), d.describe(original.get()));
        EXPECT_EQ(Check(copy.get()), kOk) << "owners are restored on reading";
    }
}

TEST_F(ConfigurationFiles, MembersWrittenOnlyWhenSet) {
    Owned setup = NewSetup();
    const std::string path = Path("setup.romcfg");
    ROM_OK(RomPersistableSave(setup.get(), path.c_str()));
    const Json::Value bare = ReadJson(path)["setup"];

    RomObject* mesh = MeshOf(setup.get());
    RomObject* region = AddRegion(mesh, "R");
    ROM_OK(RomRegionCfgSetParentRegion(region, "Parent"));
    EXPECT_EQ(ReadText(RomRegionCfgGetParentRegion, region), "Parent");
    AddSupport(region, "bare", 0, 0);
    AddSupport(region, "full", 4, -2);
    StdPartOf(mesh);
    PolygonsOf(mesh);
    AddField(setup.get(), "plain", {"C"}, {"full"});
    ROM_OK(RomFieldCfgSetEntitiesType(AddField(setup.get(), "typed", {"C"}, {"full"}), 5));
    ROM_OK(RomPersistableSave(setup.get(), path.c_str()));
    EXPECT_EQ(ReadBytes(path).find("Parent"), std::string::npos);
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
    EXPECT_EQ(DescribeSetup(copy.get()), DescribeSetup(setup.get()));
    RomObject* resumed = Members(Child(RomMeshDataCfgGetRegionCfgs, MeshOf(copy.get())))[0];
    EXPECT_EQ(ReadText(RomRegionCfgGetParentRegion, resumed), "");
}

TEST_F(ConfigurationFiles, ResumedElementDataDropsMissingParts) {
    Owned mesh = NewMesh();
    SetNodes(mesh.get(), 7, 2);
    StdPartOf(mesh.get());
    AddSupport(AddRegion(mesh.get(), "Old"), "O", 1, 1);
    RomObject* found = nullptr;
    ROM_OK(RomMeshDataCfgGetSupportCfg(mesh.get(), "O", &found));

    const std::string path = WriteDocument("mesh.romcfg", "meshData", R"({
        "elementData": {"userElementData": {"polygonData": {"count": 2, "connectivityTableSize": 6}}},
        "regions": [{"solverId": "R", "caption": "", "supports": [{"solverId": "S", "size": 3, "entityType": 1}]}]
    })");
    ROM_OK(RomPersistableResume(mesh.get(), path.c_str()));
    EXPECT_EQ(DescribeMesh(mesh.get()), "nodes 7x2 user polygons 2/6 unit ''; R '' S:3:1");
    EXPECT_EQ(TextOf(RomMeshDataCfgGetSupportCfg(mesh.get(), "O", &found)), kNotFound + "O. Unknown solver id.");
    ROM_OK(RomMeshDataCfgGetSupportCfg(mesh.get(), "S", &found));
    EXPECT_EQ(DescribeSupport(found), "S:3:1");
}

TEST_F(ConfigurationFiles, InconsistentFilesFail) {
    const std::string anyError;
    const std::string objects = R"("supports": [{"solverId": "S1", "size": 2}], "components": [{"solverId": "C1"}], )";
    struct Case { const char* name; Owned (*create)(); const char* key; std::string body; std::string message; };
    const Case cases[] = {
        {"unknown support", NewSnapshot, "snapshot", objects + R"("componentSupports": {"SX": ["C1"]})",
         "The snapshot configuration file is inconsistent: it contains a list of components associated to the "
         "unknow support SX."},
        {"unknown component", NewSnapshot, "snapshot", objects + R"("componentSupports": {"S1": ["C1", "CX"]})",
         "The snapshot configuration file is inconsistent: the support S1 is associated to the unknow component CX."},
        {"negative size", NewSnapshot, "snapshot", R"("supports": [{"solverId": "S", "size": -4}])", anyError},
        {"text count", NewMesh, "meshData", R"("nodeData": {"count": "abc", "dim": 3})", anyError},
        {"text entity type", NewSetup, "setup", R"("fields": [{"solverId": "F", "entityType": "x"}])", anyError},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = WriteDocument("bad.romcfg", c.key, "{" + c.body + "}");
        Owned object = c.create();
        const std::string text = TextOf(RomPersistableResume(object.get(), path.c_str()));
        if (c.message == anyError) {
            EXPECT_NE(text, kOk);
        } else {
            EXPECT_EQ(text, c.message);
        }
    }
}

TEST_F(ConfigurationFiles, SetupSavesSnapshotAndMeshConfigurations) {
    Owned setup = NewSetup();
    BuildMesh(MeshOf(setup.get()));
    AddField(setup.get(), "F1", {"C1", "C2"}, {"S1"});
    AddField(setup.get(), "F2", {"C2", "C3"}, {"S3"});
    ASSERT_EQ(Check(setup.get()), kOk);
    const std::string before = DescribeSetup(setup.get());

    const std::string snapshotPath = Path("snapshot.romcfg");
    ROM_OK(RomSetupCfgSaveSnapshotConfiguration(setup.get(), snapshotPath.c_str()));
    EXPECT_EQ(DescribeSetup(setup.get()), before);
    const Json::Value root = ReadJson(snapshotPath);
    EXPECT_EQ(Keys(root), (std::vector<std::string>{"loomsteadVersion", "snapshot", "version"}));
    const Json::Value& snapshot = root["snapshot"];
    EXPECT_EQ(Strings(snapshot["supports"], "solverId"), (std::vector<std::string>{"S1", "S2", "S3"}));
    EXPECT_EQ(Strings(snapshot["supports"], "size"), (std::vector<std::string>{"4", "2", "3"}));
    for (const Json::Value& support : snapshot["supports"]) EXPECT_FALSE(support.isMember("entityType"));
    EXPECT_EQ(Strings(snapshot["components"], "solverId"), (std::vector<std::string>{"C1", "C2", "C3"}));
    const Json::Value& links = snapshot["componentSupports"];
    ASSERT_TRUE(links.isObject());
    EXPECT_EQ(Keys(links), (std::vector<std::string>{"S1", "S3"}));
    EXPECT_EQ(Strings(links["S1"]), (std::vector<std::string>{"C1", "C2"}));
    EXPECT_EQ(Strings(links["S3"]), (std::vector<std::string>{"C2", "C3"}));

    Owned resumed = NewSnapshot();
    ROM_OK(RomPersistableResume(resumed.get(), snapshotPath.c_str()));
    EXPECT_EQ(Check(resumed.get()), kOk);
    EXPECT_EQ(DescribeSnapshot(resumed.get()), "S1:4:0 S2:2:0 S3:3:0 C1 '' C2 '' C3 '' S1->C1,C2, S3->C2,C3, ");

    const std::string meshPath = Path("mesh.romcfg");
    ROM_OK(RomSetupCfgSaveMeshConfiguration(setup.get(), meshPath.c_str()));
    EXPECT_EQ(Keys(ReadJson(meshPath)), (std::vector<std::string>{"loomsteadVersion", "meshData", "version"}));
    Owned mesh = NewMesh();
    ROM_OK(RomPersistableResume(mesh.get(), meshPath.c_str()));
    EXPECT_EQ(DescribeMesh(mesh.get()), DescribeMesh(MeshOf(setup.get())));
    EXPECT_EQ(Check(mesh.get()), kOk);

    // A component given twice on one support: nothing is written.
    AddField(setup.get(), "F3", {"C2"}, {"S1"});
    const std::string failedPath = Path("failed.romcfg");
    const std::string text = TextOf(RomSetupCfgSaveSnapshotConfiguration(setup.get(), failedPath.c_str()));
    EXPECT_NE(text.find("already exists in container !"), std::string::npos) << text;
    EXPECT_FALSE(std::filesystem::exists(failedPath));
}
