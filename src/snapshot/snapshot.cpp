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
    bool ascending = ascending_;
    std::uint32_t previous = assigned_ != 0 ? ids_[assigned_ - 1] : 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        ascending &= ids[i] >= previous;
        previous = ids[i];
    }
    const std::uint32_t from = assigned_;
    // Straight to their places when the room is laid out by id, or can be from these.
    if (room_.Placing()) {
        if (room_.Place(ids_.get() + placed_, batch_.get(), from - placed_)) placed_ = sinkFrom_ = from;
        if (placed_ != from || !room_.Place(ids, values, count)) KeepAddedOrder();
    } else if (from == 0 && placeAt_ != 0 && !ascending) {
        std::unique_ptr<double[]> batch(new double[kPlaceBatch]);
        if (room_.StartPlacing(ids, values, count)) {
            batch_ = std::move(batch);
            sink_ = batch_.get();
        }
    }
    std::memmove(ids_.get() + from, ids, sizeof(std::uint32_t) * count);
    assigned_ += count;
    ascending_ = ascending;
    if (room_.Placing()) {
        PlacedAll();
        return;
    }
    // The arrays may be this component data's own (read through its live storage).
    std::memmove(room_.Values() + from, values, sizeof(double) * count);
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
        if (count != expected_) ids_ = Common::CZeroedArray<std::uint32_t>(count);
        room_ = CValueRoom(count);
        batch_.reset();
        sink_ = room_.Values();
        placed_ = sinkFrom_ = 0;
    }
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

bool CSnapshotComponentData::IdsAscend() const {
    if (assigned_ != expected_) return false;
    return idsLent_ ? std::is_sorted(ids_.get(), ids_.get() + expected_) : ascending_;
}

// ---- Snapshot ---------------------------------------------------------------------

void CSnapshot::Initialize(const Configuration::ISnapshotCfg& configuration) {
    auto copy = std::make_unique<Configuration::CSnapshotCfg>(configuration);
    std::vector<std::unique_ptr<CSnapshotComponentData>> data;
    const auto& supports = copy->Supports().Members();
    for (std::uint32_t i = 0; i < supports.size(); ++i) {
        const Configuration::CComponentCfgs* components = copy->ComponentsOf(i);
        if (components == nullptr) continue;
        for (const Configuration::CComponentCfg* component : components->Members())
            data.push_back(std::make_unique<CSnapshotComponentData>(component->GetSolverId(), supports[i]->GetSolverId(),
                                                                    supports[i]->GetEntityCount(), keepInsertionOrder_));
    }
    configuration_ = std::move(copy);
    componentData_ = std::move(data);
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
        file.GetStreamAdapter()->Write(ToEnvelope(*snapshot.Held()));
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

    void Read(ISerializationFile& file, CSnapshot& snapshot, std::int32_t version) const override {
        CheckVersion(version, "The snapshot has been saved using the unsupported version ");
        IStreamAdapter& stream = *file.GetStreamAdapter();
        Json::Value envelope;
        stream.Read(envelope);
        Configuration::CSnapshotCfg cfg;
        FromEnvelope(envelope, cfg);
        // Refuse what the file cannot hold before sizing the component data from it.
        std::uint64_t announced = 0;
        for (std::uint32_t i = 0; i < cfg.Supports().GetCount(); ++i)
            if (const auto* components = cfg.ComponentsOf(i))
                announced += std::uint64_t{components->GetCount()} * cfg.Supports().Members()[i]->GetEntityCount() * 12;
        stream.RequireRemaining(announced, 1);
        if (!snapshot.IsInitialized() || !snapshot.Held()->Equals(cfg)) snapshot.Initialize(cfg);
        for (const auto& data : snapshot.ComponentData()) ReadObject(file, *data);
        snapshot.ForgetIndex();
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
