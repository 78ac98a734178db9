// Exports of the mesh builder with its accessors, and of the mesh tables: node, standard
// element, polygon, polyhedron and support data, element data and mesh data.
#include <tervik/rom/mesh.hpp>

#include "api/frame.hpp"

using namespace Tervik::Rom::Mesh;
using Tervik::Rom::Api::Frame::As;
using Tervik::Rom::Api::Frame::Run;
using Tervik::Rom::Api::Frame::Str;
using Tervik::Rom::Configuration::IMeshDataCfg;

extern "C" {
// One line an export, however long.
// clang-format off

RomExceptionHandle RomNodeDataCopyCoordinateTable(RomObject* nodeData, const double* data, uint32_t offset, uint32_t count) { return Run(ROM_CALL(As<INodeData>(nodeData).CopyCoordinateTable(data, offset, count))); }
RomExceptionHandle RomNodeDataCopyIds(RomObject* nodeData, const int32_t* data, uint32_t offset, uint32_t count) { return Run(ROM_CALL(As<INodeData>(nodeData).CopyIds(data, offset, count))); }
RomExceptionHandle RomNodeDataGetCoordinateTable(RomObject* nodeData, double** table) { return Run(table, ROM_CALL(As<INodeData>(nodeData).GetCoordinateTable())); }
RomExceptionHandle RomNodeDataGetIds(RomObject* nodeData, int32_t** table) { return Run(table, ROM_CALL(As<INodeData>(nodeData).GetIds())); }
RomExceptionHandle RomNodeDataSetCoordinateTable(RomObject* nodeData, double* data) { return Run(ROM_CALL(As<INodeData>(nodeData).SetCoordinateTable(data))); }
RomExceptionHandle RomNodeDataSetIds(RomObject* nodeData, int32_t* data) { return Run(ROM_CALL(As<INodeData>(nodeData).SetIds(data))); }

RomExceptionHandle RomStdElementDataCopyConnectivityTable(RomObject* elements, const int32_t* data, uint32_t offset, uint32_t count) { return Run(ROM_CALL(As<IStdElementData>(elements).CopyConnectivityTable(data, offset, count))); }
RomExceptionHandle RomStdElementDataCopyIds(RomObject* elements, const int32_t* data, uint32_t offset, uint32_t count) { return Run(ROM_CALL(As<IStdElementData>(elements).CopyIds(data, offset, count))); }
RomExceptionHandle RomStdElementDataCopyTypes(RomObject* elements, const int32_t* data, uint32_t offset, uint32_t count) { return Run(ROM_CALL(As<IStdElementData>(elements).CopyTypes(data, offset, count))); }
RomExceptionHandle RomStdElementDataGetConnectivityTable(RomObject* elements, int32_t** table) { return Run(table, ROM_CALL(As<IStdElementData>(elements).GetConnectivityTable())); }
RomExceptionHandle RomStdElementDataGetIds(RomObject* elements, int32_t** table) { return Run(table, ROM_CALL(As<IStdElementData>(elements).GetIds())); }
RomExceptionHandle RomStdElementDataGetTypes(RomObject* elements, int32_t** table) { return Run(table, ROM_CALL(As<IStdElementData>(elements).GetTypes())); }
RomExceptionHandle RomStdElementDataSetConnectivityTable(RomObject* elements, int32_t* data) { return Run(ROM_CALL(As<IStdElementData>(elements).SetConnectivityTable(data))); }
RomExceptionHandle RomStdElementDataSetIds(RomObject* elements, int32_t* data) { return Run(ROM_CALL(As<IStdElementData>(elements).SetIds(data))); }
RomExceptionHandle RomStdElementDataSetTypes(RomObject* elements, int32_t* data) { return Run(ROM_CALL(As<IStdElementData>(elements).SetTypes(data))); }

RomExceptionHandle RomPolygonDataCopyConnectivityTable(RomObject* polygons, const int32_t* data, uint32_t offset, uint32_t count) { return Run(ROM_CALL(As<IPolygonData>(polygons).CopyConnectivityTable(data, offset, count))); }
RomExceptionHandle RomPolygonDataCopyIds(RomObject* polygons, const int32_t* data, uint32_t offset, uint32_t count) { return Run(ROM_CALL(As<IPolygonData>(polygons).CopyIds(data, offset, count))); }
RomExceptionHandle RomPolygonDataGetConnectivityTable(RomObject* polygons, int32_t** table) { return Run(table, ROM_CALL(As<IPolygonData>(polygons).GetConnectivityTable())); }
RomExceptionHandle RomPolygonDataGetIds(RomObject* polygons, int32_t** table) { return Run(table, ROM_CALL(As<IPolygonData>(polygons).GetIds())); }
RomExceptionHandle RomPolygonDataSetConnectivityTable(RomObject* polygons, int32_t* data) { return Run(ROM_CALL(As<IPolygonData>(polygons).SetConnectivityTable(data))); }
RomExceptionHandle RomPolygonDataSetIds(RomObject* polygons, int32_t* data) { return Run(ROM_CALL(As<IPolygonData>(polygons).SetIds(data))); }

RomExceptionHandle RomPolyhedronDataCopyConnectivityTable(RomObject* polyhedrons, const int32_t* data, uint32_t offset, uint32_t count) { return Run(ROM_CALL(As<IPolyhedronData>(polyhedrons).CopyConnectivityTable(data, offset, count))); }
RomExceptionHandle RomPolyhedronDataCopyIds(RomObject* polyhedrons, const int32_t* data, uint32_t offset, uint32_t count) { return Run(ROM_CALL(As<IPolyhedronData>(polyhedrons).CopyIds(data, offset, count))); }
RomExceptionHandle RomPolyhedronDataGetConnectivityTable(RomObject* polyhedrons, int32_t** table) { return Run(table, ROM_CALL(As<IPolyhedronData>(polyhedrons).GetConnectivityTable())); }
RomExceptionHandle RomPolyhedronDataGetIds(RomObject* polyhedrons, int32_t** table) { return Run(table, ROM_CALL(As<IPolyhedronData>(polyhedrons).GetIds())); }
RomExceptionHandle RomPolyhedronDataSetConnectivityTable(RomObject* polyhedrons, int32_t* data) { return Run(ROM_CALL(As<IPolyhedronData>(polyhedrons).SetConnectivityTable(data))); }
RomExceptionHandle RomPolyhedronDataSetIds(RomObject* polyhedrons, int32_t* data) { return Run(ROM_CALL(As<IPolyhedronData>(polyhedrons).SetIds(data))); }

RomExceptionHandle RomUserElementDataGetPolygonData(RomObject* userElements, RomObject** polygons) { return Run(polygons, ROM_CALL(As<IUserElementData>(userElements).GetPolygonData())); }
RomExceptionHandle RomUserElementDataGetMutablePolygonData(RomObject* userElements, RomObject** polygons) { return Run(polygons, ROM_CALL(As<IUserElementData>(userElements).GetMutablePolygonData())); }
RomExceptionHandle RomUserElementDataGetPolyhedronData(RomObject* userElements, RomObject** polyhedrons) { return Run(polyhedrons, ROM_CALL(As<IUserElementData>(userElements).GetPolyhedronData())); }
RomExceptionHandle RomUserElementDataGetMutablePolyhedronData(RomObject* userElements, RomObject** polyhedrons) { return Run(polyhedrons, ROM_CALL(As<IUserElementData>(userElements).GetMutablePolyhedronData())); }

RomExceptionHandle RomSupportDataCopyEntities(RomObject* support, const int32_t* data, uint32_t offset, uint32_t count) { return Run(ROM_CALL(As<ISupportData>(support).CopyEntities(data, offset, count))); }
RomExceptionHandle RomSupportDataGetEntities(RomObject* support, int32_t** table) { return Run(table, ROM_CALL(As<ISupportData>(support).GetEntities())); }
RomExceptionHandle RomSupportDataSetEntities(RomObject* support, int32_t* data) { return Run(ROM_CALL(As<ISupportData>(support).SetEntities(data))); }

RomExceptionHandle RomElementDataGetStdElementData(RomObject* elementData, RomObject** elements) { return Run(elements, ROM_CALL(As<IElementData>(elementData).GetStdElementData())); }
RomExceptionHandle RomElementDataGetMutableStdElementData(RomObject* elementData, RomObject** elements) { return Run(elements, ROM_CALL(As<IElementData>(elementData).GetMutableStdElementData())); }
RomExceptionHandle RomElementDataGetUserElementData(RomObject* elementData, RomObject** userElements) { return Run(userElements, ROM_CALL(As<IElementData>(elementData).GetUserElementData())); }
RomExceptionHandle RomElementDataGetMutableUserElementData(RomObject* elementData, RomObject** userElements) { return Run(userElements, ROM_CALL(As<IElementData>(elementData).GetMutableUserElementData())); }

RomExceptionHandle RomMeshAddNode(RomObject* mesh, RomObject** node) { return Run(node, ROM_CALL(As<IMesh>(mesh).AddNode())); }
// RomMeshAddPoint0, RomMeshAddLine2, ..., RomMeshAddPyramid13: one per element kind.
#define TERVIK_ROM_EXPORT_ADD(name, ...) \
RomExceptionHandle RomMeshAdd##name(RomObject* mesh, RomObject** element) { return Run(element, ROM_CALL(As<IMesh>(mesh).Add##name())); }
TERVIK_ROM_ELEMENT_KINDS(TERVIK_ROM_EXPORT_ADD)
#undef TERVIK_ROM_EXPORT_ADD
RomExceptionHandle RomMeshAddPolygon(RomObject* mesh, RomObject** polygon) { return Run(polygon, ROM_CALL(As<IMesh>(mesh).AddPolygon())); }
RomExceptionHandle RomMeshAddPolyhedron(RomObject* mesh, RomObject** polyhedron) { return Run(polyhedron, ROM_CALL(As<IMesh>(mesh).AddPolyhedron())); }
RomExceptionHandle RomMeshAddSupport(RomObject* mesh, const char* solverId, RomObject** support) { return Run(support, ROM_CALL(As<IMesh>(mesh).AddSupport(Str(solverId)))); }

RomExceptionHandle RomSupportEntitySetId(RomObject* entity, uint32_t id) { return Run(ROM_CALL(As<ISupportEntity>(entity).SetId(id))); }
RomExceptionHandle RomNodeSetCoordinate(RomObject* node, uint32_t dimensionIndex, double value) { return Run(ROM_CALL(As<INode>(node).SetCoordinate(static_cast<int32_t>(dimensionIndex), value))); }
RomExceptionHandle RomStdElementSetConnectivity(RomObject* element, uint32_t nodeIndex, uint32_t node) { return Run(ROM_CALL(As<IStdElement>(element).SetConnectivity(static_cast<int32_t>(nodeIndex), node))); }
RomExceptionHandle RomPolygonSetNodeCount(RomObject* polygon, uint32_t count) { return Run(ROM_CALL(As<IPolygon>(polygon).SetNodeCount(count))); }
RomExceptionHandle RomPolygonSetConnectivity(RomObject* polygon, uint32_t nodeIndex, uint32_t node) { return Run(ROM_CALL(As<IPolygon>(polygon).SetConnectivity(static_cast<int32_t>(nodeIndex), node))); }
RomExceptionHandle RomPolyhedronSetFaceCount(RomObject* polyhedron, uint32_t count) { return Run(ROM_CALL(As<IPolyhedron>(polyhedron).SetFaceCount(static_cast<int32_t>(count)))); }
RomExceptionHandle RomPolyhedronSetNodeCount(RomObject* polyhedron, uint32_t faceIndex, uint32_t count) { return Run(ROM_CALL(As<IPolyhedron>(polyhedron).SetNodeCount(static_cast<int32_t>(faceIndex), count))); }
RomExceptionHandle RomPolyhedronSetConnectivity(RomObject* polyhedron, uint32_t faceIndex, uint32_t nodeIndex, uint32_t node) { return Run(ROM_CALL(As<IPolyhedron>(polyhedron).SetConnectivity(faceIndex, static_cast<int32_t>(nodeIndex), node))); }
RomExceptionHandle RomSupportSetEntityId(RomObject* support, uint32_t entityIndex, uint32_t id) { return Run(ROM_CALL(As<ISupport>(support).SetEntityId(entityIndex, id))); }

RomExceptionHandle RomMeshDataInitialize(RomObject* meshData, RomObject* configuration) { return Run(ROM_CALL(As<IMeshData>(meshData).Initialize(As<IMeshDataCfg>(configuration)))); }
RomExceptionHandle RomMeshDataGetConfiguration(RomObject* meshData, RomObject** configuration) { return Run(configuration, ROM_CALL(As<IMeshData>(meshData).GetConfiguration())); }
RomExceptionHandle RomMeshDataGetElementData(RomObject* meshData, RomObject** elementData) { return Run(elementData, ROM_CALL(As<IMeshData>(meshData).GetElementData())); }
RomExceptionHandle RomMeshDataGetMutableElementData(RomObject* meshData, RomObject** elementData) { return Run(elementData, ROM_CALL(As<IMeshData>(meshData).GetMutableElementData())); }
RomExceptionHandle RomMeshDataGetNodeData(RomObject* meshData, RomObject** nodeData) { return Run(nodeData, ROM_CALL(As<IMeshData>(meshData).GetNodeData())); }
RomExceptionHandle RomMeshDataGetMutableNodeData(RomObject* meshData, RomObject** nodeData) { return Run(nodeData, ROM_CALL(As<IMeshData>(meshData).GetMutableNodeData())); }
RomExceptionHandle RomMeshDataGetSupportDatas(RomObject* meshData, RomObject** supportDatas) { return Run(supportDatas, ROM_CALL(As<IMeshData>(meshData).GetSupportDatas())); }
RomExceptionHandle RomMeshDataGetSupportData(RomObject* meshData, const char* solverId, RomObject** support) { return Run(support, ROM_CALL(As<IMeshData>(meshData).GetSupportData(Str(solverId)))); }
RomExceptionHandle RomMeshDataGetMutableSupportData(RomObject* meshData, const char* solverId, RomObject** support) { return Run(support, ROM_CALL(As<IMeshData>(meshData).GetMutableSupportData(Str(solverId)))); }

// clang-format on
}
