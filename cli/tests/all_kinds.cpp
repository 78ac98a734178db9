// Writes the files the command's tests read: a two-dimensional mesh holding one standard
// element of each of the 17 kinds, two polygons and a polyhedron, and two snapshots of it.
// Node ids and element ids both start at 1, so the element support is ambiguous for the
// export.
// Usage: all_kinds_files FOLDER
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <tervik/rom/rom.h>

namespace {

void Must(RomExceptionHandle error, const char* what) {
    if (error == nullptr) return;
    std::fprintf(stderr, "%s failed: %s\n", what, RomGetExceptionDescription(error));
    std::exit(1);
}

constexpr std::uint32_t kNodes = 30;
constexpr std::uint32_t kDimension = 2;
constexpr std::uint32_t kKinds = 17;
constexpr std::uint32_t kKindNodes[kKinds] = {1, 2, 3, 3, 4, 3, 6, 4, 8, 4, 10, 8, 20, 6, 15, 5, 13};
constexpr std::int32_t kPolygons[] = {3, 1, 2, 3, 4, 4, 5, 6, 7};
constexpr std::int32_t kPolyhedron[] = {4, 3, 8, 9, 10, 3, 8, 9, 11, 3, 9, 10, 11, 3, 8, 10, 11};
constexpr std::uint32_t kCells = kKinds + 2 + 1;
constexpr std::uint32_t kCorner = 5;  // the last nodes
enum : std::int32_t { kNodeEntities = 1, kCellEntities = 2 };

std::uint32_t StdConnectivitySize() {
    std::uint32_t size = 0;
    for (const std::uint32_t nodes : kKindNodes) size += nodes;
    return size;
}

struct SupportSpec {
    const char* region;
    const char* support;
    std::uint32_t count;
    std::int32_t type;
    std::uint32_t first;  // entity ids first, first + 1, ...
};
constexpr SupportSpec kSupports[] = {{"body", "nodes", kNodes, kNodeEntities, 1},
                                     {"body", "cells", kCells, kCellEntities, 1},
                                     {"edge", "corner", kCorner, kNodeEntities, kNodes - kCorner + 1}};

struct FieldSpec {
    const char* field;
    const char* support;
    const char* components[2];
};
constexpr FieldSpec kFields[] = {
    {"displacement", "nodes", {"ux", "uy"}}, {"stress", "cells", {"s", nullptr}}, {"heat", "corner", {"t", nullptr}}};

void WriteSetup(const std::string& folder) {
    RomObject *setup = nullptr, *mesh = nullptr, *part = nullptr, *elements = nullptr, *user = nullptr;
    Must(RomFactoryCreateSetupCfg(&setup), "create setup");
    Must(RomSetupCfgConfigureMeshData(setup, &mesh), "mesh data");
    Must(RomMeshDataCfgConfigureNodeData(mesh, &part), "node data");
    Must(RomNodeDataCfgSetCount(part, kNodes), "node count");
    Must(RomNodeDataCfgSetDimension(part, kDimension), "dimension");
    Must(RomMeshDataCfgConfigureElementData(mesh, &elements), "element data");
    Must(RomElementDataCfgConfigureStdElementData(elements, &part), "standard elements");
    Must(RomStdElementDataCfgSetCount(part, kKinds), "element count");
    Must(RomStdElementDataCfgSetConnectivityTableSize(part, StdConnectivitySize()), "connectivity size");
    Must(RomElementDataCfgConfigureUserElementData(elements, &user), "user elements");
    Must(RomUserElementDataCfgConfigurePolygonData(user, &part), "polygons");
    Must(RomPolygonDataCfgSetCount(part, 2), "polygon count");
    Must(RomPolygonDataCfgSetConnectivityTableSize(part, sizeof kPolygons / 4), "polygon size");
    Must(RomUserElementDataCfgConfigurePolyhedronData(user, &part), "polyhedrons");
    Must(RomPolyhedronDataCfgSetCount(part, 1), "polyhedron count");
    Must(RomPolyhedronDataCfgSetConnectivityTableSize(part, sizeof kPolyhedron / 4), "polyhedron size");
    RomObject* region = nullptr;
    for (const SupportSpec& spec : kSupports) {
        if (region == nullptr || std::string(RomGetSolverId(region)) != spec.region) {
            Must(RomMeshDataCfgAddRegion(mesh, &region), "region");
            Must(RomSetSolverId(region, spec.region), "region id");
        }
        Must(RomRegionCfgAddSupport(region, &part), "support");
        Must(RomSetSolverId(part, spec.support), "support id");
        Must(RomSupportCfgSetEntityCount(part, spec.count), "entity count");
        Must(RomSupportCfgSetEntitiesType(part, spec.type), "entity type");
    }
    for (const FieldSpec& spec : kFields) {
        RomObject* field = nullptr;
        Must(RomSetupCfgAddField(setup, &field), "field");
        Must(RomSetSolverId(field, spec.field), "field id");
        Must(RomFieldCfgSetCaption(field, spec.field), "field caption");
        for (const char* component : spec.components) {
            if (component == nullptr) continue;
            Must(RomFieldCfgAddComponent(field, &part), "component");
            Must(RomSetSolverId(part, component), "component id");
            Must(RomComponentCfgSetCaption(part, component), "component caption");
        }
        Must(RomFieldCfgAddSupport(field, spec.support), "field support");
    }
    Must(RomConfigurationCheck(setup), "check");
    Must(RomSetupCfgSaveMeshConfiguration(setup, (folder + "/kinds-mesh.romcfg").c_str()), "save mesh cfg");
    Must(RomSetupCfgSaveSnapshotConfiguration(setup, (folder + "/kinds-snapshot.romcfg").c_str()), "save snapshot cfg");
    Must(RomFactoryRelease(setup), "release");
}

void WriteMesh(const std::string& folder) {
    RomObject *mesh = nullptr, *item = nullptr;
    Must(RomFactoryCreateAndInitMesh(&mesh, (folder + "/kinds-mesh.romcfg").c_str()), "create mesh");
    for (std::uint32_t n = 0; n < kNodes; ++n) {
        Must(RomMeshAddNode(mesh, &item), "node");
        Must(RomSupportEntitySetId(item, n + 1), "node id");
        for (std::uint32_t axis = 0; axis < kDimension; ++axis)
            Must(RomNodeSetCoordinate(item, axis, 0.25 * n + axis + (n * (axis + 3) % 7) / 8.0), "coordinate");
    }
    RomExceptionHandle (*const adds[kKinds])(RomObject*, RomObject**) = {
        RomMeshAddPoint0, RomMeshAddLine2,  RomMeshAddLine3,   RomMeshAddBeam3,    RomMeshAddBeam4,    RomMeshAddTri3,
        RomMeshAddTri6,   RomMeshAddQuad4,  RomMeshAddQuad8,   RomMeshAddTet4,     RomMeshAddTet10,    RomMeshAddHex8,
        RomMeshAddHex20,  RomMeshAddWedge6, RomMeshAddWedge15, RomMeshAddPyramid5, RomMeshAddPyramid13};
    for (std::uint32_t kind = 0; kind < kKinds; ++kind) {
        Must(adds[kind](mesh, &item), "element");
        Must(RomSupportEntitySetId(item, kind + 1), "element id");
        for (std::uint32_t k = 0; k < kKindNodes[kind]; ++k)
            Must(RomStdElementSetConnectivity(item, k, (kind + 3 * k) % kNodes + 1), "element node");
    }
    // Polygons and the polyhedron through the accessors, from the tables above.
    for (std::size_t at = 0; at < sizeof kPolygons / 4; at += 1 + static_cast<std::size_t>(kPolygons[at])) {
        Must(RomMeshAddPolygon(mesh, &item), "polygon");
        Must(RomSupportEntitySetId(item, kKinds + 1 + (at == 0 ? 0 : 1)), "polygon id");
        Must(RomPolygonSetNodeCount(item, static_cast<std::uint32_t>(kPolygons[at])), "polygon count");
        for (std::int32_t k = 0; k < kPolygons[at]; ++k)
            Must(RomPolygonSetConnectivity(item, static_cast<std::uint32_t>(k),
                                           static_cast<std::uint32_t>(kPolygons[at + 1 + k])),
                 "polygon node");
    }
    Must(RomMeshAddPolyhedron(mesh, &item), "polyhedron");
    Must(RomSupportEntitySetId(item, kCells), "polyhedron id");
    Must(RomPolyhedronSetFaceCount(item, static_cast<std::uint32_t>(kPolyhedron[0])), "face count");
    for (std::uint32_t face = 0, at = 1; face < static_cast<std::uint32_t>(kPolyhedron[0]); ++face) {
        const auto count = static_cast<std::uint32_t>(kPolyhedron[at++]);
        Must(RomPolyhedronSetNodeCount(item, face, count), "face node count");
        for (std::uint32_t k = 0; k < count; ++k)
            Must(RomPolyhedronSetConnectivity(item, face, k, static_cast<std::uint32_t>(kPolyhedron[at++])),
                 "face node");
    }
    for (const SupportSpec& spec : kSupports) {
        Must(RomMeshAddSupport(mesh, spec.support, &item), "support");
        for (std::uint32_t i = 0; i < spec.count; ++i) Must(RomSupportSetEntityId(item, i, spec.first + i), "entity");
    }
    Must(RomPersistableSave(mesh, (folder + "/kinds.rommsh").c_str()), "save mesh");
    Must(RomFactoryRelease(mesh), "release");
}

// Values added in descending id order; the file holds them ascending.
void WriteSnapshot(const std::string& folder, const char* name, double scale) {
    RomObject *snapshot = nullptr, *data = nullptr;
    Must(RomFactoryCreateAndInitSnapshot(&snapshot, (folder + "/kinds-snapshot.romcfg").c_str()), "create snapshot");
    for (const FieldSpec& field : kFields) {
        const SupportSpec* support = nullptr;
        for (const SupportSpec& spec : kSupports)
            if (std::string(spec.support) == field.support) support = &spec;
        for (const char* component : field.components) {
            if (component == nullptr) continue;
            Must(RomSnapshotGetComponentData(snapshot, component, field.support, &data), "component data");
            for (std::uint32_t i = support->count; i-- > 0;)
                Must(RomSnapshotComponentDataAddValue(data, support->first + i,
                                                      scale * (support->first + i) + component[0]),
                     "value");
        }
    }
    Must(RomPersistableSave(snapshot, (folder + "/" + name + ".romsnp").c_str()), "save snapshot");
    Must(RomFactoryRelease(snapshot), "release");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: all_kinds_files FOLDER\n");
        return 2;
    }
    const std::string folder = argv[1];
    WriteSetup(folder);
    WriteMesh(folder);
    WriteSnapshot(folder, "kinds-a", 0.5);
    WriteSnapshot(folder, "kinds-b", -1.25);
    return 0;
}
