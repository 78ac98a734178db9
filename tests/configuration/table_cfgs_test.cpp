// The table sizes (nodes, standard elements, polygons, polyhedrons) and the element data
// parts: their checks and look-ups, through the exported functions.
#include <cstdint>
#include <string>
#include <vector>

#include "support/configurations.hpp"
#include "support/temp_dir.hpp"

namespace {

const std::string kNoUserParts = "No user defined element data have been configurated !";
const std::string kStdCount = "The number of element has not been defined in standard element data configuration.";
const std::string kPolyhedronCount = "The number of polyhedrons has not been defined in polyhedron data configuration.";
using SizeFn = RomExceptionHandle (*)(RomObject*, std::uint32_t*);

}  // namespace

TEST(TableCfgs, NodeDataCountThenDimension) {
    const std::string noDimension = "The dimension has not been defined in node data configuration.";
    struct Case {
        std::uint32_t count;
        std::int32_t dimension;
        std::string message;
        std::uint32_t coordinates;
    };
    const Case cases[] = {
        {0, 0, kNoNodes, 0},
        {0, 3, kNoNodes, 0},
        {10, 0, noDimension, 0},
        {10, 3, kOk, 30},
        {100000, 100000, kOk, 1410065408u},  // wraps modulo 2^32
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.count) + "x" + std::to_string(c.dimension));
        Owned mesh = NewMesh();
        SetNodes(mesh.get(), c.count, c.dimension);
        RomObject* nodes = Child(RomMeshDataCfgConfigureNodeData, mesh.get());
        EXPECT_EQ(Check(nodes), c.message);
        EXPECT_EQ(Check(mesh.get()), c.message == kOk ? kNoElementData : c.message);
        EXPECT_EQ(Read(RomNodeDataCfgGetCoordinateTableSize, nodes), c.coordinates);
    }
}

TEST(TableCfgs, ElementTablesCountThenConnectivity) {
    using SetFn = RomExceptionHandle (*)(RomObject*, std::uint32_t);
    const std::string noSize = "The size of the connectivity table has not been defined in ";
    struct Family {
        const char* name;
        RomObject* (*configure)(RomObject* mesh);
        SetFn setCount, setSize;
        SizeFn getCount, getSize;
        std::string countMessage, sizeMessage;
    };
    const Family families[] = {
        {"standard", StdPartOf, RomStdElementDataCfgSetCount, RomStdElementDataCfgSetConnectivityTableSize,
         RomStdElementDataCfgGetCount, RomStdElementDataCfgGetConnectivityTableSize, kStdCount,
         noSize + "standard element data configuration."},
        {"polygon", PolygonsOf, RomPolygonDataCfgSetCount, RomPolygonDataCfgSetConnectivityTableSize,
         RomPolygonDataCfgGetCount, RomPolygonDataCfgGetConnectivityTableSize,
         "The number of polygon has not been defined in polygon data configuration.",
         noSize + "polygon data configuration."},
        {"polyhedron", PolyhedronsOf, RomPolyhedronDataCfgSetCount, RomPolyhedronDataCfgSetConnectivityTableSize,
         RomPolyhedronDataCfgGetCount, RomPolyhedronDataCfgGetConnectivityTableSize, kPolyhedronCount,
         noSize + "polyhedron data configuration."},
    };
    for (const Family& f : families)
        for (const std::uint32_t count : {0u, 5u})
            for (const std::uint32_t size : {0u, 20u}) {
                SCOPED_TRACE(std::string(f.name) + " " + std::to_string(count) + "/" + std::to_string(size));
                Owned mesh = NewMesh();
                SetNodes(mesh.get());
                RomObject* table = f.configure(mesh.get());
                ROM_OK(f.setCount(table, count));
                ROM_OK(f.setSize(table, size));
                const std::string expected = count == 0 ? f.countMessage : size == 0 ? f.sizeMessage : kOk;
                EXPECT_EQ(Check(table), expected);
                EXPECT_EQ(Check(ElementsOf(mesh.get())), expected);
                EXPECT_EQ(Check(mesh.get()), expected == kOk ? kNoRegion : expected);
                EXPECT_EQ(Read(f.getCount, table), count);
                EXPECT_EQ(Read(f.getSize, table), size);
            }
}

TEST(TableCfgs, ElementDataParts) {
    ExpectChecks(
        NewMesh, ElementsOf,
        {
            {"nothing", [](RomObject*) {}, kNoElementData},
            {"empty user part", [](RomObject* mesh) { UserPartOf(mesh); }, kNoUserParts},
            {"polygons only",
             [](RomObject* mesh) {
                 ROM_OK(RomPolygonDataCfgSetCount(PolygonsOf(mesh), 2));
                 ROM_OK(RomPolygonDataCfgSetConnectivityTableSize(PolygonsOf(mesh), 6));
             },
             kOk},
            {"standard before user", [](RomObject* mesh) { StdPartOf(mesh), UserPartOf(mesh); }, kStdCount},
            {"valid standard, empty user", [](RomObject* mesh) { SetTables(mesh), UserPartOf(mesh); }, kNoUserParts},
            {"polyhedrons before polygons", [](RomObject* mesh) { PolygonsOf(mesh), PolyhedronsOf(mesh); },
             kPolyhedronCount},
            {"every part valid", BuildFullMesh, kOk},
        });
}

TEST(TableCfgs, TryGetAndConfigureParts) {
    struct Case {
        const char* name;
        RomObject* (*parentOf)(RomObject* mesh);
        bool (*tryGet)(RomObject*, RomObject**);
        ChildFn configure;
    };
    const Case cases[] = {
        {"standard", ElementsOf, RomElementDataCfgTryGetStdElementDataCfg, RomElementDataCfgConfigureStdElementData},
        {"user", ElementsOf, RomElementDataCfgTryGetUserElementDataCfg, RomElementDataCfgConfigureUserElementData},
        {"polygon", UserPartOf, RomUserElementDataCfgTryGetPolygonDataCfg, RomUserElementDataCfgConfigurePolygonData},
        {"polyhedron", UserPartOf, RomUserElementDataCfgTryGetPolyhedronDataCfg,
         RomUserElementDataCfgConfigurePolyhedronData},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Owned mesh = NewMesh();
        RomObject* parent = c.parentOf(mesh.get());
        RomObject* found = mesh.get();
        EXPECT_FALSE(c.tryGet(parent, &found));
        EXPECT_EQ(found, nullptr);
        RomObject* part = Child(c.configure, parent);
        ASSERT_NE(part, nullptr);
        EXPECT_EQ(Child(c.configure, parent), part);
        EXPECT_TRUE(c.tryGet(parent, &found));
        EXPECT_EQ(found, part);
    }

    Owned setup = NewSetup();
    RomObject* mesh = MeshOf(setup.get());
    EXPECT_EQ(Child(RomSetupCfgGetMeshData, setup.get()), mesh);
    EXPECT_EQ(Child(RomMeshDataCfgGetNodeDataCfg, mesh), Child(RomMeshDataCfgConfigureNodeData, mesh));
    EXPECT_EQ(Child(RomMeshDataCfgGetElementDataCfg, mesh), ElementsOf(mesh));
}
