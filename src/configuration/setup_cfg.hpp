// The setup configuration: the mesh and the fields with their components.
#ifndef TERVIK_ROM_SRC_CONFIGURATION_SETUP_CFG_HPP
#define TERVIK_ROM_SRC_CONFIGURATION_SETUP_CFG_HPP

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_set>

#include <tervik/rom/configuration.hpp>

#include "configuration/mesh_data_cfg.hpp"

namespace Tervik::Rom::Configuration {

// Who adopted a component; a field's component needs a caption. Never persisted.
enum class ComponentContext : std::uint32_t { None = 0, Field = 1, Snapshot = 2 };

class CComponentCfg : public IComponentCfg,
                      public Common::CIdentifiable,
                      public Common::CIdentifiableBySolver,
                      public Common::JsonService {
public:
    static constexpr bool kWritesInternalId = true;

    CComponentCfg() = default;
    // Copies caption and solver id; the copy has no context.
    explicit CComponentCfg(const IComponentCfg& source);

    void Check() const override;
    const std::string& GetCaption() const override { return caption_; }
    void SetCaption(const std::string& caption) override { caption_ = caption; }

    ComponentContext GetContext() const { return context_; }
    void SetContext(ComponentContext context) { context_ = context; }

    bool Equals(const IRomObject& other) const override;
    // {"caption", "solverId", "internalId"}
    void ToJson(Json::Value& value) const override;
    void FromJson(const Json::Value& value, std::uint32_t version) override;

private:
    std::string caption_;
    ComponentContext context_ = ComponentContext::None;
};

class CComponentCfgs : public Common::CContainerWithJsonService<CComponentCfg, IComponentCfg> {
public:
    using CContainerWithJsonService::CContainerWithJsonService;

    void SetContext(ComponentContext context);
    // Appends copies of the source's members with the given context.
    void CopyFrom(const Common::IContainer<IComponentCfg>& source, ComponentContext context);
};

class CFieldCfg : public IFieldCfg,
                  public Common::CIdentifiable,
                  public Common::CIdentifiableBySolver,
                  public Common::JsonService {
public:
    static constexpr bool kWritesInternalId = true;

    CFieldCfg() = default;
    explicit CFieldCfg(const IFieldCfg& source);

    void Check() const override;
    IComponentCfg& AddComponent() override;
    void AddSupport(const std::string& solverId) override;
    const std::string& GetCaption() const override { return caption_; }
    const Common::IContainer<IComponentCfg>& GetComponentCfgs() const override { return components_; }
    std::int32_t GetEntitiesType() const override { return entitiesType_; }
    const std::string& GetQuantity() const override { return quantity_; }
    const Common::IContainer<Common::ISolverIdentifier>& GetSupportCfgIds() const override { return supports_; }
    const std::string& GetUnit() const override { return unit_; }
    void SetCaption(const std::string& caption) override { caption_ = caption; }
    void SetEntitiesType(std::int32_t type) override { entitiesType_ = type; }
    void SetQuantity(const std::string& quantity) override { quantity_ = quantity; }
    void SetUnit(const std::string& unit) override { unit_ = unit; }

    const CComponentCfgs& Components() const { return components_; }
    const CSupportCfgIds& SupportIds() const { return supports_; }
    // The internal ids of other, of which this is a copy.
    void CopyIdsOf(const CFieldCfg& other);

    bool Equals(const IRomObject& other) const override;
    // {"components", "supports", "caption", "entityType" when not zero, "quantity", "unit",
    //  "solverId", "internalId"}
    void ToJson(Json::Value& value) const override;
    void FromJson(const Json::Value& value, std::uint32_t version) override;

private:
    std::string caption_;
    std::string quantity_;
    std::string unit_;
    std::int32_t entitiesType_ = 0;
    CComponentCfgs components_;
    CSupportCfgIds supports_;
    // The ids of supports_, for the duplicate test of AddSupport.
    std::unordered_set<std::string> supportIds_;
};

using CFieldCfgs = Common::CContainerWithJsonService<CFieldCfg, IFieldCfg>;

class CRomSetupCfg : public IRomSetupCfg, public CPersistableCfg, public Common::CIdentifiable {
public:
    CRomSetupCfg() = default;
    CRomSetupCfg(const CRomSetupCfg&) = delete;
    CRomSetupCfg& operator=(const CRomSetupCfg&) = delete;

    void Check() const override;
    IFieldCfg& AddField() override;
    IMeshDataCfg& ConfigureMeshData() override { return meshData_; }
    const Common::IContainer<IFieldCfg>& GetFields() const override { return fields_; }
    const IMeshDataCfg& GetMeshData() const override { return meshData_; }
    void SaveSnapshotConfiguration(const std::string& path) override;
    void SaveMeshConfiguration(const std::string& path) override;

    bool Equals(const IRomObject& other) const override;
    // {"meshData", "fields" when there is one, "internalId"}
    void ToJson(Json::Value& value) const override;
    void FromJson(const Json::Value& value, std::uint32_t version) override;

protected:
    std::string GetKey() const override { return "setup"; }
    std::unique_ptr<Common::CPersistableJson> CopyForResume() const override;
    void CheckResumed(const std::string& fileName) const override;
    void TakeResumed(Common::CPersistableJson& read) noexcept override;

private:
    CMeshDataCfg meshData_;
    CFieldCfgs fields_;
};

}  // namespace Tervik::Rom::Configuration

#endif
