// Writes the block the command's export tests read, into FOLDER/block: a 20 x 20 x 20
// block of Hex8 whose node ids and element ids both start at 1 (as solvers number them),
// its set-up (velocity: vx, vy, vz in m/s on the nodes; pressure in Pa on the elements)
// with the mesh and snapshot configurations, three runs and the cache of them, whose
// input parameter "time" runs 2, 0.5, 1 in the order of the files.
// Usage: block_files FOLDER
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

constexpr std::uint32_t kSide = 20, kPoints = kSide + 1;
constexpr std::uint32_t kNodes = kPoints * kPoints * kPoints, kElements = kSide * kSide * kSide;
constexpr double kTimes[] = {2.0, 0.5, 1.0};

std::uint32_t Node(std::uint32_t i, std::uint32_t j, std::uint32_t k) { return (k * kPoints + j) * kPoints + i; }

void WriteSetup(const std::string& folder) {
    RomObject *setup = nullptr, *mesh = nullptr, *part = nullptr, *elements = nullptr, *region = nullptr;
    Must(RomFactoryCreateSetupCfg(&setup), "setup");
    Must(RomSetupCfgConfigureMeshData(setup, &mesh), "mesh data");
    Must(RomMeshDataCfgSetUnit(mesh, "m"), "unit");
    Must(RomMeshDataCfgConfigureNodeData(mesh, &part), "node data");
    Must(RomNodeDataCfgSetCount(part, kNodes), "node count");
    Must(RomNodeDataCfgSetDimension(part, 3), "dimension");
    Must(RomMeshDataCfgConfigureElementData(mesh, &elements), "element data");
    Must(RomElementDataCfgConfigureStdElementData(elements, &part), "standard elements");
    Must(RomStdElementDataCfgSetCount(part, kElements), "element count");
    Must(RomStdElementDataCfgSetConnectivityTableSize(part, 8 * kElements), "connectivity size");
    Must(RomMeshDataCfgAddRegion(mesh, &region), "region");
    Must(RomSetSolverId(region, "block"), "region id");
    const struct {
        const char* support;
        std::uint32_t count;
        std::int32_t type;
        const char* field;
        const char* unit;
        std::vector<const char*> components;
    } fields[] = {{"block-nodes", kNodes, 1, "velocity", "m/s", {"vx", "vy", "vz"}},
                  {"block-cells", kElements, 2, "pressure", "Pa", {"p"}}};
    for (const auto& spec : fields) {
        Must(RomRegionCfgAddSupport(region, &part), "support");
        Must(RomSetSolverId(part, spec.support), "support id");
        Must(RomSupportCfgSetEntityCount(part, spec.count), "entity count");
        Must(RomSupportCfgSetEntitiesType(part, spec.type), "entity type");
    }
    for (const auto& spec : fields) {
        RomObject* field = nullptr;
        Must(RomSetupCfgAddField(setup, &field), "field");
        Must(RomSetSolverId(field, spec.field), "field id");
        Must(RomFieldCfgSetCaption(field, spec.field), "field caption");
        Must(RomFieldCfgSetUnit(field, spec.unit), "field unit");
        Must(RomFieldCfgSetEntitiesType(field, spec.type), "field entity type");
        for (const char* component : spec.components) {
            Must(RomFieldCfgAddComponent(field, &part), "component");
            Must(RomSetSolverId(part, component), "component id");
            Must(RomComponentCfgSetCaption(part, component), "component caption");
        }
        Must(RomFieldCfgAddSupport(field, spec.support), "field support");
    }
    Must(RomConfigurationCheck(setup), "check");
    Must(RomPersistableSave(setup, (folder + "/setup.romcfg").c_str()), "save setup");
    Must(RomSetupCfgSaveMeshConfiguration(setup, (folder + "/mesh.romcfg").c_str()), "save mesh cfg");
    Must(RomSetupCfgSaveSnapshotConfiguration(setup, (folder + "/snapshot.romcfg").c_str()), "save snapshot cfg");
    Must(RomFactoryRelease(setup), "release");
}

void WriteMesh(const std::string& folder) {
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
void WriteRun(const std::string& folder, std::uint32_t run) {
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

void WriteCache(const std::string& folder) {
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
        std::fprintf(stderr, "usage: block_files FOLDER\n");
        return 2;
    }
    const std::string folder = std::string(argv[1]) + "/block";
    ::mkdir(folder.c_str(), 0777);
    WriteSetup(folder);
    WriteMesh(folder);
    for (std::uint32_t run = 0; run < std::size(kTimes); ++run) WriteRun(folder, run);
    WriteCache(folder);
    return 0;
}
