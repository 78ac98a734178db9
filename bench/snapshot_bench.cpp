// A snapshot through the exported functions, as a solver fills it: one support of
// 5,000,000 entities with two components on it, every (entity id, value) pair added one
// call at a time, then the snapshot saved to a snapshot file and resumed into a new
// snapshot. Three cases:
// - shuffled: both components filled in one fixed-seed permutation of the ids, whose values
//   are laid out by id during the fill, so that the save writes them as they are;
// - ascending: the ids already in order, so the save writes the pairs as they are;
// - two orders: each component filled in its own permutation (for information; no target).
// Then the same pairs added by whole arrays (RomSnapshotComponentDataAddValues, one call a
// component) and saved, shuffled and ascending, beside a raw write of the file's bytes and
// beside HDF5's C API writing the same ids and values as they were given; the resume beside
// HDF5 reading them back; and the resume in fresh processes beside an fread in fresh processes.
// Each figure is printed beside a reference from the same run:
// - the fill beside as many calls to a function that is not inlined and stores one pair
//   into tables of the same sizes allocated the same way;
// - the save beside an fwrite of as many bytes from page-aligned memory into a new file
//   in the same folder;
// - the resume beside an fread of the same file into new page-aligned memory.
// The page cache cannot be dropped here, so every file is read warm, after being written.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <tervik/rom/rom.h>

#include "bench.hpp"
#include "hdf5_peer.hpp"

#if defined(__clang__)
#define SNAPSHOT_BENCH_OPAQUE __attribute__((noinline))
#else
#define SNAPSHOT_BENCH_OPAQUE __attribute__((noipa))
#endif

namespace {

constexpr std::uint32_t kEntities = 5000000;
constexpr std::uint32_t kComponents = 2;
constexpr const char* kSupport = "all";
constexpr const char* kComponentIds[kComponents] = {"pressure", "temperature"};
constexpr int kRounds = 3;
constexpr std::uint64_t kCalls = std::uint64_t{kEntities} * kComponents;

// The value of a component at an entity: distinct for every pair, exact in a double.
double Value(std::uint32_t component, std::uint32_t id) {
    return static_cast<double>(id) * 0.5 + static_cast<double>(component) * 1e7 + 0.25;
}

// A permutation of 0..count-1 from a fixed seed (Fisher-Yates over a splitmix64 stream),
// the same on every platform.
std::vector<std::uint32_t> Permutation(std::uint32_t count, std::uint64_t seed) {
    std::vector<std::uint32_t> order(count);
    for (std::uint32_t i = 0; i < count; ++i) order[i] = i;
    std::uint64_t state = seed;
    const auto next = [&state] {
        std::uint64_t z = (state += 0x9e3779b97f4a7c15ull);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
        return z ^ (z >> 31);
    };
    for (std::uint32_t i = count - 1; i > 0; --i) {
        const auto j = static_cast<std::uint32_t>(next() % (std::uint64_t{i} + 1));
        std::swap(order[i], order[j]);
    }
    return order;
}

// ---- The fill -----------------------------------------------------------------------
// Entity k of the solver's loop gives its value of each component in turn; component c
// takes its ids from orders[c][k].

struct Orders {
    const std::uint32_t* of[kComponents];
};

// The fill through the exports, every call checked.
void FillExports(RomObject* const (&data)[kComponents], const Orders& orders) {
    for (std::uint32_t k = 0; k < kEntities; ++k)
        for (std::uint32_t c = 0; c < kComponents; ++c) {
            const std::uint32_t id = orders.of[c][k];
            Must(RomSnapshotComponentDataAddValue(data[c], id, Value(c, id)), "RomSnapshotComponentDataAddValue");
        }
}

// The reference: a call that stores one pair, kept out of line and out of the caller's view.
SNAPSHOT_BENCH_OPAQUE void StorePair(std::uint32_t* ids, double* values, std::size_t index, std::uint32_t id,
                                     double value) {
    ids[index] = id;
    values[index] = value;
}

// The pairs of one component, zero-filled on allocation as the library's are.
struct ReferenceTables {
    std::unique_ptr<std::uint32_t[]> ids{new std::uint32_t[kEntities]()};
    std::unique_ptr<double[]> values{new double[kEntities]()};
};

void FillReference(ReferenceTables* tables, const Orders& orders) {
    for (std::uint32_t k = 0; k < kEntities; ++k)
        for (std::uint32_t c = 0; c < kComponents; ++c) {
            const std::uint32_t id = orders.of[c][k];
            StorePair(tables[c].ids.get(), tables[c].values.get(), k, id, Value(c, id));
        }
}

// ---- Files --------------------------------------------------------------------------

void WriteConfiguration(const std::string& path) {
    RomObject* cfg = nullptr;
    Must(RomFactoryCreateSnapshotCfg(&cfg), "RomFactoryCreateSnapshotCfg");
    RomObject* support = nullptr;
    Must(RomSnapshotCfgAddSupport(cfg, &support), "RomSnapshotCfgAddSupport");
    Must(RomSetSolverId(support, kSupport), "RomSetSolverId");
    Must(RomSupportCfgSetEntityCount(support, kEntities), "RomSupportCfgSetEntityCount");
    for (const char* id : kComponentIds) {
        RomObject* component = nullptr;
        Must(RomSnapshotCfgAddComponent(cfg, &component), "RomSnapshotCfgAddComponent");
        Must(RomSetSolverId(component, id), "RomSetSolverId");
        Must(RomSnapshotCfgAddComponentToSupport(cfg, component, support), "RomSnapshotCfgAddComponentToSupport");
    }
    Must(RomConfigurationCheck(cfg), "RomConfigurationCheck");
    Must(RomPersistableSave(cfg, path.c_str()), "RomPersistableSave");
    Must(RomFactoryRelease(cfg), "RomFactoryRelease");
}

// ---- Checks -------------------------------------------------------------------------

void ComponentData(RomObject* snapshot, RomObject* (&data)[kComponents]) {
    for (std::uint32_t c = 0; c < kComponents; ++c)
        Must(RomSnapshotGetComponentData(snapshot, kComponentIds[c], kSupport, &data[c]),
             "RomSnapshotGetComponentData");
}

void Expect(const std::string& what, std::uint64_t found, std::uint64_t expected) {
    if (found != expected) Fail(what + " is " + std::to_string(found) + ", expected " + std::to_string(expected));
}

// The resumed pairs: every id in ascending order, and the right values at spots.
void CheckResumed(RomObject* snapshot) {
    std::uint32_t filled = 0;
    Must(RomSnapshotIsFilled(snapshot, &filled), "RomSnapshotIsFilled");
    Expect("resumed snapshot filled flag", filled, 1);
    RomObject* data[kComponents] = {};
    ComponentData(snapshot, data);
    const std::uint32_t spots[] = {
        0, 1, 2, 3, 7, 12345, 999999, kEntities / 2, kEntities / 2 + 1, 3141592, kEntities - 2, kEntities - 1};
    for (std::uint32_t c = 0; c < kComponents; ++c) {
        const std::string name = std::string("resumed ") + kComponentIds[c];
        std::uint32_t count = 0;
        Must(RomSnapshotComponentDataGetAssignedEntityValueCount(data[c], &count),
             "RomSnapshotComponentDataGetAssignedEntityValueCount");
        Expect(name + " assigned count", count, kEntities);
        std::uint32_t* ids = nullptr;
        double* values = nullptr;
        Must(RomSnapshotComponentDataGetIdArray(data[c], &ids), "RomSnapshotComponentDataGetIdArray");
        Must(RomSnapshotComponentDataGetValueArray(data[c], &values), "RomSnapshotComponentDataGetValueArray");
        for (std::uint32_t i = 1; i < kEntities; ++i)
            if (ids[i] <= ids[i - 1])
                Fail(name + " ids are not ascending at " + std::to_string(i) + ": " + std::to_string(ids[i - 1]) +
                     " then " + std::to_string(ids[i]));
        for (const std::uint32_t i : spots) {
            Expect(name + " id [" + std::to_string(i) + "]", ids[i], i);
            if (values[i] != Value(c, i))
                Fail(name + " value [" + std::to_string(i) + "] is " + std::to_string(values[i]) + ", written " +
                     std::to_string(Value(c, i)));
            std::uint32_t id = 0;
            double value = 0;
            Must(RomSnapshotComponentDataGetValue(data[c], i, &id, &value), "RomSnapshotComponentDataGetValue");
            Expect(name + " GetValue id [" + std::to_string(i) + "]", id, i);
            if (value != Value(c, i)) Fail(name + " GetValue value [" + std::to_string(i) + "] differs");
        }
    }
}

// ---- One case -----------------------------------------------------------------------

struct Targets {
    const char* call;
    const char* save;
    const char* resume;
};

struct Paths {
    std::string configuration;
    std::string snapshot;
    std::string raw;
};

void RunCase(const char* title, const Orders& orders, const Targets& targets, const Paths& paths) {
    std::printf("\n== %s\n", title);

    // Fill: a fresh snapshot each round, taking turns with the reference (the order
    // alternates, as the second of a round tends to run faster); best of each. The create
    // and initialise is timed apart from the calls; the previous snapshot is released
    // outside the timing.
    RomObject* snapshot = nullptr;
    double fill = std::numeric_limits<double>::max();
    double store = std::numeric_limits<double>::max();
    double init = std::numeric_limits<double>::max();
    double allocation = std::numeric_limits<double>::max();
    const auto fillOnce = [&] {
        if (snapshot != nullptr) Must(RomFactoryRelease(snapshot), "RomFactoryRelease");
        snapshot = nullptr;
        init = std::min(init, Time([&] {
                            Must(RomFactoryCreateAndInitSnapshot(&snapshot, paths.configuration.c_str()),
                                 "RomFactoryCreateAndInitSnapshot");
                        }));
        RomObject* data[kComponents] = {};
        ComponentData(snapshot, data);
        fill = std::min(fill, Time([&] { FillExports(data, orders); }));
    };
    const auto storeOnce = [&] {
        std::unique_ptr<ReferenceTables[]> tables;
        allocation = std::min(allocation, Time([&] { tables.reset(new ReferenceTables[kComponents]); }));
        ReferenceTables* all = tables.get();
        store = std::min(store, Time([&] { FillReference(all, orders); }));
        for (std::uint32_t c = 0; c < kComponents; ++c) {
            const std::uint32_t id = orders.of[c][kEntities - 1];
            if (all[c].ids[kEntities - 1] != id || all[c].values[kEntities - 1] != Value(c, id))
                Fail("the reference fill went wrong");
        }
    };
    TakeTurns(kRounds, fillOnce, storeOnce);
    std::uint32_t filled = 0;
    Must(RomSnapshotIsFilled(snapshot, &filled), "RomSnapshotIsFilled");
    Expect("filled flag after the fill", filled, 1);
    const double calls = static_cast<double>(kCalls);
    ReportTarget("fill (AddValue x 10M), best of 3", fill, "non-inlined pair stores, best", store, "");
    std::printf("  %llu AddValue calls: %.2f ns per call, reference %.2f ns per store call   %s\n",
                static_cast<unsigned long long>(kCalls), fill * 1e9 / calls, store * 1e9 / calls, targets.call);
    std::printf("  the create and initialise apart: %.4f s, reference allocation %.4f s (best of 3)\n", init,
                allocation);

    // Save and resume, each in turns with its raw reference.
    const FileTimes saved = SaveBesideWrite(snapshot, paths.snapshot, paths.raw, kRounds);
    Must(RomFactoryRelease(snapshot), "RomFactoryRelease");
    std::printf("snapshot_bench.%s: %.1f MB\n", RomGetSnapshotFileExtension(), static_cast<double>(saved.size) / 1e6);
    ReportTarget("save (RomPersistableSave), best of 3", saved.ours, "fwrite of the bytes, best", saved.raw,
                 targets.save);
    RomObject* resumed = nullptr;
    const FileTimes loaded = ResumeBesideRead(RomFactoryCreateSnapshot, paths.snapshot, kRounds, resumed);
    ReportTarget("resume (CreateSnapshot + Resume), best of 3", loaded.ours, "fread of the bytes, best", loaded.raw,
                 targets.resume);

    CheckResumed(resumed);
    std::printf("resumed ids ascending for both components, counts and spot values match\n");
    Must(RomFactoryRelease(resumed), "RomFactoryRelease");
}

// ---- Whole arrays ---------------------------------------------------------------------

// Both components added by one AddValues call each, then saved; in turns with a raw write of
// the saved file's bytes and HDF5 writing the same arrays, as given, to a new file. Then the
// resume beside HDF5 reading the arrays back into new memory.
void RunBulkCase(const char* title, const Orders& orders, const char* fillTarget, const char* hdf5Target,
                 const Paths& paths) {
    std::printf("\n== %s\n", title);
    std::vector<std::vector<double>> values(kComponents, std::vector<double>(kEntities));
    for (std::uint32_t c = 0; c < kComponents; ++c)
        for (std::uint32_t k = 0; k < kEntities; ++k) values[c][k] = Value(c, orders.of[c][k]);
    using hdf5::Dataset;
    std::vector<Dataset> sets;
    for (std::uint32_t c = 0; c < kComponents; ++c) {
        sets.push_back({std::string(kComponentIds[c]) + "_ids", Dataset::UInt32, orders.of[c], kEntities});
        sets.push_back({std::string(kComponentIds[c]) + "_values", Dataset::Float64, values[c].data(), kEntities});
    }
    const std::string hdf5Path = paths.raw + ".h5";

    double fill = std::numeric_limits<double>::max(), save = fill, both = fill, raw = fill, written = fill;
    double init = fill;
    PageMemory bytes;
    std::size_t size = 0;
    RomObject* snapshot = nullptr;
    const auto ours = [&] {
        if (snapshot != nullptr) Must(RomFactoryRelease(snapshot), "RomFactoryRelease");
        snapshot = nullptr;
        std::filesystem::remove(paths.snapshot);
        init = std::min(init, Time([&] {
                            Must(RomFactoryCreateAndInitSnapshot(&snapshot, paths.configuration.c_str()),
                                 "RomFactoryCreateAndInitSnapshot");
                        }));
        RomObject* data[kComponents] = {};
        ComponentData(snapshot, data);
        const auto start = std::chrono::steady_clock::now();
        const double filled = Time([&] {
            for (std::uint32_t c = 0; c < kComponents; ++c)
                Must(RomSnapshotComponentDataAddValues(data[c], orders.of[c], values[c].data(), kEntities),
                     "RomSnapshotComponentDataAddValues");
        });
        const double saved =
            Time([&] { Must(RomPersistableSave(snapshot, paths.snapshot.c_str()), "RomPersistableSave"); });
        both = std::min(both, Seconds(start));
        fill = std::min(fill, filled);
        save = std::min(save, saved);
        if (bytes == nullptr) {
            size = std::filesystem::file_size(paths.snapshot);
            bytes = PageAligned(size);
            ReadRaw(paths.snapshot, bytes.get(), size);
        }
    };
    const auto rawWrite = [&] {
        if (bytes == nullptr) return;
        std::filesystem::remove(paths.raw);
        raw = std::min(raw, Time([&] { WriteRaw(paths.raw, bytes.get(), size); }));
    };
    const auto hdf5Write = [&] {
        if (!hdf5::kAvailable) return;
        std::filesystem::remove(hdf5Path);
        written = std::min(written, Time([&] { hdf5::Write(hdf5Path, sets); }));
    };
    ours();  // a first save gives the raw write its bytes; not counted
    fill = save = both = init = std::numeric_limits<double>::max();
    RotateTurns(kRounds, ours, rawWrite, hdf5Write);
    Must(RomFactoryRelease(snapshot), "RomFactoryRelease");
    std::printf("snapshot_bench.%s: %.1f MB; create and initialise apart, %.4f s (best)\n",
                RomGetSnapshotFileExtension(), static_cast<double>(size) / 1e6, init);
    ReportTarget("fill (AddValues x 2) + save, best of 3", both, "fwrite of the file's bytes", raw, fillTarget);
    std::printf("  of which the fill %.4f s (%.2f ns a pair) and the save %.4f s (%.2fx the fwrite) (bests)\n", fill,
                fill * 1e9 / static_cast<double>(kCalls), save, save / raw);
    if (hdf5::kAvailable) {
        std::printf("snapshot_bench.h5: %.1f MB\n", static_cast<double>(std::filesystem::file_size(hdf5Path)) / 1e6);
        ReportTarget("fill (AddValues x 2) + save, best of 3", both, "HDF5 C API write, best", written, hdf5Target);
        double resume = std::numeric_limits<double>::max(), read = resume;
        TakeTurns(
            kRounds,
            [&] {
                RomObject* resumed = nullptr;
                resume =
                    std::min(resume, Time([&] {
                                 Must(RomFactoryCreateSnapshot(&resumed), "RomFactoryCreateSnapshot");
                                 Must(RomPersistableResume(resumed, paths.snapshot.c_str()), "RomPersistableResume");
                             }));
                CheckResumed(resumed);
                Must(RomFactoryRelease(resumed), "RomFactoryRelease");
            },
            [&] {
                std::vector<PageMemory> arrays;
                read = std::min(read, Time([&] { arrays = hdf5::Read(hdf5Path, sets); }));
            });
        ReportTarget("resume (CreateSnapshot + Resume), best of 3", resume, "HDF5 C API read, new memory, best", read,
                     "(peer)");
        std::filesystem::remove(hdf5Path);
    }
}

}  // namespace

// A step of the fresh-process comparison (bench.hpp), in a process of its own.
[[noreturn]] void FreshStep(const std::string& step, const std::string& path) {
    if (step == "fread") FreadStep(path);
    RomObject* resumed = nullptr;
    TimeStepAndExit(
        [&] {
            Must(RomFactoryCreateSnapshot(&resumed), "RomFactoryCreateSnapshot");
            Must(RomPersistableResume(resumed, path.c_str()), "RomPersistableResume");
        },
        [&] { CheckResumed(resumed); });
}

int main(int argc, char** argv) {
    if (argc > 3 && std::string(argv[1]) == "--fresh") FreshStep(argv[2], argv[3]);
    const std::string dir = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    std::filesystem::create_directories(dir);
    const Paths paths{dir + "/snapshot_bench." + RomGetConfigurationFileExtension(),
                      dir + "/snapshot_bench." + RomGetSnapshotFileExtension(), dir + "/snapshot_bench.raw"};
    WriteConfiguration(paths.configuration);
    std::printf("one support \"%s\" of %u entities, components \"%s\" and \"%s\" on it\n", kSupport, kEntities,
                kComponentIds[0], kComponentIds[1]);

    const std::vector<std::uint32_t> shuffled = Permutation(kEntities, 20240611);
    const std::vector<std::uint32_t> other = Permutation(kEntities, 77777);
    std::vector<std::uint32_t> ascending(kEntities);
    for (std::uint32_t i = 0; i < kEntities; ++i) ascending[i] = i;

    RunCase("shuffled ids, one order for both components", Orders{{shuffled.data(), shuffled.data()}},
            Targets{"target <= 15 ns per call", "target <= 2x", "target <= 1.5x"}, paths);
    RunCase("ascending ids", Orders{{ascending.data(), ascending.data()}},
            Targets{"target <= 15 ns per call", "target <= 1.25x", "target <= 1.5x"}, paths);
    RunCase("shuffled ids, a different order for each component (information)", Orders{{shuffled.data(), other.data()}},
            Targets{"(information)", "(information)", "(information)"}, paths);

    RunBulkCase("whole arrays, shuffled ids, one order for both components", Orders{{shuffled.data(), shuffled.data()}},
                "target <= 2.5x", "target <= 2.5x", paths);
    RunBulkCase("whole arrays, ascending ids", Orders{{ascending.data(), ascending.data()}}, "target <= 1.2x",
                "target <= 1x", paths);
    RunBulkCase("whole arrays, shuffled ids, a different order for each component (information)",
                Orders{{shuffled.data(), other.data()}}, "(information)", "(information)", paths);
    std::printf("\n");
    CompareFresh("resume in a fresh process (Create + Resume)", "resume", paths.snapshot, "target <= 1.1x");

    std::remove(paths.configuration.c_str());
    std::remove(paths.snapshot.c_str());
    std::remove(paths.raw.c_str());
    return 0;
}
