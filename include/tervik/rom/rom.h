/*
 * The exported functions of the library. Compiles as C99 and as C++.
 *
 * Every object is an opaque RomObject handle. Functions that can fail return a
 * RomExceptionHandle: null means success; otherwise read the text with
 * RomGetExceptionDescription and free it with RomReleaseException. Out-parameters
 * are written only on success. Flags are 32-bit values 0 or 1.
 */
#ifndef TERVIK_ROM_ROM_H
#define TERVIK_ROM_ROM_H

#include <stdbool.h>
#include <stdint.h>

#include <tervik/rom/element_kinds.h>

#if defined(__GNUC__)
#define TERVIK_ROM_API __attribute__((visibility("default")))
#else
#define TERVIK_ROM_API
#endif

#ifdef __cplusplus
// clang-format off
namespace Tervik { namespace Rom { namespace Common { class IRomObject; } } }
// clang-format on
typedef Tervik::Rom::Common::IRomObject RomObject;
extern "C" {
#else
typedef struct RomObject RomObject;
#endif

typedef struct RomExceptionRecord* RomExceptionHandle;

/* Exception handles */
TERVIK_ROM_API const char* RomGetExceptionDescription(RomExceptionHandle exception);
TERVIK_ROM_API void RomReleaseException(RomExceptionHandle exception);

/* Factory */
/* A mesh builder initialised from the mesh data configuration file. */
TERVIK_ROM_API RomExceptionHandle RomFactoryCreateAndInitMesh(RomObject** out, const char* configurationFile);
TERVIK_ROM_API RomExceptionHandle RomFactoryCreateMeshData(RomObject** out);
/* A mesh data initialised from the mesh data configuration file. */
TERVIK_ROM_API RomExceptionHandle RomFactoryCreateAndInitMeshData(RomObject** out, const char* configurationFile);
TERVIK_ROM_API RomExceptionHandle RomFactoryCreateMeshDataCfg(RomObject** out);
TERVIK_ROM_API RomExceptionHandle RomFactoryCreateProject(RomObject** out);
TERVIK_ROM_API RomExceptionHandle RomFactoryCreateSetupCfg(RomObject** out);
TERVIK_ROM_API RomExceptionHandle RomFactoryCreateSnapshotCache(RomObject** out);
TERVIK_ROM_API RomExceptionHandle RomFactoryCreateSnapshot(RomObject** out);
/* A snapshot initialised from the snapshot configuration file. */
TERVIK_ROM_API RomExceptionHandle RomFactoryCreateAndInitSnapshot(RomObject** out, const char* configurationFile);
TERVIK_ROM_API RomExceptionHandle RomFactoryCreateSnapshotCfg(RomObject** out);
TERVIK_ROM_API RomExceptionHandle RomFactoryCreateUserPoint(RomObject** out);
/* Releases an object created by a RomFactoryCreate function; null is accepted. */
TERVIK_ROM_API RomExceptionHandle RomFactoryRelease(RomObject* object);

/* File extensions, without the dot */
TERVIK_ROM_API const char* RomGetConfigurationFileExtension(void);
TERVIK_ROM_API const char* RomGetMeshFileExtension(void);
TERVIK_ROM_API const char* RomGetProjectFileExtension(void);
TERVIK_ROM_API const char* RomGetRomFileExtension(void);
TERVIK_ROM_API const char* RomGetSnapshotFileExtension(void);
TERVIK_ROM_API const char* RomGetSnapshotCacheFileExtension(void);

/* Solver ids; the string getters return "" for a bad handle */
TERVIK_ROM_API const char* RomGetSolverId(RomObject* object);
TERVIK_ROM_API RomExceptionHandle RomSetSolverId(RomObject* object, const char* solverId);
TERVIK_ROM_API const char* RomSolverIdentifierGetId(RomObject* object);

/* Containers; RomContainerIndexOf gives 0xFFFFFFFF for an object that is not a member */
TERVIK_ROM_API RomExceptionHandle RomContainerGetCount(RomObject* container, uint32_t* count);
TERVIK_ROM_API RomExceptionHandle RomContainerGetObject(RomObject* container, uint32_t index, RomObject** out);
TERVIK_ROM_API RomExceptionHandle RomContainerIndexOf(RomObject* container, RomObject* object, uint32_t* index);

/* Persistence */
TERVIK_ROM_API RomExceptionHandle RomPersistableResume(RomObject* object, const char* file);
TERVIK_ROM_API RomExceptionHandle RomPersistableSave(RomObject* object, const char* file);

/*
 * Configurations. Handles reached through a configuration belong to it. String getters
 * write a pointer into the object, valid until it changes or is released. The TryGet
 * functions return whether the part exists and write its handle, or null.
 */
/* Null when the configuration is consistent, otherwise its first inconsistency. */
TERVIK_ROM_API RomExceptionHandle RomConfigurationCheck(RomObject* configuration);

/* Supports */
TERVIK_ROM_API RomExceptionHandle RomSupportCfgGetEntityCount(RomObject* support, uint32_t* count);
TERVIK_ROM_API RomExceptionHandle RomSupportCfgSetEntityCount(RomObject* support, uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomSupportCfgGetEntitiesType(RomObject* support, int32_t* type);
TERVIK_ROM_API RomExceptionHandle RomSupportCfgSetEntitiesType(RomObject* support, int32_t type);

/* Regions */
TERVIK_ROM_API RomExceptionHandle RomRegionCfgAddSupport(RomObject* region, RomObject** support);
TERVIK_ROM_API RomExceptionHandle RomRegionCfgGetCaption(RomObject* region, const char** caption);
TERVIK_ROM_API RomExceptionHandle RomRegionCfgSetCaption(RomObject* region, const char* caption);
TERVIK_ROM_API RomExceptionHandle RomRegionCfgGetParentRegion(RomObject* region, const char** parent);
TERVIK_ROM_API RomExceptionHandle RomRegionCfgSetParentRegion(RomObject* region, const char* parent);
TERVIK_ROM_API RomExceptionHandle RomRegionCfgGetSupportCfgs(RomObject* region, RomObject** supports);

/* Mesh data configuration */
TERVIK_ROM_API RomExceptionHandle RomMeshDataCfgAddRegion(RomObject* meshData, RomObject** region);
TERVIK_ROM_API RomExceptionHandle RomMeshDataCfgConfigureNodeData(RomObject* meshData, RomObject** nodeData);
TERVIK_ROM_API RomExceptionHandle RomMeshDataCfgConfigureElementData(RomObject* meshData, RomObject** elementData);
TERVIK_ROM_API RomExceptionHandle RomMeshDataCfgGetNodeDataCfg(RomObject* meshData, RomObject** nodeData);
TERVIK_ROM_API RomExceptionHandle RomMeshDataCfgGetElementDataCfg(RomObject* meshData, RomObject** elementData);
TERVIK_ROM_API RomExceptionHandle RomMeshDataCfgGetRegionCfgs(RomObject* meshData, RomObject** regions);
TERVIK_ROM_API RomExceptionHandle RomMeshDataCfgGetSupportCfg(RomObject* meshData, const char* solverId,
                                                              RomObject** support);
TERVIK_ROM_API RomExceptionHandle RomMeshDataCfgGetSupportCfgs(RomObject* meshData, RomObject** supports);
TERVIK_ROM_API RomExceptionHandle RomMeshDataCfgGetUnit(RomObject* meshData, const char** unit);
TERVIK_ROM_API RomExceptionHandle RomMeshDataCfgSetUnit(RomObject* meshData, const char* unit);

/* Node data configuration */
TERVIK_ROM_API RomExceptionHandle RomNodeDataCfgGetCount(RomObject* nodeData, uint32_t* count);
TERVIK_ROM_API RomExceptionHandle RomNodeDataCfgSetCount(RomObject* nodeData, uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomNodeDataCfgGetDimension(RomObject* nodeData, int32_t* dimension);
TERVIK_ROM_API RomExceptionHandle RomNodeDataCfgSetDimension(RomObject* nodeData, int32_t dimension);
/* count x dimension, modulo 2^32 */
TERVIK_ROM_API RomExceptionHandle RomNodeDataCfgGetCoordinateTableSize(RomObject* nodeData, uint32_t* size);

/* Standard element, polygon and polyhedron data configurations */
TERVIK_ROM_API RomExceptionHandle RomStdElementDataCfgGetCount(RomObject* cfg, uint32_t* count);
TERVIK_ROM_API RomExceptionHandle RomStdElementDataCfgSetCount(RomObject* cfg, uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomStdElementDataCfgGetConnectivityTableSize(RomObject* cfg, uint32_t* size);
TERVIK_ROM_API RomExceptionHandle RomStdElementDataCfgSetConnectivityTableSize(RomObject* cfg, uint32_t size);
TERVIK_ROM_API RomExceptionHandle RomPolygonDataCfgGetCount(RomObject* cfg, uint32_t* count);
TERVIK_ROM_API RomExceptionHandle RomPolygonDataCfgSetCount(RomObject* cfg, uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomPolygonDataCfgGetConnectivityTableSize(RomObject* cfg, uint32_t* size);
TERVIK_ROM_API RomExceptionHandle RomPolygonDataCfgSetConnectivityTableSize(RomObject* cfg, uint32_t size);
TERVIK_ROM_API RomExceptionHandle RomPolyhedronDataCfgGetCount(RomObject* cfg, uint32_t* count);
TERVIK_ROM_API RomExceptionHandle RomPolyhedronDataCfgSetCount(RomObject* cfg, uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomPolyhedronDataCfgGetConnectivityTableSize(RomObject* cfg, uint32_t* size);
TERVIK_ROM_API RomExceptionHandle RomPolyhedronDataCfgSetConnectivityTableSize(RomObject* cfg, uint32_t size);

/* Element data and user element data configurations */
TERVIK_ROM_API RomExceptionHandle RomElementDataCfgConfigureStdElementData(RomObject* elementData, RomObject** cfg);
TERVIK_ROM_API RomExceptionHandle RomElementDataCfgConfigureUserElementData(RomObject* elementData, RomObject** cfg);
TERVIK_ROM_API bool RomElementDataCfgTryGetStdElementDataCfg(RomObject* elementData, RomObject** cfg);
TERVIK_ROM_API bool RomElementDataCfgTryGetUserElementDataCfg(RomObject* elementData, RomObject** cfg);
TERVIK_ROM_API RomExceptionHandle RomUserElementDataCfgConfigurePolygonData(RomObject* userElementData,
                                                                            RomObject** cfg);
TERVIK_ROM_API RomExceptionHandle RomUserElementDataCfgConfigurePolyhedronData(RomObject* userElementData,
                                                                               RomObject** cfg);
TERVIK_ROM_API bool RomUserElementDataCfgTryGetPolygonDataCfg(RomObject* userElementData, RomObject** cfg);
TERVIK_ROM_API bool RomUserElementDataCfgTryGetPolyhedronDataCfg(RomObject* userElementData, RomObject** cfg);

/* Setup configuration */
TERVIK_ROM_API RomExceptionHandle RomSetupCfgAddField(RomObject* setup, RomObject** field);
TERVIK_ROM_API RomExceptionHandle RomSetupCfgConfigureMeshData(RomObject* setup, RomObject** meshData);
TERVIK_ROM_API RomExceptionHandle RomSetupCfgGetFields(RomObject* setup, RomObject** fields);
TERVIK_ROM_API RomExceptionHandle RomSetupCfgGetMeshData(RomObject* setup, RomObject** meshData);
TERVIK_ROM_API RomExceptionHandle RomSetupCfgSaveSnapshotConfiguration(RomObject* setup, const char* path);
TERVIK_ROM_API RomExceptionHandle RomSetupCfgSaveMeshConfiguration(RomObject* setup, const char* path);

/* Fields */
TERVIK_ROM_API RomExceptionHandle RomFieldCfgAddComponent(RomObject* field, RomObject** component);
TERVIK_ROM_API RomExceptionHandle RomFieldCfgAddSupport(RomObject* field, const char* solverId);
TERVIK_ROM_API RomExceptionHandle RomFieldCfgGetCaption(RomObject* field, const char** caption);
TERVIK_ROM_API RomExceptionHandle RomFieldCfgGetComponentCfgs(RomObject* field, RomObject** components);
TERVIK_ROM_API RomExceptionHandle RomFieldCfgGetEntitiesType(RomObject* field, int32_t* type);
TERVIK_ROM_API RomExceptionHandle RomFieldCfgGetQuantity(RomObject* field, const char** quantity);
TERVIK_ROM_API RomExceptionHandle RomFieldCfgGetSupportCfgIds(RomObject* field, RomObject** supportIds);
TERVIK_ROM_API RomExceptionHandle RomFieldCfgGetUnit(RomObject* field, const char** unit);
TERVIK_ROM_API RomExceptionHandle RomFieldCfgSetCaption(RomObject* field, const char* caption);
TERVIK_ROM_API RomExceptionHandle RomFieldCfgSetEntitiesType(RomObject* field, int32_t type);
TERVIK_ROM_API RomExceptionHandle RomFieldCfgSetQuantity(RomObject* field, const char* quantity);
TERVIK_ROM_API RomExceptionHandle RomFieldCfgSetUnit(RomObject* field, const char* unit);

/* Components */
TERVIK_ROM_API RomExceptionHandle RomComponentCfgGetCaption(RomObject* component, const char** caption);
TERVIK_ROM_API RomExceptionHandle RomComponentCfgSetCaption(RomObject* component, const char* caption);

/* Snapshot configuration */
TERVIK_ROM_API RomExceptionHandle RomSnapshotCfgAddComponent(RomObject* snapshot, RomObject** component);
TERVIK_ROM_API RomExceptionHandle RomSnapshotCfgAddComponentToSupport(RomObject* snapshot, RomObject* component,
                                                                      RomObject* support);
TERVIK_ROM_API RomExceptionHandle RomSnapshotCfgAddSupport(RomObject* snapshot, RomObject** support);
TERVIK_ROM_API RomExceptionHandle RomSnapshotCfgGetComponentCfgs(RomObject* snapshot, RomObject** components);
TERVIK_ROM_API RomExceptionHandle RomSnapshotCfgGetSupportCfgs(RomObject* snapshot, RomObject** supports);
TERVIK_ROM_API RomExceptionHandle RomSnapshotCfgGetComponentsOfSupport(RomObject* snapshot, RomObject* support,
                                                                       RomObject** components);

/*
 * Mesh builder. Each Add writes the accessor of the item just added to its out-argument;
 * every Add of one kind hands out the same accessor, re-pointed at the newest item. There
 * is one RomMeshAdd<name>(mesh, element) per kind of element_kinds.h, in its order.
 */
TERVIK_ROM_API RomExceptionHandle RomMeshAddNode(RomObject* mesh, RomObject** node);
TERVIK_ROM_API RomExceptionHandle RomMeshAddPoint0(RomObject* mesh, RomObject** element);
TERVIK_ROM_API RomExceptionHandle RomMeshAddLine2(RomObject* mesh, RomObject** element);
TERVIK_ROM_API RomExceptionHandle RomMeshAddLine3(RomObject* mesh, RomObject** element);
TERVIK_ROM_API RomExceptionHandle RomMeshAddBeam3(RomObject* mesh, RomObject** element);
TERVIK_ROM_API RomExceptionHandle RomMeshAddBeam4(RomObject* mesh, RomObject** element);
TERVIK_ROM_API RomExceptionHandle RomMeshAddTri3(RomObject* mesh, RomObject** element);
TERVIK_ROM_API RomExceptionHandle RomMeshAddTri6(RomObject* mesh, RomObject** element);
TERVIK_ROM_API RomExceptionHandle RomMeshAddQuad4(RomObject* mesh, RomObject** element);
TERVIK_ROM_API RomExceptionHandle RomMeshAddQuad8(RomObject* mesh, RomObject** element);
TERVIK_ROM_API RomExceptionHandle RomMeshAddTet4(RomObject* mesh, RomObject** element);
TERVIK_ROM_API RomExceptionHandle RomMeshAddTet10(RomObject* mesh, RomObject** element);
TERVIK_ROM_API RomExceptionHandle RomMeshAddHex8(RomObject* mesh, RomObject** element);
TERVIK_ROM_API RomExceptionHandle RomMeshAddHex20(RomObject* mesh, RomObject** element);
TERVIK_ROM_API RomExceptionHandle RomMeshAddWedge6(RomObject* mesh, RomObject** element);
TERVIK_ROM_API RomExceptionHandle RomMeshAddWedge15(RomObject* mesh, RomObject** element);
TERVIK_ROM_API RomExceptionHandle RomMeshAddPyramid5(RomObject* mesh, RomObject** element);
TERVIK_ROM_API RomExceptionHandle RomMeshAddPyramid13(RomObject* mesh, RomObject** element);
TERVIK_ROM_API RomExceptionHandle RomMeshAddPolygon(RomObject* mesh, RomObject** polygon);
TERVIK_ROM_API RomExceptionHandle RomMeshAddPolyhedron(RomObject* mesh, RomObject** polyhedron);
TERVIK_ROM_API RomExceptionHandle RomMeshAddSupport(RomObject* mesh, const char* solverId, RomObject** support);
/* Accessors; indices are read as signed 32-bit values where the builder compares them so. */
TERVIK_ROM_API RomExceptionHandle RomSupportEntitySetId(RomObject* entity, uint32_t id);
TERVIK_ROM_API RomExceptionHandle RomNodeSetCoordinate(RomObject* node, uint32_t dimensionIndex, double value);
TERVIK_ROM_API RomExceptionHandle RomStdElementSetConnectivity(RomObject* element, uint32_t nodeIndex, uint32_t node);
TERVIK_ROM_API RomExceptionHandle RomPolygonSetNodeCount(RomObject* polygon, uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomPolygonSetConnectivity(RomObject* polygon, uint32_t nodeIndex, uint32_t node);
TERVIK_ROM_API RomExceptionHandle RomPolyhedronSetFaceCount(RomObject* polyhedron, uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomPolyhedronSetNodeCount(RomObject* polyhedron, uint32_t faceIndex, uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomPolyhedronSetConnectivity(RomObject* polyhedron, uint32_t faceIndex,
                                                               uint32_t nodeIndex, uint32_t node);
TERVIK_ROM_API RomExceptionHandle RomSupportSetEntityId(RomObject* support, uint32_t entityIndex, uint32_t id);

/*
 * Mesh tables. Copy writes count values from data into the table at offset (0 and 0
 * copy the whole table); Get writes a pointer to the live table; Set borrows the
 * caller's array, which must hold the configured size and outlive the table.
 */
/* Node data */
TERVIK_ROM_API RomExceptionHandle RomNodeDataCopyCoordinateTable(RomObject* nodeData, const double* data,
                                                                 uint32_t offset, uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomNodeDataCopyIds(RomObject* nodeData, const int32_t* data, uint32_t offset,
                                                     uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomNodeDataGetCoordinateTable(RomObject* nodeData, double** table);
TERVIK_ROM_API RomExceptionHandle RomNodeDataGetIds(RomObject* nodeData, int32_t** table);
TERVIK_ROM_API RomExceptionHandle RomNodeDataSetCoordinateTable(RomObject* nodeData, double* data);
TERVIK_ROM_API RomExceptionHandle RomNodeDataSetIds(RomObject* nodeData, int32_t* data);

/* Standard element data */
TERVIK_ROM_API RomExceptionHandle RomStdElementDataCopyConnectivityTable(RomObject* elements, const int32_t* data,
                                                                         uint32_t offset, uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomStdElementDataCopyIds(RomObject* elements, const int32_t* data, uint32_t offset,
                                                           uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomStdElementDataCopyTypes(RomObject* elements, const int32_t* data, uint32_t offset,
                                                             uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomStdElementDataGetConnectivityTable(RomObject* elements, int32_t** table);
TERVIK_ROM_API RomExceptionHandle RomStdElementDataGetIds(RomObject* elements, int32_t** table);
TERVIK_ROM_API RomExceptionHandle RomStdElementDataGetTypes(RomObject* elements, int32_t** table);
TERVIK_ROM_API RomExceptionHandle RomStdElementDataSetConnectivityTable(RomObject* elements, int32_t* data);
TERVIK_ROM_API RomExceptionHandle RomStdElementDataSetIds(RomObject* elements, int32_t* data);
TERVIK_ROM_API RomExceptionHandle RomStdElementDataSetTypes(RomObject* elements, int32_t* data);

/* Polygon and polyhedron data */
TERVIK_ROM_API RomExceptionHandle RomPolygonDataCopyConnectivityTable(RomObject* polygons, const int32_t* data,
                                                                      uint32_t offset, uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomPolygonDataCopyIds(RomObject* polygons, const int32_t* data, uint32_t offset,
                                                        uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomPolygonDataGetConnectivityTable(RomObject* polygons, int32_t** table);
TERVIK_ROM_API RomExceptionHandle RomPolygonDataGetIds(RomObject* polygons, int32_t** table);
TERVIK_ROM_API RomExceptionHandle RomPolygonDataSetConnectivityTable(RomObject* polygons, int32_t* data);
TERVIK_ROM_API RomExceptionHandle RomPolygonDataSetIds(RomObject* polygons, int32_t* data);
TERVIK_ROM_API RomExceptionHandle RomPolyhedronDataCopyConnectivityTable(RomObject* polyhedrons, const int32_t* data,
                                                                         uint32_t offset, uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomPolyhedronDataCopyIds(RomObject* polyhedrons, const int32_t* data, uint32_t offset,
                                                           uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomPolyhedronDataGetConnectivityTable(RomObject* polyhedrons, int32_t** table);
TERVIK_ROM_API RomExceptionHandle RomPolyhedronDataGetIds(RomObject* polyhedrons, int32_t** table);
TERVIK_ROM_API RomExceptionHandle RomPolyhedronDataSetConnectivityTable(RomObject* polyhedrons, int32_t* data);
TERVIK_ROM_API RomExceptionHandle RomPolyhedronDataSetIds(RomObject* polyhedrons, int32_t* data);

/* User element data and element data */
TERVIK_ROM_API RomExceptionHandle RomUserElementDataGetPolygonData(RomObject* userElements, RomObject** polygons);
TERVIK_ROM_API RomExceptionHandle RomUserElementDataGetMutablePolygonData(RomObject* userElements,
                                                                          RomObject** polygons);
TERVIK_ROM_API RomExceptionHandle RomUserElementDataGetPolyhedronData(RomObject* userElements, RomObject** polyhedrons);
TERVIK_ROM_API RomExceptionHandle RomUserElementDataGetMutablePolyhedronData(RomObject* userElements,
                                                                             RomObject** polyhedrons);
TERVIK_ROM_API RomExceptionHandle RomElementDataGetStdElementData(RomObject* elementData, RomObject** elements);
TERVIK_ROM_API RomExceptionHandle RomElementDataGetMutableStdElementData(RomObject* elementData, RomObject** elements);
TERVIK_ROM_API RomExceptionHandle RomElementDataGetUserElementData(RomObject* elementData, RomObject** userElements);
TERVIK_ROM_API RomExceptionHandle RomElementDataGetMutableUserElementData(RomObject* elementData,
                                                                          RomObject** userElements);

/* Support data */
TERVIK_ROM_API RomExceptionHandle RomSupportDataCopyEntities(RomObject* support, const int32_t* data, uint32_t offset,
                                                             uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomSupportDataGetEntities(RomObject* support, int32_t** table);
TERVIK_ROM_API RomExceptionHandle RomSupportDataSetEntities(RomObject* support, int32_t* data);

/* Mesh data */
TERVIK_ROM_API RomExceptionHandle RomMeshDataInitialize(RomObject* meshData, RomObject* configuration);
TERVIK_ROM_API RomExceptionHandle RomMeshDataGetConfiguration(RomObject* meshData, RomObject** configuration);
TERVIK_ROM_API RomExceptionHandle RomMeshDataGetElementData(RomObject* meshData, RomObject** elementData);
TERVIK_ROM_API RomExceptionHandle RomMeshDataGetMutableElementData(RomObject* meshData, RomObject** elementData);
TERVIK_ROM_API RomExceptionHandle RomMeshDataGetNodeData(RomObject* meshData, RomObject** nodeData);
TERVIK_ROM_API RomExceptionHandle RomMeshDataGetMutableNodeData(RomObject* meshData, RomObject** nodeData);
TERVIK_ROM_API RomExceptionHandle RomMeshDataGetSupportDatas(RomObject* meshData, RomObject** supportDatas);
TERVIK_ROM_API RomExceptionHandle RomMeshDataGetSupportData(RomObject* meshData, const char* solverId,
                                                            RomObject** support);
TERVIK_ROM_API RomExceptionHandle RomMeshDataGetMutableSupportData(RomObject* meshData, const char* solverId,
                                                                   RomObject** support);

/* Points */
TERVIK_ROM_API RomExceptionHandle RomPointClear(RomObject* point);
TERVIK_ROM_API RomExceptionHandle RomPointCopyTo(RomObject* point, RomObject* target);
TERVIK_ROM_API RomExceptionHandle RomPointEquals(RomObject* point, RomObject* other, uint32_t* equal);
TERVIK_ROM_API RomExceptionHandle RomPointGetValue(RomObject* point, const char* name, double* value);
TERVIK_ROM_API RomExceptionHandle RomPointHasValue(RomObject* point, const char* name, uint32_t* has);
TERVIK_ROM_API RomExceptionHandle RomPointSetValue(RomObject* point, const char* name, double value);
/* Returns 1 and writes *value when the parameter exists; 0 otherwise (also for bad arguments). */
TERVIK_ROM_API uint32_t RomPointTryGetValue(RomObject* point, const char* name, double* value);

/*
 * Snapshots. One component data per (component, support) pair of the configuration,
 * filled one (entity id, value) pair at a time. Component data handles belong to the
 * snapshot and stay valid until it is initialised again or released.
 */
TERVIK_ROM_API RomExceptionHandle RomSnapshotInitialize(RomObject* snapshot, RomObject* configuration);
TERVIK_ROM_API RomExceptionHandle RomSnapshotIsInitialized(RomObject* snapshot, uint32_t* initialized);
TERVIK_ROM_API RomExceptionHandle RomSnapshotIsFilled(RomObject* snapshot, uint32_t* filled);
/* *configuration is null before the snapshot is initialised. */
TERVIK_ROM_API RomExceptionHandle RomSnapshotGetConfiguration(RomObject* snapshot, RomObject** configuration);
TERVIK_ROM_API RomExceptionHandle RomSnapshotGetComponentData(RomObject* snapshot, const char* componentId,
                                                              const char* supportId, RomObject** data);
TERVIK_ROM_API RomExceptionHandle RomSnapshotComponentDataAddValue(RomObject* data, uint32_t id, double value);
/* Adds count pairs at once, as count calls of RomSnapshotComponentDataAddValue would, but all
   or none: when they do not all fit, nothing is added and the text names the first id that
   does not fit. For callers holding whole arrays (numpy, Fortran): one call, no copy kept. */
TERVIK_ROM_API RomExceptionHandle RomSnapshotComponentDataAddValues(RomObject* data, const uint32_t* ids,
                                                                    const double* values, uint32_t count);
TERVIK_ROM_API RomExceptionHandle RomSnapshotComponentDataGetValue(RomObject* data, uint32_t index, uint32_t* id,
                                                                   double* value);
TERVIK_ROM_API RomExceptionHandle RomSnapshotComponentDataGetAssignedEntityValueCount(RomObject* data, uint32_t* count);
TERVIK_ROM_API RomExceptionHandle RomSnapshotComponentDataGetExpectedEntityValueCount(RomObject* data, uint32_t* count);
TERVIK_ROM_API RomExceptionHandle RomSnapshotComponentDataGetComponentId(RomObject* data, const char** id);
TERVIK_ROM_API RomExceptionHandle RomSnapshotComponentDataGetSupportId(RomObject* data, const char** id);
TERVIK_ROM_API RomExceptionHandle RomSnapshotComponentDataGetIdArray(RomObject* data, uint32_t** ids);
TERVIK_ROM_API RomExceptionHandle RomSnapshotComponentDataGetValueArray(RomObject* data, double** values);

/* Snapshot cache */
TERVIK_ROM_API RomExceptionHandle RomSnapshotCacheClear(RomObject* cache);
/* *entry is null when no entry matches. */
TERVIK_ROM_API RomExceptionHandle RomSnapshotCachePull(RomObject* cache, RomObject* input, RomObject** entry);
TERVIK_ROM_API RomExceptionHandle RomSnapshotCachePush(RomObject* cache, RomObject* input, RomObject* output,
                                                       const char* snapshotFile, uint32_t* added);
TERVIK_ROM_API RomExceptionHandle RomSnapshotCacheEntryGetInputPoint(RomObject* entry, RomObject** point);
TERVIK_ROM_API RomExceptionHandle RomSnapshotCacheEntryGetOutputPoint(RomObject* entry, RomObject** point);
TERVIK_ROM_API RomExceptionHandle RomSnasphotCacheEntryGetSnapshotFile(RomObject* entry, const char** file);

/* Project */
TERVIK_ROM_API RomExceptionHandle RomProjectComparison(RomObject* project, RomObject* other, uint32_t* same);

#ifdef __cplusplus
}
#endif

#endif
