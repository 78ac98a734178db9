#include "snapshot/snapshot.hpp"

#include <utility>

#include "common/file_extensions.hpp"

namespace Tervik::Rom::Snapshot {

using Common::RomException;

namespace {

// A component data of count values; memory that cannot hold them is named in the error.
std::unique_ptr<CSnapshotComponentData> NewComponentData(const std::string& componentId, const std::string& supportId,
                                                         std::uint32_t count, bool keepInsertionOrder) {
    try {
        return std::make_unique<CSnapshotComponentData>(componentId, supportId, count, keepInsertionOrder);
    } catch (const std::bad_alloc&) {
        throw TooLarge(componentId, supportId, count);
    }
}

}  // namespace

void CSnapshot::Initialize(const Configuration::ISnapshotCfg& configuration) {
    std::unique_ptr<Configuration::CSnapshotCfg> held = std::make_unique<Configuration::CSnapshotCfg>(configuration);
    std::vector<std::unique_ptr<CSnapshotComponentData>> data;
    configuration_.swap(held);
    componentData_.swap(data);
    spare_.clear();
    try {
        MakeComponentData(true);
    } catch (...) {
        configuration_.swap(held);
        componentData_.swap(data);
        throw;
    }
}

void CSnapshot::Restore(std::unique_ptr<Configuration::CSnapshotCfg> configuration) {
    configuration_ = std::move(configuration);
    componentData_.clear();
    MakeComponentData(false);
    for (std::size_t i = 0; i < componentData_.size() && i < spare_.size(); ++i)
        componentData_[i]->spare = std::move(spare_[i]);
    spare_.clear();
}

std::unique_ptr<Common::CPersistableBinary> CSnapshot::MakeEmpty() const {
    auto read = std::make_unique<CSnapshot>(keepInsertionOrder_);
    read->spare_.swap(spare_);
    return read;
}

void CSnapshot::MakeComponentData(bool sized) {
    const auto& supports = configuration_->Supports().Members();
    for (std::uint32_t i = 0; i < supports.size(); ++i) {
        const Configuration::CComponentCfgs* components = configuration_->ComponentsOf(i);
        if (components == nullptr) continue;
        for (const Configuration::CComponentCfg* component : components->Members())
            componentData_.push_back(NewComponentData(component->GetSolverId(), supports[i]->GetSolverId(),
                                                      sized ? supports[i]->GetEntityCount() : 0, keepInsertionOrder_));
    }
    indexed_ = false;
}

std::string CSnapshot::PairProblem() const {
    const auto& supports = configuration_->Supports().Members();
    std::size_t next = 0;
    for (std::uint32_t i = 0; i < supports.size(); ++i) {
        const Configuration::CComponentCfgs* components = configuration_->ComponentsOf(i);
        if (components == nullptr) continue;
        for (const Configuration::CComponentCfg* component : components->Members()) {
            const CSnapshotComponentData& data = *componentData_[next++];
            const std::string& componentId = component->GetSolverId();
            const std::string& supportId = supports[i]->GetSolverId();
            if (data.GetComponentId() != componentId || data.GetSupportId() != supportId)
                return "its record " + std::to_string(next - 1) + " holds the component " + data.GetComponentId() +
                       " on the support " + data.GetSupportId() + " where its configuration announces the component " +
                       componentId + " on the support " + supportId + ".";
            if (data.GetExpectedEntityValueCount() != supports[i]->GetEntityCount())
                return "its record of the component " + componentId + " on the support " + supportId + " holds " +
                       std::to_string(data.GetExpectedEntityValueCount()) + " values where the support announces " +
                       std::to_string(supports[i]->GetEntityCount()) + ".";
        }
    }
    return std::string();
}

void CSnapshot::TakeResumed(Common::CPersistableBinary& read) noexcept {
    auto& other = static_cast<CSnapshot&>(read);
    if (configuration_ != nullptr && componentData_.size() == other.componentData_.size() &&
        configuration_->Equals(*other.configuration_)) {
        for (std::size_t i = 0; i < componentData_.size(); ++i)
            componentData_[i]->TakeResumed(*other.componentData_[i]);
    } else {
        configuration_.swap(other.configuration_);
        componentData_.swap(other.componentData_);
    }
    // Either way, read now holds the memory this snapshot had: kept for the next resume.
    spare_.swap(other.componentData_);
    indexed_ = false;
}

bool CSnapshot::IsFilled() const {
    if (!IsInitialized()) return false;
    for (const auto& data : componentData_)
        if (!data->IsFull()) return false;
    return true;
}

void CSnapshot::CheckFilled() const {
    if (!IsInitialized()) throw RomException("The snapshot is not initialized.");
    if (IsFilled()) return;
    std::string report = "The following snapshot component data are not filled:\n";
    for (const auto& data : componentData_) {
        if (data->IsFull()) continue;
        report += "The component " + data->GetComponentId() + " on the support " + data->GetSupportId() + " contains " +
                  std::to_string(data->GetAssignedEntityValueCount()) + " entity values but expect " +
                  std::to_string(data->GetExpectedEntityValueCount()) + " entity values.\n";
    }
    throw RomException(report);
}

namespace {

std::uint64_t PairKey(const std::string& componentId, const std::string& supportId) {
    const std::uint64_t a = Common::CFlatIndex::Hash(componentId);
    return a ^ (Common::CFlatIndex::Hash(supportId) + 0x9e3779b97f4a7c15ull + (a << 6) + (a >> 2));
}

}  // namespace

CSnapshotComponentData& CSnapshot::Find(const std::string& componentId, const std::string& supportId) const {
    if (!indexed_) {
        index_.Clear();
        index_.Reserve(componentData_.size());
        for (std::uint32_t i = 0; i < componentData_.size(); ++i)
            index_.Insert(PairKey(componentData_[i]->GetComponentId(), componentData_[i]->GetSupportId()), i);
        indexed_ = true;
    }
    const std::uint32_t found = index_.Find(PairKey(componentId, supportId), [&](std::uint32_t i) {
        return componentData_[i]->GetComponentId() == componentId && componentData_[i]->GetSupportId() == supportId;
    });
    if (found == Common::CFlatIndex::kNone)
        throw RomException("Tried to retrieve the snapshot data for the component " + componentId + " on the support " +
                           supportId + "but this component/support pair is unknown according to this configuration.");
    return *componentData_[found];
}

const ISnapshotComponentData& CSnapshot::GetComponentData(const std::string& componentId,
                                                          const std::string& supportId) const {
    return Find(componentId, supportId);
}

ISnapshotComponentData& CSnapshot::GetComponentData(const std::string& componentId, const std::string& supportId) {
    return Find(componentId, supportId);
}

const std::string& CSnapshot::GetFileExtension() const { return Common::FileExtension::Snapshot(); }

}  // namespace Tervik::Rom::Snapshot
