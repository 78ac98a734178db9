// The strip of the mesh benchmarks: 2,000,000 Hex8 elements in a row and their
// 8,000,004 nodes, with one node support over every node.
#ifndef TERVIK_ROM_BENCH_STRIP_HPP
#define TERVIK_ROM_BENCH_STRIP_HPP

#include <cstdint>
#include <string>

#include <tervik/rom/rom.h>

#include "bench.hpp"

namespace strip {

constexpr std::uint32_t kElements = 2000000;
constexpr std::uint32_t kNodes = 4 * (kElements + 1);  // four corners per cross-section
constexpr std::uint32_t kDimension = 3;
constexpr std::uint32_t kCorners = 8;
constexpr std::int32_t kNodeEntities = 1;
constexpr const char* kSupport = "all";

// Cross-section i holds nodes 4i..4i+3, the corners of the unit square at x = i / 100;
// element e joins cross-sections e and e + 1 (its corners in Hex8 order). Ids start at 1.
inline std::uint32_t NodeId(std::uint32_t node) { return node + 1; }
inline std::uint32_t ElementId(std::uint32_t element) { return element + 1; }
inline std::uint32_t Corner(std::uint32_t element, std::uint32_t corner) { return 4 * element + corner; }

inline double Coordinate(std::uint32_t node, std::uint32_t axis) {
    const std::uint32_t corner = node % 4;
    if (axis == 0) return 0.01 * static_cast<double>(node / 4);
    if (axis == 1) return corner == 1 || corner == 2 ? 1.0 : 0.0;
    return corner >= 2 ? 1.0 : 0.0;
}

// The mesh data configuration of the strip, with the support kSupport over every node.
inline void WriteConfiguration(const std::string& path) {
    RomObject* cfg = nullptr;
    Must(RomFactoryCreateMeshDataCfg(&cfg), "RomFactoryCreateMeshDataCfg");
    RomObject* nodes = nullptr;
    Must(RomMeshDataCfgConfigureNodeData(cfg, &nodes), "RomMeshDataCfgConfigureNodeData");
    Must(RomNodeDataCfgSetCount(nodes, kNodes), "RomNodeDataCfgSetCount");
    Must(RomNodeDataCfgSetDimension(nodes, kDimension), "RomNodeDataCfgSetDimension");
    RomObject* elements = nullptr;
    Must(RomMeshDataCfgConfigureElementData(cfg, &elements), "RomMeshDataCfgConfigureElementData");
    RomObject* standard = nullptr;
    Must(RomElementDataCfgConfigureStdElementData(elements, &standard), "RomElementDataCfgConfigureStdElementData");
    Must(RomStdElementDataCfgSetCount(standard, kElements), "RomStdElementDataCfgSetCount");
    Must(RomStdElementDataCfgSetConnectivityTableSize(standard, kElements * kCorners),
         "RomStdElementDataCfgSetConnectivityTableSize");
    RomObject* region = nullptr;
    Must(RomMeshDataCfgAddRegion(cfg, &region), "RomMeshDataCfgAddRegion");
    Must(RomSetSolverId(region, "strip"), "RomSetSolverId");
    Must(RomRegionCfgSetCaption(region, "Strip"), "RomRegionCfgSetCaption");
    RomObject* support = nullptr;
    Must(RomRegionCfgAddSupport(region, &support), "RomRegionCfgAddSupport");
    Must(RomSetSolverId(support, kSupport), "RomSetSolverId");
    Must(RomSupportCfgSetEntityCount(support, kNodes), "RomSupportCfgSetEntityCount");
    Must(RomSupportCfgSetEntitiesType(support, kNodeEntities), "RomSupportCfgSetEntitiesType");
    Must(RomMeshDataCfgSetUnit(cfg, "m"), "RomMeshDataCfgSetUnit");
    Must(RomConfigurationCheck(cfg), "RomConfigurationCheck");
    Must(RomPersistableSave(cfg, path.c_str()), "RomPersistableSave");
    Must(RomFactoryRelease(cfg), "RomFactoryRelease");
}

}  // namespace strip

#endif
