// The mesh builder and the mesh file as a client sees them: element kinds, accessors and
// their refusals, connectivity slices, and the ".rommsh" body, all through the exports.
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <tervik/rom/api.hpp>
#include <tervik/rom/mesh.hpp>
#include <tervik/rom/rom.h>

#include "support/temp_dir.hpp"
#include "support/exports.hpp"
#include "support/file_bytes.hpp"
#include "support/mesh_shape.hpp"

namespace {

const std::string kOutOfRange = "Index out of range.";

const char kMeshDataUuid[] = "D8068C8F-F166-44DE-A1F5-BCF1E20BA05D";
const char kNodeDataUuid[] = "9E9ECC51-E899-4480-8AAB-29F4281EAEC8";
const char kElementDataUuid[] = "B2827F1C-76DC-4514-BD2F-702389486A40";
const char kStdElementDataUuid[] = "8C19FC0B-D5FE-485A-A368-22F8E6BFFAE3";
const char kUserElementDataUuid[] = "EBD163FE-861F-46DD-9653-27DBC2066F0A";
const char kPolygonDataUuid[] = "57A313BE-7039-47CE-816D-AD092717CA52";
const char kPolyhedronDataUuid[] = "B8BFEE6A-D4B2-45D3-95D7-C90C1EBBD9E0";
const char kSupportDataUuid[] = "C06D09B2-D600-4188-BA39-4AA42AD87366";
const char kSupportDatasUuid[] = "4D7FE8D9-5054-448F-8449-CA5562DBB707";

using Shape = MeshShape;
// Two nodes in 2D, one triangle, support S1 of two entities.
const Shape kSmall{2, 2, 1, 3, 0, 0, 0, 0, {{"S1"}}, 2};

// Every table of a mesh data by name (supports by solver id), read through the Get
// exports at the sizes of shape.
using Tables = std::map<std::string, std::vector<double>>;

template <class T>
void ReadTable(Tables& tables, const std::string& name, RomExceptionHandle (*get)(RomObject*, T**), RomObject* owner,
          std::uint32_t size) {
    T* table = nullptr;
    EXPECT_EQ(TextOf(get(owner, &table)), kOk) << name;
    if (table != nullptr) tables[name].assign(table, table + size);
}

Tables TablesOf(RomObject* data, const Shape& s) {
    Tables t;
    ReadTable(t, "node ids", RomNodeDataGetIds, NodeData(data), s.nodes);
    ReadTable(t, "coordinates", RomNodeDataGetCoordinateTable, NodeData(data), s.nodes * std::uint32_t(s.dimension));
    if (s.elements != 0) {
        ReadTable(t, "element ids", RomStdElementDataGetIds, StdElements(data), s.elements);
        ReadTable(t, "types", RomStdElementDataGetTypes, StdElements(data), s.elements);
        ReadTable(t, "connectivity", RomStdElementDataGetConnectivityTable, StdElements(data), s.elementConnectivity);
    }
    if (s.polygons != 0) {
        ReadTable(t, "polygon ids", RomPolygonDataGetIds, Polygons(data), s.polygons);
        ReadTable(t, "polygons", RomPolygonDataGetConnectivityTable, Polygons(data), s.polygonConnectivity);
    }
    if (s.polyhedrons != 0) {
        ReadTable(t, "polyhedron ids", RomPolyhedronDataGetIds, Polyhedrons(data), s.polyhedrons);
        ReadTable(t, "polyhedrons", RomPolyhedronDataGetConnectivityTable, Polyhedrons(data), s.polyhedronConnectivity);
    }
    for (const auto& region : s.regions)
        for (const std::string& id : region)
            ReadTable(t, id, RomSupportDataGetEntities, SupportData(data, id), s.supportSize);
    return t;
}

// The tables of a mesh data in the order its file holds them (no copy: the coordinates;
// no owner: every support), each with what saving says once it and those before it hold data.
struct Filler {
    RomExceptionHandle (*copy)(RomObject*, const std::int32_t*, std::uint32_t, std::uint32_t);
    RomObject* (*owner)(RomObject* data);
    std::uint32_t Shape::*size;
    std::string next;
};
const Filler kFillers[] = {
    {RomNodeDataCopyIds, NodeData, &Shape::nodes, "Trying to serialize CNodeData without coordinate table !"},
    {nullptr, NodeData, &Shape::nodes, "Trying to serialize CStdElementData without ids !"},
    {RomStdElementDataCopyIds, StdElements, &Shape::elements, "Trying to serialize CStdElementData without types !"},
    {RomStdElementDataCopyTypes, StdElements, &Shape::elements,
     "Trying to serialize CStdElementData without connectivity table !"},
    {RomStdElementDataCopyConnectivityTable, StdElements, &Shape::elementConnectivity,
     "Trying to serialize CPolygonData without ids !"},
    {RomPolygonDataCopyIds, Polygons, &Shape::polygons,
     "Trying to serialize CPolygonData without connectivity table !"},
    {RomPolygonDataCopyConnectivityTable, Polygons, &Shape::polygonConnectivity,
     "Trying to serialize CPolyhedronData without ids !"},
    {RomPolyhedronDataCopyIds, Polyhedrons, &Shape::polyhedrons,
     "Trying to serialize CPolyhedronData without connectivity table !"},
    {RomPolyhedronDataCopyConnectivityTable, Polyhedrons, &Shape::polyhedronConnectivity,
     "Trying to serialize CSupportData without entities !"},
    {RomSupportDataCopyEntities, nullptr, &Shape::supportSize, kOk},
};

// Fills a table with first, first + 1, ..., a table of slices with empty polygons or
// polyhedrons (zeros), which a file must hold whole.
void Fill(RomObject* data, const Shape& s, const Filler& filler, int first) {
    const std::uint32_t size = s.*filler.size;
    if (filler.copy == nullptr) {
        const auto values = Values<double>(size * std::uint32_t(s.dimension), first);
        ROM_OK(RomNodeDataCopyCoordinateTable(NodeData(data), values.data(), 0, 0));
        return;
    }
    std::vector<RomObject*> owners;
    for (const auto& region : filler.owner == nullptr ? s.regions : std::vector<std::vector<std::string>>{{""}})
        for (const std::string& id : region) owners.push_back(id.empty() ? filler.owner(data) : SupportData(data, id));
    const bool slices =
        filler.copy == RomPolygonDataCopyConnectivityTable || filler.copy == RomPolyhedronDataCopyConnectivityTable;
    const std::vector<std::int32_t> values =
        slices ? std::vector<std::int32_t>(size, 0) : Values<std::int32_t>(size, first);
    for (RomObject* owner : owners) ROM_OK(filler.copy(owner, values.data(), 0, 0));
}
void FillAll(RomObject* data, const Shape& s, int first) {
    for (const Filler& filler : kFillers)
        if (s.*filler.size != 0) Fill(data, s, filler, first);
}

// ---- Builder helpers ------------------------------------------------------------------

// The text of one more Add after `accepted` successful ones.
std::string AddAfter(RomObject* mesh, ChildFn add, int accepted) {
    for (int i = 0; i < accepted; ++i) Child(add, mesh);
    RomObject* out = nullptr;
    return TextOf(add(mesh, &out));
}

RomObject* Element(RomObject* mesh, ChildFn add, std::uint32_t id, const std::vector<std::uint32_t>& nodes) {
    RomObject* element = Child(add, mesh);
    ROM_OK(RomSupportEntitySetId(element, id));
    for (std::uint32_t i = 0; i < nodes.size(); ++i) ROM_OK(RomStdElementSetConnectivity(element, i, nodes[i]));
    return element;
}

RomObject* Polygon(RomObject* mesh, const std::vector<std::uint32_t>& nodes, std::uint32_t id = 0) {
    RomObject* polygon = Child(RomMeshAddPolygon, mesh);
    ROM_OK(RomSupportEntitySetId(polygon, id));
    ROM_OK(RomPolygonSetNodeCount(polygon, static_cast<std::uint32_t>(nodes.size())));
    for (std::uint32_t i = 0; i < nodes.size(); ++i) ROM_OK(RomPolygonSetConnectivity(polygon, i, nodes[i]));
    return polygon;
}

// A polyhedron given `faces` faces and no node counts yet.
RomObject* Faces(RomObject* mesh, std::uint32_t faces) {
    RomObject* polyhedron = Child(RomMeshAddPolyhedron, mesh);
    ROM_OK(RomPolyhedronSetFaceCount(polyhedron, faces));
    return polyhedron;
}

RomObject* Polyhedron(RomObject* mesh, const std::vector<std::vector<std::uint32_t>>& faces, std::uint32_t id = 0) {
    RomObject* polyhedron = Faces(mesh, static_cast<std::uint32_t>(faces.size()));
    ROM_OK(RomSupportEntitySetId(polyhedron, id));
    for (std::uint32_t f = 0; f < faces.size(); ++f) {
        ROM_OK(RomPolyhedronSetNodeCount(polyhedron, f, static_cast<std::uint32_t>(faces[f].size())));
        for (std::uint32_t i = 0; i < faces[f].size(); ++i)
            ROM_OK(RomPolyhedronSetConnectivity(polyhedron, f, i, faces[f][i]));
    }
    return polyhedron;
}

RomObject* Support(RomObject* mesh, const char* id) {
    RomObject* support = nullptr;
    ROM_OK(RomMeshAddSupport(mesh, id, &support));
    return support;
}

RomExceptionHandle AddS9(RomObject* mesh, RomObject** support) { return RomMeshAddSupport(mesh, "S9", support); }

// ---- File helpers ---------------------------------------------------------------------

// The internal ids are random: every copy of a configuration draws its own.
std::string WithoutInternalIds(std::string bytes) {
    const std::string key = "\"internalId\":\"";
    for (std::size_t at = bytes.find(key); at != std::string::npos; at = bytes.find(key, at + 1))
        bytes.replace(at + key.size(), 36, 36, '-');
    return bytes;
}

class MeshTest : public TempDirTest {
protected:
    std::string NextPath(const char* extension) { return Path("f" + std::to_string(files_++) + "." + extension); }
    Owned NewMesh(const Shape& shape) {
        const std::string file = NextPath("romcfg");
        ROM_OK(RomPersistableSave(NewConfiguration(shape).get(), file.c_str()));
        RomObject* mesh = nullptr;
        ROM_OK(RomFactoryCreateAndInitMesh(&mesh, file.c_str()));
        return Owned(mesh);
    }
    std::string Saved(RomObject* persistable) {
        const std::string file = NextPath("rommsh");
        ROM_OK(RomPersistableSave(persistable, file.c_str()));
        return file;
    }
    std::string Written(const std::string& bytes) {
        const std::string file = NextPath("rommsh");
        WriteBytes(file, bytes);
        return file;
    }
    // What resuming a fresh mesh data from file says, and the mesh data.
    std::pair<std::string, Owned> Resume(const std::string& file) {
        Owned data = Create(RomFactoryCreateMeshData);
        std::string text = TextOf(RomPersistableResume(data.get(), file.c_str()));
        return {text, std::move(data)};
    }
    // The tables a builder wrote, through its file; supports never added get their zeros.
    Tables MeshTables(RomObject* mesh, const Shape& shape) {
        for (const auto& region : shape.regions)
            for (const std::string& id : region) Support(mesh, id.c_str());
        auto [text, data] = Resume(Saved(mesh));
        EXPECT_EQ(text, kOk);
        return TablesOf(data.get(), shape);
    }

    // Three nodes, a triangle and a line, two polygons, two polyhedrons, entities in S1 and S3.
    Owned BuildSample() {
        Owned mesh = NewMesh(Shape());
        RomObject* m = mesh.get();
        for (std::uint32_t i = 0; i < 3; ++i) {
            RomObject* node = Child(RomMeshAddNode, m);
            ROM_OK(RomSupportEntitySetId(node, 10 + i));
            for (std::uint32_t d = 0; d < 2; ++d) ROM_OK(RomNodeSetCoordinate(node, d, 1.0 + 2 * i + d));
            // After the first node, index -1 is the previous node's last coordinate.
            if (i == 1) { ROM_OK(RomNodeSetCoordinate(node, 0xFFFFFFFFu, 9.0)); }
        }
        Element(m, RomMeshAddTri3, 20, {10, 11, 12});
        Element(m, RomMeshAddLine2, 21, {12, 10});
        Polygon(m, {10, 11}, 30);
        Polygon(m, {12, 11, 10}, 31);
        Polyhedron(m, {{10, 11, 12}, {12, 10}}, 40);
        Polyhedron(m, {{11, 12, 10}}, 41);
        RomObject* support = Support(m, "S1");
        for (std::uint32_t i = 0; i < 3; ++i) ROM_OK(RomSupportSetEntityId(support, i, 1 + i));
        Support(m, "S2");
        EXPECT_EQ(Support(m, "S3"), support) << "one accessor for every support";
        ROM_OK(RomSupportSetEntityId(support, 0, 7));
        ROM_OK(RomSupportSetEntityId(support, 2, 9));
        return mesh;
    }
    static Tables Sample() {
        return {{"node ids", {10, 11, 12}}, {"coordinates", {1, 9, 3, 4, 5, 6}}, {"element ids", {20, 21}},
                {"types", {5, 1}}, {"connectivity", {10, 11, 12, 12, 10}}, {"polygon ids", {30, 31}},
                {"polygons", {2, 10, 11, 3, 12, 11, 10}}, {"polyhedron ids", {40, 41}},
                {"polyhedrons", {2, 3, 10, 11, 12, 2, 12, 10, 1, 3, 11, 12, 10}},
                {"S1", {1, 2, 3}}, {"S2", {0, 0, 0}}, {"S3", {7, 0, 9}}};
    }

    // A refusal met on a fresh mesh of the default shape changed by `shape`.
    struct Refusal {
        const char* name;
        void (*shape)(Shape&);
        std::string (*run)(RomObject* mesh);  // the text of its last call
        std::string expected;
    };
    void Check(const Refusal& c) {
        SCOPED_TRACE(c.name);
        Shape shape;
        c.shape(shape);
        Owned mesh = NewMesh(shape);
        EXPECT_EQ(c.run(mesh.get()), c.expected);
    }
    static void Keep(Shape&) {}

    int files_ = 0;
};

class MeshBuilder : public MeshTest {};
class MeshFile : public MeshTest {};

// ---- Builder ---------------------------------------------------------------------------

TEST_F(MeshBuilder, EveryElementKindStoresItsTypeAndTakesItsNodeCount) {
    const struct {
        const char* name;
        ChildFn add;
        std::int32_t type;
        std::uint32_t nodes;
    } kinds[] = {
        {"Point0", RomMeshAddPoint0, 0, 1}, {"Line2", RomMeshAddLine2, 1, 2}, {"Line3", RomMeshAddLine3, 2, 3},
        {"Beam3", RomMeshAddBeam3, 3, 3},   {"Beam4", RomMeshAddBeam4, 4, 4}, {"Tri3", RomMeshAddTri3, 5, 3},
        {"Tri6", RomMeshAddTri6, 6, 6},     {"Quad4", RomMeshAddQuad4, 7, 4}, {"Quad8", RomMeshAddQuad8, 8, 8},
        {"Tet4", RomMeshAddTet4, 9, 4},     {"Tet10", RomMeshAddTet10, 10, 10}, {"Hex8", RomMeshAddHex8, 11, 8},
        {"Hex20", RomMeshAddHex20, 12, 20}, {"Wedge6", RomMeshAddWedge6, 13, 6}, {"Wedge15", RomMeshAddWedge15, 14, 15},
        {"Pyramid5", RomMeshAddPyramid5, 15, 5}, {"Pyramid13", RomMeshAddPyramid13, 16, 13},
    };
    for (const auto& kind : kinds) {
        SCOPED_TRACE(kind.name);
        const std::string n = std::to_string(kind.nodes);
        Shape shape;
        shape.elements = 3;
        shape.elementConnectivity = 2 * kind.nodes;
        Owned mesh = NewMesh(shape);
        RomObject* first = Element(mesh.get(), kind.add, 1, {});
        EXPECT_EQ(Element(mesh.get(), kind.add, 2, {}), first) << "every Add of a kind hands out the same accessor";
        for (std::uint32_t i = 0; i < kind.nodes; ++i) ROM_OK(RomStdElementSetConnectivity(first, i, 100 + i));
        EXPECT_EQ(TextOf(RomStdElementSetConnectivity(first, kind.nodes, 1)),
                  "Node index " + n + " exceeds the number of nodes of the element (" + n + ") !");
        EXPECT_EQ(AddAfter(mesh.get(), kind.add, 0),
                  "Connectivity index (" + std::to_string(3 * kind.nodes) +
                      ") will exceed specified standard element connectivity table size (" +
                      std::to_string(2 * kind.nodes) + ") in the mesh configuration!");

        Tables tables = MeshTables(mesh.get(), shape);
        EXPECT_EQ(tables["types"], (std::vector<double>{double(kind.type), double(kind.type), 0}));
        EXPECT_EQ(tables["element ids"], (std::vector<double>{1, 2, 0}));
        std::vector<double> connectivity(kind.nodes, 0);
        for (std::uint32_t i = 0; i < kind.nodes; ++i) connectivity.push_back(100 + i);
        EXPECT_EQ(tables["connectivity"], connectivity) << "the accessor writes into the second element";
    }
}

TEST_F(MeshBuilder, AddAndAccessorRefusals) {
    const std::string noFaceCount = "Node count has not been setup for the face with index ";
    const Refusal refusals[] = {
        {"node count", Keep, [](RomObject* m) { return AddAfter(m, RomMeshAddNode, 3); },
         "Number of added nodes (3) exceeds specified node count (3) in the mesh configuration! "},
        {"element count", Keep, [](RomObject* m) { return AddAfter(m, RomMeshAddPoint0, 2); },
         "Number of added standard elements (2) exceeds specified standard element count (2) in the mesh "
         "configuration!"},
        {"connectivity size", [](Shape& s) { s.elements = 3; },
         [](RomObject* m) {
             Child(RomMeshAddTri3, m);
             Child(RomMeshAddLine2, m);  // ends exactly at the size
             return AddAfter(m, RomMeshAddPoint0, 0);
         },
         "Connectivity index (6) will exceed specified standard element connectivity table size (5) in the mesh "
         "configuration!"},
        {"polygon count", Keep,
         [](RomObject* m) { return Polygon(m, {}), Polygon(m, {1}), AddAfter(m, RomMeshAddPolygon, 0); },
         "Number of added polygons (2) exceeds specified polygons count (2) in the mesh configuration!"},
        {"polyhedron count", Keep,
         [](RomObject* m) { return Polyhedron(m, {}), Polyhedron(m, {{1}}), AddAfter(m, RomMeshAddPolyhedron, 0); },
         "Number of added polyhedron (2) exceeds specified polyhedron count (2) in the mesh configuration!"},
        {"no standard elements", [](Shape& s) { s.elements = 0; },
         [](RomObject* m) { return AddAfter(m, RomMeshAddHex20, 0); },
         "No standard element has been configured in the mesh!"},
        {"no polygons", [](Shape& s) { s.polygons = 0; },
         [](RomObject* m) { return AddAfter(m, RomMeshAddPolygon, 0); },
         "No polygon element has been configured in the mesh!"},
        {"no polyhedrons", [](Shape& s) { s.polyhedrons = 0; },
         [](RomObject* m) { return AddAfter(m, RomMeshAddPolyhedron, 0); },
         "No polyhedron element has been configured in the mesh!"},
        // Accessors
        {"dimension index", Keep,
         [](RomObject* m) { return TextOf(RomNodeSetCoordinate(Child(RomMeshAddNode, m), 2, 1.0)); },
         "Dimension index 2 exceeds Node dimension (2) !"},
        {"index -1 on the first node", Keep,
         [](RomObject* m) { return TextOf(RomNodeSetCoordinate(Child(RomMeshAddNode, m), 0xFFFFFFFFu, 1.0)); },
         kOutOfRange},
        {"element node index", Keep,
         [](RomObject* m) { return TextOf(RomStdElementSetConnectivity(Child(RomMeshAddTri3, m), 3, 1)); },
         "Node index 3 exceeds the number of nodes of the element (3) !"},
        {"index -1 on the first element", Keep,
         [](RomObject* m) { return TextOf(RomStdElementSetConnectivity(Child(RomMeshAddTri3, m), 0xFFFFFFFFu, 1)); },
         kOutOfRange},
        {"polygon node count not set", Keep,
         [](RomObject* m) { return TextOf(RomPolygonSetConnectivity(Child(RomMeshAddPolygon, m), 0, 1)); },
         "Node count has not been setup for this Polygon !"},
        {"polygon node index", Keep,
         [](RomObject* m) { return TextOf(RomPolygonSetConnectivity(Polygon(m, {1, 2}), 2, 1)); },
         "Node index 2 exceeds the number of nodes of the polygon (2) !"},
        {"previous polygon without node count", Keep, [](RomObject* m) { return AddAfter(m, RomMeshAddPolygon, 1); },
         "Node count has not been setup for this Polygon !"},
        {"polygon slice past the table", Keep,  // the first polygon takes the whole table
         [](RomObject* m) {
             return Polygon(m, {1, 2, 3, 4, 5, 6}), TextOf(RomPolygonSetNodeCount(Child(RomMeshAddPolygon, m), 1));
         },
         kOutOfRange},
        {"face count not set", Keep,
         [](RomObject* m) { return TextOf(RomPolyhedronSetNodeCount(Child(RomMeshAddPolyhedron, m), 0, 3)); },
         "Face count has not been setup for this Polyhedron !"},
        {"face index", Keep, [](RomObject* m) { return TextOf(RomPolyhedronSetNodeCount(Faces(m, 2), 2, 3)); },
         "Face index 2 exceeds the number of faces of the polyhedron (2) !"},
        {"face skipped", Keep,
         [](RomObject* m) {
             RomObject* polyhedron = Faces(m, 3);
             ROM_OK(RomPolyhedronSetNodeCount(polyhedron, 0, 3));
             return TextOf(RomPolyhedronSetNodeCount(polyhedron, 2, 3));
         },
         noFaceCount + "1 of this Polyhedron !"},
        {"face node count not set", Keep,
         [](RomObject* m) { return TextOf(RomPolyhedronSetConnectivity(Faces(m, 2), 0, 0, 1)); },
         noFaceCount + "0 of this Polyhedron !"},
        {"polyhedron node index", Keep,
         [](RomObject* m) { return TextOf(RomPolyhedronSetConnectivity(Polyhedron(m, {{1, 2, 3}}), 0, 3, 1)); },
         "Node index 3 exceeds the number of nodes of the face with index 0 of the polyhedron (3) !"},
        {"polyhedron slice past the table", Keep,  // 1 + 1 + 11: the first polyhedron takes the whole table
         [](RomObject* m) {
             Polyhedron(m, {Values<std::uint32_t>(11, 1)});
             return TextOf(RomPolyhedronSetFaceCount(Child(RomMeshAddPolyhedron, m), 1));
         },
         kOutOfRange},
        {"entity index", Keep, [](RomObject* m) { return TextOf(RomSupportSetEntityId(Support(m, "S2"), 3, 1)); },
         "Entity index 3 exceeds number of entities in the support (3) !"},
        {"unknown support", Keep, [](RomObject* m) { return Support(m, "S1"), AddAfter(m, AddS9, 0); },
         "In CMeshData, no support has the given solverId.\nGiven solverId is : S9"},
    };
    for (const Refusal& refusal : refusals) Check(refusal);
}

TEST_F(MeshBuilder, AFailedInitializeLeavesEveryAddRefused) {
    namespace Rom = Tervik::Rom;
    Shape shape;
    shape.elements = 0;
    const std::string file = NextPath("romcfg");
    ROM_OK(RomPersistableSave(NewConfiguration(shape).get(), file.c_str()));
    const std::unique_ptr<Rom::Mesh::IMesh> builder(GetFactory().CreateAndInitMesh(file));
    RomObject* mesh = builder.get();
    AddAfter(mesh, RomMeshAddNode, 2);  // the node count is reached
    Polygon(mesh, {1, 2});
    RomObject* polygon = Child(RomMeshAddPolygon, mesh);  // its node count is not set yet
    const std::unique_ptr<Rom::Configuration::IMeshDataCfg> empty(GetFactory().CreateMeshDataCfg());
    EXPECT_THROW(builder->Initialize(*empty), Rom::Common::RomException);

    const std::string kNotInitialized = "Mesh is not initialized!";
    const ChildFn adds[] = {RomMeshAddNode, RomMeshAddTet4, RomMeshAddPolyhedron,
                            [](RomObject* m, RomObject** out) { return RomMeshAddSupport(m, "S1", out); }};
    for (ChildFn add : adds) EXPECT_EQ(AddAfter(mesh, add, 0), kNotInitialized);
    // The previous polygon is measured before anything is checked.
    EXPECT_EQ(AddAfter(mesh, RomMeshAddPolygon, 0), "Node count has not been setup for this Polygon !");
    ROM_OK(RomPolygonSetNodeCount(polygon, 1));
    EXPECT_EQ(AddAfter(mesh, RomMeshAddPolygon, 0), kNotInitialized);
}

TEST_F(MeshBuilder, SlicesLieBackToBackAndTheFileResumesIntoAFreshMeshData) {
    const std::string file = Saved(BuildSample().get());
    auto [text, data] = Resume(file);
    ASSERT_EQ(text, kOk);
    EXPECT_EQ(TablesOf(data.get(), Shape()), Sample());
    EXPECT_EQ(WithoutInternalIds(ReadBytes(Saved(data.get()))), WithoutInternalIds(ReadBytes(file)))
        << "the resumed mesh data saves the same file";

    // A builder resumed from a file of other sizes keeps writing where its last Initialize
    // bound it: the tables it was given stay alive, and the resumed ones keep what they read.
    Owned mesh = NewMesh(Shape());
    RomObject* m = mesh.get();
    ROM_OK(RomSupportEntitySetId(Child(RomMeshAddNode, m), 10));
    RomObject* support = Support(m, "S1");
    Owned small = NewMeshData(kSmall);
    FillAll(small.get(), kSmall, 1);
    ROM_OK(RomPersistableResume(m, Saved(small.get()).c_str()));
    RomObject* node = Child(RomMeshAddNode, m);
    ROM_OK(RomSupportEntitySetId(node, 11));
    ROM_OK(RomNodeSetCoordinate(node, 1, 2.5));
    Element(m, RomMeshAddTri3, 20, {10, 11, 12});
    Polygon(m, {10, 11}, 30);
    Polyhedron(m, {{10, 11, 12}}, 40);
    ROM_OK(RomSupportSetEntityId(support, 1, 9));
    auto [again, resumed] = Resume(Saved(m));
    ASSERT_EQ(again, kOk);
    EXPECT_EQ(TablesOf(resumed.get(), kSmall), TablesOf(small.get(), kSmall));
}

// ---- Files -----------------------------------------------------------------------------

TEST_F(MeshFile, BodyLayout) {
    Owned data = NewMeshData(kSmall);
    FillAll(data.get(), kSmall, 1);
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

TEST_F(MeshFile, WriterRefusesMissingTablesAndWritesNothing) {
    const Shape shape;
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
    const std::string file = Saved(BuildSample().get());
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
    for (const auto& [uuid, head] : heads) {
        std::string bytes = saved;
        ASSERT_NE(bytes.find(uuid), std::string::npos) << uuid;
        Put<std::int32_t>(bytes, bytes.find(uuid) + 36, 2);
        EXPECT_EQ(Resume(Written(bytes)).first, head + "2. (Current supported version: 1)");
    }

    // A standard element record of version 2 is passed over; here it has no body.
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
    Tables expected = Sample();
    expected["element ids"] = {77, 78};  // the standard elements keep what they held
    EXPECT_EQ(TablesOf(data.get(), Shape()), expected);
}

TEST_F(MeshFile, TheFilesConfigurationReplacesADifferentOne) {
    Shape three, five;
    five.nodes = 5;
    Owned source = NewMeshData(three), data = NewMeshData(five);
    FillAll(source.get(), three, 1);
    FillAll(data.get(), five, 50);
    ROM_OK(RomPersistableResume(data.get(), Saved(source.get()).c_str()));

    EXPECT_EQ(NodeCount(data.get()), 3u);
    Tables t = TablesOf(data.get(), three);
    EXPECT_EQ(t["node ids"], (std::vector<double>{1, 2, 3}));
    EXPECT_EQ(t["coordinates"], Values<double>(6, 1));
    const std::string tooLong = "The array is too long to be copied into this one.";
    const std::int32_t id = 0;
    EXPECT_EQ(TextOf(RomNodeDataCopyIds(NodeData(data.get()), &id, 3, 1)), tooLong) << "3 ids";
    EXPECT_EQ(TextOf(RomNodeDataCopyCoordinateTable(NodeData(data.get()), t["coordinates"].data(), 6, 1)), tooLong);
}

TEST_F(MeshFile, AnnouncedSizesBeyondTheFileAreRefusedBeforeAllocating) {
    Owned data = NewMeshData(kSmall);
    FillAll(data.get(), kSmall, 1);
    const std::string saved = ReadBytes(Saved(data.get()));
    const std::string nodes = "\"count\":2,\"dim\":2", manyNodes = "\"count\":1000000000,\"dim\":4";
    const struct {
        const char* name;
        std::string from, to;
        std::size_t start;
    } patches[] = {
        {"node record", nodes, manyNodes, saved.find(kNodeDataUuid)},
        {"every node configuration", nodes, manyNodes, 0},
        {"standard elements", "\"count\":1,", "\"count\":2000000000,", 0},
        {"support entities", "\"size\":2,", "\"size\":2000000000,", 0},
    };
    for (const auto& patch : patches) {
        SCOPED_TRACE(patch.name);
        const std::string bytes = PatchJson(saved, patch.from, patch.to, patch.start);
        ASSERT_NE(bytes, saved);
        EXPECT_EQ(Resume(Written(bytes)).first, "System error while trying to read from a file.");
    }
}

}  // namespace
