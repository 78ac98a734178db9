/*
 * The whole workflow of a solver integrator, in the order a solver meets it:
 *
 *  1. describe the set-up (two regions, node and element supports, a vector field on
 *     the nodes and a scalar field on the elements), check it, save it, and save the
 *     mesh and snapshot configurations derived from it;
 *  2. build a mixed mesh (a Hex8, a Tet4, a Tri3, one polygon, one polyhedron) and
 *     save it;
 *  3. fill one snapshot with the run's values and save it;
 *  4. push the run into a snapshot cache, save it, and save a project;
 *  5. resume every file and check what comes back.
 *
 * Usage: workflow_example [folder]   (the files go to the folder, "." by default)
 * Any failure prints the library's own text and ends the program with status 1.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <tervik/rom/rom.h>

static void check(RomExceptionHandle error, const char* what) {
    if (error != NULL) {
        fprintf(stderr, "%s failed: %s\n", what, RomGetExceptionDescription(error));
        RomReleaseException(error);
        exit(1);
    }
}

static void require(int condition, const char* what) {
    if (!condition) {
        fprintf(stderr, "check failed: %s\n", what);
        exit(1);
    }
}

static char folder[1024] = ".";

/* folder/name.extension */
static const char* path(const char* name, const char* extension) {
    static char buffers[8][1200];
    static int next = 0;
    char* buffer = buffers[next++ % 8];
    snprintf(buffer, sizeof buffers[0], "%s/%s.%s", folder, name, extension);
    return buffer;
}

/* Entity type codes: the library gives them no meaning; this solver's convention. */
enum { NODES = 1, CELLS = 2, FACES = 3 };

/* The mesh: a unit cube (nodes 0-7), the apex of a pyramid on its top face (8) and a
 * triangle beside it (9-11). Node i has the id 100 + i; connectivity names nodes by id. */
static const double coordinates[12][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0},     {0, 1, 0}, {0, 0, 1}, {1, 0, 1},
                                          {1, 1, 1}, {0, 1, 1}, {0.5, 0.5, 2}, {2, 0, 0}, {3, 0, 0}, {2, 1, 0}};
static const uint32_t hex[8] = {100, 101, 102, 103, 104, 105, 106, 107};
static const uint32_t tet[4] = {104, 105, 106, 108};
static const uint32_t tri[3] = {109, 110, 111};
static const uint32_t quad[4] = {104, 105, 106, 107};
/* The pyramid over the top face, as a polyhedron of five faces. */
static const uint32_t pyramidFaces[5][4] = {
    {104, 105, 106, 107}, {104, 105, 108}, {105, 106, 108}, {106, 107, 108}, {107, 104, 108}};
static const uint32_t pyramidFaceSizes[5] = {4, 3, 3, 3, 3};

static RomObject* addSupport(RomObject* region, const char* solverId, uint32_t count, int32_t type) {
    RomObject* support = NULL;
    check(RomRegionCfgAddSupport(region, &support), "RomRegionCfgAddSupport");
    check(RomSetSolverId(support, solverId), "RomSetSolverId");
    check(RomSupportCfgSetEntityCount(support, count), "RomSupportCfgSetEntityCount");
    check(RomSupportCfgSetEntitiesType(support, type), "RomSupportCfgSetEntitiesType");
    return support;
}

static RomObject* addField(RomObject* setup, const char* solverId, const char* quantity, const char* unit,
                           int32_t type) {
    RomObject* field = NULL;
    check(RomSetupCfgAddField(setup, &field), "RomSetupCfgAddField");
    check(RomSetSolverId(field, solverId), "RomSetSolverId");
    check(RomFieldCfgSetCaption(field, solverId), "RomFieldCfgSetCaption");
    check(RomFieldCfgSetQuantity(field, quantity), "RomFieldCfgSetQuantity");
    check(RomFieldCfgSetUnit(field, unit), "RomFieldCfgSetUnit");
    check(RomFieldCfgSetEntitiesType(field, type), "RomFieldCfgSetEntitiesType");
    return field;
}

static void addComponent(RomObject* field, const char* solverId) {
    RomObject* component = NULL;
    check(RomFieldCfgAddComponent(field, &component), "RomFieldCfgAddComponent");
    check(RomSetSolverId(component, solverId), "RomSetSolverId");
    check(RomComponentCfgSetCaption(component, solverId), "RomComponentCfgSetCaption");
}

/* 1. The set-up. */
static void describeSetup(void) {
    RomObject *setup = NULL, *mesh = NULL, *nodes = NULL, *elements = NULL, *standard = NULL, *user = NULL;
    RomObject *polygons = NULL, *polyhedrons = NULL, *solid = NULL, *skin = NULL, *field = NULL;

    check(RomFactoryCreateSetupCfg(&setup), "RomFactoryCreateSetupCfg");
    check(RomSetupCfgConfigureMeshData(setup, &mesh), "RomSetupCfgConfigureMeshData");
    check(RomMeshDataCfgSetUnit(mesh, "m"), "RomMeshDataCfgSetUnit");
    check(RomMeshDataCfgConfigureNodeData(mesh, &nodes), "RomMeshDataCfgConfigureNodeData");
    check(RomNodeDataCfgSetCount(nodes, 12), "RomNodeDataCfgSetCount");
    check(RomNodeDataCfgSetDimension(nodes, 3), "RomNodeDataCfgSetDimension");
    check(RomMeshDataCfgConfigureElementData(mesh, &elements), "RomMeshDataCfgConfigureElementData");
    check(RomElementDataCfgConfigureStdElementData(elements, &standard), "ConfigureStdElementData");
    check(RomStdElementDataCfgSetCount(standard, 3), "RomStdElementDataCfgSetCount");
    check(RomStdElementDataCfgSetConnectivityTableSize(standard, 8 + 4 + 3), "SetConnectivityTableSize");
    check(RomElementDataCfgConfigureUserElementData(elements, &user), "ConfigureUserElementData");
    check(RomUserElementDataCfgConfigurePolygonData(user, &polygons), "ConfigurePolygonData");
    check(RomPolygonDataCfgSetCount(polygons, 1), "RomPolygonDataCfgSetCount");
    check(RomPolygonDataCfgSetConnectivityTableSize(polygons, 1 + 4), "SetConnectivityTableSize");
    check(RomUserElementDataCfgConfigurePolyhedronData(user, &polyhedrons), "ConfigurePolyhedronData");
    check(RomPolyhedronDataCfgSetCount(polyhedrons, 1), "RomPolyhedronDataCfgSetCount");
    /* F, then per face its node count and nodes: 1 + 5 + (4 + 3 + 3 + 3 + 3). */
    check(RomPolyhedronDataCfgSetConnectivityTableSize(polyhedrons, 1 + 5 + 16), "SetConnectivityTableSize");

    check(RomMeshDataCfgAddRegion(mesh, &solid), "RomMeshDataCfgAddRegion");
    check(RomSetSolverId(solid, "solid"), "RomSetSolverId");
    check(RomRegionCfgSetCaption(solid, "Solid"), "RomRegionCfgSetCaption");
    addSupport(solid, "solid-nodes", 12, NODES);
    addSupport(solid, "solid-cells", 3, CELLS);
    check(RomMeshDataCfgAddRegion(mesh, &skin), "RomMeshDataCfgAddRegion");
    check(RomSetSolverId(skin, "skin"), "RomSetSolverId");
    check(RomRegionCfgSetCaption(skin, "Skin"), "RomRegionCfgSetCaption");
    addSupport(skin, "skin-faces", 2, FACES);

    field = addField(setup, "displacement", "length", "m", NODES);
    addComponent(field, "ux");
    addComponent(field, "uy");
    addComponent(field, "uz");
    check(RomFieldCfgAddSupport(field, "solid-nodes"), "RomFieldCfgAddSupport");
    field = addField(setup, "pressure", "pressure", "Pa", CELLS);
    addComponent(field, "p");
    check(RomFieldCfgAddSupport(field, "solid-cells"), "RomFieldCfgAddSupport");
    check(RomFieldCfgAddSupport(field, "skin-faces"), "RomFieldCfgAddSupport");

    check(RomConfigurationCheck(setup), "RomConfigurationCheck");
    check(RomPersistableSave(setup, path("setup", RomGetConfigurationFileExtension())), "save the setup");
    check(RomSetupCfgSaveMeshConfiguration(setup, path("mesh", RomGetConfigurationFileExtension())),
          "RomSetupCfgSaveMeshConfiguration");
    check(RomSetupCfgSaveSnapshotConfiguration(setup, path("snapshot", RomGetConfigurationFileExtension())),
          "RomSetupCfgSaveSnapshotConfiguration");
    check(RomFactoryRelease(setup), "RomFactoryRelease");
    printf("1. set-up checked and saved, with its mesh and snapshot configurations\n");
}

static void setEntities(RomObject* mesh, const char* solverId, uint32_t count, uint32_t first) {
    RomObject* support = NULL;
    uint32_t i;
    check(RomMeshAddSupport(mesh, solverId, &support), "RomMeshAddSupport");
    for (i = 0; i < count; ++i) check(RomSupportSetEntityId(support, i, first + i), "RomSupportSetEntityId");
}

static void setElement(RomObject* element, uint32_t id, const uint32_t* nodes, uint32_t count) {
    uint32_t i;
    check(RomSupportEntitySetId(element, id), "RomSupportEntitySetId");
    for (i = 0; i < count; ++i) check(RomStdElementSetConnectivity(element, i, nodes[i]), "SetConnectivity");
}

/* 2. The mesh, item by item, each Add checked against the configured sizes. */
static void buildMesh(void) {
    RomObject *mesh = NULL, *item = NULL;
    uint32_t i, f, d;

    check(RomFactoryCreateAndInitMesh(&mesh, path("mesh", RomGetConfigurationFileExtension())),
          "RomFactoryCreateAndInitMesh");
    for (i = 0; i < 12; ++i) {
        check(RomMeshAddNode(mesh, &item), "RomMeshAddNode");
        check(RomSupportEntitySetId(item, 100 + i), "RomSupportEntitySetId");
        for (d = 0; d < 3; ++d) check(RomNodeSetCoordinate(item, d, coordinates[i][d]), "RomNodeSetCoordinate");
    }
    check(RomMeshAddHex8(mesh, &item), "RomMeshAddHex8");
    setElement(item, 1, hex, 8);
    check(RomMeshAddTet4(mesh, &item), "RomMeshAddTet4");
    setElement(item, 2, tet, 4);
    check(RomMeshAddTri3(mesh, &item), "RomMeshAddTri3");
    setElement(item, 3, tri, 3);

    check(RomMeshAddPolygon(mesh, &item), "RomMeshAddPolygon");
    check(RomSupportEntitySetId(item, 4), "RomSupportEntitySetId");
    check(RomPolygonSetNodeCount(item, 4), "RomPolygonSetNodeCount");
    for (i = 0; i < 4; ++i) check(RomPolygonSetConnectivity(item, i, quad[i]), "RomPolygonSetConnectivity");

    check(RomMeshAddPolyhedron(mesh, &item), "RomMeshAddPolyhedron");
    check(RomSupportEntitySetId(item, 5), "RomSupportEntitySetId");
    check(RomPolyhedronSetFaceCount(item, 5), "RomPolyhedronSetFaceCount");
    for (f = 0; f < 5; ++f) {
        check(RomPolyhedronSetNodeCount(item, f, pyramidFaceSizes[f]), "RomPolyhedronSetNodeCount");
        for (i = 0; i < pyramidFaceSizes[f]; ++i)
            check(RomPolyhedronSetConnectivity(item, f, i, pyramidFaces[f][i]), "RomPolyhedronSetConnectivity");
    }

    setEntities(mesh, "solid-nodes", 12, 100);
    setEntities(mesh, "solid-cells", 3, 1);
    setEntities(mesh, "skin-faces", 2, 3);
    check(RomPersistableSave(mesh, path("mesh", RomGetMeshFileExtension())), "save the mesh");
    check(RomFactoryRelease(mesh), "RomFactoryRelease");
    printf("2. mesh of 12 nodes, 3 standard elements, 1 polygon and 1 polyhedron saved\n");
}

/* The value a component takes on an entity in this run. */
static double valueOf(const char* component, uint32_t entity) {
    return (double)(component[strlen(component) - 1]) + 0.001 * entity;
}

static void fill(RomObject* snapshot, const char* component, const char* support, uint32_t count, uint32_t first) {
    RomObject* data = NULL;
    uint32_t i;
    check(RomSnapshotGetComponentData(snapshot, component, support, &data), "RomSnapshotGetComponentData");
    for (i = 0; i < count; ++i)
        check(RomSnapshotComponentDataAddValue(data, first + i, valueOf(component, first + i)), "AddValue");
}

/* 3. and 4. One run: its snapshot, its entry in the cache, and the project. */
static void recordRun(void) {
    RomObject *snapshot = NULL, *cache = NULL, *input = NULL, *output = NULL, *project = NULL;
    uint32_t filled = 0, added = 0;
    const char* snapshotFile = path("run-1", RomGetSnapshotFileExtension());

    check(RomFactoryCreateAndInitSnapshot(&snapshot, path("snapshot", RomGetConfigurationFileExtension())),
          "RomFactoryCreateAndInitSnapshot");
    fill(snapshot, "ux", "solid-nodes", 12, 100);
    fill(snapshot, "uy", "solid-nodes", 12, 100);
    fill(snapshot, "uz", "solid-nodes", 12, 100);
    fill(snapshot, "p", "solid-cells", 3, 1);
    fill(snapshot, "p", "skin-faces", 2, 3);
    check(RomSnapshotIsFilled(snapshot, &filled), "RomSnapshotIsFilled");
    require(filled == 1, "the snapshot is filled");
    check(RomPersistableSave(snapshot, snapshotFile), "save the snapshot");
    check(RomFactoryRelease(snapshot), "RomFactoryRelease");
    printf("3. snapshot of the run filled and saved\n");

    check(RomFactoryCreateSnapshotCache(&cache), "RomFactoryCreateSnapshotCache");
    check(RomFactoryCreateUserPoint(&input), "RomFactoryCreateUserPoint");
    check(RomFactoryCreateUserPoint(&output), "RomFactoryCreateUserPoint");
    check(RomPointSetValue(input, "load", 1500.0), "RomPointSetValue");
    check(RomPointSetValue(output, "max-displacement", 0.0123), "RomPointSetValue");
    check(RomSnapshotCachePush(cache, input, output, snapshotFile, &added), "RomSnapshotCachePush");
    require(added == 1, "the run is added to the cache");
    check(RomPersistableSave(cache, path("runs", RomGetSnapshotCacheFileExtension())), "save the cache");
    check(RomFactoryCreateProject(&project), "RomFactoryCreateProject");
    check(RomPersistableSave(project, path("project", RomGetProjectFileExtension())), "save the project");
    check(RomFactoryRelease(project), "RomFactoryRelease");
    check(RomFactoryRelease(output), "RomFactoryRelease");
    check(RomFactoryRelease(input), "RomFactoryRelease");
    check(RomFactoryRelease(cache), "RomFactoryRelease");
    printf("4. run pushed into the snapshot cache; cache and project saved\n");
}

static void compareTable(const int32_t* table, const uint32_t* expected, uint32_t count, const char* what) {
    uint32_t i;
    for (i = 0; i < count; ++i) require(table[i] == (int32_t)expected[i], what);
}

/* 5. Everything read back. */
static void resumeAll(void) {
    RomObject *setup = NULL, *meshData = NULL, *nodes = NULL, *elementData = NULL, *standard = NULL;
    RomObject *support = NULL, *snapshot = NULL, *data = NULL, *cache = NULL, *query = NULL, *entry = NULL;
    RomObject *project = NULL, *user = NULL, *polygons = NULL;
    double* xyz = NULL;
    int32_t *ids = NULL, *types = NULL, *connectivity = NULL, *entities = NULL;
    uint32_t filled = 0, id = 0, i;
    double value = 0.0;
    const char* file = NULL;

    check(RomFactoryCreateSetupCfg(&setup), "RomFactoryCreateSetupCfg");
    check(RomPersistableResume(setup, path("setup", RomGetConfigurationFileExtension())), "resume the setup");
    check(RomConfigurationCheck(setup), "RomConfigurationCheck");

    check(RomFactoryCreateMeshData(&meshData), "RomFactoryCreateMeshData");
    check(RomPersistableResume(meshData, path("mesh", RomGetMeshFileExtension())), "resume the mesh");
    check(RomMeshDataGetNodeData(meshData, &nodes), "RomMeshDataGetNodeData");
    check(RomNodeDataGetCoordinateTable(nodes, &xyz), "RomNodeDataGetCoordinateTable");
    check(RomNodeDataGetIds(nodes, &ids), "RomNodeDataGetIds");
    for (i = 0; i < 12; ++i) {
        require(ids[i] == (int32_t)(100 + i), "node ids");
        require(memcmp(&xyz[3 * i], coordinates[i], sizeof coordinates[i]) == 0, "node coordinates");
    }
    check(RomMeshDataGetElementData(meshData, &elementData), "RomMeshDataGetElementData");
    check(RomElementDataGetStdElementData(elementData, &standard), "RomElementDataGetStdElementData");
    check(RomStdElementDataGetTypes(standard, &types), "RomStdElementDataGetTypes");
    check(RomStdElementDataGetConnectivityTable(standard, &connectivity), "GetConnectivityTable");
    require(types[0] == RomElementTypeHex8 && types[1] == RomElementTypeTet4 && types[2] == RomElementTypeTri3,
            "element types Hex8, Tet4, Tri3");
    compareTable(connectivity, hex, 8, "Hex8 connectivity");
    compareTable(connectivity + 8, tet, 4, "Tet4 connectivity");
    compareTable(connectivity + 12, tri, 3, "Tri3 connectivity");
    check(RomElementDataGetUserElementData(elementData, &user), "RomElementDataGetUserElementData");
    check(RomUserElementDataGetPolygonData(user, &polygons), "RomUserElementDataGetPolygonData");
    check(RomPolygonDataGetConnectivityTable(polygons, &connectivity), "RomPolygonDataGetConnectivityTable");
    require(connectivity[0] == 4, "polygon node count");
    compareTable(connectivity + 1, quad, 4, "polygon connectivity");
    check(RomMeshDataGetSupportData(meshData, "skin-faces", &support), "RomMeshDataGetSupportData");
    check(RomSupportDataGetEntities(support, &entities), "RomSupportDataGetEntities");
    require(entities[0] == 3 && entities[1] == 4, "support entities");

    check(RomFactoryCreateSnapshot(&snapshot), "RomFactoryCreateSnapshot");
    check(RomPersistableResume(snapshot, path("run-1", RomGetSnapshotFileExtension())), "resume the snapshot");
    check(RomSnapshotIsFilled(snapshot, &filled), "RomSnapshotIsFilled");
    require(filled == 1, "the resumed snapshot is filled");
    check(RomSnapshotGetComponentData(snapshot, "uz", "solid-nodes", &data), "RomSnapshotGetComponentData");
    check(RomSnapshotComponentDataGetValue(data, 11, &id, &value), "RomSnapshotComponentDataGetValue");
    require(id == 111 && value == valueOf("uz", 111), "snapshot value");

    check(RomFactoryCreateSnapshotCache(&cache), "RomFactoryCreateSnapshotCache");
    check(RomPersistableResume(cache, path("runs", RomGetSnapshotCacheFileExtension())), "resume the cache");
    check(RomFactoryCreateUserPoint(&query), "RomFactoryCreateUserPoint");
    check(RomPointSetValue(query, "load", 1500.0), "RomPointSetValue");
    check(RomSnapshotCachePull(cache, query, &entry), "RomSnapshotCachePull");
    require(entry != NULL, "the cache finds the run");
    check(RomSnasphotCacheEntryGetSnapshotFile(entry, &file), "RomSnasphotCacheEntryGetSnapshotFile");
    require(strcmp(file, path("run-1", RomGetSnapshotFileExtension())) == 0, "the cache names the snapshot");

    check(RomFactoryCreateProject(&project), "RomFactoryCreateProject");
    check(RomPersistableResume(project, path("project", RomGetProjectFileExtension())), "resume the project");

    check(RomFactoryRelease(project), "RomFactoryRelease");
    check(RomFactoryRelease(query), "RomFactoryRelease");
    check(RomFactoryRelease(cache), "RomFactoryRelease");
    check(RomFactoryRelease(snapshot), "RomFactoryRelease");
    check(RomFactoryRelease(meshData), "RomFactoryRelease");
    check(RomFactoryRelease(setup), "RomFactoryRelease");
    printf("5. every file resumed: tables equal, snapshot filled, the cache finds the run\n");
}

int main(int argc, char** argv) {
    if (argc > 1) snprintf(folder, sizeof folder, "%s", argv[1]);
    describeSetup();
    buildMesh();
    recordRun();
    resumeAll();
    return 0;
}
