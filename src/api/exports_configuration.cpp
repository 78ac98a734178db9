// Exports of the configurations: supports, regions, mesh data, table sizes, setup,
// fields, components and snapshot configuration.
#include <tervik/rom/configuration.hpp>

#include "api/frame.hpp"

using namespace Tervik::Rom::Configuration;
using Tervik::Rom::Api::Frame::As;
using Tervik::Rom::Api::Frame::Run;
using Tervik::Rom::Api::Frame::RunTryGet;
using Tervik::Rom::Api::Frame::Str;

extern "C" {
// One line an export, however long.
// clang-format off

RomExceptionHandle RomConfigurationCheck(RomObject* configuration) { return Run(ROM_CALL(As<IConfiguration>(configuration).Check())); }

RomExceptionHandle RomSupportCfgGetEntityCount(RomObject* support, uint32_t* count) { return Run(count, ROM_CALL(As<ISupportCfg>(support).GetEntityCount())); }
RomExceptionHandle RomSupportCfgSetEntityCount(RomObject* support, uint32_t count) { return Run(ROM_CALL(As<ISupportCfg>(support).SetEntityCount(count))); }
RomExceptionHandle RomSupportCfgGetEntitiesType(RomObject* support, int32_t* type) { return Run(type, ROM_CALL(As<ISupportCfg>(support).GetEntitiesType())); }
RomExceptionHandle RomSupportCfgSetEntitiesType(RomObject* support, int32_t type) { return Run(ROM_CALL(As<ISupportCfg>(support).SetEntitiesType(type))); }

RomExceptionHandle RomRegionCfgAddSupport(RomObject* region, RomObject** support) { return Run(support, ROM_CALL(As<IRegionCfg>(region).AddSupport())); }
RomExceptionHandle RomRegionCfgGetCaption(RomObject* region, const char** caption) { return Run(caption, ROM_CALL(As<IRegionCfg>(region).GetCaption())); }
RomExceptionHandle RomRegionCfgSetCaption(RomObject* region, const char* caption) { return Run(ROM_CALL(As<IRegionCfg>(region).SetCaption(Str(caption)))); }
RomExceptionHandle RomRegionCfgGetParentRegion(RomObject* region, const char** parent) { return Run(parent, ROM_CALL(As<IRegionCfg>(region).GetParentRegion())); }
RomExceptionHandle RomRegionCfgSetParentRegion(RomObject* region, const char* parent) { return Run(ROM_CALL(As<IRegionCfg>(region).SetParentRegion(Str(parent)))); }
RomExceptionHandle RomRegionCfgGetSupportCfgs(RomObject* region, RomObject** supports) { return Run(supports, ROM_CALL(As<IRegionCfg>(region).GetSupportCfgs())); }

RomExceptionHandle RomMeshDataCfgAddRegion(RomObject* meshData, RomObject** region) { return Run(region, ROM_CALL(As<IMeshDataCfg>(meshData).AddRegion())); }
RomExceptionHandle RomMeshDataCfgConfigureNodeData(RomObject* meshData, RomObject** nodeData) { return Run(nodeData, ROM_CALL(As<IMeshDataCfg>(meshData).ConfigureNodeData())); }
RomExceptionHandle RomMeshDataCfgConfigureElementData(RomObject* meshData, RomObject** elementData) { return Run(elementData, ROM_CALL(As<IMeshDataCfg>(meshData).ConfigureElementData())); }
RomExceptionHandle RomMeshDataCfgGetNodeDataCfg(RomObject* meshData, RomObject** nodeData) { return Run(nodeData, ROM_CALL(As<IMeshDataCfg>(meshData).GetNodeDataCfg())); }
RomExceptionHandle RomMeshDataCfgGetElementDataCfg(RomObject* meshData, RomObject** elementData) { return Run(elementData, ROM_CALL(As<IMeshDataCfg>(meshData).GetElementDataCfg())); }
RomExceptionHandle RomMeshDataCfgGetRegionCfgs(RomObject* meshData, RomObject** regions) { return Run(regions, ROM_CALL(As<IMeshDataCfg>(meshData).GetRegionCfgs())); }
RomExceptionHandle RomMeshDataCfgGetSupportCfg(RomObject* meshData, const char* solverId, RomObject** support) { return Run(support, ROM_CALL(As<IMeshDataCfg>(meshData).GetSupportCfg(Str(solverId)))); }
RomExceptionHandle RomMeshDataCfgGetSupportCfgs(RomObject* meshData, RomObject** supports) { return Run(supports, ROM_CALL(As<IMeshDataCfg>(meshData).GetSupportCfgs())); }
RomExceptionHandle RomMeshDataCfgGetUnit(RomObject* meshData, const char** unit) { return Run(unit, ROM_CALL(As<IMeshDataCfg>(meshData).GetUnit())); }
RomExceptionHandle RomMeshDataCfgSetUnit(RomObject* meshData, const char* unit) { return Run(ROM_CALL(As<IMeshDataCfg>(meshData).SetUnit(Str(unit)))); }

RomExceptionHandle RomNodeDataCfgGetCount(RomObject* nodeData, uint32_t* count) { return Run(count, ROM_CALL(As<INodeDataCfg>(nodeData).GetCount())); }
RomExceptionHandle RomNodeDataCfgSetCount(RomObject* nodeData, uint32_t count) { return Run(ROM_CALL(As<INodeDataCfg>(nodeData).SetCount(count))); }
RomExceptionHandle RomNodeDataCfgGetDimension(RomObject* nodeData, int32_t* dimension) { return Run(dimension, ROM_CALL(As<INodeDataCfg>(nodeData).GetDimension())); }
RomExceptionHandle RomNodeDataCfgSetDimension(RomObject* nodeData, int32_t dimension) { return Run(ROM_CALL(As<INodeDataCfg>(nodeData).SetDimension(dimension))); }
RomExceptionHandle RomNodeDataCfgGetCoordinateTableSize(RomObject* nodeData, uint32_t* size) { return Run(size, ROM_CALL(As<INodeDataCfg>(nodeData).GetCoordinateTableSize())); }

RomExceptionHandle RomStdElementDataCfgGetCount(RomObject* cfg, uint32_t* count) { return Run(count, ROM_CALL(As<IStdElementDataCfg>(cfg).GetCount())); }
RomExceptionHandle RomStdElementDataCfgSetCount(RomObject* cfg, uint32_t count) { return Run(ROM_CALL(As<IStdElementDataCfg>(cfg).SetCount(count))); }
RomExceptionHandle RomStdElementDataCfgGetConnectivityTableSize(RomObject* cfg, uint32_t* size) { return Run(size, ROM_CALL(As<IStdElementDataCfg>(cfg).GetConnectivityTableSize())); }
RomExceptionHandle RomStdElementDataCfgSetConnectivityTableSize(RomObject* cfg, uint32_t size) { return Run(ROM_CALL(As<IStdElementDataCfg>(cfg).SetConnectivityTableSize(size))); }
RomExceptionHandle RomPolygonDataCfgGetCount(RomObject* cfg, uint32_t* count) { return Run(count, ROM_CALL(As<IPolygonDataCfg>(cfg).GetCount())); }
RomExceptionHandle RomPolygonDataCfgSetCount(RomObject* cfg, uint32_t count) { return Run(ROM_CALL(As<IPolygonDataCfg>(cfg).SetCount(count))); }
RomExceptionHandle RomPolygonDataCfgGetConnectivityTableSize(RomObject* cfg, uint32_t* size) { return Run(size, ROM_CALL(As<IPolygonDataCfg>(cfg).GetConnectivityTableSize())); }
RomExceptionHandle RomPolygonDataCfgSetConnectivityTableSize(RomObject* cfg, uint32_t size) { return Run(ROM_CALL(As<IPolygonDataCfg>(cfg).SetConnectivityTableSize(size))); }
RomExceptionHandle RomPolyhedronDataCfgGetCount(RomObject* cfg, uint32_t* count) { return Run(count, ROM_CALL(As<IPolyhedronDataCfg>(cfg).GetCount())); }
RomExceptionHandle RomPolyhedronDataCfgSetCount(RomObject* cfg, uint32_t count) { return Run(ROM_CALL(As<IPolyhedronDataCfg>(cfg).SetCount(count))); }
RomExceptionHandle RomPolyhedronDataCfgGetConnectivityTableSize(RomObject* cfg, uint32_t* size) { return Run(size, ROM_CALL(As<IPolyhedronDataCfg>(cfg).GetConnectivityTableSize())); }
RomExceptionHandle RomPolyhedronDataCfgSetConnectivityTableSize(RomObject* cfg, uint32_t size) { return Run(ROM_CALL(As<IPolyhedronDataCfg>(cfg).SetConnectivityTableSize(size))); }

RomExceptionHandle RomElementDataCfgConfigureStdElementData(RomObject* elementData, RomObject** cfg) { return Run(cfg, ROM_CALL(As<IElementDataCfg>(elementData).ConfigureStdElementData())); }
RomExceptionHandle RomElementDataCfgConfigureUserElementData(RomObject* elementData, RomObject** cfg) { return Run(cfg, ROM_CALL(As<IElementDataCfg>(elementData).ConfigureUserElementData())); }
bool RomElementDataCfgTryGetStdElementDataCfg(RomObject* elementData, RomObject** cfg) { return RunTryGet<IStdElementDataCfg>(cfg, [&](auto& part) { return As<IElementDataCfg>(elementData).TryGetStdElementDataCfg(part); }); }
bool RomElementDataCfgTryGetUserElementDataCfg(RomObject* elementData, RomObject** cfg) { return RunTryGet<IUserElementDataCfg>(cfg, [&](auto& part) { return As<IElementDataCfg>(elementData).TryGetUserElementDataCfg(part); }); }
RomExceptionHandle RomUserElementDataCfgConfigurePolygonData(RomObject* userElementData, RomObject** cfg) { return Run(cfg, ROM_CALL(As<IUserElementDataCfg>(userElementData).ConfigurePolygonData())); }
RomExceptionHandle RomUserElementDataCfgConfigurePolyhedronData(RomObject* userElementData, RomObject** cfg) { return Run(cfg, ROM_CALL(As<IUserElementDataCfg>(userElementData).ConfigurePolyhedronData())); }
bool RomUserElementDataCfgTryGetPolygonDataCfg(RomObject* userElementData, RomObject** cfg) { return RunTryGet<IPolygonDataCfg>(cfg, [&](auto& part) { return As<IUserElementDataCfg>(userElementData).TryGetPolygonDataCfg(part); }); }
bool RomUserElementDataCfgTryGetPolyhedronDataCfg(RomObject* userElementData, RomObject** cfg) { return RunTryGet<IPolyhedronDataCfg>(cfg, [&](auto& part) { return As<IUserElementDataCfg>(userElementData).TryGetPolyhedronDataCfg(part); }); }

RomExceptionHandle RomSetupCfgAddField(RomObject* setup, RomObject** field) { return Run(field, ROM_CALL(As<IRomSetupCfg>(setup).AddField())); }
RomExceptionHandle RomSetupCfgConfigureMeshData(RomObject* setup, RomObject** meshData) { return Run(meshData, ROM_CALL(As<IRomSetupCfg>(setup).ConfigureMeshData())); }
RomExceptionHandle RomSetupCfgGetFields(RomObject* setup, RomObject** fields) { return Run(fields, ROM_CALL(As<IRomSetupCfg>(setup).GetFields())); }
RomExceptionHandle RomSetupCfgGetMeshData(RomObject* setup, RomObject** meshData) { return Run(meshData, ROM_CALL(As<IRomSetupCfg>(setup).GetMeshData())); }
RomExceptionHandle RomSetupCfgSaveSnapshotConfiguration(RomObject* setup, const char* path) { return Run(ROM_CALL(As<IRomSetupCfg>(setup).SaveSnapshotConfiguration(Str(path)))); }
RomExceptionHandle RomSetupCfgSaveMeshConfiguration(RomObject* setup, const char* path) { return Run(ROM_CALL(As<IRomSetupCfg>(setup).SaveMeshConfiguration(Str(path)))); }

RomExceptionHandle RomFieldCfgAddComponent(RomObject* field, RomObject** component) { return Run(component, ROM_CALL(As<IFieldCfg>(field).AddComponent())); }
RomExceptionHandle RomFieldCfgAddSupport(RomObject* field, const char* solverId) { return Run(ROM_CALL(As<IFieldCfg>(field).AddSupport(Str(solverId)))); }
RomExceptionHandle RomFieldCfgGetCaption(RomObject* field, const char** caption) { return Run(caption, ROM_CALL(As<IFieldCfg>(field).GetCaption())); }
RomExceptionHandle RomFieldCfgGetComponentCfgs(RomObject* field, RomObject** components) { return Run(components, ROM_CALL(As<IFieldCfg>(field).GetComponentCfgs())); }
RomExceptionHandle RomFieldCfgGetEntitiesType(RomObject* field, int32_t* type) { return Run(type, ROM_CALL(As<IFieldCfg>(field).GetEntitiesType())); }
RomExceptionHandle RomFieldCfgGetQuantity(RomObject* field, const char** quantity) { return Run(quantity, ROM_CALL(As<IFieldCfg>(field).GetQuantity())); }
RomExceptionHandle RomFieldCfgGetSupportCfgIds(RomObject* field, RomObject** supportIds) { return Run(supportIds, ROM_CALL(As<IFieldCfg>(field).GetSupportCfgIds())); }
RomExceptionHandle RomFieldCfgGetUnit(RomObject* field, const char** unit) { return Run(unit, ROM_CALL(As<IFieldCfg>(field).GetUnit())); }
RomExceptionHandle RomFieldCfgSetCaption(RomObject* field, const char* caption) { return Run(ROM_CALL(As<IFieldCfg>(field).SetCaption(Str(caption)))); }
RomExceptionHandle RomFieldCfgSetEntitiesType(RomObject* field, int32_t type) { return Run(ROM_CALL(As<IFieldCfg>(field).SetEntitiesType(type))); }
RomExceptionHandle RomFieldCfgSetQuantity(RomObject* field, const char* quantity) { return Run(ROM_CALL(As<IFieldCfg>(field).SetQuantity(Str(quantity)))); }
RomExceptionHandle RomFieldCfgSetUnit(RomObject* field, const char* unit) { return Run(ROM_CALL(As<IFieldCfg>(field).SetUnit(Str(unit)))); }

RomExceptionHandle RomComponentCfgGetCaption(RomObject* component, const char** caption) { return Run(caption, ROM_CALL(As<IComponentCfg>(component).GetCaption())); }
RomExceptionHandle RomComponentCfgSetCaption(RomObject* component, const char* caption) { return Run(ROM_CALL(As<IComponentCfg>(component).SetCaption(Str(caption)))); }

RomExceptionHandle RomSnapshotCfgAddComponent(RomObject* snapshot, RomObject** component) { return Run(component, ROM_CALL(As<ISnapshotCfg>(snapshot).AddComponent())); }
RomExceptionHandle RomSnapshotCfgAddComponentToSupport(RomObject* snapshot, RomObject* component, RomObject* support) { return Run(ROM_CALL(As<ISnapshotCfg>(snapshot).AddComponentToSupport(As<IComponentCfg>(component), As<ISupportCfg>(support)))); }
RomExceptionHandle RomSnapshotCfgAddSupport(RomObject* snapshot, RomObject** support) { return Run(support, ROM_CALL(As<ISnapshotCfg>(snapshot).AddSupport())); }
RomExceptionHandle RomSnapshotCfgGetComponentCfgs(RomObject* snapshot, RomObject** components) { return Run(components, ROM_CALL(As<ISnapshotCfg>(snapshot).GetComponentCfgs())); }
RomExceptionHandle RomSnapshotCfgGetSupportCfgs(RomObject* snapshot, RomObject** supports) { return Run(supports, ROM_CALL(As<ISnapshotCfg>(snapshot).GetSupportCfgs())); }
RomExceptionHandle RomSnapshotCfgGetComponentsOfSupport(RomObject* snapshot, RomObject* support, RomObject** components) { return Run(components, ROM_CALL(As<ISnapshotCfg>(snapshot).GetComponentsOfSupport(As<ISupportCfg>(support)))); }

// clang-format on
}
