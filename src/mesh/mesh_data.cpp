#include "mesh/mesh_data.hpp"

#include "common/file_extensions.hpp"

namespace Tervik::Rom::Mesh {

using Common::RomException;

// ---- Tables -----------------------------------------------------------------------

const TableNames CNodeData::kCoordinates{kNodeDataName, "coordinates", "coordinates table", "this table"};
const TableNames CNodeData::kIds{kNodeDataName, "ids", "ids table", "this table"};
const TableNames CStdElementData::kConnectivity{kStdElementDataName, "connectivity", "connectivity table",
                                                "this table"};
const TableNames CStdElementData::kIds{kStdElementDataName, "ids", "ids table", "this table"};
const TableNames CStdElementData::kTypes{kStdElementDataName, "types", "types table", "this table"};
template <>
const TableNames CPolygonData::kConnectivity{kPolygonDataName, "connectivity", "connectivity table",
                                             "data for this table"};
template <>
const TableNames CPolygonData::kIds{kPolygonDataName, "ids", "table of ids", "data for this table"};
template <>
const TableNames CPolyhedronData::kConnectivity{kPolyhedronDataName, "connectivity", "connectivity table",
                                                "data for this table"};
template <>
const TableNames CPolyhedronData::kIds{kPolyhedronDataName, "ids", "table of ids", "data for this table"};
const TableNames CSupportData::kEntities{kSupportDataName, "entities", "entities table", "this table"};

namespace {

void RequireCoordinateTable(const Configuration::INodeDataCfg& configuration) {
    const std::string problem = Configuration::CoordinateTableProblem(configuration);
    if (!problem.empty()) throw RomException(Configuration::Capitalized(problem));
}

}  // namespace

void CNodeData::Initialize(const Configuration::INodeDataCfg& configuration) {
    configuration.Check();
    RequireCoordinateTable(configuration);
    CConfigured::Initialize(configuration);
}

void CNodeData::ReleaseTables() {
    coordinates_.Release();
    ids_.Release();
}

bool CNodeData::Equals(const IRomObject& other) const {
    const auto* that = dynamic_cast<const CNodeData*>(&other);
    return that != nullptr && SameConfiguration(*that) && coordinates_.Equals(that->coordinates_) &&
           ids_.Equals(that->ids_);
}

void CStdElementData::ReleaseTables() {
    connectivity_.Release();
    ids_.Release();
    types_.Release();
}

bool CStdElementData::Equals(const IRomObject& other) const {
    const auto* that = dynamic_cast<const CStdElementData*>(&other);
    return that != nullptr && SameConfiguration(*that) && connectivity_.Equals(that->connectivity_) &&
           ids_.Equals(that->ids_) && types_.Equals(that->types_);
}

void CStdElementData::TakeResumed(CStdElementData& read) noexcept {
    if (read.passedOver_ && IsInitialized() && SameConfiguration(read)) return;
    TakeConfiguration(read);
    connectivity_.Swap(read.connectivity_);
    ids_.Swap(read.ids_);
    types_.Swap(read.types_);
    passedOver_ = false;
}

void CSupportData::Initialize(const Configuration::ISupportCfg& configuration) {
    CConfigured::Initialize(configuration);
    MutableCfg().SetContext(Configuration::SupportContext::MeshSupportData);
}

bool CSupportData::Equals(const IRomObject& other) const {
    const auto* that = dynamic_cast<const CSupportData*>(&other);
    return that != nullptr && SameConfiguration(*that) && entities_.Equals(that->entities_);
}

// ---- Two-part data ----------------------------------------------------------------

template <class I, class Parts>
void CTwoPartData<I, Parts>::Initialize(const Cfg& configuration) {
    configuration.Check();
    initialized_ = false;
    first_.reset();
    second_.reset();
    configuration_ = std::make_unique<typename Parts::CfgCopy>(configuration);
    if (const auto* part = Parts::FirstCfg(configuration)) {
        first_ = std::make_unique<First>();
        first_->Initialize(*part);
    }
    if (const auto* part = Parts::SecondCfg(configuration)) {
        second_ = std::make_unique<Second>();
        second_->Initialize(*part);
    }
    initialized_ = true;
}

template <class I, class Parts>
void CTwoPartData<I, Parts>::TakeResumed(CTwoPartData& read) noexcept {
    if (!initialized_ || !read.initialized_ || !configuration_->Equals(*read.configuration_))
        configuration_.swap(read.configuration_);
    if (first_ != nullptr && read.first_ != nullptr)
        first_->TakeResumed(*read.first_);
    else
        first_.swap(read.first_);
    if (second_ != nullptr && read.second_ != nullptr)
        second_->TakeResumed(*read.second_);
    else
        second_.swap(read.second_);
    initialized_ = read.initialized_;
}

template <class I, class Parts>
bool CTwoPartData<I, Parts>::Equals(const Common::IRomObject& other) const {
    const auto* that = dynamic_cast<const CTwoPartData*>(&other);
    if (that == nullptr || initialized_ != that->initialized_) return false;
    if (!initialized_) return true;
    return configuration_->Equals(*that->configuration_) &&
           Configuration::PartsEqual<Common::IRomObject>(first_.get(), that->first_.get()) &&
           Configuration::PartsEqual<Common::IRomObject>(second_.get(), that->second_.get());
}

const TwoPartDataTexts UserElementDataParts::kTexts{
    "CUserElementData is not initialized !",
    "In CUserElementData, there is no polyhedron data in the user element data.",
    "In CUserElementData, there is no polygon data in the user element data."};

const Configuration::IPolyhedronDataCfg* UserElementDataParts::FirstCfg(const Cfg& cfg) {
    const Configuration::IPolyhedronDataCfg* part = nullptr;
    cfg.TryGetPolyhedronDataCfg(part);
    return part;
}

const Configuration::IPolygonDataCfg* UserElementDataParts::SecondCfg(const Cfg& cfg) {
    const Configuration::IPolygonDataCfg* part = nullptr;
    cfg.TryGetPolygonDataCfg(part);
    return part;
}

const TwoPartDataTexts ElementDataParts::kTexts{
    "CElementData is not initialized !", "In CElementData, there is no standard element data in the element data.",
    "In CElementData, there is no user defined element data in the element data."};

const Configuration::IStdElementDataCfg* ElementDataParts::FirstCfg(const Cfg& cfg) {
    const Configuration::IStdElementDataCfg* part = nullptr;
    cfg.TryGetStdElementDataCfg(part);
    return part;
}

const Configuration::IUserElementDataCfg* ElementDataParts::SecondCfg(const Cfg& cfg) {
    const Configuration::IUserElementDataCfg* part = nullptr;
    cfg.TryGetUserElementDataCfg(part);
    return part;
}

template class CTwoPartData<IUserElementData, UserElementDataParts>;
template class CTwoPartData<IElementData, ElementDataParts>;

// ---- Support datas ----------------------------------------------------------------

void CSupportDatas::Initialize(const Cfg& configuration) {
    for (std::uint32_t i = 0; i < configuration.GetCount(); ++i) configuration.Get(i)->Check();
    configuration_.reset();
    Clear();
    auto copies = std::make_unique<Configuration::CSupportCfgs>();
    for (std::uint32_t i = 0; i < configuration.GetCount(); ++i) {
        const auto* source = dynamic_cast<const Configuration::CSupportCfg*>(configuration.Get(i));
        if (source == nullptr) throw RomException("Trying to initialize a SupportCfg object with non compatible data!");
        copies->Add(std::make_unique<Configuration::CSupportCfg>(*source)).SetContext(source->GetContext());
    }
    configuration_ = std::move(copies);
    for (const Configuration::CSupportCfg* copy : configuration_->Members()) {
        auto data = std::make_unique<CSupportData>();
        data->Initialize(*copy);
        Add(std::move(data));
    }
}

void CSupportDatas::TakeResumed(CSupportDatas& read) noexcept {
    const auto& mine = Members();
    const auto& theirs = read.Members();
    bool same = configuration_ != nullptr && read.configuration_ != nullptr && mine.size() == theirs.size();
    for (std::size_t i = 0; same && i < mine.size(); ++i)
        same = configuration_->Members()[i]->Equals(*read.configuration_->Members()[i]);
    if (!same) {
        configuration_.swap(read.configuration_);
        SwapMembers(read);
        return;
    }
    for (std::size_t i = 0; i < mine.size(); ++i) mine[i]->TakeResumed(*theirs[i]);
}

bool CSupportDatas::IsInitialized() const {
    if (configuration_ == nullptr) return false;
    for (const CSupportData* data : Members())
        if (!data->IsInitialized()) return false;
    return true;
}

// ---- Mesh data --------------------------------------------------------------------

void CMeshData::RequireInitialized() const {
    if (!initialized_) throw RomException("CMeshData is not initialized !");
}

const Configuration::IMeshDataCfg* CMeshData::GetConfiguration() const {
    RequireInitialized();
    return configuration_.get();
}

void CMeshData::Initialize(const Configuration::IMeshDataCfg& configuration) {
    configuration.Check();
    RequireCoordinateTable(configuration.GetNodeDataCfg());
    initialized_ = false;
    supportIndex_.Invalidate();
    configuration_ = std::make_unique<Configuration::CMeshDataCfg>(configuration);
    elementData_.Initialize(configuration_->GetElementDataCfg());
    nodeData_.Initialize(configuration_->GetNodeDataCfg());
    supportDatas_.Initialize(configuration_->GetSupportCfgs());
    initialized_ = true;
}

IElementData& CMeshData::GetMutableElementData() {
    RequireInitialized();
    if (!elementData_.IsInitialized()) throw RomException("In CMeshData, there is no element data in the mesh object.");
    return elementData_;
}

const IElementData& CMeshData::GetElementData() const { return const_cast<CMeshData*>(this)->GetMutableElementData(); }

INodeData& CMeshData::GetMutableNodeData() {
    RequireInitialized();
    if (!nodeData_.IsInitialized()) throw RomException("In CMeshData, there is no node data in the mesh object.");
    return nodeData_;
}

const INodeData& CMeshData::GetNodeData() const { return const_cast<CMeshData*>(this)->GetMutableNodeData(); }

const Common::IContainer<ISupportData>& CMeshData::GetSupportDatas() const {
    RequireInitialized();
    if (!supportDatas_.IsInitialized())
        throw RomException("In CMeshData, there is no support data in the mesh object.");
    return supportDatas_;
}

CSupportData& CMeshData::FindSupportData(const std::string& solverId) const {
    GetSupportDatas();
    const std::uint32_t index = supportIndex_.Find(supportDatas_.Members(), solverId);
    if (index == Common::CSolverIdIndex<CSupportData>::kNotFound)
        throw RomException("In CMeshData, no support has the given solverId.\nGiven solverId is : " + solverId);
    return *supportDatas_.Members()[index];
}

ISupportData& CMeshData::GetMutableSupportData(const std::string& solverId) { return FindSupportData(solverId); }

const ISupportData& CMeshData::GetSupportData(const std::string& solverId) const { return FindSupportData(solverId); }

void CMeshData::TakeResumed(Common::CPersistableBinary& read) noexcept {
    auto& other = static_cast<CMeshData&>(read);
    if (!initialized_ || !other.initialized_ || !configuration_->Equals(*other.configuration_))
        configuration_.swap(other.configuration_);
    elementData_.TakeResumed(other.elementData_);
    nodeData_.TakeResumed(other.nodeData_);
    supportDatas_.TakeResumed(other.supportDatas_);
    initialized_ = other.initialized_;
    supportIndex_.Invalidate();
}

const std::string& CMeshData::GetFileExtension() const { return Common::FileExtension::Mesh(); }

bool CMeshData::Equals(const IRomObject& other) const {
    const auto* that = dynamic_cast<const CMeshData*>(&other);
    if (that == nullptr || initialized_ != that->initialized_) return false;
    if (initialized_ && !configuration_->Equals(*that->configuration_)) return false;
    return elementData_.Equals(that->elementData_) && nodeData_.Equals(that->nodeData_) &&
           supportDatas_.Equals(that->supportDatas_);
}

}  // namespace Tervik::Rom::Mesh
