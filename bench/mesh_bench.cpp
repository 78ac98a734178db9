// The mesh builder through the exported functions, as a solver fills it: a strip of
// 2,000,000 Hex8 elements and its 8,000,004 nodes added one call at a time, the nodes
// gathered in one support, then the mesh saved to a mesh file and resumed into a new
// mesh data. Each figure is printed beside a reference from the same run:
// - the build beside as many calls to a function that is not inlined and stores one
//   value into an array, into tables of the same sizes allocated the same way;
// - the save beside an fwrite of as many bytes from page-aligned memory into a new file
//   in the same folder;
// - the resume beside an fread of the same file into new page-aligned memory.
// The page cache cannot be dropped here, so every file is read warm, after being written.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tervik/rom/rom.h>

#include "bench.hpp"
#include "hdf5_peer.hpp"
#include "strip.hpp"

#if defined(__clang__)
#define MESH_BENCH_OPAQUE __attribute__((noinline))
#else
#define MESH_BENCH_OPAQUE __attribute__((noipa))
#endif

namespace {

using namespace strip;

constexpr int kBuildRuns = 5;
constexpr int kFileRounds = 3;

// Every call of the build: the create, five per node, ten per element, one for the
// support and one per node of it.
constexpr std::uint64_t kBuildCalls =
    1 + std::uint64_t{kNodes} * (2 + kDimension) + std::uint64_t{kElements} * (2 + kCorners) + 1 + kNodes;

// ---- The build of the strip (strip.hpp) --------------------------------------------
// Here connectivity and support entities give node indices.

// The build, one step at a time, into a sink: the exports or the reference stores.
template <class Sink>
void Fill(Sink& sink) {
    for (std::uint32_t n = 0; n < kNodes; ++n) {
        sink.AddNode();
        sink.SetNodeId(NodeId(n));
        for (std::uint32_t axis = 0; axis < kDimension; ++axis) sink.SetCoordinate(axis, Coordinate(n, axis));
    }
    for (std::uint32_t e = 0; e < kElements; ++e) {
        sink.AddHex8();
        sink.SetElementId(ElementId(e));
        for (std::uint32_t corner = 0; corner < kCorners; ++corner) sink.SetConnectivity(corner, Corner(e, corner));
    }
    sink.AddSupport();
    for (std::uint32_t n = 0; n < kNodes; ++n) sink.SetEntityId(n, n);
}

// The build through the exported functions, each call counted and checked.
class ExportSink {
public:
    explicit ExportSink(const std::string& configuration) {
        Count(RomFactoryCreateAndInitMesh(&mesh_, configuration.c_str()), "RomFactoryCreateAndInitMesh");
    }

    void AddNode() { Count(RomMeshAddNode(mesh_, &node_), "RomMeshAddNode"); }
    void SetNodeId(std::uint32_t id) { Count(RomSupportEntitySetId(node_, id), "RomSupportEntitySetId"); }
    void SetCoordinate(std::uint32_t axis, double value) {
        Count(RomNodeSetCoordinate(node_, axis, value), "RomNodeSetCoordinate");
    }
    void AddHex8() { Count(RomMeshAddHex8(mesh_, &element_), "RomMeshAddHex8"); }
    void SetElementId(std::uint32_t id) { Count(RomSupportEntitySetId(element_, id), "RomSupportEntitySetId"); }
    void SetConnectivity(std::uint32_t corner, std::uint32_t node) {
        Count(RomStdElementSetConnectivity(element_, corner, node), "RomStdElementSetConnectivity");
    }
    void AddSupport() { Count(RomMeshAddSupport(mesh_, kSupport, &support_), "RomMeshAddSupport"); }
    void SetEntityId(std::uint32_t index, std::uint32_t id) {
        Count(RomSupportSetEntityId(support_, index, id), "RomSupportSetEntityId");
    }

    RomObject* Mesh() const { return mesh_; }
    std::uint64_t Calls() const { return calls_; }

private:
    void Count(RomExceptionHandle error, const char* what) {
        ++calls_;
        Must(error, what);
    }

    RomObject* mesh_ = nullptr;
    RomObject* node_ = nullptr;
    RomObject* element_ = nullptr;
    RomObject* support_ = nullptr;
    std::uint64_t calls_ = 0;
};

// The reference: a call that writes one value, kept out of line and out of the
// caller's view.
MESH_BENCH_OPAQUE void StoreInt(std::int32_t* table, std::size_t index, std::int32_t value) { table[index] = value; }
MESH_BENCH_OPAQUE void StoreDouble(double* table, std::size_t index, double value) { table[index] = value; }

// The same build as stores into tables of the mesh's sizes, zero-filled on allocation
// as the library's are; each Add stores the new count.
class ReferenceSink {
public:
    ReferenceSink()
        : nodeIds_(new std::int32_t[kNodes]()),
          coordinates_(new double[std::size_t{kNodes} * kDimension]()),
          elementIds_(new std::int32_t[kElements]()),
          types_(new std::int32_t[kElements]()),
          connectivity_(new std::int32_t[std::size_t{kElements} * kCorners]()),
          entities_(new std::int32_t[kNodes]()) {
        ++calls_;
    }

    void AddNode() {
        node_ = nodes_++;
        Count();
        StoreInt(added_, 0, static_cast<std::int32_t>(nodes_));
    }
    void SetNodeId(std::uint32_t id) {
        Count();
        StoreInt(nodeIds_.get(), node_, static_cast<std::int32_t>(id));
    }
    void SetCoordinate(std::uint32_t axis, double value) {
        Count();
        StoreDouble(coordinates_.get(), std::size_t{node_} * kDimension + axis, value);
    }
    void AddHex8() {
        element_ = elements_++;
        Count();
        StoreInt(types_.get(), element_, 1);
    }
    void SetElementId(std::uint32_t id) {
        Count();
        StoreInt(elementIds_.get(), element_, static_cast<std::int32_t>(id));
    }
    void SetConnectivity(std::uint32_t corner, std::uint32_t node) {
        Count();
        StoreInt(connectivity_.get(), std::size_t{element_} * kCorners + corner, static_cast<std::int32_t>(node));
    }
    void AddSupport() {
        Count();
        StoreInt(added_, 2, 1);
    }
    void SetEntityId(std::uint32_t index, std::uint32_t id) {
        Count();
        StoreInt(entities_.get(), index, static_cast<std::int32_t>(id));
    }

    std::uint64_t Calls() const { return calls_; }
    // Reads a few of the stored values, so that the stores are observed.
    bool Holds() const {
        const std::uint32_t last = kElements - 1;
        return nodeIds_[kNodes - 1] == static_cast<std::int32_t>(NodeId(kNodes - 1)) &&
               connectivity_[std::size_t{last} * kCorners + 7] == static_cast<std::int32_t>(Corner(last, 7)) &&
               coordinates_[std::size_t{kNodes - 1} * kDimension] == Coordinate(kNodes - 1, 0) &&
               entities_[kNodes - 1] == static_cast<std::int32_t>(kNodes - 1) &&
               added_[0] == static_cast<std::int32_t>(kNodes);
    }

private:
    void Count() { ++calls_; }

    std::unique_ptr<std::int32_t[]> nodeIds_;
    std::unique_ptr<double[]> coordinates_;
    std::unique_ptr<std::int32_t[]> elementIds_;
    std::unique_ptr<std::int32_t[]> types_;
    std::unique_ptr<std::int32_t[]> connectivity_;
    std::unique_ptr<std::int32_t[]> entities_;
    std::int32_t added_[3] = {0, 0, 0};
    std::uint32_t nodes_ = 0;
    std::uint32_t node_ = 0;
    std::uint32_t elements_ = 0;
    std::uint32_t element_ = 0;
    std::uint64_t calls_ = 0;
};

// ---- Checks of the resumed mesh data ----------------------------------------------

template <class T>
void Expect(const char* what, std::uint32_t index, T found, T expected) {
    if (found == expected) return;
    Fail(std::string("resumed ") + what + " [" + std::to_string(index) + "] is " + std::to_string(found) +
         ", written " + std::to_string(expected));
}

// The live tables of a mesh data.
struct Tables {
    std::int32_t* nodeIds = nullptr;
    double* coordinates = nullptr;
    std::int32_t* elementIds = nullptr;
    std::int32_t* connectivity = nullptr;
    std::int32_t* types = nullptr;
    std::int32_t* entities = nullptr;
};

Tables TablesOf(RomObject* meshData) {
    Tables tables;
    RomObject* nodes = nullptr;
    Must(RomMeshDataGetNodeData(meshData, &nodes), "RomMeshDataGetNodeData");
    Must(RomNodeDataGetIds(nodes, &tables.nodeIds), "RomNodeDataGetIds");
    Must(RomNodeDataGetCoordinateTable(nodes, &tables.coordinates), "RomNodeDataGetCoordinateTable");
    RomObject* elementData = nullptr;
    Must(RomMeshDataGetElementData(meshData, &elementData), "RomMeshDataGetElementData");
    RomObject* elements = nullptr;
    Must(RomElementDataGetStdElementData(elementData, &elements), "RomElementDataGetStdElementData");
    Must(RomStdElementDataGetIds(elements, &tables.elementIds), "RomStdElementDataGetIds");
    Must(RomStdElementDataGetConnectivityTable(elements, &tables.connectivity),
         "RomStdElementDataGetConnectivityTable");
    Must(RomStdElementDataGetTypes(elements, &tables.types), "RomStdElementDataGetTypes");
    RomObject* support = nullptr;
    Must(RomMeshDataGetSupportData(meshData, kSupport, &support), "RomMeshDataGetSupportData");
    Must(RomSupportDataGetEntities(support, &tables.entities), "RomSupportDataGetEntities");
    return tables;
}

void CheckResumed(RomObject* meshData) {
    RomObject* cfg = nullptr;
    Must(RomMeshDataGetConfiguration(meshData, &cfg), "RomMeshDataGetConfiguration");
    RomObject* nodeCfg = nullptr;
    Must(RomMeshDataCfgGetNodeDataCfg(cfg, &nodeCfg), "RomMeshDataCfgGetNodeDataCfg");
    std::uint32_t nodeCount = 0;
    Must(RomNodeDataCfgGetCount(nodeCfg, &nodeCount), "RomNodeDataCfgGetCount");
    Expect("node count", 0, nodeCount, kNodes);

    const Tables tables = TablesOf(meshData);
    const std::int32_t* nodeIds = tables.nodeIds;
    const double* coordinates = tables.coordinates;
    const std::int32_t* elementIds = tables.elementIds;
    const std::int32_t* connectivity = tables.connectivity;
    const std::int32_t* types = tables.types;
    const std::int32_t* entities = tables.entities;

    const std::uint32_t nodeSpots[] = {0,       1,          2,         3, 4, 7, 12345, kNodes / 2, kNodes / 2 + 3,
                                       7777777, kNodes - 4, kNodes - 1};
    for (const std::uint32_t n : nodeSpots) {
        Expect("node id", n, nodeIds[n], static_cast<std::int32_t>(NodeId(n)));
        for (std::uint32_t axis = 0; axis < kDimension; ++axis)
            Expect("coordinate", n * kDimension + axis, coordinates[std::size_t{n} * kDimension + axis],
                   Coordinate(n, axis));
        Expect("support entity", n, entities[n], static_cast<std::int32_t>(n));
    }
    const std::uint32_t elementSpots[] = {0, 1, 2, 999, 123457, kElements / 2, 1999998, kElements - 1};
    for (const std::uint32_t e : elementSpots) {
        Expect("element id", e, elementIds[e], static_cast<std::int32_t>(ElementId(e)));
        Expect("element type", e, types[e], types[0]);
        for (std::uint32_t corner = 0; corner < kCorners; ++corner)
            Expect("connectivity", e * kCorners + corner, connectivity[std::size_t{e} * kCorners + corner],
                   static_cast<std::int32_t>(Corner(e, corner)));
    }
}

// HDF5's C API on the same tables: our save (of the built mesh) and resume in turns with an
// HDF5 write of the resumed tables to a new file and a read of them into new memory.
void CompareHdf5(RomObject* mesh, RomObject* resumed, const std::string& meshPath, const std::string& hdf5Path) {
    const Tables tables = TablesOf(resumed);
    using hdf5::Dataset;
    const std::vector<Dataset> sets = {
        {"node_ids", Dataset::Int32, tables.nodeIds, kNodes},
        {"coordinates", Dataset::Float64, tables.coordinates, kNodes, kDimension},
        {"element_ids", Dataset::Int32, tables.elementIds, kElements},
        {"element_types", Dataset::Int32, tables.types, kElements},
        {"connectivity", Dataset::Int32, tables.connectivity, std::uint64_t{kElements} * kCorners},
        {"support_entities", Dataset::Int32, tables.entities, kNodes}};
    double save = std::numeric_limits<double>::max(), write = save, resume = save, read = save;
    TakeTurns(
        kFileRounds,
        [&] {
            std::filesystem::remove(meshPath);
            save =
                std::min(save, Time([&] { Must(RomPersistableSave(mesh, meshPath.c_str()), "RomPersistableSave"); }));
        },
        [&] {
            std::filesystem::remove(hdf5Path);
            write = std::min(write, Time([&] { hdf5::Write(hdf5Path, sets); }));
        });
    std::printf("mesh_bench.h5: %.1f MB\n", static_cast<double>(std::filesystem::file_size(hdf5Path)) / 1e6);
    ReportTarget("save (RomPersistableSave), best of 3", save, "HDF5 C API write, best", write, "(peer)");
    TakeTurns(
        kFileRounds,
        [&] {
            RomObject* again = nullptr;
            resume = std::min(resume, Time([&] {
                                  Must(RomFactoryCreateMeshData(&again), "RomFactoryCreateMeshData");
                                  Must(RomPersistableResume(again, meshPath.c_str()), "RomPersistableResume");
                              }));
            Must(RomFactoryRelease(again), "RomFactoryRelease");
        },
        [&] {
            std::vector<PageMemory> arrays;
            read = std::min(read, Time([&] { arrays = hdf5::Read(hdf5Path, sets); }));
        });
    ReportTarget("resume (CreateMeshData + Resume), best of 3", resume, "HDF5 C API read, new memory, best", read,
                 "(peer)");
    std::filesystem::remove(hdf5Path);
}

}  // namespace

// A step of the fresh-process comparison (bench.hpp), in a process of its own.
[[noreturn]] void FreshStep(const std::string& step, const std::string& path) {
    if (step == "fread") FreadStep(path);
    RomObject* resumed = nullptr;
    TimeStepAndExit(
        [&] {
            Must(RomFactoryCreateMeshData(&resumed), "RomFactoryCreateMeshData");
            Must(RomPersistableResume(resumed, path.c_str()), "RomPersistableResume");
        },
        [&] { CheckResumed(resumed); });
}

int main(int argc, char** argv) {
    if (argc > 3 && std::string(argv[1]) == "--fresh") FreshStep(argv[2], argv[3]);
    const std::string dir = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    std::filesystem::create_directories(dir);
    const std::string configurationPath = dir + "/mesh_bench." + RomGetConfigurationFileExtension();
    const std::string meshPath = dir + "/mesh_bench." + RomGetMeshFileExtension();
    const std::string rawPath = dir + "/mesh_bench.raw";
    WriteConfiguration(configurationPath);
    std::printf("strip of %u Hex8 elements and %u nodes, support \"%s\" over every node\n", kElements, kNodes,
                kSupport);

    // Build: a fresh mesh each run, taking turns with the reference so that both see
    // the same load; the median of each. The previous mesh is released outside the timing.
    std::vector<double> built, stored, initialised, allocated;
    RomObject* mesh = nullptr;
    for (int run = 0; run < kBuildRuns; ++run) {
        if (mesh != nullptr) Must(RomFactoryRelease(mesh), "RomFactoryRelease");
        std::optional<ExportSink> exports;
        double init = 0;
        built.push_back(Time([&] {
            const auto start = std::chrono::steady_clock::now();
            exports.emplace(configurationPath);
            init = Seconds(start);
            Fill(*exports);
        }));
        initialised.push_back(init);
        if (exports->Calls() != kBuildCalls)
            Fail("the build made " + std::to_string(exports->Calls()) + " calls, not " + std::to_string(kBuildCalls));
        mesh = exports->Mesh();

        std::optional<ReferenceSink> reference;
        double allocation = 0;
        stored.push_back(Time([&] {
            const auto start = std::chrono::steady_clock::now();
            reference.emplace();
            allocation = Seconds(start);
            Fill(*reference);
        }));
        allocated.push_back(allocation);
        if (reference->Calls() != kBuildCalls || !reference->Holds()) Fail("the reference build went wrong");
    }
    const double build = Median(built);
    const double store = Median(stored);
    const double calls = static_cast<double>(kBuildCalls);
    ReportTarget("build through the exports, median of 5", build, "non-inlined stores, median", store, "");
    std::printf(
        "  %llu exported calls: %.2f ns per call, reference %.2f ns per store call   target <= 15 ns per call\n",
        static_cast<unsigned long long>(kBuildCalls), build * 1e9 / calls, store * 1e9 / calls);
    const double init = Median(initialised);
    const double allocation = Median(allocated);
    std::printf(
        "  of which the create and initialise: %.4f s, reference allocation %.4f s (medians); the calls after "
        "it: %.2f ns per call, reference %.2f ns\n",
        init, allocation, (build - init) * 1e9 / (calls - 1), (store - allocation) * 1e9 / (calls - 1));

    // Save and resume, each in turns with its raw reference.
    const FileTimes saved = SaveBesideWrite(mesh, meshPath, rawPath, kFileRounds);
    std::printf("mesh_bench.%s: %.1f MB\n", RomGetMeshFileExtension(), static_cast<double>(saved.size) / 1e6);
    ReportTarget("save (RomPersistableSave), best of 3", saved.ours, "fwrite of the bytes, best", saved.raw,
                 "target <= 1.25x");
    CompareAfterPause(mesh, meshPath, rawPath, "(information)");
    RomObject* resumed = nullptr;
    const FileTimes loaded = ResumeBesideRead(RomFactoryCreateMeshData, meshPath, kFileRounds, resumed);
    ReportTarget("resume (CreateMeshData + Resume), best of 3", loaded.ours, "fread of the bytes, best", loaded.raw,
                 "target <= 1.5x");

    CheckResumed(resumed);
    std::printf("resumed node ids, coordinates, element ids, connectivity and support entities match\n");
    if (hdf5::kAvailable) CompareHdf5(mesh, resumed, meshPath, dir + "/mesh_bench.h5");
    Must(RomFactoryRelease(resumed), "RomFactoryRelease");
    resumed = nullptr;
    Must(RomFactoryRelease(mesh), "RomFactoryRelease");
    mesh = nullptr;
    CompareFresh("resume in a fresh process (Create + Resume)", "resume", meshPath, "target <= 1.1x");

    std::remove(configurationPath.c_str());
    std::remove(meshPath.c_str());
    std::remove(rawPath.c_str());
    return 0;
}
