// Bodies of the mesh files. Every body starts with the object's configuration; array
// lengths are never written, the reader takes them from that configuration.
#include "mesh/serialization/mesh_factories.hpp"

#include <string>

#include "mesh/mesh_data.hpp"

namespace Tervik::Rom::Mesh {

namespace {

using namespace Common;
using Configuration::SupportContext;

constexpr std::int32_t kVersion = 1;

void CheckVersion(std::int32_t version, const char* head) {
    if (version != kVersion)
        throw RomException(head + std::to_string(version) + ". (Current supported version: " +
                           std::to_string(kVersion) + ")");
}

void Require(bool condition, const char* missing) {
    if (!condition) throw RomException(missing);
}

void WriteConfiguration(ISerializationFile& file, const JsonService& configuration) {
    file.GetStreamAdapter()->Write(ToEnvelope(configuration));
}

// Reads a configuration into cfg, refuses a file too short for the bytes it announces,
// then initialises the object with it unless the object holds an equal one already.
template <class Object, class Cfg, class Announced>
void ReadConfiguration(ISerializationFile& file, Object& object, Cfg& cfg, JsonService& reader, Announced announced) {
    IStreamAdapter& stream = *file.GetStreamAdapter();
    Json::Value envelope;
    stream.Read(envelope);
    FromEnvelope(envelope, reader);
    stream.RequireRemaining(announced(cfg), 1);
    if (!object.IsInitialized() || !object.GetConfiguration()->Equals(cfg)) object.Initialize(cfg);
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
        CheckVersion(version, "The node data have been saved using the unsupported version ");
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
        if (version != kVersion) return;  // an unknown version is passed over, the object left as it was
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
        CheckVersion(version, version_);
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
        CheckVersion(version, "The mesh has been saved using the unsupported version ");
        Configuration::CSupportCfg cfg;
        ReadConfiguration(file, data, cfg, [](Configuration::CSupportCfg& c) {
            c.SetContext(SupportContext::MeshSupportData);
            return std::uint64_t{c.GetEntityCount()} * 4;
        });
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
        CheckVersion(version, "The support data container has been saved using the unsupported version ");
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
        CheckVersion(version, version_);
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

class CMeshDataFactory final : public CMeshFactory<CMeshData, kMeshDataUuid> {
protected:
    void Write(ISerializationFile& file, const CMeshData& mesh) const override {
        static const Configuration::CMeshDataCfg none;
        WriteConfiguration(file, mesh.Held() != nullptr ? *mesh.Held() : none);
        if (mesh.NodeData().IsInitialized()) WriteObject(file, &mesh.NodeData());
        if (mesh.ElementData().IsInitialized()) WriteObject(file, &mesh.ElementData());
        if (mesh.SupportDatas().IsInitialized()) WriteObject(file, &mesh.SupportDatas());
    }
    void Read(ISerializationFile& file, CMeshData& mesh, std::int32_t version) const override {
        CheckVersion(version, "The mesh data have been saved using the unsupported version ");
        Configuration::CMeshDataCfg cfg;
        ReadConfiguration(file, mesh, cfg, kNothingAnnounced);
        if (mesh.NodeData().IsInitialized()) ReadObject(file, mesh.NodeData());
        if (mesh.ElementData().IsInitialized()) ReadObject(file, mesh.ElementData());
        if (mesh.SupportDatas().IsInitialized()) ReadObject(file, mesh.SupportDatas());
    }
};

}  // namespace

const ISerializationFactory* const* MeshSerializationFactories() {
    static const CMeshDataFactory meshData;
    static const CNodeDataFactory nodeData;
    static const CTwoPartFactory<CElementData, kElementDataUuid, false> elementData(
        "The element data have been saved using the unsupported version ");
    static const CStdElementDataFactory stdElementData;
    static const CTwoPartFactory<CUserElementData, kUserElementDataUuid, true> userElementData(
        "The user element data has been saved using the unsupported version ");
    static const CUserTableFactory<CPolygonData, Configuration::CPolygonDataCfg, kPolygonDataUuid> polygonData(
        "Trying to serialize CPolygonData without configuration !", "Trying to serialize CPolygonData without ids !",
        "Trying to serialize CPolygonData without connectivity table !",
        "The polygon data has been saved using the unsupported version ");
    static const CUserTableFactory<CPolyhedronData, Configuration::CPolyhedronDataCfg, kPolyhedronDataUuid>
        polyhedronData("Trying to serialize CPolyhedronData without configuration !",
                       "Trying to serialize CPolyhedronData without ids !",
                       "Trying to serialize CPolyhedronData without connectivity table !",
                       "The polyhedron data has been saved using the unsupported version ");
    static const CSupportDataFactory supportData;
    static const CSupportDatasFactory supportDatas;
    static const ISerializationFactory* const factories[kMeshFactoryCount] = {
        &meshData, &nodeData, &elementData, &stdElementData, &userElementData,
        &polygonData, &polyhedronData, &supportData, &supportDatas};
    return factories;
}

}  // namespace Tervik::Rom::Mesh
