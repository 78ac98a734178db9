// Configurations built through the exported functions, and their checks.
#ifndef TERVIK_ROM_TESTS_SUPPORT_CONFIGURATIONS_HPP
#define TERVIK_ROM_TESTS_SUPPORT_CONFIGURATIONS_HPP

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

#include <json/json.h>

#include "support/exports.hpp"
#include "support/snapshots.hpp"

inline const std::string kNoNodes = "The number of nodes has not been defined in node data configuration.";
inline const std::string kNoElementData = "No user element data have been configurated !";
inline const std::string kNoRegion = "No region has been configured in the mesh data !";
inline const std::string kSupportId = "No solver id has been set to the support configuration !";
inline const std::string kSupportSize = "Every support must have a size defined and greater than zero.";
inline const std::string kComponentCaption = "No caption has been set to the component configuration !";
inline const std::string kComponentId = "No solver id has been set to the component configuration !";

inline Owned NewSetup() { return Create(RomFactoryCreateSetupCfg); }
inline Owned NewMesh() { return Create(RomFactoryCreateMeshDataCfg); }
inline Owned NewSnapshot() { return Create(RomFactoryCreateSnapshotCfg); }

inline std::string Check(RomObject* configuration) { return TextOf(RomConfigurationCheck(configuration)); }

// Each case builds on a fresh object of create(); checked(object) is what it checks.
struct CheckCase {
    const char* name;
    void (*build)(RomObject*);
    std::string message;
};
inline void ExpectChecks(Owned (*create)(), RomObject* (*checked)(RomObject*), std::initializer_list<CheckCase> cases) {
    for (const CheckCase& c : cases) {
        SCOPED_TRACE(c.name);
        Owned object = create();
        c.build(object.get());
        EXPECT_EQ(Check(checked(object.get())), c.message);
    }
}
inline RomObject* Itself(RomObject* object) { return object; }

inline RomObject* MeshOf(RomObject* setup) { return Child(RomSetupCfgConfigureMeshData, setup); }
inline RomObject* ElementsOf(RomObject* mesh) { return Child(RomMeshDataCfgConfigureElementData, mesh); }
inline RomObject* StdPartOf(RomObject* mesh) {
    return Child(RomElementDataCfgConfigureStdElementData, ElementsOf(mesh));
}
inline RomObject* UserPartOf(RomObject* mesh) {
    return Child(RomElementDataCfgConfigureUserElementData, ElementsOf(mesh));
}
inline RomObject* PolygonsOf(RomObject* mesh) {
    return Child(RomUserElementDataCfgConfigurePolygonData, UserPartOf(mesh));
}
inline RomObject* PolyhedronsOf(RomObject* mesh) {
    return Child(RomUserElementDataCfgConfigurePolyhedronData, UserPartOf(mesh));
}

inline RomObject* AddSupport(RomObject* region, const char* id, std::uint32_t size, std::int32_t type) {
    RomObject* support = Child(RomRegionCfgAddSupport, region);
    ROM_OK(RomSetSolverId(support, id));
    ROM_OK(RomSupportCfgSetEntityCount(support, size));
    ROM_OK(RomSupportCfgSetEntitiesType(support, type));
    return support;
}

inline RomObject* AddRegion(RomObject* mesh, const char* id) {
    RomObject* region = Child(RomMeshDataCfgAddRegion, mesh);
    ROM_OK(RomSetSolverId(region, id));
    ROM_OK(RomRegionCfgSetCaption(region, (std::string("caption of ") + id).c_str()));
    return region;
}

inline void SetNodes(RomObject* mesh, std::uint32_t count = 10, std::int32_t dimension = 3) {
    RomObject* nodes = Child(RomMeshDataCfgConfigureNodeData, mesh);
    ROM_OK(RomNodeDataCfgSetCount(nodes, count));
    ROM_OK(RomNodeDataCfgSetDimension(nodes, dimension));
}

// Node and standard element tables that pass their checks.
inline void SetTables(RomObject* mesh) {
    SetNodes(mesh);
    ROM_OK(RomStdElementDataCfgSetCount(StdPartOf(mesh), 2));
    ROM_OK(RomStdElementDataCfgSetConnectivityTableSize(StdPartOf(mesh), 8));
}

struct RegionSupport {
    const char* id;
    std::uint32_t size;
    std::int32_t type;
};
struct RegionPlan {
    const char* id;
    std::vector<RegionSupport> supports;
};
inline void AddRegions(RomObject* mesh, const std::vector<RegionPlan>& regions) {
    for (const RegionPlan& r : regions) {
        RomObject* region = AddRegion(mesh, r.id);
        for (const RegionSupport& s : r.supports) AddSupport(region, s.id, s.size, s.type);
    }
}

// A consistent mesh: R1 {S1, S2} and R2 {S3}.
inline void BuildMesh(RomObject* mesh) {
    SetTables(mesh);
    AddRegions(mesh, {{"R1", {{"S1", 4, 1}, {"S2", 2, 2}}}, {"R2", {{"S3", 3, 5}}}});
}

// The same with every part of the element data and a unit.
inline void BuildFullMesh(RomObject* mesh) {
    BuildMesh(mesh);
    ROM_OK(RomMeshDataCfgSetUnit(mesh, "mm"));
    ROM_OK(RomPolygonDataCfgSetCount(PolygonsOf(mesh), 2));
    ROM_OK(RomPolygonDataCfgSetConnectivityTableSize(PolygonsOf(mesh), 7));
    ROM_OK(RomPolyhedronDataCfgSetCount(PolyhedronsOf(mesh), 1));
    ROM_OK(RomPolyhedronDataCfgSetConnectivityTableSize(PolyhedronsOf(mesh), 30));
}

inline RomObject* AddField(RomObject* setup, const char* id, const std::vector<std::string>& components,
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

inline void BuildSetup(RomObject* setup) {
    BuildFullMesh(MeshOf(setup));
    RomObject* pressure = AddField(setup, "F1", {"C1", "C2"}, {"S1", "S3"});
    ROM_OK(RomFieldCfgSetQuantity(pressure, "pressure"));
    ROM_OK(RomFieldCfgSetUnit(pressure, "Pa"));
    RomObject* velocity = AddField(setup, "F2", {"C3"}, {"S2"});
    ROM_OK(RomFieldCfgSetQuantity(velocity, "velocity"));
    ROM_OK(RomFieldCfgSetUnit(velocity, "m/s"));
    ROM_OK(RomFieldCfgSetEntitiesType(velocity, 7));
}

// S1 -> [C2, C1], S3 -> [C1]; S2 has no list.
inline void BuildSnapshot(RomObject* snapshot) {
    RomObject* s1 = SnapshotSupport(snapshot, "S1", 4);
    ROM_OK(RomSupportCfgSetEntitiesType(SnapshotSupport(snapshot, "S2", 2), 3));
    RomObject* s3 = SnapshotSupport(snapshot, "S3", 3);
    RomObject* c1 = SnapshotComponent(snapshot, "C1");
    ROM_OK(RomComponentCfgSetCaption(c1, "first"));
    ROM_OK(RomSnapshotCfgAddComponentToSupport(snapshot, SnapshotComponent(snapshot, "C2"), s1));
    ROM_OK(RomSnapshotCfgAddComponentToSupport(snapshot, c1, s1));
    ROM_OK(RomSnapshotCfgAddComponentToSupport(snapshot, c1, s3));
}

// ---- Documents ---------------------------------------------------------------------

inline Json::Value ReadJson(const std::string& path) {
    std::ifstream in(path);
    Json::Value root;
    std::string errors;
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), in, &root, &errors)) << path << ": " << errors;
    return root;
}

// Member names in order, without the generated internal id.
inline std::vector<std::string> Keys(const Json::Value& object) {
    std::vector<std::string> keys = object.getMemberNames();
    keys.erase(std::remove(keys.begin(), keys.end(), "internalId"), keys.end());
    std::sort(keys.begin(), keys.end());
    return keys;
}

// The value with every internal id left out.
inline Json::Value WithoutInternalIds(Json::Value value) {
    if (value.isObject()) value.removeMember("internalId");
    for (Json::Value& member : value) member = WithoutInternalIds(member);
    return value;
}

inline std::vector<std::string> Strings(const Json::Value& array, const char* member = nullptr) {
    std::vector<std::string> texts;
    for (const Json::Value& item : array) texts.push_back((member == nullptr ? item : item[member]).asString());
    return texts;
}

// A configuration document written by hand.
inline std::string Document(const std::string& key, const std::string& body) {
    return R"({"version": 1, "loomsteadVersion": [18, 2], ")" + key + "\": " + body + "}";
}

// What resuming object from a document of key and body written at path says.
inline std::string Resumed(RomObject* object, const std::string& path, const std::string& key,
                           const std::string& body) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << Document(key, body);
    return TextOf(RomPersistableResume(object, path.c_str()));
}

#endif
