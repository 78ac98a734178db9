// The mesh data family as a client sees it: copied and borrowed tables, the getters of
// the mesh, element and user element data, support look-up, all through the exports.
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <tervik/rom/rom.h>

#include "support/temp_dir.hpp"
#include "support/exports.hpp"
#include "support/mesh_shape.hpp"

namespace {

const std::string kNotInitialized = "CMeshData is not initialized !";
const std::string kTooLong = "The array is too long to be copied into this one.";
const std::string kNoNodes = "The number of nodes has not been defined in node data configuration.";
const std::string kUnknownSupport = "In CMeshData, no support has the given solverId.\nGiven solverId is : ";
const std::uint32_t kSupportSize = 5;

// The sizes of a mesh data configuration; a zero count leaves that part out.
struct Shape : MeshShape {
    Shape() : MeshShape{4, 3, 2, 7, 2, 9, 2, 13, {{"S1", "S2"}, {"S3"}}, kSupportSize} {}
};

RomObject* SupportS2(RomObject* mesh) { return SupportData(mesh, "S2"); }

// ---- Tables ------------------------------------------------------------------------

template <class T>
struct Access {
    using Value = T;
    RomExceptionHandle (*copy)(RomObject*, const T*, std::uint32_t, std::uint32_t);
    RomExceptionHandle (*get)(RomObject*, T**);
    RomExceptionHandle (*set)(RomObject*, T*);
};
template <class T>
Access(RomExceptionHandle (*)(RomObject*, const T*, std::uint32_t, std::uint32_t),
       RomExceptionHandle (*)(RomObject*, T**), RomExceptionHandle (*)(RomObject*, T*)) -> Access<T>;

struct TableCase {
    RomObject* (*owner)(RomObject* mesh);
    std::uint32_t size;  // from the default Shape
    std::variant<Access<double>, Access<std::int32_t>> access;
    // What the owner of class `cls` says of a null array given to copy or set its `table`, and
    // of a table it does not have yet (`absent` follows "trying to access ").
    std::string cls, table, absent, name;
};
void PrintTo(const TableCase& c, std::ostream* out) { *out << c.name; }

// The table `table` of class C`cls` through its Copy, Get and Set exports, named cls_table.
#define ROM_TABLE(owner, size, cls, table, ...) \
    owner, size, Access{Rom##cls##Copy##table, Rom##cls##Get##table, Rom##cls##Set##table}, "C" #cls, __VA_ARGS__, \
        #cls "_" #table
const std::string kTable = " table but this table", kData = " but data for this table";

const TableCase kTables[] = {
    {ROM_TABLE(NodeData, 12, NodeData, CoordinateTable, "coordinates", "coordinates" + kTable)},
    {ROM_TABLE(NodeData, 4, NodeData, Ids, "ids", "ids" + kTable)},
    {ROM_TABLE(StdElements, 7, StdElementData, ConnectivityTable, "connectivity", "connectivity" + kTable)},
    {ROM_TABLE(StdElements, 2, StdElementData, Ids, "ids", "ids" + kTable)},
    {ROM_TABLE(StdElements, 2, StdElementData, Types, "types", "types" + kTable)},
    {ROM_TABLE(Polygons, 9, PolygonData, ConnectivityTable, "connectivity", "connectivity table" + kData)},
    {ROM_TABLE(Polygons, 2, PolygonData, Ids, "ids", "table of ids" + kData)},
    {ROM_TABLE(Polyhedrons, 13, PolyhedronData, ConnectivityTable, "connectivity", "connectivity table" + kData)},
    {ROM_TABLE(Polyhedrons, 2, PolyhedronData, Ids, "ids", "table of ids" + kData)},
    {ROM_TABLE(SupportS2, kSupportSize, SupportData, Entities, "entities", "entities" + kTable)},
};
#undef ROM_TABLE

class MeshDataTable : public ::testing::TestWithParam<TableCase> {
protected:
    void SetUp() override {
        cfg_ = NewConfiguration(Shape());
        mesh_ = NewMeshData(cfg_.get());
        owner_ = GetParam().owner(mesh_.get());
    }
    // Runs body with the table's access functions, typed by the table's element.
    template <class Body>
    void WithAccess(Body body) {
        std::visit(body, GetParam().access);
    }

    Owned cfg_, mesh_;
    RomObject* owner_ = nullptr;
};

TEST_P(MeshDataTable, AbsentUntilCopiedOrSetAndAgainAfterReinitialising) {
    const TableCase& c = GetParam();
    const std::string in = "In " + c.cls + ", trying to ", invalid = " table but provided data are not valid !";
    const std::string absent = in + "access " + c.absent + " is not available yet!";
    WithAccess([&](auto access) {
        using T = typename decltype(access)::Value;
        T untouched{};
        T* table = &untouched;
        EXPECT_EQ(TextOf(access.get(owner_, &table)), absent);
        EXPECT_EQ(table, &untouched);
        EXPECT_EQ(TextOf(access.copy(owner_, nullptr, 0, 0)), in + "copy " + c.table + invalid);
        EXPECT_EQ(TextOf(access.set(owner_, nullptr)), in + "set " + c.table + invalid);
        EXPECT_EQ(TextOf(access.get(owner_, &table)), absent) << "a refused copy or set made the table";

        std::vector<T> mine = Values<T>(c.size, 1);
        ROM_OK(access.copy(owner_, mine.data(), 0, 0));
        ROM_OK(RomMeshDataInitialize(mesh_.get(), cfg_.get()));
        owner_ = c.owner(mesh_.get());
        EXPECT_EQ(TextOf(access.get(owner_, &table)), absent) << "a copied table survived";

        ROM_OK(access.set(owner_, mine.data()));
        ROM_OK(RomMeshDataInitialize(mesh_.get(), cfg_.get()));
        owner_ = c.owner(mesh_.get());
        EXPECT_EQ(TextOf(access.get(owner_, &table)), absent) << "a borrowed table survived";
        mine[0] = mine[c.size - 1];  // still the caller's array
    });
}

TEST_P(MeshDataTable, CopyWritesInsideTheConfiguredSize) {
    const TableCase& c = GetParam();
    WithAccess([&](auto access) {
        using T = typename decltype(access)::Value;
        const std::vector<T> source = Values<T>(c.size, 1);
        ROM_OK(access.copy(owner_, source.data(), 1, 1));
        std::vector<T> expected(c.size, T{});
        expected[1] = source[0];
        EXPECT_EQ(TableOf(owner_, access.get, c.size), expected) << "the first copy allocates zeros";

        ROM_OK(access.copy(owner_, source.data(), 1, c.size - 1));
        for (std::uint32_t i = 1; i < c.size; ++i) expected[i] = source[i - 1];
        EXPECT_EQ(TableOf(owner_, access.get, c.size), expected) << "a copy ending at the last entry";

        const std::pair<std::uint32_t, std::uint32_t> tooLong[] = {
            {1, c.size}, {0, c.size + 1}, {c.size, 1}, {0xFFFFFFFFu, 2}, {2, 0xFFFFFFFFu}};
        for (const auto& [offset, count] : tooLong)
            EXPECT_EQ(TextOf(access.copy(owner_, source.data(), offset, count)), kTooLong) << offset << "+" << count;
        EXPECT_EQ(TableOf(owner_, access.get, c.size), expected) << "a refused copy wrote";

        ROM_OK(access.copy(owner_, source.data(), 0, 0));
        EXPECT_EQ(TableOf(owner_, access.get, c.size), source) << "offset 0 and count 0 copy the whole table";
    });
}

TEST_P(MeshDataTable, SetBorrowsTheCallersArray) {
    const TableCase& c = GetParam();
    WithAccess([&](auto access) {
        using T = typename decltype(access)::Value;
        const std::vector<T> first = Values<T>(c.size, 1);
        ROM_OK(access.copy(owner_, first.data(), 0, 0));  // an owned table, given up for the borrowed one
        T* own = nullptr;
        ROM_OK(access.get(owner_, &own));
        ROM_OK(access.set(owner_, own));  // the table's own array handed back stays the table
        ROM_OK(access.copy(owner_, first.data() + 1, 0, 1));
        EXPECT_EQ(TableOf(owner_, access.get, c.size)[0], first[1]);
        std::vector<T> mine = Values<T>(c.size, 100);
        ROM_OK(access.set(owner_, mine.data()));
        T* table = nullptr;
        ROM_OK(access.get(owner_, &table));
        EXPECT_EQ(table, mine.data());
        const T five(5);
        ROM_OK(access.copy(owner_, &five, 0, 1));
        EXPECT_EQ(mine[0], T(5)) << "a copy goes into the borrowed array";
        EXPECT_EQ(TextOf(access.copy(owner_, first.data(), 1, c.size)), kTooLong)
            << "the size stays the configured one";

        mesh_.reset();
        EXPECT_EQ(mine[0], T(5)) << "the caller's array outlives the mesh data";
    });
}

INSTANTIATE_TEST_SUITE_P(MeshData, MeshDataTable, ::testing::ValuesIn(kTables),
                         [](const ::testing::TestParamInfo<TableCase>& info) { return info.param.name; });

// ---- Mesh, element and user element data -------------------------------------------

TEST(MeshDataExports, EveryGetterOfAFreshMeshDataSaysNotInitialized) {
    Owned mesh = Create(RomFactoryCreateMeshData);
    const std::pair<const char*, ChildFn> getters[] = {
        {"GetNodeData", RomMeshDataGetNodeData},
        {"GetMutableNodeData", RomMeshDataGetMutableNodeData},
        {"GetElementData", RomMeshDataGetElementData},
        {"GetMutableElementData", RomMeshDataGetMutableElementData},
        {"GetSupportDatas", RomMeshDataGetSupportDatas},
        {"GetConfiguration", RomMeshDataGetConfiguration},
        {"GetSupportData", [](RomObject* m, RomObject** out) { return RomMeshDataGetSupportData(m, "S1", out); }},
        {"GetMutableSupportData",
         [](RomObject* m, RomObject** out) { return RomMeshDataGetMutableSupportData(m, "S1", out); }},
    };
    Owned bad = NewConfiguration(Shape().With(&Shape::nodes, 0));
    EXPECT_EQ(TextOf(RomMeshDataInitialize(mesh.get(), bad.get())), kNoNodes);
    for (const auto& [name, get] : getters) {
        RomObject* out = mesh.get();
        EXPECT_EQ(TextOf(get(mesh.get(), &out)), kNotInitialized) << name;
        EXPECT_EQ(out, mesh.get()) << name;
    }
}

TEST(MeshDataExports, AbsentElementKinds) {
    // Looks a missing kind up under the element data (user = false) or the user element data.
    const auto check = [](const MeshShape& shape, bool user, ChildFn absent, const std::string& message) {
        Owned mesh = NewMeshData(shape);
        RomObject* owner = Child(RomMeshDataGetElementData, mesh.get());
        if (user) owner = Child(RomElementDataGetUserElementData, owner);
        RomObject* out = owner;
        EXPECT_EQ(TextOf(absent(owner, &out)), message);
        EXPECT_EQ(out, owner);
        return mesh;
    };
    check(Shape().With(&Shape::elements, 0), false, RomElementDataGetStdElementData,
          "In CElementData, there is no standard element data in the element data.");
    check(Shape().With(&Shape::polygons, 0).With(&Shape::polyhedrons, 0), false,
          RomElementDataGetMutableUserElementData,
          "In CElementData, there is no user defined element data in the element data.");
    check(Shape().With(&Shape::polygons, 0), true, RomUserElementDataGetPolygonData,
          "In CUserElementData, there is no polygon data in the user element data.");
    Owned polygonsOnly = check(Shape().With(&Shape::polyhedrons, 0), true, RomUserElementDataGetPolyhedronData,
                               "In CUserElementData, there is no polyhedron data in the user element data.");
    RomObject* user = UserElements(polygonsOnly.get());
    RomObject* polygons = Child(RomUserElementDataGetPolygonData, user);
    EXPECT_NE(polygons, nullptr);
    EXPECT_EQ(Child(RomUserElementDataGetMutablePolygonData, user), polygons);
}

TEST(MeshDataExports, InconsistentConfigurationKeepsThePreviousData) {
    Owned cfg = NewConfiguration(Shape());
    Owned mesh = NewMeshData(cfg.get());
    const std::vector<std::int32_t> ids{11, 12, 13, 14};
    ROM_OK(RomNodeDataCopyIds(NodeData(mesh.get()), ids.data(), 0, 0));

    // The whole check runs (its cases are the configuration tests'): the first and the last.
    const std::pair<MeshShape, std::string> broken[] = {
        {Shape().With(&Shape::nodes, 0), kNoNodes},
        {Shape().With(&Shape::regions, MeshShape::Regions{{"S1"}, {"S1"}}),
         "In mesh data configuration, supports with the same solverId have been added to different regions !"
         "\n solverId of support is :S1"},
    };
    for (const auto& [shape, message] : broken) {
        EXPECT_EQ(TextOf(RomMeshDataInitialize(mesh.get(), NewConfiguration(shape).get())), message);
        EXPECT_EQ(TableOf(NodeData(mesh.get()), RomNodeDataGetIds, 4), ids) << message;
        EXPECT_NE(SupportS2(mesh.get()), nullptr) << message;
    }

    // The mesh data keeps its own copy: changing the caller's configuration changes nothing.
    ROM_OK(RomNodeDataCfgSetCount(Child(RomMeshDataCfgConfigureNodeData, cfg.get()), 8));
    EXPECT_NE(Child(RomMeshDataGetConfiguration, mesh.get()), cfg.get());
    EXPECT_EQ(NodeCount(mesh.get()), 4u);
    EXPECT_EQ(TextOf(RomNodeDataCopyIds(NodeData(mesh.get()), ids.data(), 4, 1)), kTooLong);
}

// ---- Supports ----------------------------------------------------------------------

TEST(MeshDataExports, SupportDataLookUpBySolverId) {
    const std::uint32_t kSupports = 2000;
    Shape shape;
    shape.regions.assign(4, {});
    for (std::uint32_t i = 0; i < kSupports; ++i) shape.regions[i / 500].push_back("support-" + std::to_string(i));
    Owned mesh = NewMeshData(shape);

    RomObject* datas = Child(RomMeshDataGetSupportDatas, mesh.get());
    const std::vector<RomObject*> members = Members(datas);
    ASSERT_EQ(members.size(), kSupports);
    for (std::uint32_t i = 0; i < kSupports; ++i) {
        const std::string id = "support-" + std::to_string(i);
        EXPECT_EQ(Id(members[i]), id) << "members follow the regions' order";
        EXPECT_EQ(Read(RomMeshDataGetSupportData, mesh.get(), id.c_str()), members[i]) << id;
    }

    for (const char* unknown : {"Support-1", "support-2000", ""}) {
        RomObject* out = datas;
        EXPECT_EQ(TextOf(RomMeshDataGetSupportData(mesh.get(), unknown, &out)), kUnknownSupport + unknown);
        EXPECT_EQ(TextOf(RomMeshDataGetMutableSupportData(mesh.get(), unknown, &out)), kUnknownSupport + unknown);
        EXPECT_EQ(out, datas);
    }

    RomObject* renamed = SupportData(mesh.get(), "support-7");
    ROM_OK(RomSetSolverId(renamed, "renamed"));
    EXPECT_EQ(Id(renamed), "renamed");
    RomObject* out = nullptr;
    EXPECT_EQ(TextOf(RomMeshDataGetSupportData(mesh.get(), "support-7", &out)), kUnknownSupport + "support-7");
    EXPECT_EQ(Read(RomMeshDataGetSupportData, mesh.get(), "renamed"), renamed);
}

// ---- From a configuration file -------------------------------------------------------

class MeshDataFiles : public TempDirTest {};

TEST_F(MeshDataFiles, CreateAndInitFromASavedConfiguration) {
    Owned cfg = NewConfiguration(Shape());
    const std::string file = Path("mesh.romcfg"), other = Path("mesh.rommsh");
    WriteBytes(other, Saved(cfg.get(), file));
    RomObject* created = nullptr;
    ROM_OK(RomFactoryCreateAndInitMeshData(&created, file.c_str()));
    Owned mesh(created);
    EXPECT_EQ(NodeCount(created), 4u);
    EXPECT_EQ(Id(SupportData(created, "S3")), "S3");
    RomObject* untouched = cfg.get();
    EXPECT_EQ(TextOf(RomFactoryCreateAndInitMeshData(&untouched, other.c_str())),
              "The file " + other + " do not have the expected extension romcfg.");
    EXPECT_EQ(untouched, cfg.get());
    EXPECT_NE(TextOf(RomFactoryCreateAndInitMeshData(&untouched, Path("missing.romcfg").c_str())), kOk);
    EXPECT_EQ(untouched, cfg.get());
}

// Counts whose coordinates make no table are refused when a data object is given them
// (Check and the getter keep their stated results), and tables that memory cannot hold
// are refused with their sizes.
TEST_F(MeshDataFiles, SizesThatCannotBeHeld) {
    Owned cfg = NewConfiguration(Shape());
    RomObject* nodes = Child(RomMeshDataCfgConfigureNodeData, cfg.get());
    ROM_OK(RomNodeDataCfgSetCount(nodes, 65536));
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
    const std::string path = Path("huge.romcfg");
    ROM_OK(RomPersistableSave(cfg.get(), path.c_str()));
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

}  // namespace
