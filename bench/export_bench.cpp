// The export of `tervikrom export`: the strip of the mesh benchmark (strip.hpp: 2,000,000
// Hex8 and 8,000,004 nodes, connectivity and support entities given as node ids) with one
// snapshot of a field of three components on every node, resumed from its files, then
// written as a VTK unstructured grid with the components as one array of the field. Each
// figure is printed beside its references from the same run:
// - the export (cells resolved from node ids, the components interleaved into the field's
//   array, the file written) beside an fwrite of the same bytes from page-aligned memory
//   into a new file, the two taking turns, min and median of 6 each;
// - the same export beside meshio's VTU writer (binary, no compression) on the same
//   arrays, timing only meshio's write, run by Debian's Python (meshio_vtu.py).
// The page cache cannot be dropped here: files are written into it, as a save is.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include <tervik/rom/rom.h>

#include "bench.hpp"
#include "cli.hpp"
#include "strip.hpp"

namespace {

using namespace strip;

constexpr const char* kComponents[] = {"vx", "vy", "vz"};
constexpr int kRounds = 6;
constexpr int kMeshioRuns = 2;

double Value(std::uint32_t node, std::size_t component) {
    return std::sin(1e-3 * node + static_cast<double>(component));
}

template <class T, class Entry>
std::vector<T> Filled(std::size_t size, Entry entry) {
    std::vector<T> values(size);
    for (std::size_t i = 0; i < size; ++i) values[i] = static_cast<T>(entry(i));
    return values;
}

// The strip's tables copied in whole, the connectivity and support entities as node ids.
void WriteMesh(const std::string& configuration, const std::string& path) {
    RomObject *data = nullptr, *part = nullptr, *elements = nullptr;
    Must(RomFactoryCreateAndInitMeshData(&data, configuration.c_str()), "RomFactoryCreateAndInitMeshData");
    Must(RomMeshDataGetMutableNodeData(data, &part), "RomMeshDataGetMutableNodeData");
    const auto nodeIds =
        Filled<std::int32_t>(kNodes, [](std::size_t n) { return NodeId(static_cast<std::uint32_t>(n)); });
    const auto coordinates = Filled<double>(std::size_t{kNodes} * kDimension, [](std::size_t i) {
        return Coordinate(static_cast<std::uint32_t>(i / kDimension), static_cast<std::uint32_t>(i % kDimension));
    });
    Must(RomNodeDataCopyIds(part, nodeIds.data(), 0, 0), "RomNodeDataCopyIds");
    Must(RomNodeDataCopyCoordinateTable(part, coordinates.data(), 0, 0), "RomNodeDataCopyCoordinateTable");
    Must(RomMeshDataGetMutableElementData(data, &elements), "RomMeshDataGetMutableElementData");
    Must(RomElementDataGetMutableStdElementData(elements, &part), "RomElementDataGetMutableStdElementData");
    const auto hex8 = Filled<std::int32_t>(kElements, [](std::size_t) { return 11; });
    const auto elementIds =
        Filled<std::int32_t>(kElements, [](std::size_t e) { return ElementId(static_cast<std::uint32_t>(e)); });
    const auto connectivity = Filled<std::int32_t>(std::size_t{kElements} * kCorners, [](std::size_t i) {
        return NodeId(Corner(static_cast<std::uint32_t>(i / kCorners), static_cast<std::uint32_t>(i % kCorners)));
    });
    Must(RomStdElementDataCopyTypes(part, hex8.data(), 0, 0), "RomStdElementDataCopyTypes");
    Must(RomStdElementDataCopyIds(part, elementIds.data(), 0, 0), "RomStdElementDataCopyIds");
    Must(RomStdElementDataCopyConnectivityTable(part, connectivity.data(), 0, 0), "CopyConnectivityTable");
    Must(RomMeshDataGetMutableSupportData(data, kSupport, &part), "RomMeshDataGetMutableSupportData");
    Must(RomSupportDataCopyEntities(part, nodeIds.data(), 0, 0), "RomSupportDataCopyEntities");
    Must(RomPersistableSave(data, path.c_str()), "RomPersistableSave");
    Must(RomFactoryRelease(data), "RomFactoryRelease");
}

// Three components on the node support, a value for every node.
void WriteSnapshot(const std::string& configuration, const std::string& path) {
    RomObject *cfg = nullptr, *support = nullptr, *component = nullptr;
    Must(RomFactoryCreateSnapshotCfg(&cfg), "RomFactoryCreateSnapshotCfg");
    Must(RomSnapshotCfgAddSupport(cfg, &support), "RomSnapshotCfgAddSupport");
    Must(RomSetSolverId(support, kSupport), "RomSetSolverId");
    Must(RomSupportCfgSetEntityCount(support, kNodes), "RomSupportCfgSetEntityCount");
    for (const char* name : kComponents) {
        Must(RomSnapshotCfgAddComponent(cfg, &component), "RomSnapshotCfgAddComponent");
        Must(RomSetSolverId(component, name), "RomSetSolverId");
        Must(RomSnapshotCfgAddComponentToSupport(cfg, component, support), "RomSnapshotCfgAddComponentToSupport");
    }
    Must(RomPersistableSave(cfg, configuration.c_str()), "RomPersistableSave");
    Must(RomFactoryRelease(cfg), "RomFactoryRelease");

    RomObject *snapshot = nullptr, *data = nullptr;
    Must(RomFactoryCreateAndInitSnapshot(&snapshot, configuration.c_str()), "RomFactoryCreateAndInitSnapshot");
    const auto ids = Filled<std::uint32_t>(kNodes, [](std::size_t n) { return NodeId(static_cast<std::uint32_t>(n)); });
    for (std::size_t c = 0; c < std::size(kComponents); ++c) {
        const auto values =
            Filled<double>(kNodes, [c](std::size_t n) { return Value(static_cast<std::uint32_t>(n), c); });
        Must(RomSnapshotGetComponentData(snapshot, kComponents[c], kSupport, &data), "RomSnapshotGetComponentData");
        Must(RomSnapshotComponentDataAddValues(data, ids.data(), values.data(), kNodes), "AddValues");
    }
    Must(RomPersistableSave(snapshot, path.c_str()), "RomPersistableSave");
    Must(RomFactoryRelease(snapshot), "RomFactoryRelease");
}

// The arrays of the export as raw files for meshio: points, cells as node indices, the
// ids and the component.
void WriteMeshioArrays(const std::string& dir, const tervik::cli::Mesh& mesh) {
    WriteRaw(dir + "/points.raw", mesh.coordinates.data, std::size_t{mesh.coordinates.count} * sizeof(double));
    const auto cells = Filled<std::int32_t>(std::size_t{kElements} * kCorners, [](std::size_t i) {
        return Corner(static_cast<std::uint32_t>(i / kCorners), static_cast<std::uint32_t>(i % kCorners));
    });
    WriteRaw(dir + "/cells.raw", cells.data(), cells.size() * sizeof(std::int32_t));
    WriteRaw(dir + "/node_ids.raw", mesh.nodeIds.data, std::size_t{kNodes} * sizeof(std::int32_t));
    WriteRaw(dir + "/element_ids.raw", mesh.elementIds.data, std::size_t{kElements} * sizeof(std::int32_t));
    const auto values = Filled<double>(std::size_t{kNodes} * 3,
                                       [](std::size_t i) { return Value(static_cast<std::uint32_t>(i / 3), i % 3); });
    WriteRaw(dir + "/velocity.raw", values.data(), values.size() * sizeof(double));
}

double MeshioSeconds(const std::string& dir) {
    const std::string command = std::string("/usr/bin/python3 ") + EXPORT_BENCH_MESHIO_SCRIPT + " '" + dir + "' " +
                                std::to_string(kNodes) + " " + std::to_string(kElements) + " " +
                                std::to_string(kMeshioRuns);
    std::FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) Fail("cannot run " + command);
    double seconds = 0;
    const bool read = std::fscanf(pipe, "%lf", &seconds) == 1;
    if (pclose(pipe) != 0 || !read) Fail("meshio's write failed: " + command);
    return seconds;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string dir = (argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string()) + "/export_bench";
    std::filesystem::create_directories(dir);
    const std::string meshCfg = dir + "/mesh." + RomGetConfigurationFileExtension();
    const std::string snapshotCfg = dir + "/snapshot." + RomGetConfigurationFileExtension();
    const std::string meshPath = dir + "/strip." + RomGetMeshFileExtension();
    const std::string snapshotPath = dir + "/run." + RomGetSnapshotFileExtension();
    const std::string vtuPath = dir + "/strip.vtu";
    const std::string rawPath = dir + "/strip.raw";
    WriteConfiguration(meshCfg);
    WriteMesh(meshCfg, meshPath);
    WriteSnapshot(snapshotCfg, snapshotPath);
    std::printf(
        "strip of %u Hex8 elements and %u nodes (ids from 1), one snapshot of the field velocity (vx, vy, vz) "
        "on every node\n",
        kElements, kNodes);

    std::optional<tervik::cli::Mesh> mesh;
    std::optional<tervik::cli::Snapshot> snapshot;
    const double resume = Time([&] {
        mesh.emplace(tervik::cli::LoadMesh(meshPath));
        snapshot.emplace(tervik::cli::LoadSnapshot(snapshotPath));
    });
    std::printf("resume of the mesh and snapshot files (not part of the export): %.4f s\n", resume);

    // The export and the raw write of its bytes take turns; each writes a new file (the
    // previous one is removed outside the timing).
    const tervik::cli::ExportOptions options;
    const std::vector<tervik::cli::Field> fields = {
        {"velocity", "velocity", "velocity", "m/s", strip::kNodeEntities, {"vx", "vy", "vz"}, {kSupport}}};
    std::uint64_t bytes = 0;
    std::vector<double> exported, written;
    PageMemory outgoing;
    const auto exportOnce = [&] {
        std::filesystem::remove(vtuPath);
        exported.push_back(Time([&] {
            const tervik::cli::VtuWriter writer(*mesh, options, fields);
            bytes = writer.Write(&*snapshot, vtuPath);
        }));
    };
    const auto writeOnce = [&] {
        if (!outgoing) {
            outgoing = PageAligned(bytes);
            ReadRaw(vtuPath, outgoing.get(), bytes);
        }
        std::filesystem::remove(rawPath);
        written.push_back(Time([&] { WriteRaw(rawPath, outgoing.get(), bytes); }));
    };
    TakeTurns(kRounds, exportOnce, writeOnce);
    outgoing.reset();
    std::printf("strip.vtu: %.1f MB\n", static_cast<double>(bytes) / 1e6);
    const double best = *std::min_element(exported.begin(), exported.end());
    ReportTarget("export with the field, min of 6", best, "fwrite of the bytes, min",
                 *std::min_element(written.begin(), written.end()), "target <= 1.5x");
    ReportTarget("export with the field, median of 6", Median(exported), "fwrite of the bytes, median", Median(written),
                 "target <= 1.5x");
    std::printf("  each round:");
    for (std::size_t i = 0; i < exported.size() && i < written.size(); ++i)
        std::printf(" %.3f/%.3f", exported[i], written[i]);
    std::printf("\n");

    WriteMeshioArrays(dir, *mesh);
    const double meshio = MeshioSeconds(dir);
    ReportTarget("export, min of 6", best, "meshio VTU write, best of 2", meshio, "target <= 0.10x");

    for (const char* name : {"points.raw", "cells.raw", "node_ids.raw", "element_ids.raw", "velocity.raw"})
        std::filesystem::remove(dir + "/" + name);
    for (const std::string& path : {meshCfg, snapshotCfg, meshPath, snapshotPath, vtuPath, rawPath})
        std::filesystem::remove(path);
    return 0;
}
