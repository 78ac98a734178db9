// Reading files: their kind and header, and mesh and snapshot files resumed through the
// library into table views.
#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

#include <json/reader.h>

#include "cli.hpp"

namespace tervik::cli {

void Check(RomExceptionHandle error, const char* what) {
    if (error == nullptr) return;
    std::string text = std::string(what) + ": " + RomGetExceptionDescription(error);
    RomReleaseException(error);
    throw Failure(text);
}

namespace {

struct KindEntry {
    FileKind kind;
    const char* name;
    const char* (*extension)();
    const char* documentKey;  // for configuration documents
    Factory create;
};
constexpr KindEntry kKinds[] = {
    {FileKind::Setup, "setup", RomGetConfigurationFileExtension, "setup", RomFactoryCreateSetupCfg},
    {FileKind::MeshDataCfg, "meshDataConfiguration", RomGetConfigurationFileExtension, "meshData",
     RomFactoryCreateMeshDataCfg},
    {FileKind::SnapshotCfg, "snapshotConfiguration", RomGetConfigurationFileExtension, "snapshot",
     RomFactoryCreateSnapshotCfg},
    {FileKind::Mesh, "mesh", RomGetMeshFileExtension, nullptr, RomFactoryCreateMeshData},
    {FileKind::Snapshot, "snapshot", RomGetSnapshotFileExtension, nullptr, RomFactoryCreateSnapshot},
    {FileKind::Cache, "snapshotCache", RomGetSnapshotCacheFileExtension, "snapshotCache", RomFactoryCreateSnapshotCache},
    {FileKind::Project, "project", RomGetProjectFileExtension, nullptr, RomFactoryCreateProject},
};

const KindEntry& EntryOf(FileKind kind) {
    for (const auto& entry : kKinds)
        if (entry.kind == kind) return entry;
    return kKinds[0];
}

std::string Extension(const std::string& path) {
    const auto dot = path.rfind('.');
    const auto slash = path.rfind('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    return path.substr(dot + 1);
}


// Little-endian fields at the start of a binary file.
class HeaderReader {
public:
    explicit HeaderReader(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        if (!in) throw Failure("cannot open the file");
        bytes_.resize(kLimit);
        in.read(bytes_.data(), kLimit);
        bytes_.resize(static_cast<std::size_t>(in.gcount()));
    }
    std::int32_t Int() {
        std::int32_t value = 0;
        Take(&value, sizeof value);
        return value;
    }
    std::string String() {
        const std::int32_t length = Int();
        if (length < 0 || static_cast<std::size_t>(length) > bytes_.size() - at_)
            throw Failure("the header holds a text of " + std::to_string(length) + " bytes past the end of the header");
        std::string text(bytes_.data() + at_, static_cast<std::size_t>(length));
        at_ += static_cast<std::size_t>(length);
        return text;
    }

private:
    static constexpr std::size_t kLimit = 1024;
    void Take(void* out, std::size_t size) {
        if (bytes_.size() - at_ < size) throw Failure("the file ends inside its header");
        std::memcpy(out, bytes_.data() + at_, size);
        at_ += size;
    }
    std::vector<char> bytes_;
    std::size_t at_ = 0;
};

template <class T>
Table<T> TableOf(T* data, std::uint32_t count) {
    return Table<T>{data, count};
}

}  // namespace

std::vector<RomObject*> Members(RomObject* container) {
    std::uint32_t count = 0;
    Check(RomContainerGetCount(container, &count), "RomContainerGetCount");
    std::vector<RomObject*> members(count);
    for (std::uint32_t i = 0; i < count; ++i) Check(RomContainerGetObject(container, i, &members[i]), "RomContainerGetObject");
    return members;
}

std::string Text(RomExceptionHandle (*get)(RomObject*, const char**), RomObject* object) {
    const char* text = nullptr;
    Check(get(object, &text), "text");
    return text;
}

Json::Value ParseDocument(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw Failure("cannot open the file");
    Json::CharReaderBuilder builder;
    Json::Value root;
    std::string errors;
    if (!Json::parseFromStream(builder, in, &root, &errors) || !root.isObject())
        throw Failure("not a JSON document: " + errors);
    return root;
}

const char* KindName(FileKind kind) { return EntryOf(kind).name; }

Factory FactoryOf(FileKind kind) { return EntryOf(kind).create; }

bool IsConfiguration(FileKind kind) { return EntryOf(kind).extension == RomGetConfigurationFileExtension; }

FileKind DetectKind(const std::string& path) {
    const std::string extension = Extension(path);
    if (extension == RomGetConfigurationFileExtension()) {
        const Json::Value root = ParseDocument(path);
        for (const auto& entry : kKinds)
            if (entry.extension == RomGetConfigurationFileExtension && root.isMember(entry.documentKey)) return entry.kind;
        throw Failure("a configuration document holds \"setup\", \"meshData\" or \"snapshot\"; this one holds none");
    }
    for (const auto& entry : kKinds)
        if (entry.extension != RomGetConfigurationFileExtension && extension == entry.extension()) return entry.kind;
    std::string known;
    for (const char* (*name)() : {RomGetConfigurationFileExtension, RomGetMeshFileExtension, RomGetSnapshotFileExtension,
                                  RomGetSnapshotCacheFileExtension, RomGetProjectFileExtension})
        known += std::string(known.empty() ? "" : ", ") + "." + name();
    throw Failure((extension.empty() ? std::string("no file extension") : "unknown file kind \"." + extension + "\"") +
                  "; known: " + known);
}

Json::Value ReadVersions(const std::string& path, FileKind kind) {
    Json::Value versions(Json::objectValue);
    if (EntryOf(kind).documentKey != nullptr) {
        const Json::Value root = ParseDocument(path);
        if (root.isMember("version")) versions["fileVersion"] = root["version"];
        const Json::Value& product = root["loomsteadVersion"];
        if (product.isArray() && product.size() == 2)
            versions["productVersion"] = std::to_string(product[0].asInt()) + "." + std::to_string(product[1].asInt());
        return versions;
    }
    HeaderReader header(path);
    if (header.Int() != 0) throw Failure("the file holds no object (its null flag is set)");
    versions["frameVersion"] = header.Int();
    versions["type"] = header.String();
    versions["typeVersion"] = header.Int();
    const std::int32_t major = header.Int();
    const std::int32_t minor = header.Int();
    versions["productVersion"] = std::to_string(major) + "." + std::to_string(minor);
    if (kind == FileKind::Project) versions["id"] = header.String();
    return versions;
}

const MeshSupport* Mesh::FindSupport(const std::string& solverId) const {
    for (const auto& support : supports)
        if (support.solverId == solverId) return &support;
    return nullptr;
}

Handle Resumed(Factory create, const std::string& path) {
    RomObject* object = nullptr;
    Check(create(&object), "create");
    Handle owned(object);
    Check(RomPersistableResume(object, path.c_str()), "resume");
    return owned;
}

Mesh LoadMesh(const std::string& path) {
    Mesh mesh;
    mesh.data = Resumed(RomFactoryCreateMeshData, path);
    RomObject* const data = mesh.data.get();
    RomObject* cfg = nullptr;
    Check(RomMeshDataGetConfiguration(data, &cfg), "RomMeshDataGetConfiguration");
    mesh.configuration = cfg;

    RomObject *nodeCfg = nullptr, *nodes = nullptr;
    std::uint32_t count = 0, size = 0;
    Check(RomMeshDataCfgGetNodeDataCfg(cfg, &nodeCfg), "RomMeshDataCfgGetNodeDataCfg");
    Check(RomNodeDataCfgGetCount(nodeCfg, &count), "RomNodeDataCfgGetCount");
    Check(RomNodeDataCfgGetDimension(nodeCfg, &mesh.dimension), "RomNodeDataCfgGetDimension");
    Check(RomNodeDataCfgGetCoordinateTableSize(nodeCfg, &size), "RomNodeDataCfgGetCoordinateTableSize");
    Check(RomMeshDataGetNodeData(data, &nodes), "RomMeshDataGetNodeData");
    std::int32_t* table = nullptr;
    double* coordinates = nullptr;
    Check(RomNodeDataGetIds(nodes, &table), "RomNodeDataGetIds");
    Check(RomNodeDataGetCoordinateTable(nodes, &coordinates), "RomNodeDataGetCoordinateTable");
    mesh.nodeIds = TableOf(table, count);
    mesh.coordinates = TableOf(coordinates, size);

    RomObject *elementCfg = nullptr, *elements = nullptr, *part = nullptr, *partCfg = nullptr;
    Check(RomMeshDataCfgGetElementDataCfg(cfg, &elementCfg), "RomMeshDataCfgGetElementDataCfg");
    Check(RomMeshDataGetElementData(data, &elements), "RomMeshDataGetElementData");
    if (RomElementDataCfgTryGetStdElementDataCfg(elementCfg, &partCfg)) {
        Check(RomStdElementDataCfgGetCount(partCfg, &count), "RomStdElementDataCfgGetCount");
        Check(RomStdElementDataCfgGetConnectivityTableSize(partCfg, &size), "GetConnectivityTableSize");
        Check(RomElementDataGetStdElementData(elements, &part), "RomElementDataGetStdElementData");
        Check(RomStdElementDataGetTypes(part, &table), "RomStdElementDataGetTypes");
        mesh.types = TableOf(table, count);
        Check(RomStdElementDataGetIds(part, &table), "RomStdElementDataGetIds");
        mesh.elementIds = TableOf(table, count);
        Check(RomStdElementDataGetConnectivityTable(part, &table), "RomStdElementDataGetConnectivityTable");
        mesh.connectivity = TableOf(table, size);
    }
    RomObject *userCfg = nullptr, *user = nullptr;
    if (RomElementDataCfgTryGetUserElementDataCfg(elementCfg, &userCfg)) {
        Check(RomElementDataGetUserElementData(elements, &user), "RomElementDataGetUserElementData");
        // Polygons and polyhedrons: the same calls on each kind's functions.
        using Get = RomExceptionHandle (*)(RomObject*, RomObject**);
        using Size = RomExceptionHandle (*)(RomObject*, std::uint32_t*);
        using GetTable = RomExceptionHandle (*)(RomObject*, std::int32_t**);
        const struct {
            bool (*tryGetCfg)(RomObject*, RomObject**);
            Size count, size;
            Get data;
            GetTable ids, connectivity;
            Table<std::int32_t>*idTable, *connectivityTable;
        } kinds[] = {{RomUserElementDataCfgTryGetPolygonDataCfg, RomPolygonDataCfgGetCount,
                      RomPolygonDataCfgGetConnectivityTableSize, RomUserElementDataGetPolygonData, RomPolygonDataGetIds,
                      RomPolygonDataGetConnectivityTable, &mesh.polygonIds, &mesh.polygonConnectivity},
                     {RomUserElementDataCfgTryGetPolyhedronDataCfg, RomPolyhedronDataCfgGetCount,
                      RomPolyhedronDataCfgGetConnectivityTableSize, RomUserElementDataGetPolyhedronData,
                      RomPolyhedronDataGetIds, RomPolyhedronDataGetConnectivityTable, &mesh.polyhedronIds,
                      &mesh.polyhedronConnectivity}};
        for (const auto& kind : kinds) {
            if (!kind.tryGetCfg(userCfg, &partCfg)) continue;
            Check(kind.count(partCfg, &count), "count");
            Check(kind.size(partCfg, &size), "connectivity table size");
            Check(kind.data(user, &part), "user element data");
            Check(kind.ids(part, &table), "ids");
            *kind.idTable = TableOf(table, count);
            Check(kind.connectivity(part, &table), "connectivity table");
            *kind.connectivityTable = TableOf(table, size);
        }
    }

    RomObject* regions = nullptr;
    Check(RomMeshDataCfgGetRegionCfgs(cfg, &regions), "RomMeshDataCfgGetRegionCfgs");
    for (RomObject* region : Members(regions)) {
        RomObject* supports = nullptr;
        Check(RomRegionCfgGetSupportCfgs(region, &supports), "RomRegionCfgGetSupportCfgs");
        for (RomObject* supportCfg : Members(supports)) {
            MeshSupport support;
            support.solverId = RomGetSolverId(supportCfg);
            support.region = RomGetSolverId(region);
            Check(RomSupportCfgGetEntitiesType(supportCfg, &support.entityType), "RomSupportCfgGetEntitiesType");
            Check(RomSupportCfgGetEntityCount(supportCfg, &count), "RomSupportCfgGetEntityCount");
            Check(RomMeshDataGetSupportData(data, support.solverId.c_str(), &part), "RomMeshDataGetSupportData");
            Check(RomSupportDataGetEntities(part, &table), "RomSupportDataGetEntities");
            support.entities = TableOf(table, count);
            mesh.supports.push_back(std::move(support));
        }
    }
    return mesh;
}

Snapshot LoadSnapshot(const std::string& path) {
    Snapshot snapshot;
    snapshot.data = Resumed(RomFactoryCreateSnapshot, path);
    RomObject* const data = snapshot.data.get();
    std::uint32_t filled = 0;
    Check(RomSnapshotIsFilled(data, &filled), "RomSnapshotIsFilled");
    snapshot.filled = filled != 0;
    RomObject *cfg = nullptr, *supports = nullptr;
    Check(RomSnapshotGetConfiguration(data, &cfg), "RomSnapshotGetConfiguration");
    Check(RomSnapshotCfgGetSupportCfgs(cfg, &supports), "RomSnapshotCfgGetSupportCfgs");
    for (RomObject* support : Members(supports)) {
        RomObject* components = nullptr;
        // A support without components has no list, and no component data.
        if (RomExceptionHandle none = RomSnapshotCfgGetComponentsOfSupport(cfg, support, &components)) {
            RomReleaseException(none);
            continue;
        }
        for (RomObject* component : Members(components)) {
            SnapshotPair pair;
            pair.component = RomGetSolverId(component);
            pair.support = RomGetSolverId(support);
            RomObject* values = nullptr;
            Check(RomSnapshotGetComponentData(data, pair.component.c_str(), pair.support.c_str(), &values),
                  "RomSnapshotGetComponentData");
            Check(RomSnapshotComponentDataGetAssignedEntityValueCount(values, &pair.assigned), "GetAssignedEntityValueCount");
            Check(RomSnapshotComponentDataGetExpectedEntityValueCount(values, &pair.expected), "GetExpectedEntityValueCount");
            std::uint32_t* ids = nullptr;
            double* array = nullptr;
            Check(RomSnapshotComponentDataGetIdArray(values, &ids), "RomSnapshotComponentDataGetIdArray");
            Check(RomSnapshotComponentDataGetValueArray(values, &array), "RomSnapshotComponentDataGetValueArray");
            pair.ids = TableOf(ids, pair.expected);
            pair.values = TableOf(array, pair.expected);
            snapshot.pairs.push_back(std::move(pair));
        }
    }
    return snapshot;
}

ReferenceRange RangeOf(const Table<std::int32_t>& references) {
    ReferenceRange range;
    for (std::uint32_t i = 0; i < references.count; ++i) {
        range.low = std::min(range.low, references.data[i]);
        range.high = std::max(range.high, references.data[i]);
    }
    return range;
}

EntityIndex::EntityIndex(std::vector<const Table<std::int32_t>*> ids, bool indices, const char* what) {
    for (const auto* table : ids) size_ += table->count;
    if (indices || size_ == 0) {
        offset_ = 0;
        return;
    }
    // Ids that ascend by one from the first need no table at all. Checked in 32 bits,
    // several at a time, when the last such id would fit them.
    const auto nonEmpty = std::find_if(ids.begin(), ids.end(), [](const auto* table) { return table->count != 0; });
    const std::int64_t first = (**nonEmpty)[0];
    std::int64_t low = first, high = first;
    std::uint32_t next = static_cast<std::uint32_t>(first), wrong = first + size_ - 1 > INT32_MAX ? 1 : 0;
    for (const auto* table : ids) {
        const ReferenceRange range = RangeOf(*table);
        low = std::min<std::int64_t>(low, range.low);
        high = std::max<std::int64_t>(high, range.high);
        const std::int32_t* id = table->data;
        for (std::uint32_t i = 0; i < table->count; ++i) wrong |= static_cast<std::uint32_t>(id[i]) ^ (next + i);
        next += table->count;
    }
    if (wrong == 0) {
        offset_ = first;
        return;
    }
    const auto duplicate = [&](std::int64_t id) {
        return Failure(std::string("two ") + what + " have the id " + std::to_string(id));
    };
    std::int64_t index = 0;
    if (high - low < 4 * size_ + 1024 && size_ < INT32_MAX) {
        base_ = low;
        dense_.assign(static_cast<std::size_t>(high - low + 1), -1);
        for (const auto* table : ids)
            for (std::uint32_t i = 0; i < table->count; ++i, ++index) {
                std::int32_t& slot = dense_[static_cast<std::size_t>((*table)[i] - low)];
                if (slot >= 0) throw duplicate((*table)[i]);
                slot = static_cast<std::int32_t>(index);
            }
        return;
    }
    for (const auto* table : ids)
        for (std::uint32_t i = 0; i < table->count; ++i, ++index)
            if (!sparse_.emplace((*table)[i], index).second) throw duplicate((*table)[i]);
}

}  // namespace tervik::cli
