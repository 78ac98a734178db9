// Bodies of the mesh files. Every body starts with the object's configuration; array
// lengths are never written, the reader takes them from that configuration.
#include <string>

#include "common/persistence.hpp"
#include "mesh/mesh_data.hpp"

namespace Tervik::Rom::Mesh {

namespace {

using namespace Common;
using Configuration::SupportContext;

constexpr std::int32_t kVersion = 1;

void Require(bool condition, const char* missing) {
    if (!condition) throw RomException(missing);
}

void WriteConfiguration(ISerializationFile& file, const JsonService& configuration) {
    WriteEnvelope(file, configuration);
}

// Before an object is initialised with a configuration read: its check, then what the
// initialisation would refuse beyond it, as a fault of the file.
template <class Cfg>
void CheckRead(const ISerializationFile&, const Cfg&) {}
void CheckNodes(const ISerializationFile& file, const Configuration::INodeDataCfg& cfg) {
    RefuseResume(file.GetFileName(), Configuration::CoordinateTableProblem(cfg));
}
void CheckRead(const ISerializationFile& file, const Configuration::CNodeDataCfg& cfg) {
    cfg.Check();
    CheckNodes(file, cfg);
}
void CheckRead(const ISerializationFile& file, const Configuration::CMeshDataCfg& cfg) {
    cfg.Check();
    CheckNodes(file, cfg.GetNodeDataCfg());
}

// Reads a configuration into cfg and initialises the object with it unless the object
// holds an equal one already; then refuses a file too short for the bytes it announces
// before any table is sized from it.
template <class Object, class Cfg, class Announced>
void ReadConfiguration(ISerializationFile& file, Object& object, Cfg& cfg, JsonService& reader, Announced announced) {
    IStreamAdapter& stream = *file.GetStreamAdapter();
    Json::Value envelope;
    stream.Read(envelope);
    FromEnvelope(envelope, reader);
    if (!object.IsInitialized() || !object.GetConfiguration()->Equals(cfg)) {
        CheckRead(file, cfg);
        object.Initialize(cfg);
    }
    stream.RequireRemaining(announced(cfg), 1);
}

template <class Object, class Cfg, class Announced>
void ReadConfiguration(ISerializationFile& file, Object& object, Cfg& cfg, Announced announced) {
    ReadConfiguration(file, object, cfg, cfg, announced);
}

constexpr auto kNothingAnnounced = [](const auto&) { return std::uint64_t{0}; };

template <class T>
void WriteTable(ISerializationFile& file, const CTable<T>& table) {
    file.GetStreamAdapter()->Write(table.Record()->data, table.Record()->count);
}

template <class T>
void ReadTable(ISerializationFile& file, CTable<T>& table, std::uint32_t size) {
    file.GetStreamAdapter()->Read(table.Resize(size), size);
}

template <class T, const char* Uuid>
class CMeshFactory : public CSerializationFactory<T> {
public:
    std::int32_t GetVersion() const override { return kVersion; }
    const char* GetUuid() const override { return Uuid; }
};

// ---- Tables -----------------------------------------------------------------------

class CNodeDataFactory final : public CMeshFactory<CNodeData, kNodeDataUuid> {
protected:
    void Write(ISerializationFile& file, const CNodeData& data) const override {
        Require(data.Held() != nullptr, "Trying to serialize CNodeData without configuration !");
        Require(data.Ids().IsPresent(), "Trying to serialize CNodeData without ids !");
        Require(data.Coordinates().IsPresent(), "Trying to serialize CNodeData without coordinate table !");
        WriteConfiguration(file, *data.Held());
        WriteTable(file, data.Ids());
        WriteTable(file, data.Coordinates());
    }
    void Read(ISerializationFile& file, CNodeData& data, std::int32_t version) const override {
        RequireVersion(version, "The node data have been saved using the unsupported version ");
        Configuration::CNodeDataCfg cfg;
        ReadConfiguration(file, data, cfg, [](const Configuration::CNodeDataCfg& c) {
            return std::uint64_t{c.GetCount()} * 4 + std::uint64_t{c.GetCoordinateTableSize()} * 8;
        });
        ReadTable(file, data.Ids(), cfg.GetCount());
        ReadTable(file, data.Coordinates(), cfg.GetCoordinateTableSize());
    }
};

class CStdElementDataFactory final : public CMeshFactory<CStdElementData, kStdElementDataUuid> {
protected:
    void Write(ISerializationFile& file, const CStdElementData& data) const override {
        Require(data.Held() != nullptr, "Trying to serialize CStdElementData without configuration !");
        Require(data.Ids().IsPresent(), "Trying to serialize CStdElementData without ids !");
        Require(data.Types().IsPresent(), "Trying to serialize CStdElementData without types !");
        Require(data.Connectivity().IsPresent(), "Trying to serialize CStdElementData without connectivity table !");
        WriteConfiguration(file, *data.Held());
        WriteTable(file, data.Ids());
        WriteTable(file, data.Types());  // the same bytes as one unsigned integer at a time
        WriteTable(file, data.Connectivity());
    }
    void Read(ISerializationFile& file, CStdElementData& data, std::int32_t version) const override {
        if (version != kVersion) {  // an unknown version is passed over, the object left as it was
            data.PassedOver();
            return;
        }
        Configuration::CStdElementDataCfg cfg;
        ReadConfiguration(file, data, cfg, [](const Configuration::CStdElementDataCfg& c) {
            return std::uint64_t{c.GetCount()} * 8 + std::uint64_t{c.GetConnectivityTableSize()} * 4;
        });
        ReadTable(file, data.Ids(), cfg.GetCount());
        ReadTable(file, data.Types(), cfg.GetCount());
        ReadTable(file, data.Connectivity(), cfg.GetConnectivityTableSize());
    }
};

// Polygons and polyhedrons: ids, then connectivity.
template <class Data, class Cfg, const char* Uuid>
class CUserTableFactory final : public CMeshFactory<Data, Uuid> {
public:
    CUserTableFactory(const char* noConfiguration, const char* noIds, const char* noConnectivity, const char* version)
        : noConfiguration_(noConfiguration), noIds_(noIds), noConnectivity_(noConnectivity), version_(version) {}

protected:
    void Write(ISerializationFile& file, const Data& data) const override {
        Require(data.Held() != nullptr, noConfiguration_);
        Require(data.Ids().IsPresent(), noIds_);
        Require(data.Connectivity().IsPresent(), noConnectivity_);
        WriteConfiguration(file, *data.Held());
        WriteTable(file, data.Ids());
        WriteTable(file, data.Connectivity());
    }
    void Read(ISerializationFile& file, Data& data, std::int32_t version) const override {
        this->RequireVersion(version, version_);
        Cfg cfg;
        ReadConfiguration(file, data, cfg, [](const Cfg& c) {
            return (std::uint64_t{c.GetCount()} + c.GetConnectivityTableSize()) * 4;
        });
        ReadTable(file, data.Ids(), cfg.GetCount());
        ReadTable(file, data.Connectivity(), cfg.GetConnectivityTableSize());
    }

private:
    const char* noConfiguration_;
    const char* noIds_;
    const char* noConnectivity_;
    const char* version_;
};

class CSupportDataFactory final : public CMeshFactory<CSupportData, kSupportDataUuid> {
protected:
    void Write(ISerializationFile& file, const CSupportData& data) const override {
        Require(data.Held() != nullptr, "Trying to serialize CSupportData without configuration !");
        Require(data.Entities().IsPresent(), "Trying to serialize CSupportData without entities !");
        WriteConfiguration(file, *data.Held());
        WriteTable(file, data.Entities());
    }
    void Read(ISerializationFile& file, CSupportData& data, std::int32_t version) const override {
        RequireVersion(version, "The mesh has been saved using the unsupported version ");
        Configuration::CSupportCfg cfg;
        cfg.SetContext(SupportContext::MeshSupportData);
        ReadConfiguration(file, data, cfg,
                          [](const Configuration::CSupportCfg& c) { return std::uint64_t{c.GetEntityCount()} * 4; });
        ReadTable(file, data.Entities(), cfg.GetEntityCount());
    }
};

// ---- Composites -------------------------------------------------------------------

// The configuration of the support datas: the supports as a JSON array.
class CSupportCfgsJson final : public JsonService {
public:
    explicit CSupportCfgsJson(const Configuration::CSupportCfgs& supports) : supports_(supports) {}
    void ToJson(Json::Value& value) const override { supports_.ToJson(value); }
    void FromJson(const Json::Value& value, std::uint32_t version) override {
        auto& supports = const_cast<Configuration::CSupportCfgs&>(supports_);
        Configuration::ReadWithContext(supports, value, version, SupportContext::MeshSupportData);
    }

private:
    const Configuration::CSupportCfgs& supports_;
};

class CSupportDatasFactory final : public CMeshFactory<CSupportDatas, kSupportDatasUuid> {
protected:
    void Write(ISerializationFile& file, const CSupportDatas& datas) const override {
        Require(datas.Held() != nullptr, "Trying to serialize CSupportDatas without configuration !");
        WriteConfiguration(file, CSupportCfgsJson(*datas.Held()));
        for (const CSupportData* data : datas.Members()) WriteObject(file, data);
    }
    void Read(ISerializationFile& file, CSupportDatas& datas, std::int32_t version) const override {
        RequireVersion(version, "The support data container has been saved using the unsupported version ");
        Configuration::CSupportCfgs cfg;
        CSupportCfgsJson reader(cfg);
        ReadConfiguration(file, datas, cfg, reader, kNothingAnnounced);
        for (CSupportData* data : datas.Members()) ReadObject(file, *data);
    }
};

// Element data and user element data: the configuration, then each part present.
// First is written after Second when the layout says so.
template <class Data, const char* Uuid, bool kSecondFirst>
class CTwoPartFactory final : public CMeshFactory<Data, Uuid> {
public:
    explicit CTwoPartFactory(const char* version) : version_(version) {}

protected:
    using Cfg = std::remove_const_t<std::remove_pointer_t<decltype(std::declval<Data>().Held())>>;

    void Write(ISerializationFile& file, const Data& data) const override {
        static const Cfg none;
        WriteConfiguration(file, data.Held() != nullptr ? *data.Held() : none);
        ForEachPart(data, [&](auto& part) { WriteObject(file, &part); });
    }
    void Read(ISerializationFile& file, Data& data, std::int32_t version) const override {
        this->RequireVersion(version, version_);
        Cfg cfg;
        ReadConfiguration(file, data, cfg, kNothingAnnounced);
        ForEachPart(data, [&](auto& part) { ReadObject(file, part); });
    }

private:
    template <class D, class Action>
    static void ForEachPart(D& data, Action action) {
        if (kSecondFirst && data.HasSecond()) action(data.SecondPart());
        if (data.HasFirst()) action(data.FirstPart());
        if (!kSecondFirst && data.HasSecond()) action(data.SecondPart());
    }

    const char* version_;
};

// ---- What a whole mesh file must agree on ----------------------------------------------
// Each nested object is read with the configuration its own record holds; once all is
// read, those must be the configurations their owners announce, and the self-describing
// tables must lie inside themselves, or a consumer sizing a table from one and walking it
// by the other would read past it.

using Configuration::IPolygonDataCfg;
using Configuration::IPolyhedronDataCfg;
using Configuration::IStdElementDataCfg;

std::string Describe(const Configuration::INodeDataCfg* cfg, const char*) {
    if (cfg == nullptr) return "no nodes";
    return std::to_string(cfg->GetCount()) + " nodes of dimension " + std::to_string(cfg->GetDimension());
}
template <class TableCfg>
std::string Describe(const TableCfg* cfg, const char* kind) {
    if (cfg == nullptr) return std::string("no ") + kind;
    return std::to_string(cfg->GetCount()) + " " + kind + " in a connectivity table of " +
           std::to_string(cfg->GetConnectivityTableSize());
}
std::string Describe(const Configuration::ISupportCfg* cfg, const char*) {
    if (cfg == nullptr) return "no support";
    return "the support " + cfg->GetSolverId() + " of " + std::to_string(cfg->GetEntityCount()) + " entities of type " +
           std::to_string(cfg->GetEntitiesType());
}

// "" when part (of the object named) is what governing (of its owner) announces.
template <class Cfg>
std::string Mismatch(const Cfg* part, const char* object, const Cfg* governing, const char* owner, const char* kind) {
    if (part == nullptr ? governing == nullptr : governing != nullptr && part->Equals(*governing)) return std::string();
    return std::string("its ") + object + " announce " + Describe(part, kind) + " where its " + owner + " announce " +
           Describe(governing, kind) + ".";
}

template <class Get, class Cfg>
auto PartOf(const Cfg* cfg, Get get) -> decltype(get(*cfg)) {
    return cfg == nullptr ? nullptr : get(*cfg);
}
const IStdElementDataCfg* StandardOf(const Configuration::IElementDataCfg& cfg) {
    const IStdElementDataCfg* part = nullptr;
    cfg.TryGetStdElementDataCfg(part);
    return part;
}
const Configuration::IUserElementDataCfg* UserOf(const Configuration::IElementDataCfg& cfg) {
    const Configuration::IUserElementDataCfg* part = nullptr;
    cfg.TryGetUserElementDataCfg(part);
    return part;
}
const IPolyhedronDataCfg* PolyhedronsOf(const Configuration::IUserElementDataCfg& cfg) {
    const IPolyhedronDataCfg* part = nullptr;
    cfg.TryGetPolyhedronDataCfg(part);
    return part;
}
const IPolygonDataCfg* PolygonsOf(const Configuration::IUserElementDataCfg& cfg) {
    const IPolygonDataCfg* part = nullptr;
    cfg.TryGetPolygonDataCfg(part);
    return part;
}

// The three tables an element data configuration sizes, against those of its owner's.
std::string ElementMismatch(const Configuration::IElementDataCfg* part, const char* object,
                            const Configuration::IElementDataCfg* governing, const char* owner) {
    const auto* user = PartOf(part, UserOf);
    const auto* governingUser = PartOf(governing, UserOf);
    std::string problem =
        Mismatch(PartOf(part, StandardOf), object, PartOf(governing, StandardOf), owner, "standard elements");
    if (problem.empty())
        problem =
            Mismatch(PartOf(user, PolyhedronsOf), object, PartOf(governingUser, PolyhedronsOf), owner, "polyhedrons");
    if (problem.empty())
        problem = Mismatch(PartOf(user, PolygonsOf), object, PartOf(governingUser, PolygonsOf), owner, "polygons");
    return problem;
}
std::string UserMismatch(const Configuration::IUserElementDataCfg* part, const char* object,
                         const Configuration::IUserElementDataCfg* governing, const char* owner) {
    std::string problem =
        Mismatch(PartOf(part, PolyhedronsOf), object, PartOf(governing, PolyhedronsOf), owner, "polyhedrons");
    if (problem.empty())
        problem = Mismatch(PartOf(part, PolygonsOf), object, PartOf(governing, PolygonsOf), owner, "polygons");
    return problem;
}

// Each polygon (n, then n nodes) or polyhedron (F, then per face n and n nodes) of the
// configured count lies inside the connectivity table.
template <class Data>
std::string SliceProblem(const Data& data, bool polyhedrons) {
    const DataTable<std::int32_t>* table = data.Connectivity().Record();
    if (table == nullptr || data.Held() == nullptr) return std::string();
    const char* const kind = polyhedrons ? "polyhedron " : "polygon ";
    const std::uint64_t size = table->count;
    const auto countAt = [&](std::uint64_t at) { return std::uint64_t{static_cast<std::uint32_t>(table->data[at])}; };
    const auto past = [&](std::uint64_t at, std::uint64_t announced, const std::string& what) {
        return what + " announces " + std::to_string(announced) + ", where the connectivity table of " +
               std::to_string(size) + " entries holds " + std::to_string(size - at) + " after it.";
    };
    const auto beyond = [&](const std::string& what) {
        return what + " lies past the end of the connectivity table of " + std::to_string(size) + " entries.";
    };
    std::uint64_t at = 0;
    for (std::uint32_t i = 0; i < data.Held()->GetCount(); ++i) {
        const auto element = [&] { return "its " + std::string(kind) + std::to_string(i); };
        if (at >= size) return beyond(element());
        const std::uint64_t count = countAt(at++);
        if (!polyhedrons) {
            if (count > size - at) return past(at, count, element() + " (nodes)");
            at += count;
            continue;
        }
        // Every face takes one entry at least.
        if (count > size - at) return past(at, count, element() + " (faces)");
        for (std::uint64_t face = 0; face < count; ++face) {
            const auto which = [&] { return "face " + std::to_string(face) + " of " + element(); };
            if (at >= size) return beyond(which());
            const std::uint64_t nodes = countAt(at++);
            if (nodes > size - at) return past(at, nodes, which() + " (nodes)");
            at += nodes;
        }
    }
    return std::string();
}

std::string MeshDataProblem(const CMeshData& mesh) {
    const Configuration::CMeshDataCfg& cfg = *mesh.Held();
    const CNodeData& nodes = mesh.NodeData();
    std::string problem =
        Mismatch<Configuration::INodeDataCfg>(nodes.Held(), "node data", &cfg.GetNodeDataCfg(), "mesh data", "");
    const CElementData& elements = mesh.ElementData();
    if (problem.empty())
        problem = ElementMismatch(elements.Held(), "element data", &cfg.GetElementDataCfg(), "mesh data");
    if (problem.empty() && elements.HasFirst())
        problem =
            Mismatch<IStdElementDataCfg>(elements.FirstPart().Held(), "standard element data",
                                         PartOf(elements.Held(), StandardOf), "element data", "standard elements");
    if (problem.empty() && elements.HasSecond()) {
        const CUserElementData& user = elements.SecondPart();
        problem = UserMismatch(user.Held(), "user element data", PartOf(elements.Held(), UserOf), "element data");
        if (problem.empty() && user.HasFirst())
            problem =
                Mismatch<IPolyhedronDataCfg>(user.FirstPart().Held(), "polyhedron data",
                                             PartOf(user.Held(), PolyhedronsOf), "user element data", "polyhedrons");
        if (problem.empty() && user.HasSecond())
            problem = Mismatch<IPolygonDataCfg>(user.SecondPart().Held(), "polygon data",
                                                PartOf(user.Held(), PolygonsOf), "user element data", "polygons");
    }
    if (!problem.empty()) return problem;

    const CSupportDatas& supports = mesh.SupportDatas();
    const auto& announced = cfg.Supports().Members();
    if (supports.Held() == nullptr || supports.Held()->GetCount() != announced.size())
        return "its support data list " + std::to_string(supports.Held() == nullptr ? 0 : supports.Held()->GetCount()) +
               " supports where its mesh data announce " + std::to_string(announced.size()) + ".";
    for (std::size_t i = 0; i < announced.size() && problem.empty(); ++i) {
        problem = Mismatch<Configuration::ISupportCfg>(supports.Held()->Members()[i], "support data", announced[i],
                                                       "mesh data", "");
        if (problem.empty())
            problem = Mismatch<Configuration::ISupportCfg>(supports.Members()[i]->Held(), "support data record",
                                                           supports.Held()->Members()[i], "support data list", "");
    }
    if (!problem.empty()) return problem;

    if (elements.HasSecond()) {
        const CUserElementData& user = elements.SecondPart();
        if (user.HasFirst()) problem = SliceProblem(user.FirstPart(), true);
        if (problem.empty() && user.HasSecond()) problem = SliceProblem(user.SecondPart(), false);
    }
    return problem;
}

class CMeshDataFactory final : public CMeshFactory<CMeshData, kMeshDataUuid> {
protected:
    void Write(ISerializationFile& file, const CMeshData& mesh) const override {
        // It would be written without its tables, as a file that resumes nothing.
        if (!mesh.IsInitialized()) throw RomException("CMeshData is not initialized !");
        WriteConfiguration(file, *mesh.Held());
        if (mesh.NodeData().IsInitialized()) WriteObject(file, &mesh.NodeData());
        if (mesh.ElementData().IsInitialized()) WriteObject(file, &mesh.ElementData());
        if (mesh.SupportDatas().IsInitialized()) WriteObject(file, &mesh.SupportDatas());
    }
    void Read(ISerializationFile& file, CMeshData& mesh, std::int32_t version) const override {
        RequireVersion(version, "The mesh data have been saved using the unsupported version ");
        Configuration::CMeshDataCfg cfg;
        ReadConfiguration(file, mesh, cfg, kNothingAnnounced);
        if (mesh.NodeData().IsInitialized()) ReadObject(file, mesh.NodeData());
        if (mesh.ElementData().IsInitialized()) ReadObject(file, mesh.ElementData());
        if (mesh.SupportDatas().IsInitialized()) ReadObject(file, mesh.SupportDatas());
    }
    void Check(const CMeshData& mesh, const std::string& fileName) const override {
        RefuseResume(fileName, MeshDataProblem(mesh));
    }
};

const CMeshDataFactory meshData;
const CNodeDataFactory nodeData;
const CTwoPartFactory<CElementData, kElementDataUuid, false> elementData(
    "The element data have been saved using the unsupported version ");
const CStdElementDataFactory stdElementData;
const CTwoPartFactory<CUserElementData, kUserElementDataUuid, true> userElementData(
    "The user element data has been saved using the unsupported version ");
const CUserTableFactory<CPolygonData, Configuration::CPolygonDataCfg, kPolygonDataUuid> polygonData(
    "Trying to serialize CPolygonData without configuration !", "Trying to serialize CPolygonData without ids !",
    "Trying to serialize CPolygonData without connectivity table !",
    "The polygon data has been saved using the unsupported version ");
const CUserTableFactory<CPolyhedronData, Configuration::CPolyhedronDataCfg, kPolyhedronDataUuid> polyhedronData(
    "Trying to serialize CPolyhedronData without configuration !", "Trying to serialize CPolyhedronData without ids !",
    "Trying to serialize CPolyhedronData without connectivity table !",
    "The polyhedron data has been saved using the unsupported version ");
const CSupportDataFactory supportData;
const CSupportDatasFactory supportDatas;
const CSerializationFactoryRegistration registration{&meshData,       &nodeData,        &elementData,
                                                     &stdElementData, &userElementData, &polygonData,
                                                     &polyhedronData, &supportData,     &supportDatas};

}  // namespace

}  // namespace Tervik::Rom::Mesh
