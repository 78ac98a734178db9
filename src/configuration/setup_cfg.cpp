#include "configuration/setup_cfg.hpp"

#include <algorithm>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "configuration/snapshot_cfg.hpp"

namespace Tervik::Rom::Configuration {

using Common::RomException;

// ---- Components -----------------------------------------------------------------

CComponentCfg::CComponentCfg(const IComponentCfg& source) : caption_(source.GetCaption()) {
    SetSolverId(source.GetSolverId());
}

void CComponentCfg::Check() const {
    if (context_ == ComponentContext::Field && caption_.empty())
        throw RomException("No caption has been set to the component configuration !");
    if (GetSolverId().empty()) throw RomException("No solver id has been set to the component configuration !");
}

bool CComponentCfg::Equals(const IRomObject& other) const {
    const auto* that = dynamic_cast<const IComponentCfg*>(&other);
    return that != nullptr && that->GetCaption() == caption_ && that->GetSolverId() == GetSolverId();
}

void CComponentCfg::ToJson(Json::Value& value) const {
    value["caption"] = caption_;
    SolverIdToJson(value);
    InternalIdToJson(value);
}

void CComponentCfg::FromJson(const Json::Value& value, std::uint32_t) {
    if (value.isMember("caption")) caption_ = value["caption"].asString();
    SolverIdFromJson(value);
    InternalIdFromJson(value);
}

void CComponentCfgs::SetContext(ComponentContext context) {
    for (CComponentCfg* component : Members()) component->SetContext(context);
}

void CComponentCfgs::CopyFrom(const Common::IContainer<IComponentCfg>& source, ComponentContext context) {
    for (std::uint32_t i = 0; i < source.GetCount(); ++i)
        Add(std::make_unique<CComponentCfg>(*source.Get(i))).SetContext(context);
}

// ---- Fields ---------------------------------------------------------------------

CFieldCfg::CFieldCfg(const IFieldCfg& source)
    : caption_(source.GetCaption()),
      quantity_(source.GetQuantity()),
      unit_(source.GetUnit()),
      entitiesType_(source.GetEntitiesType()) {
    SetSolverId(source.GetSolverId());
    components_.CopyFrom(source.GetComponentCfgs(), ComponentContext::Field);
    const auto& ids = source.GetSupportCfgIds();
    for (std::uint32_t i = 0; i < ids.GetCount(); ++i) AddSupport(ids.Get(i)->GetId());
}

void CFieldCfg::CopyIdsOf(const CFieldCfg& other) {
    CopyInternalId(other);
    for (std::size_t i = 0; i < components_.Members().size(); ++i)
        components_.Members()[i]->CopyInternalId(*other.components_.Members()[i]);
    components_.Reindex();
}

void CFieldCfg::Check() const {
    if (GetSolverId().empty()) throw RomException("No ID has been assigned to a field.");
    if (caption_.empty())
        throw RomException("No caption has been set to the field configuration " + GetSolverId() + ".");
    if (components_.GetCount() == 0) throw RomException("At least one component has to be added to the field !");
    for (const CComponentCfg* component : components_.Members()) component->Check();
    if (supports_.GetCount() == 0) throw RomException("At least one support has to be added to the field !");
}

IComponentCfg& CFieldCfg::AddComponent() {
    CComponentCfg& component = components_.Add(std::make_unique<CComponentCfg>());
    component.SetContext(ComponentContext::Field);
    return component;
}

void CFieldCfg::AddSupport(const std::string& solverId) {
    if (supportIds_.count(solverId) != 0)
        throw RomException("The support " + solverId + " has been added twice to the field " + GetSolverId() + ".");
    supports_.Add(std::make_unique<Common::CSolverIdentifier>(solverId));
    supportIds_.insert(solverId);
}

bool CFieldCfg::Equals(const IRomObject& other) const {
    const auto* that = dynamic_cast<const IFieldCfg*>(&other);
    return that != nullptr && that->GetSolverId() == GetSolverId() && that->GetCaption() == caption_ &&
           that->GetQuantity() == quantity_ && that->GetUnit() == unit_ && that->GetEntitiesType() == entitiesType_ &&
           components_.Equals(that->GetComponentCfgs()) && supports_.Equals(that->GetSupportCfgIds());
}

void CFieldCfg::ToJson(Json::Value& value) const {
    components_.ToJson(value["components"]);
    supports_.ToJson(value["supports"]);
    value["caption"] = caption_;
    if (entitiesType_ != 0) value["entityType"] = entitiesType_;
    value["quantity"] = quantity_;
    value["unit"] = unit_;
    SolverIdToJson(value);
    InternalIdToJson(value);
}

void CFieldCfg::FromJson(const Json::Value& value, std::uint32_t version) {
    if (value.isMember("components"))
        ReadWithContext(components_, value["components"], version, ComponentContext::Field);
    if (value.isMember("supports")) {
        supportIds_.clear();
        try {
            supports_.FromJson(value["supports"], version);
        } catch (...) {
            for (const auto* id : supports_.Members()) supportIds_.insert(id->GetId());
            throw;
        }
        for (const auto* id : supports_.Members()) supportIds_.insert(id->GetId());
    }
    if (value.isMember("caption")) caption_ = value["caption"].asString();
    if (value.isMember("entityType")) entitiesType_ = JsonToInt(value["entityType"]);
    if (value.isMember("quantity")) quantity_ = value["quantity"].asString();
    if (value.isMember("unit")) unit_ = value["unit"].asString();
    SolverIdFromJson(value);
    InternalIdFromJson(value);
}

// ---- Setup ----------------------------------------------------------------------

IFieldCfg& CRomSetupCfg::AddField() { return fields_.Add(std::make_unique<CFieldCfg>()); }

void CRomSetupCfg::Check() const {
    meshData_.Check();
    if (fields_.GetCount() == 0) throw RomException("The ROM setup needs at least one field.");

    // The mesh's solver ids are unique now; each support's region by its list position.
    const auto& regions = meshData_.Regions().Members();
    std::vector<std::uint32_t> regionEnds;
    regionEnds.reserve(regions.size());
    std::uint32_t end = 0;
    for (const CRegionCfg* region : regions) regionEnds.push_back(end += region->Supports().GetCount());
    const auto& supports = meshData_.Supports().Members();

    for (const CFieldCfg* field : fields_.Members()) {
        field->Check();
        // Per region, the first two of its supports the field names, in the field's order.
        std::unordered_map<std::uint32_t, std::pair<const CSupportCfg*, const CSupportCfg*>> linked;
        std::uint32_t firstTwice = static_cast<std::uint32_t>(regions.size());
        for (const auto* id : field->SupportIds().Members()) {
            const std::uint32_t index = meshData_.FindSupport(id->GetId());
            if (index == CMeshDataCfg::kNotFound) continue;
            const auto region = static_cast<std::uint32_t>(
                std::upper_bound(regionEnds.begin(), regionEnds.end(), index) - regionEnds.begin());
            auto& pair = linked[region];
            if (pair.first == nullptr) {
                pair.first = supports[index];
            } else if (pair.second == nullptr) {
                pair.second = supports[index];
                if (region < firstTwice) firstTwice = region;
            }
        }
        if (firstTwice < regions.size()) {
            const auto& pair = linked[firstTwice];
            throw RomException("The field " + field->GetSolverId() +
                               " is linked to at least two different supports for the region " +
                               regions[firstTwice]->GetSolverId() +
                               ".\nA field can only be linked to one support of a region.\nThe two supports are: " +
                               pair.first->GetSolverId() + " and " + pair.second->GetSolverId() + ".");
        }
        for (const auto* id : field->SupportIds().Members()) {
            if (meshData_.FindSupport(id->GetId()) == CMeshDataCfg::kNotFound)
                throw RomException("The support " + id->GetId() +
                                   " is not part of the mesh but it has been added to the field " +
                                   field->GetSolverId() + ".");
        }
    }
}

void CRomSetupCfg::SaveSnapshotConfiguration(const std::string& path) {
    // Every field's supports are found in the mesh data before any copy is made: naming a
    // copy changes a solver id, after which the mesh data's index is built again.
    std::vector<std::uint32_t> places;
    for (const CFieldCfg* field : fields_.Members()) {
        for (const auto* id : field->SupportIds().Members()) {
            places.push_back(meshData_.FindSupport(id->GetId()));
            if (places.back() == CMeshDataCfg::kNotFound)
                throw RomException("The support " + id->GetId() +
                                   " is not part of the mesh but it has been added to the field " +
                                   field->GetSolverId() + ".");
        }
    }
    CSnapshotCfg snapshot;
    // The copies in the order of the mesh data's supports.
    std::vector<ISupportCfg*> copies;
    copies.reserve(meshData_.Supports().GetCount());
    for (const CSupportCfg* support : meshData_.Supports().Members()) {
        ISupportCfg& copy = snapshot.AddSupport();
        copy.SetSolverId(support->GetSolverId());
        copy.SetEntityCount(support->GetEntityCount());
        copies.push_back(&copy);
    }
    std::unordered_map<std::string_view, IComponentCfg*> componentById;
    auto place = places.begin();
    for (const CFieldCfg* field : fields_.Members()) {
        for (std::uint32_t k = 0; k < field->SupportIds().GetCount(); ++k, ++place) {
            for (const CComponentCfg* component : field->Components().Members()) {
                auto found = componentById.find(component->GetSolverId());
                if (found == componentById.end()) {
                    IComponentCfg& added = snapshot.AddComponent();
                    added.SetSolverId(component->GetSolverId());
                    found = componentById.emplace(added.GetSolverId(), &added).first;
                }
                snapshot.AddComponentToSupport(*found->second, *copies[*place]);
            }
        }
    }
    snapshot.Save(path);
}

void CRomSetupCfg::SaveMeshConfiguration(const std::string& path) { meshData_.Save(path); }

bool CRomSetupCfg::Equals(const IRomObject& other) const {
    const auto* that = dynamic_cast<const IRomSetupCfg*>(&other);
    return that != nullptr && meshData_.Equals(that->GetMeshData()) && fields_.Equals(that->GetFields());
}

void CRomSetupCfg::ToJson(Json::Value& value) const {
    meshData_.ToJson(value["meshData"]);
    if (fields_.GetCount() != 0) fields_.ToJson(value["fields"]);
    InternalIdToJson(value);
}

void CRomSetupCfg::FromJson(const Json::Value& value, std::uint32_t version) {
    if (value.isMember("meshData")) meshData_.FromJson(value["meshData"], version);
    if (value.isMember("fields")) fields_.FromJson(value["fields"], version);
    InternalIdFromJson(value);
}

std::unique_ptr<Common::CPersistableJson> CRomSetupCfg::CopyForResume() const {
    auto copy = std::make_unique<CRomSetupCfg>();
    copy->meshData_.SwapWith(*meshData_.Duplicate());
    for (const CFieldCfg* field : fields_.Members())
        copy->fields_.Add(std::make_unique<CFieldCfg>(static_cast<const IFieldCfg&>(*field))).CopyIdsOf(*field);
    copy->fields_.Reindex();
    copy->CopyInternalId(*this);
    return copy;
}

void CRomSetupCfg::CheckResumed(const std::string& fileName) const {
    Common::RefuseResume(fileName, CoordinateTableProblem(meshData_.GetNodeDataCfg()));
}

void CRomSetupCfg::TakeResumed(Common::CPersistableJson& read) noexcept {
    auto& other = static_cast<CRomSetupCfg&>(read);
    meshData_.SwapWith(other.meshData_);
    fields_.SwapMembers(other.fields_);
    SwapInternalId(other);
}

}  // namespace Tervik::Rom::Configuration
