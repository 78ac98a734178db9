// The mesh builder as a client sees it: element kinds, accessors and their refusals,
// connectivity slices, and what it writes, through the exported functions.
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <tervik/rom/api.hpp>
#include <tervik/rom/mesh.hpp>

#include "support/mesh_shape.hpp"

namespace {

const std::string kOutOfRange = "Index out of range.";
using Shape = MeshShape;

// Every table of a mesh data by name (supports by solver id), read through the Get
// exports at the sizes of shape.
using Tables = std::map<std::string, std::vector<double>>;

template <class T>
void ReadTable(Tables& tables, const std::string& name, RomExceptionHandle (*get)(RomObject*, T**), RomObject* owner,
               std::uint32_t size) {
    const std::vector<T> table = TableOf(owner, get, size);
    tables[name].assign(table.begin(), table.end());
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

RomObject* Support(RomObject* mesh, const char* id) { return Read(RomMeshAddSupport, mesh, id); }

// The internal ids are random: every copy of a configuration draws its own.
std::string WithoutInternalIds(std::string bytes) {
    const std::string key = "\"internalId\":\"";
    for (std::size_t at = bytes.find(key); at != std::string::npos; at = bytes.find(key, at + 1))
        bytes.replace(at + key.size(), 36, 36, '-');
    return bytes;
}

class MeshBuilder : public MeshFiles {
protected:
    Owned NewMesh(const Shape& shape) {
        const std::string file = NextPath("romcfg");
        ROM_OK(RomPersistableSave(NewConfiguration(shape).get(), file.c_str()));
        RomObject* mesh = nullptr;
        ROM_OK(RomFactoryCreateAndInitMesh(&mesh, file.c_str()));
        return Owned(mesh);
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
            if (i == 1) {
                ROM_OK(RomNodeSetCoordinate(node, 0xFFFFFFFFu, 9.0));
            }
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
        return {{"node ids", {10, 11, 12}},
                {"coordinates", {1, 9, 3, 4, 5, 6}},
                {"element ids", {20, 21}},
                {"types", {5, 1}},
                {"connectivity", {10, 11, 12, 12, 10}},
                {"polygon ids", {30, 31}},
                {"polygons", {2, 10, 11, 3, 12, 11, 10}},
                {"polyhedron ids", {40, 41}},
                {"polyhedrons", {2, 3, 10, 11, 12, 2, 12, 10, 1, 3, 11, 12, 10}},
                {"S1", {1, 2, 3}},
                {"S2", {0, 0, 0}},
                {"S3", {7, 0, 9}}};
    }

    // A refusal met on a fresh mesh of `shape`.
    struct Refusal {
        const char* name;
        std::string (*run)(RomObject* mesh);  // the text of its last call
        std::string expected;
        Shape shape = Shape();
    };
    void Check(const Refusal& c) {
        SCOPED_TRACE(c.name);
        Owned mesh = NewMesh(c.shape);
        EXPECT_EQ(c.run(mesh.get()), c.expected);
    }
};

}  // namespace

TEST_F(MeshBuilder, EveryElementKindStoresItsTypeAndTakesItsNodeCount) {
    const struct {
        const char* name;
        ChildFn add;
        std::int32_t type;
        std::uint32_t nodes;
    } kinds[] = {
#define ROM_KIND(name, type, nodes, ...) {#name, RomMeshAdd##name, type, nodes},
        TERVIK_ROM_ELEMENT_KINDS(ROM_KIND)
#undef ROM_KIND
    };
    for (const auto& kind : kinds) {
        SCOPED_TRACE(kind.name);
        const std::string n = std::to_string(kind.nodes);
        const Shape shape = Shape().With(&Shape::elements, 3).With(&Shape::elementConnectivity, 2 * kind.nodes);
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
        {"node count", [](RomObject* m) { return AddAfter(m, RomMeshAddNode, 3); },
         "Number of added nodes (3) exceeds specified node count (3) in the mesh configuration! "},
        {"element count", [](RomObject* m) { return AddAfter(m, RomMeshAddPoint0, 2); },
         "Number of added standard elements (2) exceeds specified standard element count (2) in the mesh "
         "configuration!"},
        {"connectivity size",
         [](RomObject* m) {
             Child(RomMeshAddTri3, m);
             Child(RomMeshAddLine2, m);  // ends exactly at the size
             return AddAfter(m, RomMeshAddPoint0, 0);
         },
         "Connectivity index (6) will exceed specified standard element connectivity table size (5) in the mesh "
         "configuration!",
         Shape().With(&Shape::elements, 3)},
        {"polygon count",
         [](RomObject* m) { return Polygon(m, {}), Polygon(m, {1}), AddAfter(m, RomMeshAddPolygon, 0); },
         "Number of added polygons (2) exceeds specified polygons count (2) in the mesh configuration!"},
        {"polyhedron count",
         [](RomObject* m) { return Polyhedron(m, {}), Polyhedron(m, {{1}}), AddAfter(m, RomMeshAddPolyhedron, 0); },
         "Number of added polyhedron (2) exceeds specified polyhedron count (2) in the mesh configuration!"},
        {"no standard elements", [](RomObject* m) { return AddAfter(m, RomMeshAddHex20, 0); },
         "No standard element has been configured in the mesh!", Shape().With(&Shape::elements, 0)},
        {"no polygons", [](RomObject* m) { return AddAfter(m, RomMeshAddPolygon, 0); },
         "No polygon element has been configured in the mesh!", Shape().With(&Shape::polygons, 0)},
        {"no polyhedrons", [](RomObject* m) { return AddAfter(m, RomMeshAddPolyhedron, 0); },
         "No polyhedron element has been configured in the mesh!", Shape().With(&Shape::polyhedrons, 0)},
        // Accessors
        {"dimension index", [](RomObject* m) { return TextOf(RomNodeSetCoordinate(Child(RomMeshAddNode, m), 2, 1.0)); },
         "Dimension index 2 exceeds Node dimension (2) !"},
        {"index -1 on the first node",
         [](RomObject* m) { return TextOf(RomNodeSetCoordinate(Child(RomMeshAddNode, m), 0xFFFFFFFFu, 1.0)); },
         kOutOfRange},
        {"element node index",
         [](RomObject* m) { return TextOf(RomStdElementSetConnectivity(Child(RomMeshAddTri3, m), 3, 1)); },
         "Node index 3 exceeds the number of nodes of the element (3) !"},
        {"index -1 on the first element",
         [](RomObject* m) { return TextOf(RomStdElementSetConnectivity(Child(RomMeshAddTri3, m), 0xFFFFFFFFu, 1)); },
         kOutOfRange},
        {"polygon node count not set",
         [](RomObject* m) { return TextOf(RomPolygonSetConnectivity(Child(RomMeshAddPolygon, m), 0, 1)); },
         "Node count has not been setup for this Polygon !"},
        {"polygon node index",
         [](RomObject* m) {
             return TextOf(RomPolygonSetConnectivity(Polygon(m, {1, 2}), 2, 1));
         },
         "Node index 2 exceeds the number of nodes of the polygon (2) !"},
        {"previous polygon without node count", [](RomObject* m) { return AddAfter(m, RomMeshAddPolygon, 1); },
         "Node count has not been setup for this Polygon !"},
        {"polygon slice past the table",  // the first polygon takes the whole table
         [](RomObject* m) {
             return Polygon(m, {1, 2, 3, 4, 5, 6}), TextOf(RomPolygonSetNodeCount(Child(RomMeshAddPolygon, m), 1));
         },
         kOutOfRange},
        {"face count not set",
         [](RomObject* m) { return TextOf(RomPolyhedronSetNodeCount(Child(RomMeshAddPolyhedron, m), 0, 3)); },
         "Face count has not been setup for this Polyhedron !"},
        {"face index", [](RomObject* m) { return TextOf(RomPolyhedronSetNodeCount(Faces(m, 2), 2, 3)); },
         "Face index 2 exceeds the number of faces of the polyhedron (2) !"},
        {"face skipped",
         [](RomObject* m) {
             RomObject* polyhedron = Faces(m, 3);
             ROM_OK(RomPolyhedronSetNodeCount(polyhedron, 0, 3));
             return TextOf(RomPolyhedronSetNodeCount(polyhedron, 2, 3));
         },
         noFaceCount + "1 of this Polyhedron !"},
        {"face node count not set",
         [](RomObject* m) { return TextOf(RomPolyhedronSetConnectivity(Faces(m, 2), 0, 0, 1)); },
         noFaceCount + "0 of this Polyhedron !"},
        {"polyhedron node index",
         [](RomObject* m) {
             return TextOf(RomPolyhedronSetConnectivity(Polyhedron(m, {{1, 2, 3}}), 0, 3, 1));
         },
         "Node index 3 exceeds the number of nodes of the face with index 0 of the polyhedron (3) !"},
        {"polyhedron slice past the table",  // 1 + 1 + 11: the first polyhedron takes the whole table
         [](RomObject* m) {
             Polyhedron(m, {Values<std::uint32_t>(11, 1)});
             return TextOf(RomPolyhedronSetFaceCount(Child(RomMeshAddPolyhedron, m), 1));
         },
         kOutOfRange},
        {"entity index", [](RomObject* m) { return TextOf(RomSupportSetEntityId(Support(m, "S2"), 3, 1)); },
         "Entity index 3 exceeds number of entities in the support (3) !"},
        {"unknown support", [](RomObject* m) { return Support(m, "S1"), TextOf(RomMeshAddSupport(m, "S9", &m)); },
         "In CMeshData, no support has the given solverId.\nGiven solverId is : S9"},
    };
    for (const Refusal& refusal : refusals) Check(refusal);
}

TEST_F(MeshBuilder, AFailedInitializeLeavesEveryAddRefused) {
    namespace Rom = Tervik::Rom;
    const std::string file = NextPath("romcfg");
    ROM_OK(RomPersistableSave(NewConfiguration(Shape().With(&Shape::elements, 0)).get(), file.c_str()));
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
    const Shape two = Shape().With(&Shape::nodes, 2);
    Owned small = FilledMeshData(two);
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
    EXPECT_EQ(TablesOf(resumed.get(), two), TablesOf(small.get(), two));
}
