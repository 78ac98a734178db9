#include "configuration/mesh_data_cfg.hpp"

#include <memory>

#include "common/file_extensions.hpp"

namespace Tervik::Rom::Configuration {

using Common::RomException;

// ---- Supports -------------------------------------------------------------------

CSupportCfg::CSupportCfg(const ISupportCfg& source)
    : entityCount_(source.GetEntityCount()), entitiesType_(source.GetEntitiesType()) {
    SetSolverId(source.GetSolverId());
}

void CSupportCfg::Check() const {
    if (context_ == SupportContext::None || static_cast<std::uint32_t>(context_) > 3)
        throw RomException("No context has been set to the support configuration !");
    if (GetSolverId().empty()) throw RomException("No solver id has been set to the support configuration !");
    if (entityCount_ == 0) throw RomException("Every support must have a size defined and greater than zero.");
    if (context_ != SupportContext::Snapshot && entitiesType_ == 0)
        throw RomException("The support must have a defined entity type.");
}

bool CSupportCfg::Equals(const IRomObject& other) const {
    const auto* that = dynamic_cast<const ISupportCfg*>(&other);
    return that != nullptr && that->GetEntitiesType() == entitiesType_ && that->GetEntityCount() == entityCount_ &&
           that->GetSolverId() == GetSolverId();
}

void CSupportCfg::ToJson(Json::Value& value) const {
    value = Json::Value(Json::objectValue);
    if (entityCount_ != 0) value["size"] = entityCount_;
    if (entitiesType_ != 0) value["entityType"] = entitiesType_;
    SolverIdToJson(value);
    InternalIdToJson(value);
}

void CSupportCfg::FromJson(const Json::Value& value, std::uint32_t) {
    if (value.isMember("size")) entityCount_ = JsonToUInt(value["size"]);
    if (value.isMember("entityType")) entitiesType_ = JsonToInt(value["entityType"]);
    SolverIdFromJson(value);
    InternalIdFromJson(value);
}

void CSupportCfgs::SetContext(SupportContext context) {
    for (CSupportCfg* support : Members()) support->SetContext(context);
}

void CSupportCfgs::CopyFrom(const Common::IContainer<ISupportCfg>& source) {
    for (std::uint32_t i = 0; i < source.GetCount(); ++i) {
        const ISupportCfg& member = *source.Get(i);
        CSupportCfg& copy = Add(std::make_unique<CSupportCfg>(member));
        if (const auto* typed = dynamic_cast<const CSupportCfg*>(&member)) copy.SetContext(typed->GetContext());
    }
}

void CSupportCfgs::CopyIdsOf(const CSupportCfgs& other) {
    for (std::size_t i = 0; i < Members().size() && i < other.Members().size(); ++i)
        Members()[i]->CopyInternalId(*other.Members()[i]);
    Reindex();
}

// ---- Regions --------------------------------------------------------------------

CRegionCfg::CRegionCfg(const IRegionCfg& source)
    : caption_(source.GetCaption()), parentRegion_(source.GetParentRegion()) {
    SetSolverId(source.GetSolverId());
    supports_.CopyFrom(source.GetSupportCfgs());
}

void CRegionCfg::CopyIdsOf(const CRegionCfg& other) {
    CopyInternalId(other);
    supports_.CopyIdsOf(other.supports_);
}

void CRegionCfg::Check() const {
    if (GetSolverId().empty()) throw RomException("No solver id has been set to the region configuration !");
    if (supports_.GetCount() == 0) throw RomException("The region must have at least one support");
    for (const CSupportCfg* support : supports_.Members()) support->Check();
}

ISupportCfg& CRegionCfg::AddSupport() {
    CSupportCfg& support = supports_.Add(std::make_unique<CSupportCfg>());
    support.SetContext(SupportContext::Region);
    if (supportsChanged_ != nullptr) *supportsChanged_ = true;
    return support;
}

bool CRegionCfg::Equals(const IRomObject& other) const {
    const auto* that = dynamic_cast<const IRegionCfg*>(&other);
    return that != nullptr && that->GetCaption() == caption_ && supports_.Equals(that->GetSupportCfgs());
}

void CRegionCfg::ToJson(Json::Value& value) const {
    value["caption"] = caption_;
    supports_.ToJson(value["supports"]);
    SolverIdToJson(value);
    InternalIdToJson(value);
}

void CRegionCfg::FromJson(const Json::Value& value, std::uint32_t version) {
    if (value.isMember("caption")) caption_ = value["caption"].asString();
    if (value.isMember("supports")) {
        if (supportsChanged_ != nullptr) *supportsChanged_ = true;
        ReadWithContext(supports_, value["supports"], version, SupportContext::Region);
    }
    SolverIdFromJson(value);
    InternalIdFromJson(value);
}

void CRegionCfgs::SetContext(SupportContext context) {
    for (CRegionCfg* region : Members()) region->Supports().SetContext(context);
}

// ---- Mesh data ------------------------------------------------------------------

const std::string& CPersistableCfg::GetFileExtension() const { return Common::FileExtension::Configuration(); }

CMeshDataCfg::CMeshDataCfg() = default;

CMeshDataCfg::CMeshDataCfg(const IMeshDataCfg& source)
    : nodeData_(source.GetNodeDataCfg()), elementData_(source.GetElementDataCfg()), unit_(source.GetUnit()) {
    const auto& regions = source.GetRegionCfgs();
    for (std::uint32_t i = 0; i < regions.GetCount(); ++i) regions_.Add(std::make_unique<CRegionCfg>(*regions.Get(i)));
    WatchRegions();
}

void CMeshDataCfg::WatchRegions() {
    for (CRegionCfg* region : regions_.Members()) region->WatchSupports(&supportsStale_);
}

IRegionCfg& CMeshDataCfg::AddRegion() {
    CRegionCfg& region = regions_.Add(std::make_unique<CRegionCfg>());
    region.WatchSupports(&supportsStale_);
    supportsStale_ = true;
    return region;
}

Common::IRomObject* CFlatSupportCfgs::GetObject(std::uint32_t index) const {
    return owner_.Supports(), CSupportCfgs::GetObject(index);
}
std::uint32_t CFlatSupportCfgs::IndexOf(const Common::IRomObject* object) const {
    return owner_.Supports(), CSupportCfgs::IndexOf(object);
}
std::uint32_t CFlatSupportCfgs::GetCount() const { return owner_.Supports(), CSupportCfgs::GetCount(); }
ISupportCfg* CFlatSupportCfgs::Get(std::uint32_t index) const { return owner_.Supports(), CSupportCfgs::Get(index); }
bool CFlatSupportCfgs::Equals(const Common::IRomObject& other) const {
    return owner_.Supports(), CSupportCfgs::Equals(other);
}

const CSupportCfgs& CMeshDataCfg::Supports() const {
    if (supportsStale_) {
        supports_.Clear();
        supportIndex_.Invalidate();
        std::size_t count = 0;
        for (const CRegionCfg* region : regions_.Members()) count += region->Supports().GetCount();
        supports_.Reserve(count);
        for (const CRegionCfg* region : regions_.Members())
            for (CSupportCfg* support : region->Supports().Members()) supports_.AddReference(*support);
        supportsStale_ = false;
    }
    return supports_;
}

std::uint32_t CMeshDataCfg::FindSupport(const std::string& solverId) const {
    const CSupportCfgs& supports = Supports();
    return supportIndex_.Find(supports.Members(), solverId);
}

ISupportCfg& CMeshDataCfg::GetSupportCfg(const std::string& solverId) const {
    const char* const head = "Unable to find support configuration with solver id: ";
    if (Supports().GetCount() == 0) throw RomException(head + solverId + ". Support configuration list is empty.");
    const std::uint32_t index = FindSupport(solverId);
    if (index == kNotFound) throw RomException(head + solverId + ". Unknown solver id.");
    return *supports_.Members()[index];
}

void CMeshDataCfg::Check() const {
    nodeData_.Check();
    elementData_.Check();
    if (regions_.GetCount() == 0) throw RomException("No region has been configured in the mesh data !");
    for (const CRegionCfg* region : regions_.Members()) region->Check();
    // A support whose solver id was seen earlier in the list is not the first with it.
    const auto& supports = Supports().Members();
    for (std::uint32_t i = 0; i < supports.size(); ++i) {
        if (FindSupport(supports[i]->GetSolverId()) != i)
            throw RomException(
                "In mesh data configuration, supports with the same solverId have been added to different regions "
                "!\n solverId of support is :" +
                supports[i]->GetSolverId());
    }
}

bool CMeshDataCfg::Equals(const IRomObject& other) const {
    const auto* that = dynamic_cast<const IMeshDataCfg*>(&other);
    return that != nullptr && nodeData_.Equals(that->GetNodeDataCfg()) &&
           elementData_.Equals(that->GetElementDataCfg()) && regions_.Equals(that->GetRegionCfgs()) &&
           unit_ == that->GetUnit();
}

void CMeshDataCfg::ToJson(Json::Value& value) const {
    nodeData_.ToJson(value["nodeData"]);
    elementData_.ToJson(value["elementData"]);
    regions_.ToJson(value["regions"]);
    value["unit"] = unit_;
    InternalIdToJson(value);
}

void CMeshDataCfg::FromJson(const Json::Value& value, std::uint32_t version) {
    if (value.isMember("nodeData")) nodeData_.FromJson(value["nodeData"], version);
    if (value.isMember("elementData")) elementData_.FromJson(value["elementData"], version);
    if (value.isMember("regions")) {
        // The list refers to the supports about to be deleted.
        supports_.Clear();
        supportsStale_ = true;
        try {
            regions_.FromJson(value["regions"], version);
        } catch (...) {
            WatchRegions();
            throw;
        }
        WatchRegions();
    }
    if (value.isMember("unit")) unit_ = value["unit"].asString();
    InternalIdFromJson(value);
}

std::unique_ptr<CMeshDataCfg> CMeshDataCfg::Duplicate() const {
    auto copy = std::make_unique<CMeshDataCfg>(static_cast<const IMeshDataCfg&>(*this));
    copy->CopyInternalId(*this);
    copy->nodeData_.CopyIdsOf(nodeData_);
    copy->elementData_.CopyIdsOf(elementData_);
    for (std::size_t i = 0; i < regions_.Members().size(); ++i)
        copy->regions_.Members()[i]->CopyIdsOf(*regions_.Members()[i]);
    copy->regions_.Reindex();
    return copy;
}

void CMeshDataCfg::SwapWith(CMeshDataCfg& other) noexcept {
    nodeData_.SwapWith(other.nodeData_);
    elementData_.SwapWith(other.elementData_);
    regions_.SwapMembers(other.regions_);
    unit_.swap(other.unit_);
    SwapInternalId(other);
    for (CMeshDataCfg* cfg : {this, &other}) {
        cfg->supports_.Clear();
        cfg->supportsStale_ = true;
        cfg->supportIndex_.Invalidate();
        cfg->WatchRegions();
    }
}

void CMeshDataCfg::CheckResumed(const std::string& fileName) const {
    Common::RefuseResume(fileName, CoordinateTableProblem(nodeData_));
}

void CMeshDataCfg::TakeResumed(Common::CPersistableJson& read) noexcept { SwapWith(static_cast<CMeshDataCfg&>(read)); }

}  // namespace Tervik::Rom::Configuration
