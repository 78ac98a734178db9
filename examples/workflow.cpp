// The workflow of workflow.c, through GetFactory() and the C++ interfaces:
//
//  1. describe the set-up (two regions, node and element supports, a vector field on the
//     nodes and a scalar field on the elements), check it, save it, and save the mesh and
//     snapshot configurations derived from it;
//  2. build a mixed mesh (a Hex8, a Tet4, a Tri3, one polygon, one polyhedron) and save it;
//  3. fill one snapshot with the run's values and save it;
//  4. push the run into a snapshot cache, save it, and save a project;
//  5. resume the mesh data, the snapshot and the project and check what comes back.
//
// Usage: workflow_cpp_example [folder]   (the files go to the folder, "." by default)
// The caller owns what a Create operation returns: each such object is held by a
// unique_ptr that deletes it through its interface. Objects reached through another
// object belong to that object. A failure prints the library's text and ends with status 1.
#include <cstdint>
#include <cstdio>
#include <exception>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>

#include <tervik/rom/api.hpp>
#include <tervik/rom/configuration.hpp>
#include <tervik/rom/mesh.hpp>
#include <tervik/rom/project.hpp>
#include <tervik/rom/snapshot.hpp>

namespace {

namespace Rom = Tervik::Rom;
using Rom::Configuration::IFieldCfg;
using Rom::Configuration::IRegionCfg;

// Deletes through IRomObject, whose destructor is virtual.
struct Delete {
    void operator()(Rom::Common::IRomObject* object) const { delete object; }
};
template <class I>
using Owned = std::unique_ptr<I, Delete>;
template <class I>
Owned<I> Own(I* object) {
    return Owned<I>(object);
}

// Snapshot caches and projects are saved like every persistable object; their own
// interfaces leave that to IPersistable.
Rom::Common::IPersistable& Persistable(Rom::Common::IRomObject& object) {
    return dynamic_cast<Rom::Common::IPersistable&>(object);
}

void Require(bool condition, const char* what) {
    if (!condition) throw std::runtime_error(std::string("check failed: ") + what);
}

std::string folder = ".";

std::string PathOf(const std::string& name, const std::string& extension) {
    return folder + "/" + name + "." + extension;
}

// Entity type codes: the library gives them no meaning; this solver's convention.
enum : std::int32_t { kNodes = 1, kCells = 2, kFaces = 3 };

// A unit cube (nodes 0-7), the apex of a pyramid on its top face (8), a triangle beside it (9-11).
// Node i has the id 100 + i; connectivity names nodes by id.
const double kCoordinates[12][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0},     {0, 1, 0}, {0, 0, 1}, {1, 0, 1},
                                    {1, 1, 1}, {0, 1, 1}, {0.5, 0.5, 2}, {2, 0, 0}, {3, 0, 0}, {2, 1, 0}};
const std::uint32_t kHex[8] = {100, 101, 102, 103, 104, 105, 106, 107};
const std::uint32_t kTet[4] = {104, 105, 106, 108};
const std::uint32_t kTri[3] = {109, 110, 111};
const std::uint32_t kQuad[4] = {104, 105, 106, 107};
// The pyramid over the top face, as a polyhedron of five faces.
const std::uint32_t kPyramidFaces[5][4] = {
    {104, 105, 106, 107}, {104, 105, 108}, {105, 106, 108}, {106, 107, 108}, {107, 104, 108}};
const std::uint32_t kPyramidFaceSizes[5] = {4, 3, 3, 3, 3};

void AddSupport(IRegionCfg& region, const char* solverId, std::uint32_t count, std::int32_t type) {
    auto& support = region.AddSupport();
    support.SetSolverId(solverId);
    support.SetEntityCount(count);
    support.SetEntitiesType(type);
}

IFieldCfg& AddField(Rom::Configuration::IRomSetupCfg& setup, const char* solverId, const char* quantity,
                    const char* unit, std::int32_t type, std::initializer_list<const char*> components) {
    auto& field = setup.AddField();
    field.SetSolverId(solverId);
    field.SetCaption(solverId);
    field.SetQuantity(quantity);
    field.SetUnit(unit);
    field.SetEntitiesType(type);
    for (const char* id : components) {
        auto& component = field.AddComponent();
        component.SetSolverId(id);
        component.SetCaption(id);
    }
    return field;
}

// 1. The set-up.
void DescribeSetup(Rom::Api::IFactory& factory) {
    auto setup = Own(factory.CreateSetupCfg());
    auto& mesh = setup->ConfigureMeshData();
    mesh.SetUnit("m");
    auto& nodes = mesh.ConfigureNodeData();
    nodes.SetCount(12);
    nodes.SetDimension(3);
    auto& elements = mesh.ConfigureElementData();
    auto& standard = elements.ConfigureStdElementData();
    standard.SetCount(3);
    standard.SetConnectivityTableSize(8 + 4 + 3);
    auto& user = elements.ConfigureUserElementData();
    auto& polygons = user.ConfigurePolygonData();
    polygons.SetCount(1);
    polygons.SetConnectivityTableSize(1 + 4);
    auto& polyhedrons = user.ConfigurePolyhedronData();
    polyhedrons.SetCount(1);
    // F, then per face its node count and nodes: 1 + 5 + (4 + 3 + 3 + 3 + 3).
    polyhedrons.SetConnectivityTableSize(1 + 5 + 16);

    auto& solid = mesh.AddRegion();
    solid.SetSolverId("solid");
    solid.SetCaption("Solid");
    AddSupport(solid, "solid-nodes", 12, kNodes);
    AddSupport(solid, "solid-cells", 3, kCells);
    auto& skin = mesh.AddRegion();
    skin.SetSolverId("skin");
    skin.SetCaption("Skin");
    AddSupport(skin, "skin-faces", 2, kFaces);

    AddField(*setup, "displacement", "length", "m", kNodes, {"ux", "uy", "uz"}).AddSupport("solid-nodes");
    auto& pressure = AddField(*setup, "pressure", "pressure", "Pa", kCells, {"p"});
    pressure.AddSupport("solid-cells");
    pressure.AddSupport("skin-faces");

    setup->Check();
    const auto& extension = factory.GetConfigurationFileExtension();
    setup->Save(PathOf("setup", extension));
    setup->SaveMeshConfiguration(PathOf("mesh", extension));
    setup->SaveSnapshotConfiguration(PathOf("snapshot", extension));
    std::printf("1. set-up checked and saved, with its mesh and snapshot configurations\n");
}

void SetElement(Rom::Mesh::IStdElement& element, std::uint32_t id, const std::uint32_t* nodes, int count) {
    element.SetId(id);
    for (int i = 0; i < count; ++i) element.SetConnectivity(i, nodes[i]);
}

// 2. The mesh, item by item, each Add checked against the configured sizes.
void BuildMesh(Rom::Api::IFactory& factory) {
    auto mesh = Own(factory.CreateAndInitMesh(PathOf("mesh", factory.GetConfigurationFileExtension())));
    for (std::uint32_t i = 0; i < 12; ++i) {
        auto* node = mesh->AddNode();
        node->SetId(100 + i);
        for (int d = 0; d < 3; ++d) node->SetCoordinate(d, kCoordinates[i][d]);
    }
    SetElement(*mesh->AddHex8(), 1, kHex, 8);
    SetElement(*mesh->AddTet4(), 2, kTet, 4);
    SetElement(*mesh->AddTri3(), 3, kTri, 3);

    auto* polygon = mesh->AddPolygon();
    polygon->SetId(4);
    polygon->SetNodeCount(4);
    for (int i = 0; i < 4; ++i) polygon->SetConnectivity(i, kQuad[i]);

    auto* polyhedron = mesh->AddPolyhedron();
    polyhedron->SetId(5);
    polyhedron->SetFaceCount(5);
    for (std::uint32_t f = 0; f < 5; ++f) {
        polyhedron->SetNodeCount(static_cast<std::int32_t>(f), kPyramidFaceSizes[f]);
        for (std::uint32_t i = 0; i < kPyramidFaceSizes[f]; ++i)
            polyhedron->SetConnectivity(f, static_cast<std::int32_t>(i), kPyramidFaces[f][i]);
    }

    const struct {
        const char* solverId;
        std::uint32_t count, first;
    } supports[] = {{"solid-nodes", 12, 100}, {"solid-cells", 3, 1}, {"skin-faces", 2, 3}};
    for (const auto& s : supports) {
        auto* support = mesh->AddSupport(s.solverId);
        for (std::uint32_t i = 0; i < s.count; ++i) support->SetEntityId(i, s.first + i);
    }
    mesh->Save(PathOf("mesh", factory.GetMeshFileExtension()));
    std::printf("2. mesh of 12 nodes, 3 standard elements, 1 polygon and 1 polyhedron saved\n");
}

// The value a component takes on an entity in this run.
double ValueOf(const std::string& component, std::uint32_t entity) {
    return static_cast<double>(component.back()) + 0.001 * entity;
}

// 3. and 4. One run: its snapshot, its entry in the cache, and the project.
Owned<Rom::Project::IProject> RecordRun(Rom::Api::IFactory& factory) {
    const std::string snapshotFile = PathOf("run-1", factory.GetSnapshotFileExtension());
    auto snapshot = Own(factory.CreateAndInitSnapshot(PathOf("snapshot", factory.GetConfigurationFileExtension())));
    const struct {
        const char* component;
        const char* support;
        std::uint32_t count, first;
    } pairs[] = {{"ux", "solid-nodes", 12, 100},
                 {"uy", "solid-nodes", 12, 100},
                 {"uz", "solid-nodes", 12, 100},
                 {"p", "solid-cells", 3, 1},
                 {"p", "skin-faces", 2, 3}};
    for (const auto& pair : pairs) {
        auto& data = snapshot->GetComponentData(pair.component, pair.support);
        for (std::uint32_t i = 0; i < pair.count; ++i)
            data.AddValue(pair.first + i, ValueOf(pair.component, pair.first + i));
    }
    Require(snapshot->IsFilled(), "the snapshot is filled");
    snapshot->Save(snapshotFile);
    std::printf("3. snapshot of the run filled and saved\n");

    auto cache = Own(factory.CreateSnapshotCache());
    auto input = Own(factory.CreateUserPoint());
    auto output = Own(factory.CreateUserPoint());
    input->SetValue("load", 1500.0);
    output->SetValue("max-displacement", 0.0123);
    Require(cache->Push(*input, *output, snapshotFile), "the run is added to the cache");
    Persistable(*cache).Save(PathOf("runs", factory.GetSnapshotCacheFileExtension()));
    auto project = Own(factory.CreateProject());
    Persistable(*project).Save(PathOf("project", factory.GetProjectFileExtension()));
    std::printf("4. run pushed into the snapshot cache; cache and project saved\n");
    return project;
}

// 5. The mesh data, the snapshot and the project read back.
void ResumeAll(Rom::Api::IFactory& factory, const Rom::Project::IProject& saved) {
    auto meshData = Own(factory.CreateMeshData());
    meshData->Resume(PathOf("mesh", factory.GetMeshFileExtension()));
    auto& nodes = meshData->GetMutableNodeData();
    const double* xyz = nodes.GetCoordinateTable();
    const std::int32_t* ids = nodes.GetIds();
    for (std::uint32_t i = 0; i < 12; ++i) {
        Require(ids[i] == static_cast<std::int32_t>(100 + i), "node ids");
        for (int d = 0; d < 3; ++d) Require(xyz[3 * i + d] == kCoordinates[i][d], "node coordinates");
    }
    auto& standard = meshData->GetMutableElementData().GetMutableStdElementData();
    const std::int32_t* types = standard.GetTypes();
    const std::int32_t* connectivity = standard.GetConnectivityTable();
    Require(types[0] == RomElementTypeHex8 && types[1] == RomElementTypeTet4 && types[2] == RomElementTypeTri3,
            "element types Hex8, Tet4, Tri3");
    Require(connectivity[7] == 107 && connectivity[11] == 108 && connectivity[14] == 111, "standard connectivity");
    const std::int32_t* polyhedron =
        meshData->GetMutableElementData().GetMutableUserElementData().GetMutablePolyhedronData().GetConnectivityTable();
    Require(polyhedron[0] == 5 && polyhedron[1] == 4 && polyhedron[6] == 3, "polyhedron connectivity");
    const std::int32_t* entities = meshData->GetMutableSupportData("skin-faces").GetEntities();
    Require(entities[0] == 3 && entities[1] == 4, "support entities");

    auto snapshot = Own(factory.CreateSnapshot());
    snapshot->Resume(PathOf("run-1", factory.GetSnapshotFileExtension()));
    Require(snapshot->IsFilled(), "the resumed snapshot is filled");
    std::uint32_t id = 0;
    double value = 0.0;
    snapshot->GetComponentData("uz", "solid-nodes").GetValue(11, id, value);
    Require(id == 111 && value == ValueOf("uz", 111), "snapshot value");

    auto project = Own(factory.CreateAndResumeProject(PathOf("project", factory.GetProjectFileExtension())));
    Require(project->Compare(&saved), "the resumed project is the saved one");
    std::printf("5. mesh data, snapshot and project resumed: tables equal, snapshot filled, same project\n");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1) folder = argv[1];
    try {
        auto& factory = GetFactory();
        DescribeSetup(factory);
        BuildMesh(factory);
        auto project = RecordRun(factory);
        ResumeAll(factory, *project);
    } catch (const Rom::Common::RomException& e) {
        std::fprintf(stderr, "tervikrom: %s\n", e.what());
        return 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
    return 0;
}
