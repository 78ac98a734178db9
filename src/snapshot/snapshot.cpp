#include "snapshot/snapshot.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

#include "common/file_extensions.hpp"
#include "snapshot/id_order.hpp"

namespace Tervik::Rom::Snapshot {

using Common::RomException;

// ---- Component data ---------------------------------------------------------------

namespace {
// Values placed by id together: smaller batches measured slower (4,096 took about half as
// long again a value).
constexpr std::uint32_t kPlaceBatch = 1u << 16;
// Placing starts only while the values added so far are few enough to set aside.
constexpr std::uint32_t kStartPlacingBy = 1u << 18;
}  // namespace

CSnapshotComponentData::CSnapshotComponentData(std::string componentId, std::string supportId,
                                               std::uint32_t expected, bool keepInsertionOrder)
    : ids_(expected),
      room_(expected),
      expected_(expected),
      componentId_(std::move(componentId)),
      supportId_(std::move(supportId)),
      keepInsertionOrder_(keepInsertionOrder) {
    sink_ = room_.Values();
    placeAt_ = !keepInsertionOrder_ && room_.CanPlace() ? NextBatch() : 0;
}

std::uint32_t CSnapshotComponentData::NextBatch() const {
    return assigned_ < expected_ ? assigned_ + std::min(kPlaceBatch, expected_ - assigned_) : 0;
}

void CSnapshotComponentData::GetValue(std::uint32_t index, std::uint32_t& id, double& value) const {
    if (index >= expected_)
        throw RomException("Tried to access an out of bound value when retrieving a value from a snapshot.");
    id = ids_[index];
    // A value read by id has to be at its place first. The component data themselves are
    // never const, and reads in the middle of a fill are no more thread-safe than the fill.
    if (index < placed_ && !room_.Settled()) const_cast<CSnapshotComponentData*>(this)->Settle();
    if (!room_.Placing())
        value = room_.Values()[index];
    else if (index < placed_)
        value = room_.ValueOf(id);
    else
        value = index < assigned_ ? batch_[index - placed_] : 0.0;
}

void CSnapshotComponentData::ThrowFull(std::uint32_t id) const {
    throw RomException("Impossible to add the value for the entity " + std::to_string(id) + ". The component " +
                       componentId_ + " on the support " + supportId_ + " is already full.");
}

void CSnapshotComponentData::PlaceAdded() {
    try {
        if (!room_.Placing()) {
            if (!ascending_)
                StartPlacing();
            else
                placeAt_ = assigned_ < kStartPlacingBy ? NextBatch() : 0;
            return;
        }
        if (!room_.Place(ids_.get() + placed_, batch_.get(), assigned_ - placed_)) {
            KeepAddedOrder();
            return;
        }
        PlacedAll();
    } catch (...) {
        // Out of memory: the add that came here did not happen.
        --assigned_;
        ids_[assigned_] = 0;
        if (!room_.Placing()) room_.Values()[assigned_] = 0;
        throw;
    }
}

void CSnapshotComponentData::StartPlacing() {
    // The values added so far leave the room, which their places overwrite.
    const std::uint32_t added = assigned_;
    std::unique_ptr<double[]> batch(new double[std::max(added, kPlaceBatch)]);
    std::memcpy(batch.get(), room_.Values(), sizeof(double) * added);
    if (!room_.StartPlacing(ids_.get(), batch.get(), added)) {
        placeAt_ = 0;
        return;
    }
    batch_ = std::move(batch);
    sink_ = batch_.get();
    PlacedAll();
}

void CSnapshotComponentData::PlacedAll() noexcept {
    placed_ = sinkFrom_ = assigned_;
    placeAt_ = NextBatch();
    if (assigned_ == expected_) Settle();
}

void CSnapshotComponentData::Settle() noexcept {
    if (!room_.Settle()) KeepAddedOrder();
}

void CSnapshotComponentData::KeepAddedOrder() noexcept {
    if (room_.Placing()) {
        room_.ToAddedOrder(ids_.get(), placed_, batch_.get(), assigned_ - placed_);
        batch_.reset();
        sink_ = room_.Values();
        placed_ = sinkFrom_ = 0;
    }
    placeAt_ = 0;
}

void CSnapshotComponentData::AddValues(const std::uint32_t* ids, const double* values, std::uint32_t count) {
    if (count == 0) return;
    if (ids == nullptr || values == nullptr) throw RomException("Impossible to add values from a null array.");
    if (count > expected_ - assigned_) ThrowFull(ids[expected_ - assigned_]);
    const std::uint32_t from = assigned_;
    // Ids and values are read once each: the ids are copied first (the arrays may be this
    // component data's own, read through its live storage), and the values go from the caller's
    // array to their places or to the table. The batch placing needs is had before anything
    // changes.
    std::unique_ptr<double[]> batch(from == 0 && placeAt_ != 0 && !room_.Placing() ? new double[kPlaceBatch] : nullptr);
    const IdSpan span = CopyIds(ids_.get() + from, ids, count, from != 0 ? ids_[from - 1] : 0);
    const bool ascending = ascending_ && span.ascending;
    const std::uint32_t* const added = ids_.get() + from;
    // Straight to their places when the room is laid out by id, or can be from these.
    if (room_.Placing()) {
        if (room_.Place(ids_.get() + placed_, batch_.get(), from - placed_)) placed_ = sinkFrom_ = from;
        if (placed_ != from || !room_.Place(added, values, count)) KeepAddedOrder();
    } else if (batch != nullptr && !ascending && room_.StartPlacing(added, values, count, span.low, span.high)) {
        batch_ = std::move(batch);
        sink_ = batch_.get();
    }
    assigned_ += count;
    ascending_ = ascending;
    if (room_.Placing()) {
        PlacedAll();
        return;
    }
    CopyValues(room_.Values() + from, values, count);
    if (placeAt_ == 0) return;
    if (!ascending && assigned_ <= kStartPlacingBy)
        StartPlacing();
    else
        placeAt_ = assigned_ < kStartPlacingBy ? NextBatch() : 0;
}

void AddValues(ISnapshotComponentData& data, const std::uint32_t* ids, const double* values, std::uint32_t count) {
    if (auto* own = dynamic_cast<CSnapshotComponentData*>(&data)) return own->AddValues(ids, values, count);
    for (std::uint32_t i = 0; i < count; ++i) data.AddValue(ids[i], values[i]);
}

void CSnapshotComponentData::Restore(std::string componentId, std::string supportId, std::uint32_t count) {
    if (count != expected_ || room_.Placing()) {
        try {
            if (spare != nullptr && spare->expected_ == count && !spare->room_.Placing()) {
                std::swap(ids_, spare->ids_);
                std::swap(room_, spare->room_);
            } else {
                if (count != expected_) ids_ = Common::CZeroedArray<std::uint32_t>(count);
                room_ = CValueRoom(count);
            }
        } catch (const std::bad_alloc&) {
            throw RomException("The snapshot component data of the component " + componentId + " on the support " +
                               supportId + ": its " + std::to_string(count) + " values (" +
                               std::to_string(std::uint64_t{count} * (sizeof(std::uint32_t) + sizeof(double))) +
                               " bytes) do not fit in memory.");
        }
        batch_.reset();
        sink_ = room_.Values();
        placed_ = sinkFrom_ = 0;
    }
    spare.reset();
    placeAt_ = 0;
    // A kept component data keeps its texts, which callers may still hold.
    if (componentId_ != componentId) componentId_ = std::move(componentId);
    if (supportId_ != supportId) supportId_ = std::move(supportId);
    assigned_ = expected_ = count;
    ascending_ = false;  // known once the ids are read
}

void CSnapshotComponentData::RestoredIds() {
    ascending_ = std::is_sorted(ids_.get(), ids_.get() + expected_);
    idsLent_ = false;
}

void CSnapshotComponentData::TakeResumed(CSnapshotComponentData& read) noexcept {
    // The ids are the same texts: callers may hold these.
    std::swap(ids_, read.ids_);
    std::swap(room_, read.room_);
    std::swap(sink_, read.sink_);
    std::swap(sinkFrom_, read.sinkFrom_);
    std::swap(batch_, read.batch_);
    std::swap(placed_, read.placed_);
    std::swap(placeAt_, read.placeAt_);
    std::swap(assigned_, read.assigned_);
    std::swap(expected_, read.expected_);
    std::swap(ascending_, read.ascending_);
    std::swap(idsLent_, read.idsLent_);
}

bool CSnapshotComponentData::IdsAscend() const {
    if (assigned_ != expected_) return false;
    return idsLent_ ? std::is_sorted(ids_.get(), ids_.get() + expected_) : ascending_;
}

// ---- Snapshot ---------------------------------------------------------------------

namespace {

// A component data of count values; memory that cannot hold them is named in the error.
std::unique_ptr<CSnapshotComponentData> NewComponentData(const std::string& componentId, const std::string& supportId,
                                                         std::uint32_t count, bool keepInsertionOrder) {
    try {
        return std::make_unique<CSnapshotComponentData>(componentId, supportId, count, keepInsertionOrder);
    } catch (const std::bad_alloc&) {
        throw RomException("The snapshot component data of the component " + componentId + " on the support " +
                           supportId + ": its " + std::to_string(count) + " values (" +
                           std::to_string(std::uint64_t{count} * (sizeof(std::uint32_t) + sizeof(double))) +
                           " bytes) do not fit in memory.");
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

// ---- Files ------------------------------------------------------------------------

namespace {

using namespace Common;

constexpr std::int32_t kVersion = 1;

void CheckVersion(std::int32_t version, const char* head) {
    if (version != kVersion)
        throw RomException(head + std::to_string(version) + ". (Current supported version: " +
                           std::to_string(kVersion) + ")");
}

class CSnapshotComponentDataFactory final : public CSerializationFactory<CSnapshotComponentData> {
public:
    std::int32_t GetVersion() const override { return kVersion; }
    const char* GetUuid() const override { return kSnapshotComponentDataUuid; }

protected:
    void Write(ISerializationFile& file, const CSnapshotComponentData& data) const override {
        IStreamAdapter& stream = *file.GetStreamAdapter();
        const std::uint32_t count = data.GetExpectedEntityValueCount();
        stream.Write(data.GetComponentId());
        stream.Write(data.GetSupportId());
        stream.Write(count);
        if (count == 0) return;
        if (data.KeepsInsertionOrder() || data.IdsAscend()) {
            stream.Write(data.Ids(), count);
            stream.Write(data.Values(), count);
            return;
        }
        CIdOrder own;
        CIdOrder& order = data.idOrder != nullptr ? *data.idOrder : own;
        if (const CValueRoom* room = data.Placed()) {
            order.WritePlaced(stream, *room, count);
            return;
        }
        order.Make(data.Ids(), count);
        order.WriteSorted(stream, data.Ids(), data.Values());
    }

    void Read(ISerializationFile& file, CSnapshotComponentData& data, std::int32_t version) const override {
        CheckVersion(version, "The snapshot component data has been saved using the unsupported version ");
        IStreamAdapter& stream = *file.GetStreamAdapter();
        std::string componentId;
        std::string supportId;
        std::uint32_t count = 0;
        stream.Read(componentId);
        stream.Read(supportId);
        stream.Read(&count, 1);
        stream.RequireRemaining(count, sizeof(std::uint32_t) + sizeof(double));
        data.Restore(std::move(componentId), std::move(supportId), count);
        stream.Read(data.GetIdArray(), count);
        stream.Read(data.GetValueArray(), count);
        data.RestoredIds();
    }
};

class CSnapshotFactory final : public CSerializationFactory<CSnapshot> {
public:
    std::int32_t GetVersion() const override { return kVersion; }
    const char* GetUuid() const override { return kSnapshotUuid; }

protected:
    void Write(ISerializationFile& file, const CSnapshot& snapshot) const override {
        if (!snapshot.IsInitialized()) throw RomException("Impossible to save the snapshot. It is unitialized.");
        snapshot.CheckFilled();
        WriteEnvelope(file, *snapshot.Held());
        // One sort, its memory and its thread for all component data.
        CIdOrder order;
        struct Lend {
            const CSnapshot& snapshot;
            ~Lend() {
                for (const auto& data : snapshot.ComponentData()) data->idOrder = nullptr;
            }
        } lend{snapshot};
        for (const auto& data : snapshot.ComponentData()) {
            data->idOrder = &order;
            WriteObject(file, data.get());
        }
    }

    // Each component data is sized by its record, once the file is seen to hold it, and
    // only after the whole file was read are the records held against the configuration.
    void Read(ISerializationFile& file, CSnapshot& snapshot, std::int32_t version) const override {
        CheckVersion(version, "The snapshot has been saved using the unsupported version ");
        Json::Value envelope;
        file.GetStreamAdapter()->Read(envelope);
        auto cfg = std::make_unique<Configuration::CSnapshotCfg>();
        FromEnvelope(envelope, *cfg);
        snapshot.Restore(std::move(cfg));
        for (const auto& data : snapshot.ComponentData()) ReadObject(file, *data);
        snapshot.ForgetIndex();
    }

    void Check(const CSnapshot& snapshot, const std::string& fileName) const override {
        std::string problem = snapshot.Held()->IdProblem();
        if (problem.empty()) problem = snapshot.PairProblem();
        if (!problem.empty()) throw RomException("The file " + fileName + " cannot be resumed: " + problem);
    }
};

}  // namespace

const ISerializationFactory* const* SnapshotSerializationFactories() {
    static const CSnapshotFactory snapshot;
    static const CSnapshotComponentDataFactory componentData;
    static const ISerializationFactory* const factories[kSnapshotFactoryCount] = {&snapshot, &componentData};
    return factories;
}

}  // namespace Tervik::Rom::Snapshot
