// Snapshots: one solver run's values for every (component, support) pair.
#ifndef TERVIK_ROM_SRC_SNAPSHOT_SNAPSHOT_HPP
#define TERVIK_ROM_SRC_SNAPSHOT_SNAPSHOT_HPP

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <tervik/rom/snapshot.hpp>

#include "common/flat_index.hpp"
#include "common/persistence.hpp"
#include "configuration/snapshot_cfg.hpp"
#include "snapshot/component_data.hpp"

namespace Tervik::Rom::Snapshot {

inline constexpr char kSnapshotUuid[] = "5B37D1B0-D9FD-4CE1-AB14-3B41E04F4F23";

class CSnapshot final : public ISnapshot, public Common::CPersistableBinary {
public:
    explicit CSnapshot(bool keepInsertionOrder = false) : keepInsertionOrder_(keepInsertionOrder) {}

    const Configuration::ISnapshotCfg* GetConfiguration() const override { return configuration_.get(); }
    // Keeps a copy of the configuration and makes one empty component data per pair.
    void Initialize(const Configuration::ISnapshotCfg& configuration) override;
    bool IsInitialized() const override { return configuration_ != nullptr; }
    bool IsFilled() const override;
    const ISnapshotComponentData& GetComponentData(const std::string& componentId,
                                                   const std::string& supportId) const override;
    ISnapshotComponentData& GetComponentData(const std::string& componentId, const std::string& supportId) override;

    const std::string& GetFileExtension() const override;
    const char* GetSerializationUuid() const override { return kSnapshotUuid; }

    // Throws the list of the component data not filled yet.
    void CheckFilled() const;
    const Configuration::CSnapshotCfg* Held() const { return configuration_.get(); }
    const std::vector<std::unique_ptr<CSnapshotComponentData>>& ComponentData() const { return componentData_; }
    // Call after component or support ids of the component data changed.
    void ForgetIndex() const { indexed_ = false; }
    // Before a file's records are read: holds the file's configuration and one component
    // data of no values per pair, which the records size and fill.
    void Restore(std::unique_ptr<Configuration::CSnapshotCfg> configuration);
    // Why the component data do not hold the pairs the configuration announces, or "".
    std::string PairProblem() const;

protected:
    // The snapshot read into takes along the memory of the component data the last resume
    // replaced (a failed resume frees it).
    std::unique_ptr<Common::CPersistableBinary> MakeEmpty() const override;
    // With an equal configuration, the component data stay the same objects (the handles
    // callers hold remain valid) and take the pairs read.
    void TakeResumed(Common::CPersistableBinary& read) noexcept override;

private:
    // One component data per pair of the configuration held, each of expected values
    // (sized) or of none.
    void MakeComponentData(bool sized);
    CSnapshotComponentData& Find(const std::string& componentId, const std::string& supportId) const;

    std::unique_ptr<Configuration::CSnapshotCfg> configuration_;
    std::vector<std::unique_ptr<CSnapshotComponentData>> componentData_;
    // Those a resume replaced, kept for the memory of their values, pair by pair: a snapshot
    // resumed again and again from files of one configuration maps no new memory.
    mutable std::vector<std::unique_ptr<CSnapshotComponentData>> spare_;
    bool keepInsertionOrder_;
    mutable Common::CFlatIndex index_;
    mutable bool indexed_ = false;
};

}  // namespace Tervik::Rom::Snapshot

#endif
