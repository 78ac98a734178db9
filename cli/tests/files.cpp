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

void Must(RomExceptionHandle error, const char* call) {
    if (error == nullptr) return;
    std::fprintf(stderr, "%s failed: %s\n", call, RomGetExceptionDescription(error));
    std::exit(1);
}
#define MUST(call) Must(call, #call)

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
    MUST(RomFactoryCreateSetupCfg(&setup));
    MUST(RomSetupCfgConfigureMeshData(setup, &mesh));
    if (spec.unit != nullptr) MUST(RomMeshDataCfgSetUnit(mesh, spec.unit));
    MUST(RomMeshDataCfgConfigureNodeData(mesh, &part));
    MUST(RomNodeDataCfgSetCount(part, spec.sizes.nodes));
    MUST(RomNodeDataCfgSetDimension(part, static_cast<std::int32_t>(spec.sizes.dimension)));
    MUST(RomMeshDataCfgConfigureElementData(mesh, &elements));
    MUST(RomElementDataCfgConfigureStdElementData(elements, &part));
    MUST(RomStdElementDataCfgSetCount(part, spec.sizes.elements));
    MUST(RomStdElementDataCfgSetConnectivityTableSize(part, spec.sizes.connectivity));
    if (spec.sizes.polygons != 0) {
        MUST(RomElementDataCfgConfigureUserElementData(elements, &user));
        MUST(RomUserElementDataCfgConfigurePolygonData(user, &part));
        MUST(RomPolygonDataCfgSetCount(part, spec.sizes.polygons));
        MUST(RomPolygonDataCfgSetConnectivityTableSize(part, spec.sizes.polygonSize));
        MUST(RomUserElementDataCfgConfigurePolyhedronData(user, &part));
        MUST(RomPolyhedronDataCfgSetCount(part, spec.sizes.polyhedrons));
        MUST(RomPolyhedronDataCfgSetConnectivityTableSize(part, spec.sizes.polyhedronSize));
    }
    RomObject* region = nullptr;
    for (const SupportSpec& support : spec.supports) {
        if (region == nullptr || std::string(RomGetSolverId(region)) != support.region) {
            MUST(RomMeshDataCfgAddRegion(mesh, &region));
            MUST(RomSetSolverId(region, support.region));
        }
        MUST(RomRegionCfgAddSupport(region, &part));
        MUST(RomSetSolverId(part, support.support));
        MUST(RomSupportCfgSetEntityCount(part, support.count));
        MUST(RomSupportCfgSetEntitiesType(part, support.type));
    }
    for (const FieldSpec& field : spec.fields) {
        RomObject* added = nullptr;
        MUST(RomSetupCfgAddField(setup, &added));
        MUST(RomSetSolverId(added, field.field));
        MUST(RomFieldCfgSetCaption(added, field.field));
        if (field.unit != nullptr) MUST(RomFieldCfgSetUnit(added, field.unit));
        if (field.type != 0) MUST(RomFieldCfgSetEntitiesType(added, field.type));
        for (const char* component : field.components) {
            MUST(RomFieldCfgAddComponent(added, &part));
            MUST(RomSetSolverId(part, component));
            MUST(RomComponentCfgSetCaption(part, component));
        }
        MUST(RomFieldCfgAddSupport(added, field.support));
    }
    MUST(RomConfigurationCheck(setup));
    if (saveSetup) MUST(RomPersistableSave(setup, (folder + "/setup.romcfg").c_str()));
    MUST(RomSetupCfgSaveMeshConfiguration(setup, (folder + "/" + prefix + "mesh.romcfg").c_str()));
    MUST(RomSetupCfgSaveSnapshotConfiguration(setup, (folder + "/" + prefix + "snapshot.romcfg").c_str()));
    MUST(RomFactoryRelease(setup));
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
    MUST(RomFactoryCreateAndInitMesh(&mesh, (folder + "/kinds-mesh.romcfg").c_str()));
    for (std::uint32_t n = 0; n < spec.sizes.nodes; ++n) {
        MUST(RomMeshAddNode(mesh, &item));
        MUST(RomSupportEntitySetId(item, n + 1));
        for (std::uint32_t axis = 0; axis < spec.sizes.dimension; ++axis)
            MUST(RomNodeSetCoordinate(item, axis, 0.25 * n + axis + (n * (axis + 3) % 7) / 8.0));
    }
    for (std::uint32_t kind = 0; kind < kKinds; ++kind) {
        MUST(kKindList[kind].add(mesh, &item));
        MUST(RomSupportEntitySetId(item, kind + 1));
        for (std::uint32_t k = 0; k < kKindList[kind].nodes; ++k)
            MUST(RomStdElementSetConnectivity(item, k, (kind + 3 * k) % spec.sizes.nodes + 1));
    }
    // Polygons and the polyhedron through the accessors, from the tables above.
    for (std::size_t at = 0; at < std::size(kPolygons); at += 1 + static_cast<std::size_t>(kPolygons[at])) {
        MUST(RomMeshAddPolygon(mesh, &item));
        MUST(RomSupportEntitySetId(item, kKinds + 1 + (at == 0 ? 0 : 1)));
        MUST(RomPolygonSetNodeCount(item, static_cast<std::uint32_t>(kPolygons[at])));
        for (std::int32_t k = 0; k < kPolygons[at]; ++k)
            MUST(RomPolygonSetConnectivity(item, static_cast<std::uint32_t>(k),
                                           static_cast<std::uint32_t>(kPolygons[at + 1 + k])));
    }
    MUST(RomMeshAddPolyhedron(mesh, &item));
    MUST(RomSupportEntitySetId(item, kCells));
    MUST(RomPolyhedronSetFaceCount(item, static_cast<std::uint32_t>(kPolyhedron[0])));
    for (std::uint32_t face = 0, at = 1; face < static_cast<std::uint32_t>(kPolyhedron[0]); ++face) {
        const auto count = static_cast<std::uint32_t>(kPolyhedron[at++]);
        MUST(RomPolyhedronSetNodeCount(item, face, count));
        for (std::uint32_t k = 0; k < count; ++k)
            MUST(RomPolyhedronSetConnectivity(item, face, k, static_cast<std::uint32_t>(kPolyhedron[at++])));
    }
    for (const SupportSpec& support : spec.supports) {
        MUST(RomMeshAddSupport(mesh, support.support, &item));
        for (std::uint32_t i = 0; i < support.count; ++i) MUST(RomSupportSetEntityId(item, i, support.first + i));
    }
    MUST(RomPersistableSave(mesh, (folder + "/kinds.rommsh").c_str()));
    MUST(RomFactoryRelease(mesh));
}

// Values added in descending id order; the file holds them ascending.
void WriteKindsSnapshot(const SetupSpec& spec, const std::string& folder, const char* name, double scale) {
    RomObject *snapshot = nullptr, *data = nullptr;
    MUST(RomFactoryCreateAndInitSnapshot(&snapshot, (folder + "/kinds-snapshot.romcfg").c_str()));
    for (const FieldSpec& field : spec.fields) {
        const SupportSpec* support = nullptr;
        for (const SupportSpec& candidate : spec.supports)
            if (std::string(candidate.support) == field.support) support = &candidate;
        for (const char* component : field.components) {
            MUST(RomSnapshotGetComponentData(snapshot, component, field.support, &data));
            for (std::uint32_t i = support->count; i-- > 0;)
                MUST(RomSnapshotComponentDataAddValue(data, support->first + i,
                                                      scale * (support->first + i) + component[0]));
        }
    }
    MUST(RomPersistableSave(snapshot, (folder + "/" + name + ".romsnp").c_str()));
    MUST(RomFactoryRelease(snapshot));
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
    MUST(RomFactoryCreateAndInitMeshData(&data, (folder + "/mesh.romcfg").c_str()));
    MUST(RomMeshDataGetMutableNodeData(data, &part));
    MUST(RomNodeDataCopyIds(part, nodeIds.data(), 0, 0));
    MUST(RomNodeDataCopyCoordinateTable(part, coordinates.data(), 0, 0));
    MUST(RomMeshDataGetMutableElementData(data, &elements));
    MUST(RomElementDataGetMutableStdElementData(elements, &part));
    MUST(RomStdElementDataCopyTypes(part, types.data(), 0, 0));
    MUST(RomStdElementDataCopyIds(part, elementIds.data(), 0, 0));
    MUST(RomStdElementDataCopyConnectivityTable(part, connectivity.data(), 0, 0));
    MUST(RomMeshDataGetMutableSupportData(data, "block-nodes", &part));
    MUST(RomSupportDataCopyEntities(part, nodeIds.data(), 0, 0));
    MUST(RomMeshDataGetMutableSupportData(data, "block-cells", &part));
    MUST(RomSupportDataCopyEntities(part, elementIds.data(), 0, 0));
    MUST(RomPersistableSave(data, (folder + "/block.rommsh").c_str()));
    MUST(RomFactoryRelease(data));
}

// Run r: vx, vy, vz of node id n are (r + 1) * (n, -n, 0.5), and p of element id e is
// r * 1000 + e.
void WriteBlockRun(const std::string& folder, std::uint32_t run) {
    RomObject *snapshot = nullptr, *data = nullptr;
    MUST(RomFactoryCreateAndInitSnapshot(&snapshot, (folder + "/snapshot.romcfg").c_str()));
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
        MUST(RomSnapshotGetComponentData(snapshot, pair.component, pair.support, &data));
        MUST(RomSnapshotComponentDataAddValues(data, ids.data(), values.data(), pair.count));
    }
    MUST(RomPersistableSave(snapshot, (folder + "/run-" + std::to_string(run) + ".romsnp").c_str()));
    MUST(RomFactoryRelease(snapshot));
}

void WriteBlockCache(const std::string& folder) {
    RomObject *cache = nullptr, *input = nullptr, *output = nullptr;
    MUST(RomFactoryCreateSnapshotCache(&cache));
    for (std::uint32_t run = 0; run < std::size(kTimes); ++run) {
        MUST(RomFactoryCreateUserPoint(&input));
        MUST(RomFactoryCreateUserPoint(&output));
        MUST(RomPointSetValue(input, "time", kTimes[run]));
        MUST(RomPointSetValue(input, "load", 10.0 * run));
        MUST(RomPointSetValue(output, "peak", 1.0 + run));
        std::uint32_t added = 0;
        MUST(RomSnapshotCachePush(cache, input, output, ("run-" + std::to_string(run) + ".romsnp").c_str(), &added));
        MUST(RomFactoryRelease(input));
        MUST(RomFactoryRelease(output));
    }
    MUST(RomPersistableSave(cache, (folder + "/runs.romcch").c_str()));
    MUST(RomFactoryRelease(cache));
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
