// Whole or refused: a resume that fails leaves its object as it was, a file whose parts
// disagree is refused, and a save writes nothing that would read back as something else.
// Every damaged file is crafted from a good one.
#include <sys/resource.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <tervik/rom/rom.h>

#include "mesh/mesh_data.hpp"
#include "snapshot/snapshot.hpp"
#include "support/file_bytes.hpp"
#include "support/mesh_shape.hpp"
#include "support/small_objects.hpp"
#include "support/temp_dir.hpp"

using namespace SmallObjects;
namespace Mesh = Tervik::Rom::Mesh;
namespace Snap = Tervik::Rom::Snapshot;

namespace {

// A mesh of the default sizes (or as many nodes of another dimension), every table filled;
// scale tells two apart.
Owned GoodMesh(const MeshShape& shape = MeshShape(), int scale = 1) {
    Owned data = NewMeshData(shape);
    RomObject* d = data.get();
    const std::vector<std::int32_t> ids = Values<std::int32_t>(shape.nodes, scale);
    const std::vector<double> xyz = Values<double>(shape.nodes * std::uint32_t(shape.dimension), 10 * scale);
    ROM_OK(RomNodeDataCopyIds(NodeData(d), ids.data(), 0, 0));
    ROM_OK(RomNodeDataCopyCoordinateTable(NodeData(d), xyz.data(), 0, 0));
    // A triangle and a line of each kind; polyhedrons of two faces and of one.
    const std::vector<std::int32_t> types{5, 1}, connectivity{0, 1, 2, 0, 1}, polygons{3, 0, 1, 2, 2, 1, 2};
    const std::vector<std::int32_t> polyhedrons{2, 3, 0, 1, 2, 2, 1, 2, 1, 3, 0, 1, 2};
    ROM_OK(RomStdElementDataCopyIds(StdElements(d), ids.data(), 0, 2));
    ROM_OK(RomStdElementDataCopyTypes(StdElements(d), types.data(), 0, 0));
    ROM_OK(RomStdElementDataCopyConnectivityTable(StdElements(d), connectivity.data(), 0, 0));
    ROM_OK(RomPolygonDataCopyIds(Polygons(d), ids.data(), 0, 2));
    ROM_OK(RomPolygonDataCopyConnectivityTable(Polygons(d), polygons.data(), 0, 0));
    ROM_OK(RomPolyhedronDataCopyIds(Polyhedrons(d), ids.data(), 0, 2));
    ROM_OK(RomPolyhedronDataCopyConnectivityTable(Polyhedrons(d), polyhedrons.data(), 0, 0));
    for (const auto& region : shape.regions)
        for (const std::string& id : region) ROM_OK(RomSupportDataCopyEntities(SupportData(d, id), ids.data(), 0, 0));
    return data;
}

// Component c on supports s1 and second, of size entities each.
Owned TwoSupportConfiguration(std::uint32_t size, const char* second = "s2") {
    Owned cfg = Create(RomFactoryCreateSnapshotCfg);
    RomObject* component = Child(RomSnapshotCfgAddComponent, cfg.get());
    ROM_OK(RomSetSolverId(component, "c"));
    for (const char* id : {"s1", second}) {
        RomObject* support = Child(RomSnapshotCfgAddSupport, cfg.get());
        ROM_OK(RomSetSolverId(support, id));
        ROM_OK(RomSupportCfgSetEntityCount(support, size));
        ROM_OK(RomSnapshotCfgAddComponentToSupport(cfg.get(), component, support));
    }
    return cfg;
}

// A snapshot of that configuration, filled.
Owned TwoSupportSnapshot(std::uint32_t size, const char* second = "s2") {
    Owned cfg = TwoSupportConfiguration(size, second);
    Owned snapshot = Create(RomFactoryCreateSnapshot);
    ROM_OK(RomSnapshotInitialize(snapshot.get(), cfg.get()));
    for (const char* id : {"s1", second}) {
        RomObject* data = nullptr;
        ROM_OK(RomSnapshotGetComponentData(snapshot.get(), "c", id, &data));
        for (std::uint32_t i = 0; i < size; ++i) ROM_OK(RomSnapshotComponentDataAddValue(data, i, 0.5 * i));
    }
    return snapshot;
}

// Where, in the first record of uuid, the tables after its configuration start, plus skipped.
std::size_t TableAt(const std::string& bytes, const char* uuid, std::size_t skipped = 0) {
    const std::size_t frame = bytes.find(uuid) - 12;  // null flag, frame version, text length
    FileBytes cursor(bytes.substr(frame));
    cursor.Frame(uuid);
    cursor.Envelope();
    return frame + cursor.At() + skipped;
}

std::string Replaced(std::string bytes, const std::string& from, const std::string& to) {
    for (std::size_t at = bytes.find(from); at != std::string::npos; at = bytes.find(from, at + to.size()))
        bytes.replace(at, from.size(), to);
    return bytes;
}

class WholeFiles : public TempDirTest {
protected:
    std::string Saved(RomObject* object, const std::string& name) {
        const std::string path = Path(name);
        ROM_OK(RomPersistableSave(object, path.c_str()));
        return path;
    }
    std::string Bytes(RomObject* object, const std::string& name) { return ReadBytes(Saved(object, name)); }
    std::string Written(const std::string& name, const std::string& bytes) {
        std::filesystem::remove(Path(name));
        WriteBytes(Path(name), bytes);
        return Path(name);
    }
    std::string Resume(RomObject* object, const std::string& path) {
        return TextOf(RomPersistableResume(object, path.c_str()));
    }
    std::string ResumeFresh(RomExceptionHandle (*create)(RomObject**), const std::string& path) {
        Owned object = Create(create);
        return Resume(object.get(), path);
    }
};

}  // namespace

// A failed resume into an object holding another file leaves every table, configuration
// and handle as they were: the object saves the same bytes, and a table fetched before
// still holds what it held.
TEST_F(WholeFiles, AFailedResumeLeavesTheObjectAsItWas) {
    const auto document = [this](const char* name, const std::string& key, const std::string& body) {
        return Written(name, R"({"version": 1, ")" + key + R"(": )" + body + "}");
    };
    const std::string entry = R"({"input": [{"id": "x", "value": 2}], "output": null, "snapshotFile": "b.romsnp"})";
    struct Kind {
        const char* name;
        std::function<Owned()> held;
        std::function<std::string()> damaged;  // a file the resume gets well into before failing
    };
    const Kind kinds[] = {
        {"mesh.rommsh", [] { return GoodMesh(); },
         [&] {
             const std::string other = Bytes(GoodMesh(MeshShape(), 7).get(), "other.rommsh");
             return Written("cut.rommsh", other.substr(0, other.size() - 200));
         }},
        {"run.romsnp", [] { return Owned(Snapshot(4)); },
         [&] {
             const std::string other = Bytes(TwoSupportSnapshot(4).get(), "other.romsnp");
             return Written("cut.romsnp", other.substr(0, other.size() - 8));
         }},
        {"project.rompjt", [] { return Create(RomFactoryCreateProject); },
         [&] {
             const std::string other = Bytes(Create(RomFactoryCreateProject).get(), "other.rompjt");
             return Written("cut.rompjt", other.substr(0, other.size() - 1));
         }},
        {"mesh.romcfg", [] { return Owned(MeshConfiguration(3)); },
         [&] {
             return document("bad.romcfg", "meshData",
                             R"({"nodeData": {"count": 9, "dim": 1}, "regions": [{"supports": 0}], "unit": "x"})");
         }},
        {"setup.romcfg", [] { return Owned(SetupCfg("m")); },
         [&] {
             return document("bad.romcfg", "setup", R"({"meshData": {"unit": "x"}, "fields": [{"components": 0}]})");
         }},
        {"snapshot.romcfg", [] { return TwoSupportConfiguration(1); },
         [&] {
             return document("bad.romcfg", "snapshot",
                             R"({"supports": [{"solverId": "S9", "size": 1}], "components": [{"solverId": "C9"}],
                                 "componentSupports": {"S9": ["CX"]}})");
         }},
        {"runs.romcch", [] { return Owned(Cache(1.0)); },
         [&] { return document("bad.romcch", "snapshotCache", R"({"entries": [)" + entry + R"(, {"input": []}]})"); }},
    };
    for (const Kind& kind : kinds) {
        SCOPED_TRACE(kind.name);
        Owned object = kind.held();
        const std::string before = Bytes(object.get(), kind.name);
        RomObject* nodes = std::string(kind.name) == "mesh.rommsh" ? NodeData(object.get()) : nullptr;
        double* coordinates = nullptr;
        if (nodes != nullptr) {
            ROM_OK(RomNodeDataGetCoordinateTable(nodes, &coordinates));
        }
        const std::vector<double> held = nodes != nullptr ? std::vector<double>(coordinates, coordinates + 6)
                                                          : std::vector<double>();

        EXPECT_NE(Resume(object.get(), kind.damaged()), kOk);
        EXPECT_EQ(Bytes(object.get(), kind.name), before);
        if (nodes != nullptr) {
            double* now = nullptr;
            ROM_OK(RomNodeDataGetCoordinateTable(nodes, &now));
            EXPECT_EQ(std::vector<double>(now, now + 6), held) << "through the node data fetched before";
        }
    }
}

// Files whose parts disagree are refused with what disagrees, once the whole file was read;
// a file that fails as it is read keeps the text its fault gives.
TEST_F(WholeFiles, FilesWhosePartsDisagreeAreRefused) {
    const std::string mesh = Bytes(GoodMesh().get(), "good.rommsh");
    MeshShape many;  // 65,536 nodes of dimension 1, to be given 65,537: 2^32 + 65,536 coordinates
    many.nodes = 65536;
    many.dimension = 1;
    const std::string wide = Bytes(GoodMesh(many).get(), "wide.rommsh");
    const std::string twelve = Bytes(Owned(Snapshot(12)).get(), "twelve.romsnp");
    const std::string two = Bytes(TwoSupportSnapshot(2).get(), "two.romsnp");
    const auto document = [](const std::string& key, const std::string& body) {
        return R"({"version": 1, ")" + key + R"(": )" + body + "}";
    };

    struct Case {
        const char* name;
        const char* file;
        RomExceptionHandle (*create)(RomObject**);
        std::function<std::string()> bytes;
        std::string cause;  // after "The file <path> cannot be resumed: "; or the whole text
        bool whole = false;
    };
    const Case cases[] = {
        {"node record of 2 nodes in a mesh of 3", "f.rommsh", RomFactoryCreateMeshData,
         [&] {
             std::string b = PatchJson(mesh, "\"count\":3,", "\"count\":2,", mesh.find(Mesh::kNodeDataUuid), false);
             const std::size_t ids = TableAt(b, Mesh::kNodeDataUuid);
             b.erase(ids + 8, 4);        // the third id
             b.erase(ids + 8 + 32, 16);  // the third node's coordinates
             return b;
         },
         "its node data announce 2 nodes of dimension 2 where its mesh data announce 3 nodes of dimension 2."},
        {"standard element record of 1 element in a mesh of 2", "f.rommsh", RomFactoryCreateMeshData,
         [&] {
             const std::size_t record = mesh.find(Mesh::kStdElementDataUuid);
             std::string b = PatchJson(mesh, "\"count\":2,", "\"count\":1,", record, false);
             const std::size_t ids = TableAt(b, Mesh::kStdElementDataUuid);
             b.erase(ids + 4, 4);  // the second id
             b.erase(ids + 8, 4);  // the second type
             return b;
         },
         "its standard element data announce 1 standard elements in a connectivity table of 5 where its element data "
         "announce 2 standard elements in a connectivity table of 5."},
        {"support record of 2 entities in a mesh of 3", "f.rommsh", RomFactoryCreateMeshData,
         [&] {
             const std::string b = PatchJson(mesh, "\"size\":3,", "\"size\":2,", mesh.rfind(Mesh::kSupportDataUuid));
             return b.substr(0, b.size() - 4);
         },
         "its support data record announce the support S3 of 2 entities of type 1 where its support data list "
         "announce the support S3 of 3 entities of type 1."},
        {"coordinate table wrapping around 32 bits", "f.rommsh", RomFactoryCreateMeshData,
         [&] { return PatchJson(wide, "\"count\":65536,\"dim\":1,", "\"count\":65536,\"dim\":65537,", 0); },
         "the node data configuration announces 65536 nodes of dimension 65537, 4295032832 coordinates, where a "
         "table holds at most 4294967295 values."},
        {"polyhedron of 50 faces", "f.rommsh", RomFactoryCreateMeshData,
         [&] {
             std::string b = mesh;
             Put<std::int32_t>(b, TableAt(b, Mesh::kPolyhedronDataUuid, 8), 50);
             return b;
         },
         "its polyhedron 0 (faces) announces 50, where the connectivity table of 13 entries holds 12 after it."},
        {"polyhedron of 2^31 - 1 faces", "f.rommsh", RomFactoryCreateMeshData,
         [&] {
             std::string b = mesh;
             Put<std::int32_t>(b, TableAt(b, Mesh::kPolyhedronDataUuid, 8), 0x7FFFFFFF);
             return b;
         },
         "its polyhedron 0 (faces) announces 2147483647, where the connectivity table of 13 entries holds 12 after "
         "it."},
        {"face running past the table", "f.rommsh", RomFactoryCreateMeshData,
         [&] {
             std::string b = mesh;
             Put<std::int32_t>(b, TableAt(b, Mesh::kPolyhedronDataUuid, 8 + 4 * 9), 4);  // the last face, of 3
             return b;
         },
         "face 0 of its polyhedron 1 (nodes) announces 4, where the connectivity table of 13 entries holds 3 after "
         "it."},
        {"faces running past the table", "f.rommsh", RomFactoryCreateMeshData,
         [&] {
             std::string b = mesh;
             Put<std::int32_t>(b, TableAt(b, Mesh::kPolyhedronDataUuid, 8 + 4 * 8), 2);  // the last polyhedron, of 1
             return b;
         },
         "face 1 of its polyhedron 1 lies past the end of the connectivity table of 13 entries."},
        {"polygon running past the table", "f.rommsh", RomFactoryCreateMeshData,
         [&] {
             std::string b = mesh;
             Put<std::int32_t>(b, TableAt(b, Mesh::kPolygonDataUuid, 8 + 4 * 4), -1);
             return b;
         },
         "its polygon 1 (nodes) announces 4294967295, where the connectivity table of 7 entries holds 2 after it."},
        {"24 entities announced, 12 pairs held, 600 bytes of padding", "f.romsnp", RomFactoryCreateSnapshot,
         [&] { return Replaced(twelve, "\"size\":12", "\"size\":24") + std::string(600, '\0'); },
         "its record of the component c on the support s holds 12 values where the support announces 24."},
        {"a support named twice in componentSupports", "f.romsnp", RomFactoryCreateSnapshot,
         [&] { return Replaced(two, "\"s2\":[\"c\"]", "\"s1\":[\"c\"]"); },
         "one of the objects of its JSON text has the key \"s1\" twice."},
        {"a record of another pair", "f.romsnp", RomFactoryCreateSnapshot,
         [&] {
             std::string b = two;
             b[b.rfind("s2") + 1] = '3';
             return b;
         },
         "its record 1 holds the component c on the support s3 where its configuration announces the component c on "
         "the support s2."},
        {"a record that is its null flag alone", "f.romsnp", RomFactoryCreateSnapshot,
         [&] {
             FileBytes cursor(twelve);
             cursor.Frame(Snap::kSnapshotUuid);
             cursor.Envelope();
             std::string b = twelve.substr(0, cursor.At());
             b.append("\x01\0\0\0", 4);
             return b;
         },
         "Internal error: Tried to restore a NULL object to an already instanciated object.", true},
        {"snapshot configuration naming two supports alike", "f.romcfg", RomFactoryCreateSnapshotCfg,
         [&] {
             return document("snapshot", R"({"supports": [{"solverId": "S", "size": 1}, {"solverId": "S", "size": 2}],
                 "components": [{"solverId": "C"}], "componentSupports": {"S": ["C"]}})");
         },
         "two supports of the snapshot configuration have the solver id S."},
        {"mesh configuration of a wrapping coordinate table", "f.romcfg", RomFactoryCreateMeshDataCfg,
         [&] { return document("meshData", R"({"nodeData": {"count": 65536, "dim": 65537}})"); },
         "the node data configuration announces 65536 nodes of dimension 65537, 4295032832 coordinates, where a "
         "table holds at most 4294967295 values."},
        {"setup of a negative dimension", "f.romcfg", RomFactoryCreateSetupCfg,
         [&] { return document("setup", R"({"meshData": {"nodeData": {"count": 3, "dim": -2}}})"); },
         "the node data configuration announces 3 nodes of dimension -2: a dimension cannot be negative."},
        {"a key given twice", "f.romcfg", RomFactoryCreateMeshDataCfg,
         [&] { return document("meshData", R"({"unit": "m", "unit": "mm"})"); },
         "one of its objects has the key \"unit\" twice."},
        {"a unit that is not UTF-8", "f.rommsh", RomFactoryCreateMeshData,
         [&] { return PatchJson(mesh, "\"unit\":\"\"", "\"unit\":\"\xB5m\"", 0); },
         "the text \"\\xB5m\" at data.unit is not valid UTF-8, and JSON holds UTF-8 text only."},
        {"a solver id holding a NUL", "f.romcfg", RomFactoryCreateSnapshotCfg,
         [&] { return document("snapshot", R"({"components": [{"solverId": "c\u0000x"}]})"); },
         "the text \"c\\x00x\" at snapshot.components[0].solverId holds a NUL character, where it would be cut."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = Written(c.file, c.bytes());
        EXPECT_EQ(ResumeFresh(c.create, path),
                  c.whole ? c.cause : "The file " + path + " cannot be resumed: " + c.cause);
    }
}

// A data object that is not initialised, or a text that is not UTF-8 (which the JSON writer
// would turn into other characters), is refused at save; nothing is written.
TEST_F(WholeFiles, SavesWriteOnlyWhatReadsBack) {
    Owned mesh = Create(RomFactoryCreateMeshData);
    const std::string good = Bytes(GoodMesh().get(), "good.rommsh");
    EXPECT_NE(Resume(mesh.get(), Written("cut.rommsh", good.substr(0, good.size() - 200))), kOk);
    EXPECT_EQ(TextOf(RomPersistableSave(mesh.get(), Path("uninitialized.rommsh").c_str())),
              "CMeshData is not initialized !");

    Owned cache(Cache(1.0)), point = Create(RomFactoryCreateUserPoint);
    std::uint32_t added = 0;
    ROM_OK(RomPointSetValue(point.get(), "temp\xE9rature", 300.0));
    ROM_OK(RomSnapshotCachePush(cache.get(), point.get(), point.get(), "run.romsnp", &added));
    Owned units(MeshConfiguration(1));
    ROM_OK(RomMeshDataCfgSetUnit(units.get(), "\xB5m"));
    Owned snapshot = TwoSupportSnapshot(1, "s\xC3(");
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
        SCOPED_TRACE(refusal.file);
        const std::string path = Path(refusal.file);
        EXPECT_EQ(TextOf(RomPersistableSave(refusal.object, path.c_str())),
                  "The file " + path + " cannot be saved: the text \"" + refusal.text + "\" at " + refusal.where +
                      " is not valid UTF-8, and JSON holds UTF-8 text only.");
        EXPECT_FALSE(std::filesystem::exists(path));
    }

    // UTF-8 comes back as it went: the run is found again after a save and a resume.
    Owned utf8(Cache(1.0)), resumed = Create(RomFactoryCreateSnapshotCache);
    ROM_OK(RomPointClear(point.get()));
    ROM_OK(RomPointSetValue(point.get(), "temp\xC3\xA9rature \xF0\x9F\x8C\xA1", 300.0));
    ROM_OK(RomSnapshotCachePush(utf8.get(), point.get(), point.get(), "run.romsnp", &added));
    ASSERT_EQ(Resume(resumed.get(), Saved(utf8.get(), "utf8.romcch")), kOk);
    RomObject* entry = nullptr;
    ROM_OK(RomSnapshotCachePull(resumed.get(), point.get(), &entry));
    EXPECT_NE(entry, nullptr);
}

// Counts whose coordinates make no table are refused when a data object is given them
// (Check and the getter keep their stated results), and tables that memory cannot hold
// are refused with their sizes.
TEST_F(WholeFiles, SizesThatCannotBeHeld) {
    Owned cfg(MeshConfiguration(65536));
    RomObject* nodes = Child(RomMeshDataCfgConfigureNodeData, cfg.get());
    ROM_OK(RomNodeDataCfgSetDimension(nodes, 65537));
    ROM_OK(RomConfigurationCheck(cfg.get()));
    EXPECT_EQ(Read(RomNodeDataCfgGetCoordinateTableSize, nodes), 65536u);
    Owned data = Create(RomFactoryCreateMeshData);
    EXPECT_EQ(TextOf(RomMeshDataInitialize(data.get(), cfg.get())),
              "The node data configuration announces 65536 nodes of dimension 65537, 4295032832 coordinates, where a "
              "table holds at most 4294967295 values.");

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers reserve address space of their own: no limit can be set here";
#else
    // 2^31 - 1 nodes of dimension 2: 34 GB of coordinates, beyond the address space let here.
    ROM_OK(RomNodeDataCfgSetCount(nodes, 0x7FFFFFFF));
    ROM_OK(RomNodeDataCfgSetDimension(nodes, 2));
    const std::string path = Saved(cfg.get(), "huge.romcfg");
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_AS, &limit), 0);
    const rlimit tight{static_cast<rlim_t>(8) << 30, limit.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &tight), 0);
    RomObject* builder = nullptr;
    const std::string text = TextOf(RomFactoryCreateAndInitMesh(&builder, path.c_str()));
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &limit), 0);
    EXPECT_EQ(text,
              "In CNodeData, the coordinates table of 4294967294 values (34359738352 bytes) does not fit in memory.");
#endif
}
