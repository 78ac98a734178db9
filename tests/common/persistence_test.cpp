// Saving and resuming every kind of file: a save that fails anywhere leaves the file it was
// replacing and writes nothing that would read back as something else; a resume is whole or
// refused, and a damaged file never crashes; the object frame and its refusals.
#include <sys/stat.h>

#include <functional>
#include <string>
#include <vector>

#include <tervik/rom/common.hpp>

#include "common/fault_injection.hpp"
#include "common/persistence.hpp"
#include "project/project.hpp"
#include "snapshot/snapshot_cache.hpp"
#include "support/configurations.hpp"
#include "support/file_bytes.hpp"
#include "support/mesh_shape.hpp"
#include "support/snapshots.hpp"
#include "support/temp_dir.hpp"

using namespace Tervik::Rom;
namespace FaultInjection = Common::FaultInjection;

namespace {

class PersistenceTest : public TempDirTest {
public:
    std::string ProjectFile() {
        const std::string path = Path("p.rompjt");
        project_.Save(path);
        return ReadBytes(path);
    }
    std::string Saved(RomObject* object, const std::string& name) { return ::Saved(object, Path(name)); }
    std::string Written(const std::string& name, const std::string& bytes) {
        std::filesystem::remove(Path(name));  // a new file: truncating one in place waits for its writeback
        WriteBytes(Path(name), bytes);
        return Path(name);
    }
    std::string Resume(RomObject* object, const std::string& path) {
        return TextOf(RomPersistableResume(object, path.c_str()));
    }

protected:
    Project::CProject project_;
};

// Claims to be a project without being one: its content writer throws after the
// frame was written.
class CFakeProject : public Common::CPersistableBinary {
public:
    const std::string& GetFileExtension() const override { return project_.GetFileExtension(); }
    const char* GetSerializationUuid() const override { return project_.GetSerializationUuid(); }

protected:
    std::unique_ptr<Common::CPersistableBinary> MakeEmpty() const override { return std::make_unique<CFakeProject>(); }
    void TakeResumed(Common::CPersistableBinary&) noexcept override {}

private:
    Project::CProject project_;
};

Owned Cache(double load) {
    Owned cache = Create(RomFactoryCreateSnapshotCache), point = Create(RomFactoryCreateUserPoint);
    std::uint32_t added = 0;
    ROM_OK(RomPointSetValue(point.get(), "load", load));
    ROM_OK(RomSnapshotCachePush(cache.get(), point.get(), point.get(), "run.romsnp", &added));
    return cache;
}

MeshShape Nodes(std::uint32_t nodes) { return MeshShape().With(&MeshShape::nodes, nodes); }

// Every kind of file: two objects of it that save different bytes (variant 0 and 1), and a
// damaged file that a resume gets well into before it fails: a document, or the file of
// another object cut short by `cut` bytes.
struct Kind {
    const char* file;
    RomExceptionHandle (*create)(RomObject**);
    std::function<Owned(int variant)> make;
    std::string document;
    std::function<Owned()> other;  // binary files
    std::size_t cut;
};

const std::vector<Kind>& Kinds() {
    static const std::vector<Kind> kinds = {
        {"setup.romcfg", RomFactoryCreateSetupCfg,
         [](int v) {
             Owned setup = Create(RomFactoryCreateSetupCfg);
             ROM_OK(RomMeshDataCfgSetUnit(Child(RomSetupCfgConfigureMeshData, setup.get()), v == 0 ? "m" : "mm"));
             return setup;
         },
         Document("setup", R"({"meshData": {"unit": "x"}, "fields": [{"components": 0}]})"), nullptr, 0},
        {"mesh.romcfg", RomFactoryCreateMeshDataCfg, [](int v) { return NewConfiguration(Nodes(v + 1)); },
         Document("meshData", R"({"nodeData": {"count": 9, "dim": 1}, "regions": [{"supports": 0}], "unit": "x"})"),
         nullptr, 0},
        {"snapshot.romcfg", RomFactoryCreateSnapshotCfg,
         [](int v) {
             return SnapshotConfiguration({{"s1", 1}, {v == 0 ? "s2" : "s3", 1}}, {"c"}, {{"s1", "c"}});
         },
         Document("snapshot", R"({"supports": [{"solverId": "S9", "size": 1}], "components": [{"solverId": "C9"}],
                  "componentSupports": {"S9": ["CX"]}})"),
         nullptr, 0},
        {"runs.romcch", RomFactoryCreateSnapshotCache, [](int v) { return Cache(v + 1.0); },
         Document("snapshotCache", R"({"entries": [{"input": [{"id": "x", "value": 2}], "output": null,
                                       "snapshotFile": "b.romsnp"}, {"input": []}]})"),
         nullptr, 0},
        {"project.rompjt", RomFactoryCreateProject, [](int) { return Create(RomFactoryCreateProject); }, "",
         [] { return Create(RomFactoryCreateProject); }, 1},
        {"mesh.rommsh", RomFactoryCreateMeshData, [](int v) { return FilledMeshData(Nodes(3), v + 1); }, "",
         [] { return FilledMeshData(Nodes(4), 7); }, 200},
        {"run.romsnp", RomFactoryCreateSnapshot, [](int v) { return FilledSnapshot(v + 3); }, "",
         [] { return FilledSnapshot(9); }, 8},
    };
    return kinds;
}

}  // namespace

// A failed resume into an object holding another file leaves every table, configuration
// and handle as they were: the object saves the same bytes, and a table fetched before
// still holds what it held.
TEST_F(PersistenceTest, AFailedResumeLeavesTheObjectAsItWas) {
    for (const Kind& kind : Kinds()) {
        SCOPED_TRACE(kind.file);
        Owned object = kind.make(0);
        const std::string before = Saved(object.get(), kind.file);
        double* coordinates = nullptr;
        if (kind.create == RomFactoryCreateMeshData) {
            ROM_OK(RomNodeDataGetCoordinateTable(NodeData(object.get()), &coordinates));
        }
        const std::vector<double> held(coordinates, coordinates + (coordinates != nullptr ? 6 : 0));
        std::string damaged = kind.document;
        if (kind.other) {
            damaged = Saved(kind.other().get(), std::string("other-") + kind.file);
            damaged.resize(damaged.size() - kind.cut);
        }
        EXPECT_NE(Resume(object.get(), Written(std::string("bad-") + kind.file, damaged)), kOk);
        EXPECT_EQ(Saved(object.get(), kind.file), before);
        if (coordinates != nullptr) {
            EXPECT_EQ(TableOf(NodeData(object.get()), RomNodeDataGetCoordinateTable, 6), held);
        }
    }
}

// A save that fails at any of its writes, flushes, closes or renames leaves the file it was
// replacing byte for byte, and no temporary file.
TEST_F(PersistenceTest, EveryFailingOperationOfASaveLeavesThePreviousFile) {
    for (const Kind& kind : Kinds()) {
        SCOPED_TRACE(kind.file);
        const std::string target = Path(kind.file);
        Owned before = kind.make(0), after = kind.make(1);
        const std::string bytes = Saved(before.get(), kind.file);
        FaultInjection::Arm(~std::uint64_t{0});
        Saved(after.get(), std::string("count-") + kind.file);
        const std::uint64_t operations = FaultInjection::Counted();
        FaultInjection::Arm(0);
        std::filesystem::remove(Path(std::string("count-") + kind.file));
        ASSERT_GE(operations, 3u);
        for (std::uint64_t failing = 1; failing <= operations; ++failing) {
            FaultInjection::Arm(failing);
            const std::string text = TextOf(RomPersistableSave(after.get(), target.c_str()));
            FaultInjection::Arm(0);
            ASSERT_EQ(text, "System error while trying to write to a file.") << "operation " << failing;
            ASSERT_EQ(ReadBytes(target), bytes) << "operation " << failing;
            ASSERT_EQ(Files(), std::vector<std::string>{kind.file}) << "operation " << failing;
        }
        EXPECT_NE(Saved(after.get(), kind.file), bytes);
        std::filesystem::remove(target);
    }
}

// Every proper prefix of a binary file fails with the read error; every single-byte
// corruption of it resumes to a library error or to an object, never to a crash, a hang or
// a huge allocation (the sanitizer build checks the memory side).
TEST_F(PersistenceTest, PrefixesFailAndCorruptionsNeverCrash) {
    for (const Kind& kind : Kinds()) {
        if (!kind.other) continue;
        SCOPED_TRACE(kind.file);
        const std::string bytes = Saved(kind.make(0).get(), kind.file);
        const auto resume = [&](const std::string& content) {
            return Resume(Create(kind.create).get(), Written(kind.file, content));
        };
        for (std::size_t length = 0; length < bytes.size(); ++length)
            EXPECT_EQ(resume(bytes.substr(0, length)), "System error while trying to read from a file.") << length;
        for (std::size_t at = 0; at < bytes.size(); ++at)
            for (const char value : {'\x00', '\x7f', '\xff'}) {
                std::string corrupt = bytes;
                if (corrupt[at] == value) continue;
                corrupt[at] = value;
                resume(corrupt);
            }
        EXPECT_EQ(resume(bytes), kOk);
    }
}

// A text that is not UTF-8 (which the JSON writer would turn into other characters) is
// refused at save, naming it and where it lies; nothing is written. UTF-8 comes back as it went.
TEST_F(PersistenceTest, TextsThatAreNotUtf8AreNotSaved) {
    Owned cache = Cache(1.0), point = Create(RomFactoryCreateUserPoint);
    std::uint32_t added = 0;
    ROM_OK(RomPointSetValue(point.get(), "temp\xE9rature", 300.0));
    ROM_OK(RomSnapshotCachePush(cache.get(), point.get(), point.get(), "run.romsnp", &added));
    Owned units = NewConfiguration(MeshShape());
    ROM_OK(RomMeshDataCfgSetUnit(units.get(), "\xB5m"));
    Owned snapshot = SnapshotOf(SnapshotConfiguration({{"s\xC3(", 1}}, {"c"}, {{"s\xC3(", "c"}}).get());
    Fill(Data(snapshot.get(), "c", "s\xC3("), {{0, 0.5}});
    const struct {
        RomObject* object;
        const char* file;
        const char* text;
        const char* where;
    } refusals[] = {
        {cache.get(), "runs.romcch", "temp\\xE9rature", "snapshotCache.entries[1].input[0].id"},
        {units.get(), "mesh.romcfg", "\\xB5m", "meshData.unit"},
        {snapshot.get(), "run.romsnp", "s\\xC3(", "configuration.componentSupports.s\\xC3( (a key)"},
    };
    for (const auto& refusal : refusals) {
        const std::string path = Path(refusal.file);
        EXPECT_EQ(TextOf(RomPersistableSave(refusal.object, path.c_str())),
                  "The file " + path + " cannot be saved: the text \"" + refusal.text + "\" at " + refusal.where +
                      " is not valid UTF-8, and JSON holds UTF-8 text only.");
        EXPECT_FALSE(std::filesystem::exists(path));
    }

    Owned utf8 = Cache(1.0), resumed = Create(RomFactoryCreateSnapshotCache);
    ROM_OK(RomPointClear(point.get()));
    ROM_OK(RomPointSetValue(point.get(), "temp\xC3\xA9rature \xF0\x9F\x8C\xA1", 300.0));
    ROM_OK(RomSnapshotCachePush(utf8.get(), point.get(), point.get(), "run.romsnp", &added));
    Saved(utf8.get(), "utf8.romcch");
    ASSERT_EQ(Resume(resumed.get(), Path("utf8.romcch")), kOk);
    EXPECT_NE(Read(RomSnapshotCachePull, resumed.get(), point.get()), nullptr);
}

// Names that are not plain files fail at once, and any name the system accepts can be saved.
TEST_F(PersistenceTest, OnlyRegularFilesAreReadAndTheLongestNameCanBeSaved) {
    const std::string fifo = Path("waiting.rompjt");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(MessageOf([&] { project_.Resume(fifo); }), "Could not open the file " + fifo + ".");
    const std::string endless = Path("endless.romcch");
    std::filesystem::create_symlink("/dev/zero", endless);
    Snapshot::CSnapshotCache cache;
    EXPECT_EQ(MessageOf([&] { cache.Resume(endless); }), "Could not open the file " + endless + ".");

    for (std::size_t length : {241u, 242u, 250u, 255u}) {
        const std::string name = Path(std::string(length - 7, 'n') + ".rompjt");
        Project::CProject resumed;
        ASSERT_NO_THROW(project_.Save(name)) << length;
        ASSERT_NO_THROW(project_.Save(name)) << "over the existing file, " << length;
        resumed.Resume(name);
        EXPECT_TRUE(resumed.Compare(&project_));
        std::filesystem::remove(name);
    }
    EXPECT_EQ(Files().size(), 2u) << "nothing temporary is left";
}

TEST_F(PersistenceTest, ExtensionIsCheckedFromTheEndAndCaseSensitively) {
    EXPECT_NO_THROW(Common::CheckFileExtension("a.b.rommsh", "rommsh", "The file "));
    for (const std::string name : {"mesh.ROMMSH", "rommsh", ""})
        EXPECT_EQ(MessageOf([&] { Common::CheckFileExtension(name, "rommsh", "The file "); }),
                  "The file " + name + " do not have the expected extension rommsh.");

    Snapshot::CSnapshotCache cache;
    EXPECT_EQ(MessageOf([&] { cache.Save(Path("c.romcfg")); }),
              "The configuration file " + Path("c.romcfg") + " do not have the expected extension romcch.");
    EXPECT_EQ(MessageOf([&] { cache.Resume(Path("c.romcfg")); }),
              "The file " + Path("c.romcfg") + " do not have the expected extension romcch.");
    EXPECT_EQ(MessageOf([&] { project_.Save(Path("p.Rompjt")); }),
              "The file " + Path("p.Rompjt") + " do not have the expected extension rompjt.");
    EXPECT_TRUE(Files().empty());
}

TEST_F(PersistenceTest, JsonFileOfAFutureVersionIsRefused) {
    const std::string path = Path("future.romcch");
    const std::string head = "The file " + path + " has a future version number (2) and cannot be resumed.\n";
    const std::string latest = "The latest supported file version of your installation is 1.";
    Snapshot::CSnapshotCache cache;
    WriteBytes(path, R"({"version": 2, "loomsteadVersion": [19, 1], "snapshotCache": {"entries": []}})");
    EXPECT_EQ(MessageOf([&] { cache.Resume(path); }),
              head + "It was saved with the ROM API shipped in Loomstead 19.1.\n" + latest);
    WriteBytes(path, R"({"version": 2, "snapshotCache": {"entries": []}})");
    EXPECT_EQ(MessageOf([&] { cache.Resume(path); }), head + latest);
}

TEST_F(PersistenceTest, FrameHeaderErrors) {
    const std::string file = ProjectFile();
    const std::string path = Path("bad.rompjt");
    const std::pair<std::string, std::string> cases[] = {
        {std::string("\x01\0\0\0", 4),
         "Internal error: Tried to restore a NULL object to an already instanciated object."},
        {Patched<std::uint32_t>(file, 4, 2),
         "The file was saved with a future version (2) of the product and cannot be resumed. The latest "
         "supported version of your installation is 1."},
        {std::string(file).replace(12, 36, "00000000-0000-0000-0000-000000000000"),
         "Internal error: The SerializationFactory for the type 00000000-0000-0000-0000-000000000000 is missing."},
        {Saved(FilledSnapshot(1).get(), "one.romsnp"),  // a file of another type
         "The file " + path + " holds an object of type " + kSnapshotUuid +
             " where an object of type FB0C4231-34CF-4942-8D1A-1D93C99E02D7 is expected."},
    };
    for (const auto& [bytes, message] : cases) {
        WriteBytes(path, bytes);
        Project::CProject target;
        EXPECT_EQ(MessageOf([&] { target.Resume(path); }), message);
    }
}

TEST_F(PersistenceTest, AFailedSaveLeavesTheOldFileByteForByte) {
    const std::string path = Path("p.rompjt");
    const std::string old = ProjectFile();
    CFakeProject fake;
    EXPECT_NE(MessageOf([&] { fake.Save(path); }).find("cannot handle this object"), std::string::npos);
    EXPECT_EQ(ReadBytes(path), old);
    EXPECT_EQ(Files(), std::vector<std::string>{"p.rompjt"});

    // A JSON save whose content cannot be written.
    Snapshot::CSnapshotCache cache;
    Snapshot::CPoint point;
    cache.Push(point, point, "run.romsnp");
    cache.Save(Path("c.romcch"));
    const std::string cacheFile = ReadBytes(Path("c.romcch"));
    point.SetValue("x", 1);
    cache.Push(point, point, "");
    EXPECT_EQ(MessageOf([&] { cache.Save(Path("c.romcch")); }),
              "A snapshot cache entry misses its snapshot file name.");
    EXPECT_EQ(ReadBytes(Path("c.romcch")), cacheFile);
}
