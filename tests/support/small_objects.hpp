// Small valid objects of every file kind, built through the exported functions.
#ifndef TERVIK_ROM_TESTS_SUPPORT_SMALL_OBJECTS_HPP
#define TERVIK_ROM_TESTS_SUPPORT_SMALL_OBJECTS_HPP

#include <cstdint>
#include <vector>

#include "support/exports.hpp"

namespace SmallObjects {

inline void Ok(RomExceptionHandle error) { EXPECT_EQ(TextOf(error), kOk); }

// A small valid mesh data configuration: one node, one Point0, one support of it.
inline RomObject* MeshConfiguration(std::uint32_t nodes) {
    RomObject* cfg = nullptr;
    Ok(RomFactoryCreateMeshDataCfg(&cfg));
    RomObject* nodeData = Child(&RomMeshDataCfgConfigureNodeData, cfg);
    Ok(RomNodeDataCfgSetCount(nodeData, nodes));
    Ok(RomNodeDataCfgSetDimension(nodeData, 1));
    RomObject* standard = Child(&RomElementDataCfgConfigureStdElementData, Child(&RomMeshDataCfgConfigureElementData, cfg));
    Ok(RomStdElementDataCfgSetCount(standard, 1));
    Ok(RomStdElementDataCfgSetConnectivityTableSize(standard, 1));
    RomObject* support = Child(&RomRegionCfgAddSupport, [&] {
        RomObject* region = Child(&RomMeshDataCfgAddRegion, cfg);
        Ok(RomSetSolverId(region, "r"));
        return region;
    }());
    Ok(RomSetSolverId(support, "s"));
    Ok(RomSupportCfgSetEntityCount(support, 1));
    Ok(RomSupportCfgSetEntitiesType(support, 1));
    return cfg;
}

inline RomObject* MeshData(std::uint32_t nodes) {
    RomObject* cfg = MeshConfiguration(nodes);
    RomObject* mesh = nullptr;
    Ok(RomFactoryCreateMeshData(&mesh));
    Ok(RomMeshDataInitialize(mesh, cfg));
    Ok(RomFactoryRelease(cfg));
    const std::vector<std::int32_t> ids(nodes, 7);
    const std::vector<double> xyz(nodes, 0.5);
    RomObject* nodeData = Child(&RomMeshDataGetMutableNodeData, mesh);
    Ok(RomNodeDataCopyIds(nodeData, ids.data(), 0, 0));
    Ok(RomNodeDataCopyCoordinateTable(nodeData, xyz.data(), 0, 0));
    RomObject* standard = Child(&RomElementDataGetMutableStdElementData, Child(&RomMeshDataGetMutableElementData, mesh));
    for (auto copy : {&RomStdElementDataCopyConnectivityTable, &RomStdElementDataCopyIds, &RomStdElementDataCopyTypes})
        Ok(copy(standard, ids.data(), 0, 0));
    RomObject* support = nullptr;
    Ok(RomMeshDataGetMutableSupportData(mesh, "s", &support));
    Ok(RomSupportDataCopyEntities(support, ids.data(), 0, 0));
    return mesh;
}

inline RomObject* Snapshot(std::uint32_t values) {
    RomObject *cfg = nullptr, *snapshot = nullptr, *data = nullptr;
    Ok(RomFactoryCreateSnapshotCfg(&cfg));
    RomObject* support = Child(&RomSnapshotCfgAddSupport, cfg);
    Ok(RomSetSolverId(support, "s"));
    Ok(RomSupportCfgSetEntityCount(support, values));
    RomObject* component = Child(&RomSnapshotCfgAddComponent, cfg);
    Ok(RomSetSolverId(component, "c"));
    Ok(RomSnapshotCfgAddComponentToSupport(cfg, component, support));
    Ok(RomFactoryCreateSnapshot(&snapshot));
    Ok(RomSnapshotInitialize(snapshot, cfg));
    Ok(RomFactoryRelease(cfg));
    Ok(RomSnapshotGetComponentData(snapshot, "c", "s", &data));
    for (std::uint32_t i = 0; i < values; ++i) Ok(RomSnapshotComponentDataAddValue(data, values - i, i));
    return snapshot;
}

inline RomObject* Cache(double load) {
    RomObject *cache = nullptr, *input = nullptr, *output = nullptr;
    std::uint32_t added = 0;
    Ok(RomFactoryCreateSnapshotCache(&cache));
    Ok(RomFactoryCreateUserPoint(&input));
    Ok(RomFactoryCreateUserPoint(&output));
    Ok(RomPointSetValue(input, "load", load));
    Ok(RomSnapshotCachePush(cache, input, output, "run.romsnp", &added));
    Ok(RomFactoryRelease(input));
    Ok(RomFactoryRelease(output));
    return cache;
}

inline RomObject* SetupCfg(const char* unit) {
    RomObject* setup = nullptr;
    Ok(RomFactoryCreateSetupCfg(&setup));
    Ok(RomMeshDataCfgSetUnit(Child(&RomSetupCfgConfigureMeshData, setup), unit));
    return setup;
}

}  // namespace SmallObjects

#endif
