#include "mesh/mesh.hpp"

namespace Tervik::Rom::Mesh {

using Common::RomException;

void ThrowNumbered(const char* head, std::int64_t number, const char* middle, std::int64_t limit, const char* tail) {
    throw RomException(head + std::to_string(number) + middle + std::to_string(limit) + tail);
}

// ---- Accessors --------------------------------------------------------------------

void CNode::SetId(std::uint32_t value) {
    if (id == nullptr) throw RomException("Node is not link to any id table !");
    *id = static_cast<std::int32_t>(value);
}

void CNode::SetCoordinate(std::int32_t dimensionIndex, double value) {
    if (dimensionIndex >= dimension)
        ThrowNumbered("Dimension index ", dimensionIndex, " exceeds Node dimension (", dimension, ") !");
    if (!coordinates.Bound()) throw RomException("Node is not link to any coordinates data !");
    coordinates.At(dimensionIndex) = value;
}

void CPolygon::SetId(std::uint32_t value) {
    if (id == nullptr) throw RomException("Polygon is not link to any id table !");
    *id = static_cast<std::int32_t>(value);
}

void CPolygon::SetNodeCount(std::uint32_t count) {
    if (!slice.Bound()) throw RomException("Polygon is not link to any connectivity table !");
    slice.At(0) = static_cast<std::int32_t>(count);
    nodeCountSet = true;
}

std::uint32_t CPolygon::NodeCount() const {
    if (!slice.Bound()) throw RomException("Polygon is not link to any connectivity table !");
    if (!nodeCountSet) throw RomException("Node count has not been setup for this Polygon !");
    return static_cast<std::uint32_t>(slice.At(0));
}

void CPolygon::SetConnectivity(std::int32_t nodeIndex, std::uint32_t node) {
    const std::uint32_t count = NodeCount();
    if (nodeIndex >= std::int64_t{count})
        ThrowNumbered("Node index ", nodeIndex, " exceeds the number of nodes of the polygon (", count, ") !");
    slice.At(1 + std::int64_t{nodeIndex}) = static_cast<std::int32_t>(node);
}

void CPolyhedron::SetId(std::uint32_t value) {
    if (id == nullptr) throw RomException("Polygon is not link to any id table !");
    *id = static_cast<std::int32_t>(value);
}

void CPolyhedron::Reset() {
    faceCountSet = false;
    faceCount = 0;
    faceNodeCountSet.clear();
}

void CPolyhedron::ThrowFaceWithoutCount(std::int64_t faceIndex) {
    throw RomException("Node count has not been setup for the face with index " + std::to_string(faceIndex) +
                       " of this Polyhedron !");
}

void CPolyhedron::SetFaceCount(std::int32_t count) {
    if (!slice.Bound()) throw RomException("Polygon is not link to any connectivity table !");
    slice.At(0) = count;
    faceCountSet = true;
    faceCount = count;
    faceNodeCountSet.assign(count > 0 ? static_cast<std::size_t>(count) : 0, false);
}

std::int64_t CPolyhedron::FaceStart(std::int64_t faceIndex) const {
    if (!faceCountSet) throw RomException("Face count has not been setup for this Polyhedron !");
    const std::int64_t faces = static_cast<std::int64_t>(faceNodeCountSet.size());
    if (faceIndex >= faces)
        ThrowNumbered("Face index ", faceIndex, " exceeds the number of faces of the polyhedron (", faceCount, ") !");
    if (faceIndex < 0) throw RomException("Index out of range.");
    std::int64_t start = 1;
    for (std::int64_t k = 0; k < faceIndex; ++k) {
        if (!faceNodeCountSet[static_cast<std::size_t>(k)]) ThrowFaceWithoutCount(k);
        start += 1 + static_cast<std::uint32_t>(slice.At(start));
    }
    return start;
}

void CPolyhedron::SetNodeCount(std::int32_t faceIndex, std::uint32_t count) {
    if (!slice.Bound()) throw RomException("Polygon is not link to any connectivity table !");
    const std::int64_t start = FaceStart(faceIndex);
    slice.At(start) = static_cast<std::int32_t>(count);
    faceNodeCountSet[static_cast<std::size_t>(faceIndex)] = true;
}

void CPolyhedron::SetConnectivity(std::uint32_t faceIndex, std::int32_t nodeIndex, std::uint32_t node) {
    if (!slice.Bound()) throw RomException("Polygon is not link to any connectivity table !");
    const std::int64_t start = FaceStart(faceIndex);
    if (!faceNodeCountSet[faceIndex]) ThrowFaceWithoutCount(faceIndex);
    const auto count = static_cast<std::uint32_t>(slice.At(start));
    if (nodeIndex >= std::int64_t{count}) {
        throw RomException("Node index " + std::to_string(nodeIndex) +
                           " exceeds the number of nodes of the face with index " + std::to_string(faceIndex) +
                           " of the polyhedron (" + std::to_string(count) + ") !");
    }
    slice.At(start + 1 + nodeIndex) = static_cast<std::int32_t>(node);
}

std::int64_t CPolyhedron::SliceLength() const {
    if (!slice.Bound()) throw RomException("Polygon is not link to any connectivity table !");
    if (!faceCountSet) throw RomException("Face count has not been setup for this Polyhedron !");
    if (faceNodeCountSet.empty()) return 1;
    const auto last = static_cast<std::int64_t>(faceNodeCountSet.size()) - 1;
    const std::int64_t start = FaceStart(last);
    if (!faceNodeCountSet.back()) ThrowFaceWithoutCount(last);
    return start + 1 + static_cast<std::uint32_t>(slice.At(start));
}

void CSupport::SetEntityId(std::uint32_t entityIndex, std::uint32_t id) {
    if (entities == nullptr) throw RomException("Support is not link to any entities data !");
    if (!entityCountSet) throw RomException("No entity count has been setup to the support !");
    if (entityIndex >= entityCount)
        ThrowNumbered("Entity index ", entityIndex, " exceeds number of entities in the support (", entityCount, ") !");
    entities[entityIndex] = static_cast<std::int32_t>(id);
}

// ---- The builder ------------------------------------------------------------------

void CMesh::RequireInitialized() const {
    if (!initialized_) throw RomException("Mesh is not initialized!");
}

void CMesh::Initialize(const Configuration::IMeshDataCfg& configuration) {
    initialized_ = false;
    meshData_.Initialize(configuration);
    const Configuration::IMeshDataCfg& cfg = *meshData_.GetConfiguration();

    CNodeData& nodes = meshData_.NodeData();
    nodeCount_ = cfg.GetNodeDataCfg().GetCount();
    coordinatesUsed_ = 0;
    nodesAdded_ = 0;
    coordinates_ = Cursor<double>{nodes.FillCoordinates(), nodes.Coordinates().Record()->count, 0};
    nodeIds_ = nodes.FillIds();
    // The tables bound below stay alive for the accessors until the next Initialize, even
    // if a resume replaces them in the mesh data.
    std::vector<std::shared_ptr<const void>> bound = {nodes.Coordinates().Hold(), nodes.Ids().Hold()};
    node_.coordinates = Cursor<double>();
    node_.id = nullptr;
    node_.dimension = cfg.GetNodeDataCfg().GetDimension();

    CElementData& elements = meshData_.ElementData();
    auto bindUser = [&bound](UserCounters& counters, auto* data, auto& accessor) {
        counters = UserCounters();
        accessor.slice = Cursor<std::int32_t>();
        accessor.id = nullptr;
        if (data == nullptr) return;
        counters.configured = true;
        counters.connectivity = data->FillConnectivity();
        counters.ids = data->FillIds();
        counters.size = data->Connectivity().Record()->count;
        counters.count = data->Ids().Record()->count;
        bound.insert(bound.end(), {data->Connectivity().Hold(), data->Ids().Hold()});
    };
    CUserElementData* user = elements.HasSecond() ? &elements.SecondPart() : nullptr;
    bindUser(polygons_, user != nullptr && user->HasSecond() ? &user->SecondPart() : nullptr, polygon_);
    polygon_.nodeCountSet = false;
    bindUser(polyhedrons_, user != nullptr && user->HasFirst() ? &user->FirstPart() : nullptr, polyhedron_);
    polyhedron_.Reset();

    connectivity_ = elementIds_ = types_ = nullptr;
    connectivityUsed_ = 0;
    connectivitySize_ = elementCount_ = elementsAdded_ = 0;
    elementsConfigured_ = elements.HasFirst();
    if (elementsConfigured_) {
        CStdElementData& standard = elements.FirstPart();
        connectivity_ = standard.FillConnectivity();
        elementIds_ = standard.FillIds();
        types_ = standard.FillTypes();
        connectivitySize_ = standard.Connectivity().Record()->count;
        elementCount_ = standard.Ids().Record()->count;
        bound.insert(bound.end(), {standard.Connectivity().Hold(), standard.Ids().Hold(), standard.Types().Hold()});
    }
    std::apply([&](auto&... element) { ((element.id = nullptr, element.connectivity = Cursor<std::int32_t>()), ...); },
               elements_);
    support_.entities = nullptr;
    support_.entityCount = 0;
    support_.entityCountSet = false;
    bound_ = std::move(bound);
    supportBound_.reset();
    initialized_ = true;
}

INode* CMesh::AddNode() {
    RequireInitialized();
    if (nodesAdded_ >= nodeCount_)
        ThrowNumbered("Number of added nodes (", nodesAdded_, ") exceeds specified node count (", nodeCount_,
                      ") in the mesh configuration! ");
    node_.id = nodeIds_ + nodesAdded_;
    node_.coordinates = coordinates_;
    node_.coordinates.start = coordinatesUsed_;
    ++nodesAdded_;
    coordinatesUsed_ += node_.dimension;
    return &node_;
}

IPolygon* CMesh::AddPolygon() {
    if (polygons_.added > 0) polygons_.used += 1 + std::int64_t{polygon_.NodeCount()};
    RequireInitialized();
    if (!polygons_.configured) throw RomException("No polygon element has been configured in the mesh!");
    if (polygons_.added >= polygons_.count)
        ThrowNumbered("Number of added polygons (", polygons_.added, ") exceeds specified polygons count (",
                      polygons_.count, ") in the mesh configuration!");
    polygon_.nodeCountSet = false;
    polygon_.id = polygons_.ids + polygons_.added;
    polygon_.slice = Cursor<std::int32_t>{polygons_.connectivity, polygons_.size, polygons_.used};
    ++polygons_.added;
    return &polygon_;
}

IPolyhedron* CMesh::AddPolyhedron() {
    if (polyhedrons_.added > 0) polyhedrons_.used += polyhedron_.SliceLength();
    RequireInitialized();
    if (!polyhedrons_.configured) throw RomException("No polyhedron element has been configured in the mesh!");
    if (polyhedrons_.added >= polyhedrons_.count)
        ThrowNumbered("Number of added polyhedron (", polyhedrons_.added, ") exceeds specified polyhedron count (",
                      polyhedrons_.count, ") in the mesh configuration!");
    polyhedron_.Reset();
    polyhedron_.id = polyhedrons_.ids + polyhedrons_.added;
    polyhedron_.slice = Cursor<std::int32_t>{polyhedrons_.connectivity, polyhedrons_.size, polyhedrons_.used};
    ++polyhedrons_.added;
    return &polyhedron_;
}

ISupport* CMesh::AddSupport(const std::string& solverId) {
    RequireInitialized();
    CSupportData& data = meshData_.FindSupportData(solverId);
    support_.entityCount = data.GetConfiguration()->GetEntityCount();
    support_.entityCountSet = true;
    support_.entities = data.FillEntities();
    supportBound_ = data.Entities().Hold();
    return &support_;
}

}  // namespace Tervik::Rom::Mesh
