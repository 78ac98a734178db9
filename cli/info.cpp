// `tervikrom info`: what each file holds, as one JSON document or as indented text
// rendered from the same document.
#include <ostream>

#include <json/writer.h>

#include "cli.hpp"

namespace tervik::cli {
namespace {

template <class T>
Json::Value ArrayOf(const Table<T>& table) {
    Json::Value array(Json::arrayValue);
    for (std::uint32_t i = 0; i < table.count; ++i) array.append(table[i]);
    return array;
}

Json::Value SolverIds(RomObject* container) {
    Json::Value ids(Json::arrayValue);
    for (RomObject* member : Members(container)) ids.append(RomGetSolverId(member));
    return ids;
}

// Counts and connectivity size of one element part of a configuration.
Json::Value Sizes(RomObject* cfg, RomExceptionHandle (*count)(RomObject*, std::uint32_t*),
                  RomExceptionHandle (*size)(RomObject*, std::uint32_t*)) {
    std::uint32_t value = 0;
    Json::Value sizes;
    Check(count(cfg, &value), "count");
    sizes["count"] = value;
    Check(size(cfg, &value), "connectivity size");
    sizes["connectivitySize"] = value;
    return sizes;
}

Json::Value DescribeMeshDataCfg(RomObject* cfg) {
    Json::Value out;
    RomObject *part = nullptr, *elements = nullptr, *user = nullptr, *regions = nullptr;
    std::uint32_t count = 0;
    std::int32_t value = 0;
    Check(RomMeshDataCfgGetNodeDataCfg(cfg, &part), "RomMeshDataCfgGetNodeDataCfg");
    Check(RomNodeDataCfgGetCount(part, &count), "RomNodeDataCfgGetCount");
    Check(RomNodeDataCfgGetDimension(part, &value), "RomNodeDataCfgGetDimension");
    out["nodes"]["count"] = count;
    out["nodes"]["dimension"] = value;
    out["unit"] = Text(RomMeshDataCfgGetUnit, cfg);
    Check(RomMeshDataCfgGetElementDataCfg(cfg, &elements), "RomMeshDataCfgGetElementDataCfg");
    if (RomElementDataCfgTryGetStdElementDataCfg(elements, &part))
        out["standardElements"] =
            Sizes(part, RomStdElementDataCfgGetCount, RomStdElementDataCfgGetConnectivityTableSize);
    if (RomElementDataCfgTryGetUserElementDataCfg(elements, &user)) {
        if (RomUserElementDataCfgTryGetPolygonDataCfg(user, &part))
            out["polygons"] = Sizes(part, RomPolygonDataCfgGetCount, RomPolygonDataCfgGetConnectivityTableSize);
        if (RomUserElementDataCfgTryGetPolyhedronDataCfg(user, &part))
            out["polyhedrons"] =
                Sizes(part, RomPolyhedronDataCfgGetCount, RomPolyhedronDataCfgGetConnectivityTableSize);
    }
    Check(RomMeshDataCfgGetRegionCfgs(cfg, &regions), "RomMeshDataCfgGetRegionCfgs");
    Json::Value& regionList = out["regions"] = Json::Value(Json::arrayValue);
    for (RomObject* region : Members(regions)) {
        Json::Value entry;
        entry["solverId"] = RomGetSolverId(region);
        entry["caption"] = Text(RomRegionCfgGetCaption, region);
        RomObject* supports = nullptr;
        Check(RomRegionCfgGetSupportCfgs(region, &supports), "RomRegionCfgGetSupportCfgs");
        entry["supports"] = Json::Value(Json::arrayValue);
        for (RomObject* support : Members(supports)) {
            Json::Value item;
            item["solverId"] = RomGetSolverId(support);
            Check(RomSupportCfgGetEntitiesType(support, &value), "RomSupportCfgGetEntitiesType");
            item["entityType"] = value;
            Check(RomSupportCfgGetEntityCount(support, &count), "RomSupportCfgGetEntityCount");
            item["entityCount"] = count;
            entry["supports"].append(item);
        }
        regionList.append(entry);
    }
    return out;
}

Json::Value DescribeMesh(const std::string& path, bool tables) {
    const Mesh mesh = LoadMesh(path);
    Json::Value out = DescribeMeshDataCfg(mesh.configuration);
    if (out.isMember("standardElements")) {
        std::vector<std::uint32_t> counts(kElementKindCount);
        std::map<std::int32_t, std::uint32_t> unknown;
        for (std::uint32_t i = 0; i < mesh.types.count; ++i) {
            if (FindKind(mesh.types[i]) != nullptr)
                ++counts[static_cast<std::size_t>(mesh.types[i])];
            else
                ++unknown[mesh.types[i]];
        }
        Json::Value& kinds = out["standardElements"]["kinds"] = Json::Value(Json::objectValue);
        for (std::int32_t code = 0; code < kElementKindCount; ++code)
            if (counts[static_cast<std::size_t>(code)] != 0)
                kinds[kElementKinds[code].name] = counts[static_cast<std::size_t>(code)];
        for (const auto& [code, count] : unknown) kinds["unknown code " + std::to_string(code)] = count;
    }
    if (tables) {
        Json::Value& table = out["tables"];
        table["coordinates"] = ArrayOf(mesh.coordinates);
        table["nodeIds"] = ArrayOf(mesh.nodeIds);
        table["types"] = ArrayOf(mesh.types);
        table["elementIds"] = ArrayOf(mesh.elementIds);
        table["connectivity"] = ArrayOf(mesh.connectivity);
        table["polygonIds"] = ArrayOf(mesh.polygonIds);
        table["polygonConnectivity"] = ArrayOf(mesh.polygonConnectivity);
        table["polyhedronIds"] = ArrayOf(mesh.polyhedronIds);
        table["polyhedronConnectivity"] = ArrayOf(mesh.polyhedronConnectivity);
        for (const auto& support : mesh.supports) table["supports"][support.solverId] = ArrayOf(support.entities);
    }
    return out;
}

Json::Value DescribeSetup(RomObject* setup) {
    RomObject* meshData = nullptr;
    Check(RomSetupCfgGetMeshData(setup, &meshData), "RomSetupCfgGetMeshData");
    Json::Value out;
    out["meshData"] = DescribeMeshDataCfg(meshData);
    out["fields"] = Json::Value(Json::arrayValue);
    for (const Field& field : Fields(setup)) {
        Json::Value entry;
        entry["solverId"] = field.solverId;
        entry["caption"] = field.caption;
        entry["quantity"] = field.quantity;
        entry["unit"] = field.unit;
        entry["entityType"] = field.entityType;
        entry["components"] = entry["supports"] = Json::Value(Json::arrayValue);
        for (const std::string& component : field.components) entry["components"].append(component);
        for (const std::string& support : field.supports) entry["supports"].append(support);
        out["fields"].append(entry);
    }
    return out;
}

Json::Value DescribeSnapshotCfg(RomObject* cfg) {
    Json::Value out;
    RomObject *supports = nullptr, *components = nullptr;
    Check(RomSnapshotCfgGetComponentCfgs(cfg, &components), "RomSnapshotCfgGetComponentCfgs");
    out["components"] = SolverIds(components);
    Check(RomSnapshotCfgGetSupportCfgs(cfg, &supports), "RomSnapshotCfgGetSupportCfgs");
    out["supports"] = Json::Value(Json::arrayValue);
    for (RomObject* support : Members(supports)) {
        Json::Value entry;
        entry["solverId"] = RomGetSolverId(support);
        std::uint32_t count = 0;
        Check(RomSupportCfgGetEntityCount(support, &count), "RomSupportCfgGetEntityCount");
        entry["entityCount"] = count;
        if (RomExceptionHandle none = RomSnapshotCfgGetComponentsOfSupport(cfg, support, &components))
            RomReleaseException(none);
        else
            entry["components"] = SolverIds(components);
        out["supports"].append(entry);
    }
    return out;
}

Json::Value DescribeSnapshot(const std::string& path, bool tables) {
    const Snapshot snapshot = LoadSnapshot(path);
    Json::Value out;
    out["filled"] = snapshot.filled;
    out["pairs"] = Json::Value(Json::arrayValue);
    for (const auto& pair : snapshot.pairs) {
        Json::Value entry;
        entry["component"] = pair.component;
        entry["support"] = pair.support;
        entry["assigned"] = pair.assigned;
        entry["expected"] = pair.expected;
        entry["filled"] = pair.assigned == pair.expected;
        if (tables) {
            entry["ids"] = ArrayOf(pair.ids);
            entry["values"] = ArrayOf(pair.values);
        }
        out["pairs"].append(entry);
    }
    return out;
}

Json::Value DescribeCache(const std::string& path) {
    Json::Value out;
    out["entries"] = Json::Value(Json::arrayValue);
    for (const CacheEntry& entry : LoadCache(path)) {
        Json::Value item;
        item["snapshotFile"] = entry.snapshotFile;
        for (const auto& [key, parameters] : {std::pair{"input", &entry.input}, std::pair{"output", &entry.output}}) {
            item[key] = Json::Value(Json::objectValue);
            for (const Parameter& parameter : *parameters) item[key][parameter.name] = parameter.value;
        }
        out["entries"].append(item);
    }
    return out;
}

// resumed: the configuration DetectKind resumed.
Json::Value Describe(const std::string& path, FileKind kind, const Handle& resumed, bool tables) {
    switch (kind) {
        case FileKind::Setup:
            return DescribeSetup(resumed.get());
        case FileKind::MeshDataCfg:
            return DescribeMeshDataCfg(resumed.get());
        case FileKind::SnapshotCfg:
            return DescribeSnapshotCfg(resumed.get());
        case FileKind::Mesh:
            return DescribeMesh(path, tables);
        case FileKind::Snapshot:
            return DescribeSnapshot(path, tables);
        case FileKind::Cache:
            return DescribeCache(path);
        case FileKind::Project:
            Resumed(FactoryOf(kind), path);
            return Json::Value(Json::objectValue);
    }
    return Json::Value();
}

std::string Scalar(const Json::Value& value) {
    if (value.isString()) return value.asString();
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, value);
}

bool Flat(const Json::Value& array) {
    for (const Json::Value& item : array)
        if (item.isObject() || item.isArray()) return false;
    return true;
}

// One member a line, nested values indented; the first line of a list item starts with
// its own prefix ("  - ").
void RenderMembers(const Json::Value& object, const std::string& indent, std::ostream& out,
                   const std::string& first = "");

void RenderValue(const Json::Value& value, const std::string& indent, std::ostream& out) {
    if (value.isObject()) {
        out << "\n";
        RenderMembers(value, indent + "  ", out);
    } else if (value.isArray() && Flat(value)) {
        const char* separator = " ";
        for (const Json::Value& item : value) {
            out << separator << Scalar(item);
            separator = ", ";
        }
        out << "\n";
    } else if (value.isArray()) {
        out << "\n";
        for (const Json::Value& item : value) {
            if (item.isObject() && !item.empty()) {
                RenderMembers(item, indent + "    ", out, indent + "  - ");
                continue;
            }
            out << indent << "  -";
            RenderValue(item, indent + "  ", out);
        }
    } else {
        out << " " << Scalar(value) << "\n";
    }
}

void RenderMembers(const Json::Value& object, const std::string& indent, std::ostream& out, const std::string& first) {
    bool head = !first.empty();
    for (const std::string& name : object.getMemberNames()) {
        out << (head ? first : indent) << name << ":";
        head = false;
        RenderValue(object[name], indent, out);
    }
}

}  // namespace

int Info(const InfoOptions& options, std::ostream& out, std::ostream& err) {
    int status = 0;
    Json::Value files(Json::arrayValue);
    for (const std::string& path : options.files) {
        Json::Value file;
        try {
            Handle resumed;
            const FileKind kind = DetectKind(path, resumed);
            file = Describe(path, kind, resumed, options.tables);
            file["kind"] = KindName(kind);
            file["versions"] = ReadVersions(path, kind);
        } catch (const std::exception& error) {
            err << "tervikrom: " << path << ": " << error.what() << "\n";
            file = Json::Value(Json::objectValue);
            file["error"] = error.what();
            status = 1;
        }
        file["file"] = path;
        if (!options.json) {
            out << path << ": " << file.get("kind", "unreadable").asString() << "\n";
            file.removeMember("file");
            file.removeMember("kind");
            file.removeMember("error");  // said on the error stream
            RenderMembers(file, "  ", out);
        }
        files.append(file);
    }
    if (options.json) {
        Json::Value document;
        document["files"] = files;
        Json::StreamWriterBuilder writer;
        writer["indentation"] = "  ";
        out << Json::writeString(writer, document) << "\n";
    }
    return status;
}

}  // namespace tervik::cli
