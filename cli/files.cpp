// Reading files: their kind and header, and mesh and snapshot files resumed through the
// library into table views.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <json/reader.h>

#include "cli.hpp"

namespace tervik::cli {

std::string Released(RomExceptionHandle error) {
    if (error == nullptr) return "";
    std::string text = RomGetExceptionDescription(error);
    RomReleaseException(error);
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text.empty() ? "(the library gives no text)" : text;
}

void Check(RomExceptionHandle error, const char* what) {
    if (error != nullptr) throw Failure(std::string(what) + ": " + Released(error));
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
    {FileKind::Cache, "snapshotCache", RomGetSnapshotCacheFileExtension, "snapshotCache",
     RomFactoryCreateSnapshotCache},
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

bool IsDocument(const std::string& path) {
    const std::string extension = Extension(path);
    return extension == RomGetConfigurationFileExtension() || extension == RomGetSnapshotCacheFileExtension();
}

const char* Nature(mode_t mode) {
    if (S_ISDIR(mode)) return "a folder";
    if (S_ISFIFO(mode)) return "a FIFO";
    if (S_ISCHR(mode)) return "a character device";
    if (S_ISBLK(mode)) return "a block device";
    if (S_ISSOCK(mode)) return "a socket";
    return "of an unknown type";
}

// A file open for reading, closed with its owner.
class InputFile {
public:
    // Opens path as the library opens the files it reads: without waiting on a FIFO or a
    // device, and a regular file of at most limit bytes only.
    InputFile(const std::string& path, std::uint64_t limit) {
        descriptor_ = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        if (descriptor_ < 0) throw Failure(std::string("cannot open the file: ") + std::strerror(errno));
        struct stat status {};
        if (::fstat(descriptor_, &status) != 0)
            throw Failure(std::string("cannot read the file: ") + std::strerror(errno));
        if (!S_ISREG(status.st_mode)) throw Failure(std::string("not a regular file: it is ") + Nature(status.st_mode));
        size_ = static_cast<std::uint64_t>(status.st_size);
        if (size_ > limit)
            throw Failure("the file holds " + std::to_string(size_) +
                          " bytes; a JSON document of the library is read " + "up to " + std::to_string(limit) +
                          " bytes");
    }
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    ~InputFile() { ::close(descriptor_); }

    std::uint64_t Size() const { return size_; }
    // The bytes from offset on, at most count and at most up to its size.
    std::string Read(std::uint64_t offset, std::uint64_t count) const {
        std::string bytes(static_cast<std::size_t>(offset < size_ ? std::min(count, size_ - offset) : 0), '\0');
        std::size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t got =
                ::pread(descriptor_, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) throw Failure(std::string("cannot read the file: ") + std::strerror(errno));
            if (got == 0) break;
            done += static_cast<std::size_t>(got);
        }
        bytes.resize(done);
        return bytes;
    }

private:
    int descriptor_ = -1;
    std::uint64_t size_ = 0;
};

// The first of jsoncpp's messages, on one line: "line 3, column 1: Missing ',' or '}' in
// object declaration" (what follows it is often the reader losing its way).
std::string FirstError(const std::string& errors) {
    std::string text;
    for (std::size_t at = 0; at < errors.size();) {
        std::size_t end = errors.find('\n', at);
        if (end == std::string::npos) end = errors.size();
        std::string line = errors.substr(at, end - at);
        at = end + 1;
        line.erase(0, line.find_first_not_of(" *"));
        if (line.rfind("Line ", 0) == 0) {
            if (!text.empty()) break;
            line[0] = 'l';
            const auto column = line.find(", Column");
            if (column != std::string::npos) line[column + 2] = 'c';
            text = line + ":";
        } else if (!line.empty() && line.rfind("See ", 0) != 0) {
            text += " " + line;
        }
    }
    return text;
}

// Parses text as the library does (nesting bounded alike); strict adds what the library
// lets pass: text after the root value, a key given twice.
bool ParseJson(const std::string& text, bool strict, Json::Value& root, std::string& errors) {
    Json::CharReaderBuilder builder;
    builder["stackLimit"] = kJsonNestingLimit;
    if (strict) {
        builder["failIfExtra"] = true;
        builder["rejectDupKeys"] = true;
    }
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &root, &errors)) return true;
        errors = FirstError(errors);
    } catch (const std::exception&) {
        errors = "nested deeper than " + std::to_string(kJsonNestingLimit) + " levels";
    }
    return false;
}

// Little-endian fields at the start of a binary file.
class HeaderReader {
public:
    explicit HeaderReader(const std::string& path) : bytes_(InputFile(path, UINT64_MAX).Read(0, kLimit)) {}
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
    std::string bytes_;
    std::size_t at_ = 0;
};

// Copies count values into a table of the library, from offset on.
template <class T>
using Copy = RomExceptionHandle (*)(RomObject*, const T*, std::uint32_t, std::uint32_t);

// A table of the library, taken for the count entries the mesh's configuration announces.
// A table that holds fewer (its own configuration may say less) is refused rather than
// read past: copying no value to entry count passes the library's range check only when
// the table holds count entries, and changes nothing.
template <class T>
Table<T> TableOf(T* data, std::uint32_t count, const char* what, RomObject* owner, Copy<T> copy) {
    const auto refuse = [&](const std::string& why) {
        return Failure("the " + std::string(what) + " table " + why + " the " + std::to_string(count) +
                       " entries the mesh's configuration announces");
    };
    if (count == 0) return Table<T>{data, 0};
    if (data == nullptr) throw refuse("is missing, not holding");
    const T none{};
    const std::string refused = Released(copy(owner, &none, count, 0));
    if (!refused.empty()) throw refuse("holds fewer than");
    return Table<T>{data, count};
}

}  // namespace

std::vector<RomObject*> Members(RomObject* container) {
    std::uint32_t count = 0;
    Check(RomContainerGetCount(container, &count), "RomContainerGetCount");
    std::vector<RomObject*> members(count);
    for (std::uint32_t i = 0; i < count; ++i)
        Check(RomContainerGetObject(container, i, &members[i]), "RomContainerGetObject");
    return members;
}

std::string Text(RomExceptionHandle (*get)(RomObject*, const char**), RomObject* object) {
    const char* text = nullptr;
    Check(get(object, &text), "text");
    return text;
}

void CheckInput(const std::string& path) { InputFile(path, IsDocument(path) ? kDocumentLimit : UINT64_MAX); }

Document ReadDocument(const std::string& path, bool strict) {
    Document document;
    const std::string text = InputFile(path, kDocumentLimit).Read(0, kDocumentLimit);
    std::string errors;
    if (!ParseJson(text, false, document.root, errors) || !document.root.isObject())
        throw Failure("not a JSON document" +
                      (errors.empty() ? std::string(": its root is not an object") : ": " + errors));
    Json::Value strictly;
    if (strict && !ParseJson(text, true, strictly, errors)) document.suspect = errors;
    return document;
}

Json::Value ParseDocument(const std::string& path) { return ReadDocument(path, false).root; }

const char* KindName(FileKind kind) { return EntryOf(kind).name; }

Factory FactoryOf(FileKind kind) { return EntryOf(kind).create; }

bool IsConfiguration(FileKind kind) { return EntryOf(kind).extension == RomGetConfigurationFileExtension; }

const char* ExtensionOf(FileKind kind) { return EntryOf(kind).extension(); }

const char* DocumentKey(FileKind kind) { return EntryOf(kind).documentKey; }

std::uint64_t SizeOf(const std::string& path) { return InputFile(path, UINT64_MAX).Size(); }

void CopyStart(const std::string& from, std::uint64_t bytes, const std::string& to) {
    const InputFile in(from, UINT64_MAX);
    OutputFile out(to);
    constexpr std::uint64_t kChunk = std::uint64_t{1} << 20;
    for (std::uint64_t at = 0; at < bytes; at += kChunk) {
        const std::string chunk = in.Read(at, std::min(kChunk, bytes - at));
        if (chunk.empty()) break;
        out.Write(chunk);
    }
    out.Commit();
}

FileKind DetectKind(const std::string& path, Handle& resumed) {
    const std::string extension = Extension(path);
    if (extension == RomGetConfigurationFileExtension()) {
        CheckInput(path);
        // The kind the library reads the document as; when it reads it as none, the key the
        // document holds says whose failure to report.
        std::string failures[std::size(kKinds)];
        for (std::size_t k = 0; k < std::size(kKinds); ++k) {
            if (kKinds[k].extension != RomGetConfigurationFileExtension) continue;
            try {
                resumed = Resumed(kKinds[k].create, path);
                return kKinds[k].kind;
            } catch (const Failure& failure) {
                failures[k] = failure.what();
            }
        }
        const Json::Value root = ParseDocument(path);
        for (std::size_t k = 0; k < std::size(kKinds); ++k)
            if (!failures[k].empty() && root.isMember(kKinds[k].documentKey)) throw Failure(failures[k]);
        throw Failure("a configuration document holds \"setup\", \"meshData\" or \"snapshot\"; this one holds none");
    }
    for (const auto& entry : kKinds)
        if (entry.extension != RomGetConfigurationFileExtension && extension == entry.extension()) {
            CheckInput(path);
            return entry.kind;
        }
    std::string known;
    for (const char* (*name)() :
         {RomGetConfigurationFileExtension, RomGetMeshFileExtension, RomGetSnapshotFileExtension,
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
    CheckInput(path);
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
    // The size getter answers modulo 2^32: a table that size does not hold count x dimension.
    if (mesh.dimension < 0 || std::uint64_t{count} * static_cast<std::uint64_t>(mesh.dimension) != size)
        throw Failure("the node data configuration announces " + std::to_string(count) + " nodes of dimension " +
                      std::to_string(mesh.dimension) + ", and a coordinate table of " + std::to_string(size) +
                      " entries that does not hold them");
    mesh.nodeIds = TableOf(table, count, "node id", nodes, RomNodeDataCopyIds);
    mesh.coordinates = TableOf(coordinates, size, "coordinate", nodes, RomNodeDataCopyCoordinateTable);

    RomObject *elementCfg = nullptr, *elements = nullptr, *part = nullptr, *partCfg = nullptr;
    Check(RomMeshDataCfgGetElementDataCfg(cfg, &elementCfg), "RomMeshDataCfgGetElementDataCfg");
    Check(RomMeshDataGetElementData(data, &elements), "RomMeshDataGetElementData");
    if (RomElementDataCfgTryGetStdElementDataCfg(elementCfg, &partCfg)) {
        Check(RomStdElementDataCfgGetCount(partCfg, &count), "RomStdElementDataCfgGetCount");
        Check(RomStdElementDataCfgGetConnectivityTableSize(partCfg, &size), "GetConnectivityTableSize");
        Check(RomElementDataGetStdElementData(elements, &part), "RomElementDataGetStdElementData");
        Check(RomStdElementDataGetTypes(part, &table), "RomStdElementDataGetTypes");
        mesh.types = TableOf(table, count, "element type", part, RomStdElementDataCopyTypes);
        Check(RomStdElementDataGetIds(part, &table), "RomStdElementDataGetIds");
        mesh.elementIds = TableOf(table, count, "element id", part, RomStdElementDataCopyIds);
        Check(RomStdElementDataGetConnectivityTable(part, &table), "RomStdElementDataGetConnectivityTable");
        mesh.connectivity = TableOf(table, size, "connectivity", part, RomStdElementDataCopyConnectivityTable);
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
            Copy<std::int32_t> copyIds, copyConnectivity;
            Table<std::int32_t>*idTable, *connectivityTable;
            const char *idName, *connectivityName;
        } kinds[] = {
            {RomUserElementDataCfgTryGetPolygonDataCfg, RomPolygonDataCfgGetCount,
             RomPolygonDataCfgGetConnectivityTableSize, RomUserElementDataGetPolygonData, RomPolygonDataGetIds,
             RomPolygonDataGetConnectivityTable, RomPolygonDataCopyIds, RomPolygonDataCopyConnectivityTable,
             &mesh.polygonIds, &mesh.polygonConnectivity, "polygon id", "polygon connectivity"},
            {RomUserElementDataCfgTryGetPolyhedronDataCfg, RomPolyhedronDataCfgGetCount,
             RomPolyhedronDataCfgGetConnectivityTableSize, RomUserElementDataGetPolyhedronData, RomPolyhedronDataGetIds,
             RomPolyhedronDataGetConnectivityTable, RomPolyhedronDataCopyIds, RomPolyhedronDataCopyConnectivityTable,
             &mesh.polyhedronIds, &mesh.polyhedronConnectivity, "polyhedron id", "polyhedron connectivity"}};
        for (const auto& kind : kinds) {
            if (!kind.tryGetCfg(userCfg, &partCfg)) continue;
            Check(kind.count(partCfg, &count), "count");
            Check(kind.size(partCfg, &size), "connectivity table size");
            Check(kind.data(user, &part), "user element data");
            Check(kind.ids(part, &table), "ids");
            *kind.idTable = TableOf(table, count, kind.idName, part, kind.copyIds);
            Check(kind.connectivity(part, &table), "connectivity table");
            *kind.connectivityTable = TableOf(table, size, kind.connectivityName, part, kind.copyConnectivity);
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
            support.entities = TableOf(table, count, "support entity", part, RomSupportDataCopyEntities);
            mesh.supports.push_back(std::move(support));
        }
    }
    return mesh;
}

std::vector<Field> Fields(RomObject* setup) {
    RomObject* fields = nullptr;
    Check(RomSetupCfgGetFields(setup, &fields), "RomSetupCfgGetFields");
    std::vector<Field> out;
    for (RomObject* member : Members(fields)) {
        Field& field = out.emplace_back();
        field.solverId = RomGetSolverId(member);
        field.caption = Text(RomFieldCfgGetCaption, member);
        field.quantity = Text(RomFieldCfgGetQuantity, member);
        field.unit = Text(RomFieldCfgGetUnit, member);
        Check(RomFieldCfgGetEntitiesType(member, &field.entityType), "RomFieldCfgGetEntitiesType");
        RomObject* list = nullptr;
        Check(RomFieldCfgGetComponentCfgs(member, &list), "RomFieldCfgGetComponentCfgs");
        for (RomObject* component : Members(list)) field.components.push_back(RomGetSolverId(component));
        Check(RomFieldCfgGetSupportCfgIds(member, &list), "RomFieldCfgGetSupportCfgIds");
        for (RomObject* id : Members(list)) field.supports.push_back(RomSolverIdentifierGetId(id));
    }
    return out;
}

std::vector<CacheEntry> LoadCache(const std::string& path) {
    const Handle cache = Resumed(RomFactoryCreateSnapshotCache, path);
    const Json::Value root = ParseDocument(path);
    std::vector<CacheEntry> entries;
    for (const Json::Value& stored : root["snapshotCache"]["entries"]) {
        RomObject* query = nullptr;
        Check(RomFactoryCreateUserPoint(&query), "RomFactoryCreateUserPoint");
        const Handle owned(query);
        for (const Json::Value& parameter : stored["input"])
            Check(RomPointSetValue(query, parameter["id"].asCString(), parameter["value"].asDouble()),
                  "RomPointSetValue");
        RomObject* found = nullptr;
        Check(RomSnapshotCachePull(cache.get(), query, &found), "RomSnapshotCachePull");
        if (found == nullptr) throw Failure("the cache does not find its own entry");
        CacheEntry& entry = entries.emplace_back();
        const char* file = nullptr;
        Check(RomSnasphotCacheEntryGetSnapshotFile(found, &file), "RomSnasphotCacheEntryGetSnapshotFile");
        entry.snapshotFile = file;
        const std::tuple<const char*, RomExceptionHandle (*)(RomObject*, RomObject**), std::vector<Parameter>*>
            points[] = {{"input", RomSnapshotCacheEntryGetInputPoint, &entry.input},
                        {"output", RomSnapshotCacheEntryGetOutputPoint, &entry.output}};
        for (const auto& [key, get, parameters] : points) {
            RomObject* point = nullptr;
            Check(get(found, &point), key);
            for (const Json::Value& parameter : stored[key]) {
                Parameter& value = parameters->emplace_back(Parameter{parameter["id"].asString(), 0.0});
                Check(RomPointGetValue(point, value.name.c_str(), &value.value), "RomPointGetValue");
            }
        }
    }
    return entries;
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
            Check(RomSnapshotComponentDataGetAssignedEntityValueCount(values, &pair.assigned),
                  "GetAssignedEntityValueCount");
            Check(RomSnapshotComponentDataGetExpectedEntityValueCount(values, &pair.expected),
                  "GetExpectedEntityValueCount");
            Check(RomSupportCfgGetEntityCount(support, &pair.entities), "RomSupportCfgGetEntityCount");
            if (pair.assigned > pair.expected)
                throw Failure("the values of " + pair.component + " on " + pair.support + " count " +
                              std::to_string(pair.assigned) + " in tables of " + std::to_string(pair.expected));
            std::uint32_t* ids = nullptr;
            double* array = nullptr;
            Check(RomSnapshotComponentDataGetIdArray(values, &ids), "RomSnapshotComponentDataGetIdArray");
            Check(RomSnapshotComponentDataGetValueArray(values, &array), "RomSnapshotComponentDataGetValueArray");
            // The arrays hold the expected count when its last entry can be read.
            std::uint32_t id = 0;
            double value = 0;
            if (pair.expected != 0 &&
                (ids == nullptr || array == nullptr ||
                 !Released(RomSnapshotComponentDataGetValue(values, pair.expected - 1, &id, &value)).empty()))
                throw Failure("the tables of " + pair.component + " on " + pair.support + " do not hold the " +
                              std::to_string(pair.expected) + " values they expect");
            pair.ids = Table<std::uint32_t>{ids, pair.expected};
            pair.values = Table<double>{array, pair.expected};
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
