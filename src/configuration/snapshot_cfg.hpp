// The snapshot configuration: supports, components, and the components of each support.
#ifndef TERVIK_ROM_SRC_CONFIGURATION_SNAPSHOT_CFG_HPP
#define TERVIK_ROM_SRC_CONFIGURATION_SNAPSHOT_CFG_HPP

#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <tervik/rom/configuration.hpp>

#include "configuration/setup_cfg.hpp"

namespace Tervik::Rom::Configuration {

class CSnapshotCfg : public ISnapshotCfg, public CPersistableCfg, public Common::CIdentifiable {
public:
    CSnapshotCfg() = default;
    explicit CSnapshotCfg(const ISnapshotCfg& source);
    CSnapshotCfg(const CSnapshotCfg&) = delete;
    CSnapshotCfg& operator=(const CSnapshotCfg&) = delete;

    void Check() const override;
    IComponentCfg& AddComponent() override;
    void AddComponentToSupport(const IComponentCfg& component, const ISupportCfg& support) override;
    ISupportCfg& AddSupport() override;
    const Common::IContainer<IComponentCfg>& GetComponentCfgs() const override { return components_; }
    const Common::IContainer<ISupportCfg>& GetSupportCfgs() const override { return supports_; }
    const Common::IContainer<IComponentCfg>& GetComponentsOfSupport(const ISupportCfg& support) const override;

    const CComponentCfgs& Components() const { return components_; }
    const CSupportCfgs& Supports() const { return supports_; }
    // The components of the support at this index, or null when it has none.
    const CComponentCfgs* ComponentsOf(std::uint32_t supportIndex) const;
    // Why a file could not tell the supports with a list, or the components in one, apart
    // (two share a solver id), or "".
    std::string IdProblem() const;

    bool Equals(const IRomObject& other) const override;
    // {"supports", "components", "componentSupports": {support solver id: [component solver ids]},
    //  "internalId"}
    void ToJson(Json::Value& value) const override;
    void FromJson(const Json::Value& value, std::uint32_t version) override;

protected:
    std::string GetKey() const override { return "snapshot"; }
    std::unique_ptr<Common::CPersistableJson> CopyForResume() const override;
    void CheckResumed(const std::string& fileName) const override;
    void TakeResumed(Common::CPersistableJson& read) noexcept override;

private:
    // Appends the member component to the member support's list.
    void Associate(CComponentCfg& component, const CSupportCfg& support);
    void ClearAssociations();
    // Throws the IdProblem as a sentence, if any.
    void RequireDistinctIds() const;

    CComponentCfgs components_;
    CSupportCfgs supports_;
    // The lists in the order of their first association, and where each support's is.
    std::vector<std::pair<const CSupportCfg*, std::unique_ptr<CComponentCfgs>>> lists_;
    std::unordered_map<const CSupportCfg*, std::size_t> listOf_;
};

}  // namespace Tervik::Rom::Configuration

#endif
