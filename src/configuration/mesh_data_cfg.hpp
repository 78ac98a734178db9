// Supports, regions and the mesh data configuration.
#ifndef TERVIK_ROM_SRC_CONFIGURATION_MESH_DATA_CFG_HPP
#define TERVIK_ROM_SRC_CONFIGURATION_MESH_DATA_CFG_HPP

#include <cstdint>
#include <memory>
#include <string>

#include <tervik/rom/configuration.hpp>

#include "common/container.hpp"
#include "common/identifiable.hpp"
#include "common/persistence.hpp"
#include "configuration/table_cfgs.hpp"

namespace Tervik::Rom::Configuration {

// Who adopted a support; it decides what the support's Check demands. Never persisted.
enum class SupportContext : std::uint32_t { None = 0, Snapshot = 1, Region = 2, MeshSupportData = 3 };

// Reads a container, then gives every member read the context, even when reading failed.
template <class Container, class Context>
void ReadWithContext(Container& container, const Json::Value& array, std::uint32_t version, Context context) {
    try {
        container.FromJson(array, version);
    } catch (...) {
        container.SetContext(context);
        throw;
    }
    container.SetContext(context);
}

class CSupportCfg : public ISupportCfg,
                    public Common::CIdentifiable,
                    public Common::CIdentifiableBySolver,
                    public Common::JsonService {
public:
    static constexpr bool kWritesInternalId = true;

    CSupportCfg() = default;
    // Copies solver id, entity count and entity type; the copy has no context.
    explicit CSupportCfg(const ISupportCfg& source);

    void Check() const override;
    std::uint32_t GetEntityCount() const override { return entityCount_; }
    void SetEntityCount(std::uint32_t count) override { entityCount_ = count; }
    std::int32_t GetEntitiesType() const override { return entitiesType_; }
    void SetEntitiesType(std::int32_t type) override { entitiesType_ = type; }

    SupportContext GetContext() const { return context_; }
    void SetContext(SupportContext context) { context_ = context; }

    bool Equals(const IRomObject& other) const override;
    // {"size" and "entityType" when not zero, "solverId", "internalId"}
    void ToJson(Json::Value& value) const override;
    void FromJson(const Json::Value& value, std::uint32_t version) override;

private:
    std::uint32_t entityCount_ = 0;
    SupportContext context_ = SupportContext::None;
    std::int32_t entitiesType_ = 0;
};

class CSupportCfgs : public Common::CContainerWithJsonService<CSupportCfg, ISupportCfg> {
public:
    using CContainerWithJsonService::CContainerWithJsonService;

    void SetContext(SupportContext context);
    // Appends copies of the source's members, contexts included.
    void CopyFrom(const Common::IContainer<ISupportCfg>& source);
    // The internal ids of other's members, member by member (other was copied here).
    void CopyIdsOf(const CSupportCfgs& other);
};

// Solver ids naming supports owned elsewhere.
using CSupportCfgIds = Common::CContainerWithJsonService<Common::CSolverIdentifier, Common::ISolverIdentifier>;

class CRegionCfg : public IRegionCfg,
                   public Common::CIdentifiable,
                   public Common::CIdentifiableBySolver,
                   public Common::JsonService {
public:
    static constexpr bool kWritesInternalId = true;

    CRegionCfg() = default;
    explicit CRegionCfg(const IRegionCfg& source);

    void Check() const override;
    ISupportCfg& AddSupport() override;
    const std::string& GetCaption() const override { return caption_; }
    const std::string& GetParentRegion() const override { return parentRegion_; }
    const Common::IContainer<ISupportCfg>& GetSupportCfgs() const override { return supports_; }
    void SetCaption(const std::string& caption) override { caption_ = caption; }
    void SetParentRegion(const std::string& parentRegion) override { parentRegion_ = parentRegion; }

    const CSupportCfgs& Supports() const { return supports_; }
    CSupportCfgs& Supports() { return supports_; }
    // The flag AddSupport raises, so that the owner's list of all supports follows.
    void WatchSupports(bool* supportsChanged) { supportsChanged_ = supportsChanged; }
    // The internal ids of other, of which this is a copy.
    void CopyIdsOf(const CRegionCfg& other);

    bool Equals(const IRomObject& other) const override;
    // {"caption", "supports", "solverId", "internalId"}; the parent region stays in memory.
    void ToJson(Json::Value& value) const override;
    void FromJson(const Json::Value& value, std::uint32_t version) override;

private:
    std::string caption_;
    std::string parentRegion_;
    CSupportCfgs supports_;
    bool* supportsChanged_ = nullptr;
};

class CRegionCfgs : public Common::CContainerWithJsonService<CRegionCfg, IRegionCfg> {
public:
    using CContainerWithJsonService::CContainerWithJsonService;

    void SetContext(SupportContext context);
};

// Base of the configuration documents: a JSON document with the configuration extension.
class CPersistableCfg : public Common::CPersistableJson, public virtual IConfiguration {
public:
    const std::string& GetFileExtension() const override;
};

class CMeshDataCfg;

// The list of every support of a mesh data configuration, handed out as a container: a
// caller may keep it across adds and resumes, so each read brings it up to date first.
class CFlatSupportCfgs final : public CSupportCfgs {
public:
    explicit CFlatSupportCfgs(const CMeshDataCfg& owner)
        : CSupportCfgs(Common::Ownership::Referencing), owner_(owner) {}

    Common::IRomObject* GetObject(std::uint32_t index) const override;
    std::uint32_t IndexOf(const Common::IRomObject* object) const override;
    std::uint32_t GetCount() const override;
    ISupportCfg* Get(std::uint32_t index) const override;
    bool Equals(const Common::IRomObject& other) const override;

private:
    const CMeshDataCfg& owner_;
};

class CMeshDataCfg : public IMeshDataCfg, public CPersistableCfg, public Common::CIdentifiable {
public:
    CMeshDataCfg();
    explicit CMeshDataCfg(const IMeshDataCfg& source);
    CMeshDataCfg(const CMeshDataCfg&) = delete;
    CMeshDataCfg& operator=(const CMeshDataCfg&) = delete;

    void Check() const override;
    IRegionCfg& AddRegion() override;
    IElementDataCfg& ConfigureElementData() override { return elementData_; }
    INodeDataCfg& ConfigureNodeData() override { return nodeData_; }
    const IElementDataCfg& GetElementDataCfg() const override { return elementData_; }
    const INodeDataCfg& GetNodeDataCfg() const override { return nodeData_; }
    const Common::IContainer<IRegionCfg>& GetRegionCfgs() const override { return regions_; }
    const Common::IContainer<ISupportCfg>& GetSupportCfgs() const override { return Supports(); }
    ISupportCfg& GetSupportCfg(const std::string& solverId) const override;
    const std::string& GetUnit() const override { return unit_; }
    void SetUnit(const std::string& unit) override { unit_ = unit; }

    const CRegionCfgs& Regions() const { return regions_; }
    // Every support of every region, in region order, rebuilt when stale.
    const CSupportCfgs& Supports() const;
    // Index in Supports() of the first support with this solver id, or kNotFound.
    std::uint32_t FindSupport(const std::string& solverId) const;
    static constexpr std::uint32_t kNotFound = Common::CSolverIdIndex<CSupportCfg>::kNotFound;

    bool Equals(const IRomObject& other) const override;
    // {"nodeData", "elementData", "regions", "unit", "internalId"}
    void ToJson(Json::Value& value) const override;
    void FromJson(const Json::Value& value, std::uint32_t version) override;

    // A copy holding the same state, internal ids included.
    std::unique_ptr<CMeshDataCfg> Duplicate() const;
    void SwapWith(CMeshDataCfg& other) noexcept;

protected:
    std::string GetKey() const override { return "meshData"; }
    std::unique_ptr<Common::CPersistableJson> CopyForResume() const override { return Duplicate(); }
    void CheckResumed(const std::string& fileName) const override;
    void TakeResumed(Common::CPersistableJson& read) noexcept override;

private:
    // Supports of regions read or added since the list was built are watched.
    void WatchRegions();

    CNodeDataCfg nodeData_;
    CElementDataCfg elementData_;
    CRegionCfgs regions_;
    std::string unit_;
    mutable CFlatSupportCfgs supports_{*this};
    mutable bool supportsStale_ = true;
    mutable Common::CSolverIdIndex<CSupportCfg> supportIndex_;
};

}  // namespace Tervik::Rom::Configuration

#endif
