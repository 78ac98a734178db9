// Writes the files the command's tests read, beside those of the workflow example:
// - kinds.rommsh: a two-dimensional mesh holding one standard element of each of the 17 kinds
//   (written through the builder's accessors), two polygons and a polyhedron, with two
//   snapshots of it. Node ids and element ids both start at 1, so the element support is
//   ambiguous for the export.
// - block/: a 20 x 20 x 20 block of Hex8 whose node ids and element ids both start at 1 (as
//   solvers number them), its set-up (velocity: vx, vy, vz in m/s on the nodes; pressure in Pa
//   on the elements) with the mesh and snapshot configurations, three runs and the cache of
//   them, whose input parameter "time" runs 2, 0.5, 1 in the order of the files.
// Usage: cli_test_files FOLDER
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <tervik/rom/rom.h>

namespace {

void Must(RomExceptionHandle error, const char* what) {
    if (error == nullptr) return;
    std::fprintf(stderr, "%s failed: %s\n", what, RomGetExceptionDescription(error));
    std::exit(1);
}

struct SupportSpec {
    const char* region;
    const char* support;
    std::uint32_t count;
    std::int32_t type;
    std::uint32_t first;  // entity ids first, first + 1, ...
};
struct FieldSpec {
    const char* field;
    const char* support;
    std::vector<const char*> components;
    const char* unit;   // null: none
    std::int32_t type;  // 0: none
};
// The sizes of a mesh (zero counts leave their part out), its supports and the set-up's fields.
struct Sizes {
    std::uint32_t nodes, dimension, elements, connectivity, polygons, polygonSize, polyhedrons, polyhedronSize;
};
struct SetupSpec {
    Sizes sizes;
    const char* unit;
    std::vector<SupportSpec> supports;
    std::vector<FieldSpec> fields;
};

// Saves the mesh and snapshot configurations of the set-up as FOLDER/PREFIXmesh.romcfg and
// FOLDER/PREFIXsnapshot.romcfg, and the set-up itself as FOLDER/setup.romcfg if asked.
void WriteSetup(const SetupSpec& spec, const std::string& folder, const std::string& prefix, bool saveSetup) {
    RomObject *setup = nullptr, *mesh = nullptr, *part = nullptr, *elements = nullptr, *user = nullptr;
    Must(RomFactoryCreateSetupCfg(&setup), "setup");
    Must(RomSetupCfgConfigureMeshData(setup, &mesh), "mesh data");
    if (spec.unit != nullptr) Must(RomMeshDataCfgSetUnit(mesh, spec.unit), "unit");
    Must(RomMeshDataCfgConfigureNodeData(mesh, &part), "node data");
    Must(RomNodeDataCfgSetCount(part, spec.sizes.nodes), "node count");
    Must(RomNodeDataCfgSetDimension(part, static_cast<std::int32_t>(spec.sizes.dimension)), "dimension");
    Must(RomMeshDataCfgConfigureElementData(mesh, &elements), "element data");
    Must(RomElementDataCfgConfigureStdElementData(elements, &part), "standard elements");
    Must(RomStdElementDataCfgSetCount(part, spec.sizes.elements), "element count");
    Must(RomStdElementDataCfgSetConnectivityTableSize(part, spec.sizes.connectivity), "connectivity size");
    if (spec.sizes.polygons != 0) {
        Must(RomElementDataCfgConfigureUserElementData(elements, &user), "user elements");
        Must(RomUserElementDataCfgConfigurePolygonData(user, &part), "polygons");
        Must(RomPolygonDataCfgSetCount(part, spec.sizes.polygons), "polygon count");
        Must(RomPolygonDataCfgSetConnectivityTableSize(part, spec.sizes.polygonSize), "polygon size");
        Must(RomUserElementDataCfgConfigurePolyhedronData(user, &part), "polyhedrons");
        Must(RomPolyhedronDataCfgSetCount(part, spec.sizes.polyhedrons), "polyhedron count");
        Must(RomPolyhedronDataCfgSetConnectivityTableSize(part, spec.sizes.polyhedronSize), "polyhedron size");
    }
    RomObject* region = nullptr;
    for (const SupportSpec& support : spec.supports) {
        if (region == nullptr || std::string(RomGetSolverId(region)) != support.region) {
            Must(RomMeshDataCfgAddRegion(mesh, &region), "region");
            Must(RomSetSolverId(region, support.region), "region id");
        }
        Must(RomRegionCfgAddSupport(region, &part), "support");
        Must(RomSetSolverId(part, support.support), "support id");
        Must(RomSupportCfgSetEntityCount(part, support.count), "entity count");
        Must(RomSupportCfgSetEntitiesType(part, support.type), "entity type");
    }
    for (const FieldSpec& field : spec.fields) {
        RomObject* added = nullptr;
        Must(RomSetupCfgAddField(setup, &added), "field");
        Must(RomSetSolverId(added, field.field), "field id");
        Must(RomFieldCfgSetCaption(added, field.field), "field caption");
        if (field.unit != nullptr) Must(RomFieldCfgSetUnit(added, field.unit), "field unit");
        if (field.type != 0) Must(RomFieldCfgSetEntitiesType(added, field.type), "field entity type");
        for (const char* component : field.components) {
            Must(RomFieldCfgAddComponent(added, &part), "component");
            Must(RomSetSolverId(part, component), "component id");
            Must(RomComponentCfgSetCaption(part, component), "component caption");
        }
        Must(RomFieldCfgAddSupport(added, field.support), "field support");
    }
    Must(RomConfigurationCheck(setup), "check");
    if (saveSetup) Must(RomPersistableSave(setup, (folder + "/setup.romcfg").c_str()), "save setup");
    Must(RomSetupCfgSaveMeshConfiguration(setup, (folder + "/" + prefix + "mesh.romcfg").c_str()), "save mesh cfg");
    Must(RomSetupCfgSaveSnapshotConfiguration(setup, (folder + "/" + prefix + "snapshot.romcfg").c_str()),
         "save snapshot cfg");
    Must(RomFactoryRelease(setup), "release");
}

// ---- A mesh of every kind ------------------------------------------------------------

const struct {
    RomExceptionHandle (*add)(RomObject*, RomObject**);
    std::uint32_t nodes;
} kKindList[] = {
#define ROM_KIND(name, type, nodes, ...) {RomMeshAdd##name, nodes},
    TERVIK_ROM_ELEMENT_KINDS(ROM_KIND)
#undef ROM_KIND
};
constexpr std::uint32_t kKinds = std::size(kKindList);
constexpr std::int32_t kPolygons[] = {3, 1, 2, 3, 4, 4, 5, 6, 7};
constexpr std::int32_t kPolyhedron[] = {4, 3, 8, 9, 10, 3, 8, 9, 11, 3, 9, 10, 11, 3, 8, 10, 11};
constexpr std::uint32_t kKindsNodes = 30, kCells = kKinds + 2 + 1, kCorner = 5;  // the corner: the last nodes

SetupSpec KindsSpec() {
    std::uint32_t connectivity = 0;
    for (const auto& kind : kKindList) connectivity += kind.nodes;
    return {{kKindsNodes, 2, kKinds, connectivity, 2, std::size(kPolygons), 1, std::size(kPolyhedron)},
            nullptr,
            {{"body", "nodes", kKindsNodes, 1, 1},
             {"body", "cells", kCells, 2, 1},
             {"edge", "corner", kCorner, 1, kKindsNodes - kCorner + 1}},
            {{"displacement", "nodes", {"ux", "uy"}, nullptr, 0},
             {"stress", "cells", {"s"}, nullptr, 0},
             {"heat", "corner", {"t"}, nullptr, 0}}};
}

void WriteKindsMesh(const SetupSpec& spec, const std::string& folder) {
    RomObject *mesh = nullptr, *item = nullptr;
    Must(RomFactoryCreateAndInitMesh(&mesh, (folder + "/kinds-mesh.romcfg").c_str()), "create mesh");
    for (std::uint32_t n = 0; n < spec.sizes.nodes; ++n) {
        Must(RomMeshAddNode(mesh, &item), "node");
        Must(RomSupportEntitySetId(item, n + 1), "node id");
        for (std::uint32_t axis = 0; axis < spec.sizes.dimension; ++axis)
            Must(RomNodeSetCoordinate(item, axis, 0.25 * n + axis + (n * (axis + 3) % 7) / 8.0), "coordinate");
    }
    for (std::uint32_t kind = 0; kind < kKinds; ++kind) {
        Must(kKindList[kind].add(mesh, &item), "element");
        Must(RomSupportEntitySetId(item, kind + 1), "element id");
        for (std::uint32_t k = 0; k < kKindList[kind].nodes; ++k)
            Must(RomStdElementSetConnectivity(item, k, (kind + 3 * k) % spec.sizes.nodes + 1), "element node");
    }
    // Polygons and the polyhedron through the accessors, from the tables above.
    for (std::size_t at = 0; at < std::size(kPolygons); at += 1 + static_cast<std::size_t>(kPolygons[at])) {
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
    for (const SupportSpec& support : spec.supports) {
        Must(RomMeshAddSupport(mesh, support.support, &item), "support");
        for (std::uint32_t i = 0; i < support.count; ++i)
            Must(RomSupportSetEntityId(item, i, support.first + i), "entity");
    }
    Must(RomPersistableSave(mesh, (folder + "/kinds.rommsh").c_str()), "save mesh");
    Must(RomFactoryRelease(mesh), "release");
}

// Values added in descending id order; the file holds them ascending.
void WriteKindsSnapshot(const SetupSpec& spec, const std::string& folder, const char* name, double scale) {
    RomObject *snapshot = nullptr, *data = nullptr;
    Must(RomFactoryCreateAndInitSnapshot(&snapshot, (folder + "/kinds-snapshot.romcfg").c_str()), "create snapshot");
    for (const FieldSpec& field : spec.fields) {
        const SupportSpec* support = nullptr;
        for (const SupportSpec& candidate : spec.supports)
            if (std::string(candidate.support) == field.support) support = &candidate;
        for (const char* component : field.components) {
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

// ---- The block ---------------------------------------------------------------------

constexpr std::uint32_t kSide = 20, kPoints = kSide + 1;
constexpr std::uint32_t kNodes = kPoints * kPoints * kPoints, kElements = kSide * kSide * kSide;
constexpr double kTimes[] = {2.0, 0.5, 1.0};

std::uint32_t Node(std::uint32_t i, std::uint32_t j, std::uint32_t k) { return (k * kPoints + j) * kPoints + i; }

const SetupSpec kBlock = {
    {kNodes, 3, kElements, 8 * kElements, 0, 0, 0, 0},
    "m",
    {{"block", "block-nodes", kNodes, 1, 1}, {"block", "block-cells", kElements, 2, 1}},
    {{"velocity", "block-nodes", {"vx", "vy", "vz"}, "m/s", 1}, {"pressure", "block-cells", {"p"}, "Pa", 2}}};

void WriteBlockMesh(const std::string& folder) {
    std::vector<std::int32_t> nodeIds(kNodes), elementIds(kElements), types(kElements, RomElementTypeHex8);
    std::vector<std::int32_t> connectivity;
    std::vector<double> coordinates;
    for (std::uint32_t n = 0; n < kNodes; ++n) {
        nodeIds[n] = static_cast<std::int32_t>(n + 1);
        for (std::uint32_t axis = 0, rest = n; axis < 3; ++axis, rest /= kPoints)
            coordinates.push_back(0.05 * (rest % kPoints));
    }
    for (std::uint32_t k = 0, e = 0; k < kSide; ++k)
        for (std::uint32_t j = 0; j < kSide; ++j)
            for (std::uint32_t i = 0; i < kSide; ++i, ++e) {
                elementIds[e] = static_cast<std::int32_t>(e + 1);
                for (const std::uint32_t layer : {k, k + 1})
                    for (const auto& [di, dj] : {std::pair{0u, 0u}, {1u, 0u}, {1u, 1u}, {0u, 1u}})
                        connectivity.push_back(static_cast<std::int32_t>(Node(i + di, j + dj, layer) + 1));
            }
    RomObject *data = nullptr, *part = nullptr, *elements = nullptr;
    Must(RomFactoryCreateAndInitMeshData(&data, (folder + "/mesh.romcfg").c_str()), "mesh data");
    Must(RomMeshDataGetMutableNodeData(data, &part), "node data");
    Must(RomNodeDataCopyIds(part, nodeIds.data(), 0, 0), "node ids");
    Must(RomNodeDataCopyCoordinateTable(part, coordinates.data(), 0, 0), "coordinates");
    Must(RomMeshDataGetMutableElementData(data, &elements), "element data");
    Must(RomElementDataGetMutableStdElementData(elements, &part), "standard elements");
    Must(RomStdElementDataCopyTypes(part, types.data(), 0, 0), "types");
    Must(RomStdElementDataCopyIds(part, elementIds.data(), 0, 0), "element ids");
    Must(RomStdElementDataCopyConnectivityTable(part, connectivity.data(), 0, 0), "connectivity");
    Must(RomMeshDataGetMutableSupportData(data, "block-nodes", &part), "node support");
    Must(RomSupportDataCopyEntities(part, nodeIds.data(), 0, 0), "node entities");
    Must(RomMeshDataGetMutableSupportData(data, "block-cells", &part), "element support");
    Must(RomSupportDataCopyEntities(part, elementIds.data(), 0, 0), "element entities");
    Must(RomPersistableSave(data, (folder + "/block.rommsh").c_str()), "save mesh");
    Must(RomFactoryRelease(data), "release");
}

// Run r: vx, vy, vz of node id n are (r + 1) * (n, -n, 0.5), and p of element id e is
// r * 1000 + e.
void WriteBlockRun(const std::string& folder, std::uint32_t run) {
    RomObject *snapshot = nullptr, *data = nullptr;
    Must(RomFactoryCreateAndInitSnapshot(&snapshot, (folder + "/snapshot.romcfg").c_str()), "snapshot");
    const double scale = run + 1.0;
    const struct {
        const char *component, *support;
        std::uint32_t count;
        double factor, constant;
    } pairs[] = {{"vx", "block-nodes", kNodes, scale, 0},
                 {"vy", "block-nodes", kNodes, -scale, 0},
                 {"vz", "block-nodes", kNodes, 0, 0.5 * scale},
                 {"p", "block-cells", kElements, 1, 1000.0 * run}};
    for (const auto& pair : pairs) {
        std::vector<std::uint32_t> ids(pair.count);
        std::vector<double> values(pair.count);
        for (std::uint32_t i = 0; i < pair.count; ++i) {
            ids[i] = i + 1;
            values[i] = pair.factor * ids[i] + pair.constant;
        }
        Must(RomSnapshotGetComponentData(snapshot, pair.component, pair.support, &data), "component data");
        Must(RomSnapshotComponentDataAddValues(data, ids.data(), values.data(), pair.count), "values");
    }
    Must(RomPersistableSave(snapshot, (folder + "/run-" + std::to_string(run) + ".romsnp").c_str()), "save snapshot");
    Must(RomFactoryRelease(snapshot), "release");
}

void WriteBlockCache(const std::string& folder) {
    RomObject *cache = nullptr, *input = nullptr, *output = nullptr;
    Must(RomFactoryCreateSnapshotCache(&cache), "cache");
    for (std::uint32_t run = 0; run < std::size(kTimes); ++run) {
        Must(RomFactoryCreateUserPoint(&input), "input");
        Must(RomFactoryCreateUserPoint(&output), "output");
        Must(RomPointSetValue(input, "time", kTimes[run]), "time");
        Must(RomPointSetValue(input, "load", 10.0 * run), "load");
        Must(RomPointSetValue(output, "peak", 1.0 + run), "peak");
        std::uint32_t added = 0;
        Must(RomSnapshotCachePush(cache, input, output, ("run-" + std::to_string(run) + ".romsnp").c_str(), &added),
             "push");
        Must(RomFactoryRelease(input), "release");
        Must(RomFactoryRelease(output), "release");
    }
    Must(RomPersistableSave(cache, (folder + "/runs.romcch").c_str()), "save cache");
    Must(RomFactoryRelease(cache), "release");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: cli_test_files FOLDER\n");
        return 2;
    }
    const std::string folder = argv[1], block = folder + "/block";
    const SetupSpec kinds = KindsSpec();
    WriteSetup(kinds, folder, "kinds-", false);
    WriteKindsMesh(kinds, folder);
    WriteKindsSnapshot(kinds, folder, "kinds-a", 0.5);
    WriteKindsSnapshot(kinds, folder, "kinds-b", -1.25);
    ::mkdir(block.c_str(), 0777);
    WriteSetup(kBlock, block, "", true);
    WriteBlockMesh(block);
    for (std::uint32_t run = 0; run < std::size(kTimes); ++run) WriteBlockRun(block, run);
    WriteBlockCache(block);
    return 0;
}
