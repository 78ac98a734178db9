// Mesh files: the body of each record, what the writer refuses, versions, and files whose
// parts disagree refused once read whole, through the exported functions.
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "support/file_bytes.hpp"
#include "support/mesh_shape.hpp"

namespace {

const char kMeshDataUuid[] = "D8068C8F-F166-44DE-A1F5-BCF1E20BA05D";
const char kNodeDataUuid[] = "9E9ECC51-E899-4480-8AAB-29F4281EAEC8";
const char kElementDataUuid[] = "B2827F1C-76DC-4514-BD2F-702389486A40";
const char kStdElementDataUuid[] = "8C19FC0B-D5FE-485A-A368-22F8E6BFFAE3";
const char kUserElementDataUuid[] = "EBD163FE-861F-46DD-9653-27DBC2066F0A";
const char kPolygonDataUuid[] = "57A313BE-7039-47CE-816D-AD092717CA52";
const char kPolyhedronDataUuid[] = "B8BFEE6A-D4B2-45D3-95D7-C90C1EBBD9E0";
const char kSupportDataUuid[] = "C06D09B2-D600-4188-BA39-4AA42AD87366";
const char kSupportDatasUuid[] = "4D7FE8D9-5054-448F-8449-CA5562DBB707";
const std::string kReadError = "System error while trying to read from a file.";

// Two nodes in 2D, one triangle, support S1 of two entities.
const MeshShape kSmall{2, 2, 1, 3, 0, 0, 0, 0, {{"S1"}}, 2};

// The tables of a mesh data in the order its file holds them (no copy: the coordinates;
// no owner: every support), each with what saving says once it and those before it hold data.
struct Filler {
    RomExceptionHandle (*copy)(RomObject*, const std::int32_t*, std::uint32_t, std::uint32_t);
    RomObject* (*owner)(RomObject* data);
    std::uint32_t MeshShape::*size;
    std::string next;
};
const Filler kFillers[] = {
    {RomNodeDataCopyIds, NodeData, &MeshShape::nodes, "Trying to serialize CNodeData without coordinate table !"},
    {nullptr, NodeData, &MeshShape::nodes, "Trying to serialize CStdElementData without ids !"},
    {RomStdElementDataCopyIds, StdElements, &MeshShape::elements,
     "Trying to serialize CStdElementData without types !"},
    {RomStdElementDataCopyTypes, StdElements, &MeshShape::elements,
     "Trying to serialize CStdElementData without connectivity table !"},
    {RomStdElementDataCopyConnectivityTable, StdElements, &MeshShape::elementConnectivity,
     "Trying to serialize CPolygonData without ids !"},
    {RomPolygonDataCopyIds, Polygons, &MeshShape::polygons,
     "Trying to serialize CPolygonData without connectivity table !"},
    {RomPolygonDataCopyConnectivityTable, Polygons, &MeshShape::polygonConnectivity,
     "Trying to serialize CPolyhedronData without ids !"},
    {RomPolyhedronDataCopyIds, Polyhedrons, &MeshShape::polyhedrons,
     "Trying to serialize CPolyhedronData without connectivity table !"},
    {RomPolyhedronDataCopyConnectivityTable, Polyhedrons, &MeshShape::polyhedronConnectivity,
     "Trying to serialize CSupportData without entities !"},
    {RomSupportDataCopyEntities, nullptr, &MeshShape::supportSize, kOk},
};

// Fills a table with first, first + 1, ...
void Fill(RomObject* data, const MeshShape& s, const Filler& filler, int first) {
    const std::uint32_t size = s.*filler.size;
    if (filler.copy == nullptr) {
        ROM_OK(RomNodeDataCopyCoordinateTable(NodeData(data), Values<double>(size * s.dimension, first).data(), 0, 0));
        return;
    }
    std::vector<RomObject*> owners;
    for (const auto& region : filler.owner == nullptr ? s.regions : std::vector<std::vector<std::string>>{{""}})
        for (const std::string& id : region) owners.push_back(id.empty() ? filler.owner(data) : SupportData(data, id));
    for (RomObject* owner : owners) ROM_OK(filler.copy(owner, Values<std::int32_t>(size, first).data(), 0, 0));
}

// Where, in the first record of uuid, the tables after its configuration start, plus skipped.
std::size_t TableAt(const std::string& bytes, const char* uuid, std::size_t skipped = 0) {
    const std::size_t frame = bytes.find(uuid) - 12;  // null flag, frame version, text length
    FileBytes cursor(bytes.substr(frame));
    cursor.Frame(uuid);
    cursor.Envelope();
    return frame + cursor.At() + skipped;
}

using MeshFile = MeshFiles;

}  // namespace

TEST_F(MeshFile, BodyLayout) {
    Owned data = NewMeshData(kSmall);
    for (const Filler& filler : kFillers)
        if (kSmall.*filler.size != 0) Fill(data.get(), kSmall, filler, 1);
    FileBytes body(ReadBytes(Saved(data.get())));
    body.Frame(kMeshDataUuid);
    const Json::Value cfg = body.Envelope();
    EXPECT_EQ(cfg["nodeData"]["count"], 2);
    EXPECT_EQ(cfg["regions"][0]["supports"][0]["solverId"], "S1");
    body.Frame(kNodeDataUuid);
    EXPECT_EQ(body.Envelope()["dim"], 2);
    EXPECT_EQ(body.Array<std::int32_t>(2), (std::vector<std::int32_t>{1, 2}));
    EXPECT_EQ(body.Array<double>(4), (std::vector<double>{1, 2, 3, 4}));
    body.Frame(kElementDataUuid);
    EXPECT_EQ(body.Envelope()["stdElementData"]["count"], 1);
    body.Frame(kStdElementDataUuid);
    EXPECT_EQ(body.Envelope()["connectivityTableSize"], 3);
    EXPECT_EQ(body.Array<std::int32_t>(5), (std::vector<std::int32_t>{1, 1, 1, 2, 3})) << "ids, types, connectivity";
    body.Frame(kSupportDatasUuid);
    EXPECT_EQ(body.Envelope()[0]["solverId"], "S1");
    body.Frame(kSupportDataUuid);
    EXPECT_EQ(body.Envelope()["size"], 2);
    EXPECT_EQ(body.Array<std::int32_t>(2), (std::vector<std::int32_t>{1, 2}));
    EXPECT_TRUE(body.AtEnd());
}

// Nothing is written that would read back as something else.
TEST_F(MeshFile, WriterRefusesMissingTablesAndUninitialisedMeshData) {
    Owned empty = Create(RomFactoryCreateMeshData);
    EXPECT_EQ(TextOf(RomPersistableSave(empty.get(), Path("empty.rommsh").c_str())), "CMeshData is not initialized !");
    const MeshShape shape;
    Owned data = NewMeshData(shape);
    const std::string file = Path("checked.rommsh");
    std::string expected = "Trying to serialize CNodeData without ids !";
    for (const Filler& filler : kFillers) {
        EXPECT_EQ(TextOf(RomPersistableSave(data.get(), file.c_str())), expected);
        EXPECT_TRUE(Files().empty()) << expected;
        Fill(data.get(), shape, filler, 1);
        expected = filler.next;
    }
    ROM_OK(RomPersistableSave(data.get(), file.c_str()));
}

TEST_F(MeshFile, UnsupportedVersionsOfNestedRecords) {
    const std::string file = Saved(FilledMeshData().get());
    const std::string saved = ReadBytes(file);
    const std::pair<const char*, std::string> heads[] = {
        {kMeshDataUuid, "The mesh data have been saved using the unsupported version "},
        {kNodeDataUuid, "The node data have been saved using the unsupported version "},
        {kElementDataUuid, "The element data have been saved using the unsupported version "},
        {kUserElementDataUuid, "The user element data has been saved using the unsupported version "},
        {kPolygonDataUuid, "The polygon data has been saved using the unsupported version "},
        {kPolyhedronDataUuid, "The polyhedron data has been saved using the unsupported version "},
        {kSupportDatasUuid, "The support data container has been saved using the unsupported version "},
        {kSupportDataUuid, "The mesh has been saved using the unsupported version "},
    };
    for (const auto& [uuid, head] : heads)
        EXPECT_EQ(Resume(Written(Patched<std::int32_t>(saved, saved.find(uuid) + 36, 2))).first,
                  head + "2. (Current supported version: 1)");

    // A standard element record of version 2 is passed over, the standard elements keeping
    // what they held; here it has no body.
    std::string bytes = saved;
    const std::size_t type = bytes.find(kStdElementDataUuid) + 36;
    const std::size_t body = type + 12, next = bytes.find(kUserElementDataUuid) - 12;
    Put<std::int32_t>(bytes, type, 2);
    bytes.erase(body, next - body);
    auto [text, data] = Resume(file);
    ASSERT_EQ(text, kOk);
    const std::vector<std::int32_t> mine{77, 78};
    ROM_OK(RomStdElementDataCopyIds(StdElements(data.get()), mine.data(), 0, 0));
    ROM_OK(RomNodeDataCopyIds(NodeData(data.get()), mine.data(), 0, 2));
    ROM_OK(RomPersistableResume(data.get(), Written(bytes).c_str()));
    EXPECT_EQ(TableOf(StdElements(data.get()), RomStdElementDataGetIds, 2), mine);
    EXPECT_EQ(TableOf(NodeData(data.get()), RomNodeDataGetIds, 3), (std::vector<std::int32_t>{1, 2, 3}));
    EXPECT_EQ(TableOf(Polyhedrons(data.get()), RomPolyhedronDataGetIds, 2), (std::vector<std::int32_t>{1, 2}));
}

TEST_F(MeshFile, TheFilesConfigurationReplacesADifferentOne) {
    Owned data = FilledMeshData(MeshShape().With(&MeshShape::nodes, 5), 50);
    ROM_OK(RomPersistableResume(data.get(), Saved(FilledMeshData().get()).c_str()));
    EXPECT_EQ(NodeCount(data.get()), 3u);
    EXPECT_EQ(TableOf(NodeData(data.get()), RomNodeDataGetIds, 3), (std::vector<std::int32_t>{1, 2, 3}));
    const std::string tooLong = "The array is too long to be copied into this one.";
    const std::vector<double> xyz(7, 0.5);
    EXPECT_EQ(TextOf(RomNodeDataCopyIds(NodeData(data.get()), Values<std::int32_t>(1, 0).data(), 3, 1)), tooLong);
    EXPECT_EQ(TextOf(RomNodeDataCopyCoordinateTable(NodeData(data.get()), xyz.data(), 6, 1)), tooLong);
}

// Sizes a file announces beyond what it holds are refused before anything is allocated; nested
// records other than their owners announce, and slices running past their tables, are refused
// once the whole file was read.
TEST_F(MeshFile, FilesWhoseSizesOrPartsDisagreeAreRefused) {
    const std::string mesh = ReadBytes(Saved(FilledMeshData().get()));
    // 65,536 nodes of dimension 1, to be given 65,537: 2^32 + 65,536 coordinates.
    const MeshShape many = MeshShape().With(&MeshShape::nodes, 65536).With(&MeshShape::dimension, 1);
    const std::string wide = ReadBytes(Saved(FilledMeshData(many).get()));
    const auto put = [&](std::size_t at, std::int32_t value) { return Patched(mesh, at, value); };
    const std::string nodes = "\"count\":3,\"dim\":2", manyNodes = "\"count\":1000000000,\"dim\":4";
    const std::string tables = "the connectivity table of 13 entries";
    struct Case {
        const char* name;
        std::string bytes, cause;
    };
    const Case cases[] = {
        {"a node record of more nodes than the file holds", PatchJson(mesh, nodes, manyNodes, mesh.find(kNodeDataUuid)),
         ""},
        {"every node configuration of more nodes", PatchJson(mesh, nodes, manyNodes, 0), ""},
        {"more standard elements", PatchJson(mesh, "\"count\":2,", "\"count\":2000000000,", 0), ""},
        {"more support entities", PatchJson(mesh, "\"size\":3,", "\"size\":2000000000,", 0), ""},
        {"node record of 2 nodes in a mesh of 3",
         [&] {
             std::string b = PatchJson(mesh, "\"count\":3,", "\"count\":2,", mesh.find(kNodeDataUuid), false);
             const std::size_t ids = TableAt(b, kNodeDataUuid);
             b.erase(ids + 8, 4);        // the third id
             b.erase(ids + 8 + 32, 16);  // the third node's coordinates
             return b;
         }(),
         "its node data announce 2 nodes of dimension 2 where its mesh data announce 3 nodes of dimension 2."},
        {"standard element record of 1 element in a mesh of 2",
         [&] {
             std::string b = PatchJson(mesh, "\"count\":2,", "\"count\":1,", mesh.find(kStdElementDataUuid), false);
             const std::size_t ids = TableAt(b, kStdElementDataUuid);
             b.erase(ids + 4, 4);  // the second id
             b.erase(ids + 8, 4);  // the second type
             return b;
         }(),
         "its standard element data announce 1 standard elements in a connectivity table of 5 where its element data "
         "announce 2 standard elements in a connectivity table of 5."},
        {"support record of 2 entities in a mesh of 3",
         // the last entity left out (the texts keep their lengths)
         PatchJson(mesh, "\"size\":3,", "\"size\":2,", mesh.rfind(kSupportDataUuid)).substr(0, mesh.size() - 4),
         "its support data record announce the support S3 of 2 entities of type 1 where its support data list "
         "announce the support S3 of 3 entities of type 1."},
        {"coordinate table wrapping around 32 bits",
         PatchJson(wide, "\"count\":65536,\"dim\":1,", "\"count\":65536,\"dim\":65537,", 0),
         "the node data configuration announces 65536 nodes of dimension 65537, 4295032832 coordinates, where a "
         "table holds at most 4294967295 values."},
        {"polyhedron of 50 faces", put(TableAt(mesh, kPolyhedronDataUuid, 8), 50),
         "its polyhedron 0 (faces) announces 50, where " + tables + " holds 12 after it."},
        {"polyhedron of 2^31 - 1 faces", put(TableAt(mesh, kPolyhedronDataUuid, 8), 0x7FFFFFFF),
         "its polyhedron 0 (faces) announces 2147483647, where " + tables + " holds 12 after it."},
        {"face running past the table",  // the last face, of 3
         put(TableAt(mesh, kPolyhedronDataUuid, 8 + 4 * 9), 4),
         "face 0 of its polyhedron 1 (nodes) announces 4, where " + tables + " holds 3 after it."},
        {"faces running past the table",  // the last polyhedron, of 1
         put(TableAt(mesh, kPolyhedronDataUuid, 8 + 4 * 8), 2),
         "face 1 of its polyhedron 1 lies past the end of " + tables + "."},
        {"polygon one node past the table", put(TableAt(mesh, kPolygonDataUuid, 8 + 4 * 4), 3),
         "its polygon 1 (nodes) announces 3, where the connectivity table of 7 entries holds 2 after it."},
        {"polygon running past the table", put(TableAt(mesh, kPolygonDataUuid, 8 + 4 * 4), -1),
         "its polygon 1 (nodes) announces 4294967295, where the connectivity table of 7 entries holds 2 after it."},
        {"a unit that is not UTF-8", PatchJson(mesh, "\"unit\":\"\"", "\"unit\":\"\xB5m\"", 0),
         "the text \"\\xB5m\" at data.unit is not valid UTF-8, and JSON holds UTF-8 text only."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = Written(c.bytes);
        ASSERT_NE(c.bytes, mesh);
        EXPECT_EQ(Resume(path).first,
                  c.cause.empty() ? kReadError : "The file " + path + " cannot be resumed: " + c.cause);
    }
}
