// The mesh as data: node, element and support tables sized by the mesh configuration.
#ifndef TERVIK_ROM_SRC_MESH_MESH_DATA_HPP
#define TERVIK_ROM_SRC_MESH_MESH_DATA_HPP

#include <cstdint>
#include <memory>
#include <string>

#include <tervik/rom/mesh.hpp>

#include "common/container.hpp"
#include "common/identifiable.hpp"
#include "common/persistence.hpp"
#include "configuration/mesh_data_cfg.hpp"
#include "mesh/data_table.hpp"

namespace Tervik::Rom::Mesh {

// The serialization UUIDs of the mesh types.
inline constexpr char kMeshDataUuid[] = "D8068C8F-F166-44DE-A1F5-BCF1E20BA05D";
inline constexpr char kNodeDataUuid[] = "9E9ECC51-E899-4480-8AAB-29F4281EAEC8";
inline constexpr char kElementDataUuid[] = "B2827F1C-76DC-4514-BD2F-702389486A40";
inline constexpr char kStdElementDataUuid[] = "8C19FC0B-D5FE-485A-A368-22F8E6BFFAE3";
inline constexpr char kUserElementDataUuid[] = "EBD163FE-861F-46DD-9653-27DBC2066F0A";
inline constexpr char kPolygonDataUuid[] = "57A313BE-7039-47CE-816D-AD092717CA52";
inline constexpr char kPolyhedronDataUuid[] = "B8BFEE6A-D4B2-45D3-95D7-C90C1EBBD9E0";
inline constexpr char kSupportDataUuid[] = "C06D09B2-D600-4188-BA39-4AA42AD87366";
inline constexpr char kSupportDatasUuid[] = "4D7FE8D9-5054-448F-8449-CA5562DBB707";

inline constexpr char kNodeDataName[] = "CNodeData";
inline constexpr char kStdElementDataName[] = "CStdElementData";
inline constexpr char kPolygonDataName[] = "CPolygonData";
inline constexpr char kPolyhedronDataName[] = "CPolyhedronData";
inline constexpr char kSupportDataName[] = "CSupportData";

// A data object bound to a private copy of its configuration (class CfgCopy); every
// table operation first requires one. Name is the class named in its messages.
template <class Cfg, class CfgCopy, const char* Name>
class CConfigured : public virtual Configuration::IConfigurable<Cfg> {
public:
    const Cfg* GetConfiguration() const override { return configuration_.get(); }
    // Checks the configuration, discards the tables, keeps a copy.
    void Initialize(const Cfg& configuration) override {
        configuration.Check();
        ReleaseTables();
        configuration_.reset();
        configuration_ = std::make_unique<CfgCopy>(configuration);
    }
    bool IsInitialized() const override { return configuration_ != nullptr; }
    // The held copy, or null.
    const CfgCopy* Held() const { return configuration_.get(); }

protected:
    const CfgCopy& Cfg_() const {
        if (configuration_ == nullptr) throw Common::RomException(std::string(Name) + " is not initialized !");
        return *configuration_;
    }
    CfgCopy& MutableCfg() { return const_cast<CfgCopy&>(Cfg_()); }
    // Same initialized state and, when initialized, equal configurations.
    bool SameConfiguration(const CConfigured& other) const {
        if (IsInitialized() != other.IsInitialized()) return false;
        return !IsInitialized() || configuration_->Equals(*other.configuration_);
    }
    // After a resume: takes the configuration read unless an equal one is held, which is
    // kept with the texts callers may hold.
    void TakeConfiguration(CConfigured& read) noexcept {
        if (configuration_ == nullptr || read.configuration_ == nullptr ||
            !configuration_->Equals(*read.configuration_))
            configuration_.swap(read.configuration_);
    }
    virtual void ReleaseTables() = 0;

private:
    std::unique_ptr<CfgCopy> configuration_;
};

class CNodeData : public INodeData,
                  public CConfigured<Configuration::INodeDataCfg, Configuration::CNodeDataCfg, kNodeDataName>,
                  public Common::CIdentifiable {
public:
    static const TableNames kCoordinates, kIds;

    // Refuses, after the configuration's own check, counts whose coordinates make no table.
    void Initialize(const Configuration::INodeDataCfg& configuration) override;
    const char* GetSerializationUuid() const override { return kNodeDataUuid; }
    void CopyCoordinateTable(const double* data, std::uint32_t offset, std::uint32_t count) override {
        coordinates_.Copy(data, offset, count, CoordinateCount());
    }
    void CopyIds(const std::int32_t* data, std::uint32_t offset, std::uint32_t count) override {
        ids_.Copy(data, offset, count, Cfg_().GetCount());
    }
    double* GetCoordinateTable() override { return (Cfg_(), coordinates_.Get()); }
    std::int32_t* GetIds() override { return (Cfg_(), ids_.Get()); }
    void SetCoordinateTable(double* data) override { coordinates_.Set(data, CoordinateCount()); }
    void SetIds(std::int32_t* data) override { ids_.Set(data, Cfg_().GetCount()); }

    // The first element of each table for a writer that fills it.
    double* FillCoordinates() { return coordinates_.Fill(CoordinateCount()); }
    std::int32_t* FillIds() { return ids_.Fill(Cfg_().GetCount()); }
    const CTable<double>& Coordinates() const { return coordinates_; }
    CTable<double>& Coordinates() { return coordinates_; }
    const CTable<std::int32_t>& Ids() const { return ids_; }
    CTable<std::int32_t>& Ids() { return ids_; }

    bool Equals(const IRomObject& other) const override;
    // Takes over what a resume read into the node data of a new mesh data.
    void TakeResumed(CNodeData& read) noexcept {
        TakeConfiguration(read);
        coordinates_.Swap(read.coordinates_);
        ids_.Swap(read.ids_);
    }

private:
    std::uint32_t CoordinateCount() const { return Cfg_().GetCoordinateTableSize(); }
    void ReleaseTables() override;

    CTable<double> coordinates_{kCoordinates};
    CTable<std::int32_t> ids_{kIds};
};

class CStdElementData
    : public IStdElementData,
      public CConfigured<Configuration::IStdElementDataCfg, Configuration::CStdElementDataCfg, kStdElementDataName> {
public:
    static const TableNames kConnectivity, kIds, kTypes;

    const char* GetSerializationUuid() const override { return kStdElementDataUuid; }
    void CopyConnectivityTable(const std::int32_t* data, std::uint32_t offset, std::uint32_t count) override {
        connectivity_.Copy(data, offset, count, Cfg_().GetConnectivityTableSize());
    }
    void CopyIds(const std::int32_t* data, std::uint32_t offset, std::uint32_t count) override {
        ids_.Copy(data, offset, count, Cfg_().GetCount());
    }
    void CopyTypes(const std::int32_t* data, std::uint32_t offset, std::uint32_t count) override {
        types_.Copy(data, offset, count, Cfg_().GetCount());
    }
    std::int32_t* GetConnectivityTable() override { return (Cfg_(), connectivity_.Get()); }
    std::int32_t* GetIds() override { return (Cfg_(), ids_.Get()); }
    std::int32_t* GetTypes() override { return (Cfg_(), types_.Get()); }
    void SetConnectivityTable(std::int32_t* data) override {
        connectivity_.Set(data, Cfg_().GetConnectivityTableSize());
    }
    void SetIds(std::int32_t* data) override { ids_.Set(data, Cfg_().GetCount()); }
    void SetTypes(std::int32_t* data) override { types_.Set(data, Cfg_().GetCount()); }

    std::int32_t* FillConnectivity() { return connectivity_.Fill(Cfg_().GetConnectivityTableSize()); }
    std::int32_t* FillIds() { return ids_.Fill(Cfg_().GetCount()); }
    std::int32_t* FillTypes() { return types_.Fill(Cfg_().GetCount()); }
    const CTable<std::int32_t>& Connectivity() const { return connectivity_; }
    CTable<std::int32_t>& Connectivity() { return connectivity_; }
    const CTable<std::int32_t>& Ids() const { return ids_; }
    CTable<std::int32_t>& Ids() { return ids_; }
    const CTable<std::int32_t>& Types() const { return types_; }
    CTable<std::int32_t>& Types() { return types_; }

    bool Equals(const IRomObject& other) const override;
    // A record of a version this library does not know was passed over: a resume keeps
    // what an equally configured standard element data held.
    void PassedOver() { passedOver_ = true; }
    void TakeResumed(CStdElementData& read) noexcept;

private:
    void ReleaseTables() override;

    CTable<std::int32_t> connectivity_{kConnectivity};
    CTable<std::int32_t> ids_{kIds};
    CTable<std::int32_t> types_{kTypes};
    bool passedOver_ = false;
};

// Polygons or polyhedrons: ids and a self-describing connectivity table.
template <class I, class Cfg, class CfgCopy, const char* Name, const char* Uuid>
class CUserTableData : public I, public CConfigured<Cfg, CfgCopy, Name>, public Common::CIdentifiable {
public:
    static const TableNames kConnectivity, kIds;

    const char* GetSerializationUuid() const override { return Uuid; }
    void CopyConnectivityTable(const std::int32_t* data, std::uint32_t offset, std::uint32_t count) override {
        connectivity_.Copy(data, offset, count, this->Cfg_().GetConnectivityTableSize());
    }
    void CopyIds(const std::int32_t* data, std::uint32_t offset, std::uint32_t count) override {
        ids_.Copy(data, offset, count, this->Cfg_().GetCount());
    }
    std::int32_t* GetConnectivityTable() override { return (this->Cfg_(), connectivity_.Get()); }
    std::int32_t* GetIds() override { return (this->Cfg_(), ids_.Get()); }
    void SetConnectivityTable(std::int32_t* data) override {
        connectivity_.Set(data, this->Cfg_().GetConnectivityTableSize());
    }
    void SetIds(std::int32_t* data) override { ids_.Set(data, this->Cfg_().GetCount()); }

    std::int32_t* FillConnectivity() { return connectivity_.Fill(this->Cfg_().GetConnectivityTableSize()); }
    std::int32_t* FillIds() { return ids_.Fill(this->Cfg_().GetCount()); }
    const CTable<std::int32_t>& Connectivity() const { return connectivity_; }
    CTable<std::int32_t>& Connectivity() { return connectivity_; }
    const CTable<std::int32_t>& Ids() const { return ids_; }
    CTable<std::int32_t>& Ids() { return ids_; }

    bool Equals(const Common::IRomObject& other) const override {
        const auto* that = dynamic_cast<const CUserTableData*>(&other);
        return that != nullptr && this->SameConfiguration(*that) && connectivity_.Equals(that->connectivity_) &&
               ids_.Equals(that->ids_);
    }
    void TakeResumed(CUserTableData& read) noexcept {
        this->TakeConfiguration(read);
        connectivity_.Swap(read.connectivity_);
        ids_.Swap(read.ids_);
    }

private:
    void ReleaseTables() override {
        connectivity_.Release();
        ids_.Release();
    }

    CTable<std::int32_t> connectivity_{kConnectivity};
    CTable<std::int32_t> ids_{kIds};
};

using CPolygonData = CUserTableData<IPolygonData, Configuration::IPolygonDataCfg, Configuration::CPolygonDataCfg,
                                    kPolygonDataName, kPolygonDataUuid>;
using CPolyhedronData = CUserTableData<IPolyhedronData, Configuration::IPolyhedronDataCfg,
                                       Configuration::CPolyhedronDataCfg, kPolyhedronDataName, kPolyhedronDataUuid>;

// The texts of a data object made of two optional parts.
struct TwoPartDataTexts {
    const char* notInitialized;
    const char* noFirst;
    const char* noSecond;
};

// A data object of two optional parts, each built when its configuration has the part.
// Parts names the configuration's parts: Cfg, CfgCopy, First, Second, FirstCfg(cfg),
// SecondCfg(cfg), kTexts, kUuid.
template <class I, class Parts>
class CTwoPartData : public I, public Common::CIdentifiable {
public:
    using Cfg = typename Parts::Cfg;
    using First = typename Parts::First;
    using Second = typename Parts::Second;

    const Cfg* GetConfiguration() const override { return initialized_ ? configuration_.get() : nullptr; }
    void Initialize(const Cfg& configuration) override;
    bool IsInitialized() const override { return initialized_; }
    const char* GetSerializationUuid() const override { return Parts::kUuid; }

    bool Equals(const Common::IRomObject& other) const override;
    // Takes over what a resume read: a part present on both sides keeps its object.
    void TakeResumed(CTwoPartData& read) noexcept;

    // The parts, with the getters' checks.
    First& FirstPart() const { return Part(first_.get(), Parts::kTexts.noFirst); }
    Second& SecondPart() const { return Part(second_.get(), Parts::kTexts.noSecond); }
    bool HasFirst() const { return first_ != nullptr; }
    const typename Parts::CfgCopy* Held() const { return configuration_.get(); }
    bool HasSecond() const { return second_ != nullptr; }

private:
    template <class P>
    P& Part(P* part, const char* absent) const {
        if (!initialized_) throw Common::RomException(Parts::kTexts.notInitialized);
        if (part == nullptr) throw Common::RomException(absent);
        return *part;
    }

    std::unique_ptr<typename Parts::CfgCopy> configuration_;
    std::unique_ptr<First> first_;
    std::unique_ptr<Second> second_;
    bool initialized_ = false;
};

struct UserElementDataParts {
    using Cfg = Configuration::IUserElementDataCfg;
    using CfgCopy = Configuration::CUserElementDataCfg;
    using First = CPolyhedronData;
    using Second = CPolygonData;
    static const Configuration::IPolyhedronDataCfg* FirstCfg(const Cfg& cfg);
    static const Configuration::IPolygonDataCfg* SecondCfg(const Cfg& cfg);
    static const TwoPartDataTexts kTexts;
    static constexpr const char* kUuid = kUserElementDataUuid;
};

class CUserElementData : public CTwoPartData<IUserElementData, UserElementDataParts> {
public:
    IPolyhedronData& GetMutablePolyhedronData() override { return FirstPart(); }
    const IPolyhedronData& GetPolyhedronData() const override { return FirstPart(); }
    IPolygonData& GetMutablePolygonData() override { return SecondPart(); }
    const IPolygonData& GetPolygonData() const override { return SecondPart(); }
};

struct ElementDataParts {
    using Cfg = Configuration::IElementDataCfg;
    using CfgCopy = Configuration::CElementDataCfg;
    using First = CStdElementData;
    using Second = CUserElementData;
    static const Configuration::IStdElementDataCfg* FirstCfg(const Cfg& cfg);
    static const Configuration::IUserElementDataCfg* SecondCfg(const Cfg& cfg);
    static const TwoPartDataTexts kTexts;
    static constexpr const char* kUuid = kElementDataUuid;
};

class CElementData : public CTwoPartData<IElementData, ElementDataParts> {
public:
    IStdElementData& GetMutableStdElementData() override { return FirstPart(); }
    const IStdElementData& GetStdElementData() const override { return FirstPart(); }
    IUserElementData& GetMutableUserElementData() override { return SecondPart(); }
    const IUserElementData& GetUserElementData() const override { return SecondPart(); }
};

class CSupportData : public ISupportData,
                     public CConfigured<Configuration::ISupportCfg, Configuration::CSupportCfg, kSupportDataName>,
                     public Common::CIdentifiable {
public:
    static const TableNames kEntities;

    // The copy of a support data's configuration is marked as such.
    void Initialize(const Configuration::ISupportCfg& configuration) override;
    const char* GetSerializationUuid() const override { return kSupportDataUuid; }
    const std::string& GetSolverId() const override { return Cfg_().GetSolverId(); }
    void SetSolverId(const std::string& solverId) override { MutableCfg().SetSolverId(solverId); }
    void CopyEntities(const std::int32_t* data, std::uint32_t offset, std::uint32_t count) override {
        entities_.Copy(data, offset, count, Cfg_().GetEntityCount());
    }
    std::int32_t* GetEntities() override { return (Cfg_(), entities_.Get()); }
    void SetEntities(std::int32_t* data) override { entities_.Set(data, Cfg_().GetEntityCount()); }

    std::int32_t* FillEntities() { return entities_.Fill(Cfg_().GetEntityCount()); }
    const CTable<std::int32_t>& Entities() const { return entities_; }
    CTable<std::int32_t>& Entities() { return entities_; }

    bool Equals(const IRomObject& other) const override;
    void TakeResumed(CSupportData& read) noexcept {
        TakeConfiguration(read);
        entities_.Swap(read.entities_);
    }

private:
    void ReleaseTables() override { entities_.Release(); }

    CTable<std::int32_t> entities_{kEntities};
};

class CSupportDatas : public Common::CContainerWithJsonService<CSupportData, ISupportData>,
                      public virtual Configuration::IConfigurable<Common::IContainer<Configuration::ISupportCfg>>,
                      public virtual Common::ISerializable {
public:
    using Cfg = Common::IContainer<Configuration::ISupportCfg>;

    const Cfg* GetConfiguration() const override { return configuration_.get(); }
    // Checks every support, then copies them and makes one initialized support data each.
    void Initialize(const Cfg& configuration) override;
    bool IsInitialized() const override;
    const char* GetSerializationUuid() const override { return kSupportDatasUuid; }
    const Configuration::CSupportCfgs* Held() const { return configuration_.get(); }
    // Takes over what a resume read: with the same supports, each support data keeps its object.
    void TakeResumed(CSupportDatas& read) noexcept;

private:
    std::unique_ptr<Configuration::CSupportCfgs> configuration_;
};

class CMeshData : public IMeshData, public Common::CIdentifiable, public Common::CPersistableBinary {
public:
    const Configuration::IMeshDataCfg* GetConfiguration() const override;
    void Initialize(const Configuration::IMeshDataCfg& configuration) override;
    bool IsInitialized() const override { return initialized_; }
    IElementData& GetMutableElementData() override;
    const IElementData& GetElementData() const override;
    INodeData& GetMutableNodeData() override;
    const INodeData& GetNodeData() const override;
    const Common::IContainer<ISupportData>& GetSupportDatas() const override;
    ISupportData& GetMutableSupportData(const std::string& solverId) override;
    const ISupportData& GetSupportData(const std::string& solverId) const override;

    const char* GetSerializationUuid() const override { return kMeshDataUuid; }
    const std::string& GetFileExtension() const override;
    bool Equals(const IRomObject& other) const override;

    const Configuration::CMeshDataCfg* Held() const { return configuration_.get(); }
    CElementData& ElementData() { return elementData_; }
    const CElementData& ElementData() const { return elementData_; }
    CNodeData& NodeData() { return nodeData_; }
    const CNodeData& NodeData() const { return nodeData_; }
    CSupportDatas& SupportDatas() { return supportDatas_; }
    const CSupportDatas& SupportDatas() const { return supportDatas_; }
    // The first support data with this solver id.
    CSupportData& FindSupportData(const std::string& solverId) const;

protected:
    std::unique_ptr<Common::CPersistableBinary> MakeEmpty() const override { return std::make_unique<CMeshData>(); }
    // The sub-objects stay the same objects (the handles callers hold remain valid) and take
    // the tables read; an equal configuration held is kept.
    void TakeResumed(Common::CPersistableBinary& read) noexcept override;

private:
    void RequireInitialized() const;

    std::unique_ptr<Configuration::CMeshDataCfg> configuration_;
    CElementData elementData_;
    CNodeData nodeData_;
    CSupportDatas supportDatas_;
    bool initialized_ = false;
    mutable Common::CSolverIdIndex<CSupportData> supportIndex_;
};

}  // namespace Tervik::Rom::Mesh

#endif
