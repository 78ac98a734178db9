#include "configuration/snapshot_cfg.hpp"

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

namespace Tervik::Rom::Configuration {

using Common::RomException;

CSnapshotCfg::CSnapshotCfg(const ISnapshotCfg& source) {
    const auto& components = source.GetComponentCfgs();
    const auto& supports = source.GetSupportCfgs();
    components_.CopyFrom(components, ComponentContext::Snapshot);
    for (std::uint32_t i = 0; i < supports.GetCount(); ++i)
        supports_.Add(std::make_unique<CSupportCfg>(*supports.Get(i))).SetContext(SupportContext::Snapshot);
    // Lists in their original order when the source is one of ours, else in support order.
    auto copyList = [&](const ISupportCfg& support, const Common::IContainer<IComponentCfg>& list) {
        const CSupportCfg& own = *supports_.Members()[supports.IndexOf(&support)];
        for (std::uint32_t j = 0; j < list.GetCount(); ++j)
            Associate(*components_.Members()[components.IndexOf(list.Get(j))], own);
    };
    if (const auto* typed = dynamic_cast<const CSnapshotCfg*>(&source)) {
        for (const auto& [support, list] : typed->lists_) copyList(*support, *list);
        return;
    }
    for (std::uint32_t i = 0; i < supports.GetCount(); ++i) {
        try {
            copyList(*supports.Get(i), source.GetComponentsOfSupport(*supports.Get(i)));
        } catch (const std::out_of_range&) {
        }
    }
}

IComponentCfg& CSnapshotCfg::AddComponent() {
    CComponentCfg& component = components_.Add(std::make_unique<CComponentCfg>());
    component.SetContext(ComponentContext::Snapshot);
    return component;
}

ISupportCfg& CSnapshotCfg::AddSupport() {
    CSupportCfg& support = supports_.Add(std::make_unique<CSupportCfg>());
    support.SetContext(SupportContext::Snapshot);
    return support;
}

void CSnapshotCfg::AddComponentToSupport(const IComponentCfg& component, const ISupportCfg& support) {
    if (components_.GetCount() == 0 || supports_.GetCount() == 0)
        throw RomException("There is no component or support in the snapshot configuration.");
    const std::uint32_t componentIndex = components_.IndexOf(&component);
    if (componentIndex == Common::IContainerBase::kNotFound)
        throw RomException("The snapshot does not have the component " + component.GetSolverId() + ".");
    const std::uint32_t supportIndex = supports_.IndexOf(&support);
    if (supportIndex == Common::IContainerBase::kNotFound)
        throw RomException("The snapshot does not have the support " + support.GetSolverId() + ".");
    Associate(*components_.Members()[componentIndex], *supports_.Members()[supportIndex]);
}

void CSnapshotCfg::Associate(CComponentCfg& component, const CSupportCfg& support) {
    auto found = listOf_.find(&support);
    if (found == listOf_.end()) {
        lists_.emplace_back(&support, std::make_unique<CComponentCfgs>(Common::Ownership::Referencing));
        found = listOf_.emplace(&support, lists_.size() - 1).first;
    }
    lists_[found->second].second->AddReference(component);
}

void CSnapshotCfg::ClearAssociations() {
    lists_.clear();
    listOf_.clear();
}

const Common::IContainer<IComponentCfg>& CSnapshotCfg::GetComponentsOfSupport(const ISupportCfg& support) const {
    const std::uint32_t index = supports_.IndexOf(&support);
    const CComponentCfgs* list = index == Common::IContainerBase::kNotFound ? nullptr : ComponentsOf(index);
    if (list == nullptr) throw std::out_of_range("invalid map<K, T> key");
    return *list;
}

const CComponentCfgs* CSnapshotCfg::ComponentsOf(std::uint32_t supportIndex) const {
    const auto found = listOf_.find(supports_.Members()[supportIndex]);
    return found == listOf_.end() ? nullptr : lists_[found->second].second.get();
}

void CSnapshotCfg::Check() const {
    if (supports_.GetCount() == 0) throw RomException("A snapshot must have at least one support.");
    if (components_.GetCount() == 0) throw RomException("A snapshot must have at least one component.");
    for (const CSupportCfg* support : supports_.Members()) support->Check();
    for (const CComponentCfg* component : components_.Members()) component->Check();
    if (lists_.empty()) throw RomException("No component associated to a support !");
    for (const auto& entry : lists_)
        if (entry.second->GetCount() == 0)
            throw RomException("Every snapshot support must have at least one component.");
    RequireDistinctIds();
}

void CSnapshotCfg::RequireDistinctIds() const {
    const std::string problem = IdProblem();
    if (!problem.empty()) throw RomException(Capitalized(problem));
}

std::string CSnapshotCfg::IdProblem() const {
    std::unordered_map<std::string_view, const CSupportCfg*> supportById;
    for (const CSupportCfg* support : supports_.Members()) {
        const auto [first, added] = supportById.emplace(support->GetSolverId(), support);
        if (!added && (listOf_.count(first->second) != 0 || listOf_.count(support) != 0))
            return "two supports of the snapshot configuration have the solver id " + support->GetSolverId() + ".";
    }
    std::unordered_map<std::string_view, const CComponentCfg*> componentById;
    for (const CComponentCfg* component : components_.Members())
        componentById.emplace(component->GetSolverId(), component);
    for (const auto& entry : lists_)
        for (const CComponentCfg* component : entry.second->Members())
            if (componentById.at(component->GetSolverId()) != component)
                return "two components of the snapshot configuration have the solver id " + component->GetSolverId() +
                       ".";
    return std::string();
}

std::unique_ptr<Common::CPersistableJson> CSnapshotCfg::CopyForResume() const {
    auto copy = std::make_unique<CSnapshotCfg>(static_cast<const ISnapshotCfg&>(*this));
    copy->CopyInternalId(*this);
    for (std::size_t i = 0; i < components_.Members().size(); ++i)
        copy->components_.Members()[i]->CopyInternalId(*components_.Members()[i]);
    copy->components_.Reindex();
    copy->supports_.CopyIdsOf(supports_);
    for (const auto& entry : copy->lists_) entry.second->Reindex();
    return copy;
}

void CSnapshotCfg::CheckResumed(const std::string& fileName) const { Common::RefuseResume(fileName, IdProblem()); }

void CSnapshotCfg::TakeResumed(Common::CPersistableJson& read) noexcept {
    auto& other = static_cast<CSnapshotCfg&>(read);
    components_.SwapMembers(other.components_);
    supports_.SwapMembers(other.supports_);
    lists_.swap(other.lists_);
    listOf_.swap(other.listOf_);
    SwapInternalId(other);
}

bool CSnapshotCfg::Equals(const IRomObject& other) const {
    const auto* that = dynamic_cast<const CSnapshotCfg*>(&other);
    if (that == nullptr || !supports_.Equals(that->supports_) || !components_.Equals(that->components_) ||
        lists_.size() != that->lists_.size())
        return false;
    for (std::uint32_t i = 0; i < supports_.GetCount(); ++i) {
        const CComponentCfgs* mine = ComponentsOf(i);
        const CComponentCfgs* theirs = that->ComponentsOf(i);
        if ((mine == nullptr) != (theirs == nullptr)) return false;
        if (mine != nullptr && !mine->Equals(*theirs)) return false;
    }
    return true;
}

void CSnapshotCfg::ToJson(Json::Value& value) const {
    RequireDistinctIds();
    supports_.ToJson(value["supports"]);
    components_.ToJson(value["components"]);
    Json::Value& lists = value["componentSupports"] = Json::Value(Json::objectValue);
    // The lists go in by solver id (distinct here): each search of the object's tree then
    // walks the nodes the one before walked, where the order added would walk them all.
    std::vector<std::pair<std::string_view, const CComponentCfgs*>> byId;
    byId.reserve(lists_.size());
    for (const auto& [support, components] : lists_) byId.emplace_back(support->GetSolverId(), components.get());
    std::sort(byId.begin(), byId.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& [id, components] : byId) {
        Json::Value& ids = *lists.demand(id.data(), id.data() + id.size()) = Json::Value(Json::arrayValue);
        for (const CComponentCfg* component : components->Members()) ids.append(component->GetSolverId());
    }
    InternalIdToJson(value);
}

void CSnapshotCfg::FromJson(const Json::Value& value, std::uint32_t version) {
    if (value.isMember("supports")) {
        ClearAssociations();
        ReadWithContext(supports_, value["supports"], version, SupportContext::Snapshot);
    }
    if (value.isMember("components")) {
        ClearAssociations();
        ReadWithContext(components_, value["components"], version, ComponentContext::Snapshot);
    }
    InternalIdFromJson(value);
    if (!value.isMember("componentSupports")) return;
    ClearAssociations();

    // The first member with each solver id.
    std::unordered_map<std::string_view, const CSupportCfg*> supportById;
    for (const CSupportCfg* support : supports_.Members()) supportById.emplace(support->GetSolverId(), support);
    std::unordered_map<std::string_view, CComponentCfg*> componentById;
    for (CComponentCfg* component : components_.Members()) componentById.emplace(component->GetSolverId(), component);

    const Json::Value& lists = value["componentSupports"];
    for (const std::string& supportId : lists.getMemberNames()) {
        const auto support = supportById.find(supportId);
        if (support == supportById.end())
            throw RomException(
                "The snapshot configuration file is inconsistent: it contains a list of components associated to "
                "the unknow support " +
                supportId + ".");
        const Json::Value& ids = lists[supportId];
        if (!ids.isArray()) throw RomException("A JSON array is expected.");
        for (const Json::Value& item : ids) {
            const std::string componentId = item.asString();
            const auto component = componentById.find(componentId);
            if (component == componentById.end())
                throw RomException("The snapshot configuration file is inconsistent: the support " + supportId +
                                   " is associated to the unknow component " + componentId + ".");
            Associate(*component->second, *support->second);
        }
    }
}

}  // namespace Tervik::Rom::Configuration
