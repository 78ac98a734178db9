#include "snapshot/snapshot.hpp"

#include <cstring>
#include <utility>

#include "common/file_extensions.hpp"

namespace Tervik::Rom::Snapshot {

using Common::RomException;

// ---- Component data ---------------------------------------------------------------

CSnapshotComponentData::CSnapshotComponentData(std::string componentId, std::string supportId,
                                               std::uint32_t expected, bool keepInsertionOrder)
    : ids_(new std::uint32_t[expected]()),
      values_(new double[expected]()),
      expected_(expected),
      componentId_(std::move(componentId)),
      supportId_(std::move(supportId)),
      keepInsertionOrder_(keepInsertionOrder) {}

void CSnapshotComponentData::GetValue(std::uint32_t index, std::uint32_t& id, double& value) const {
    if (index >= expected_)
        throw RomException("Tried to access an out of bound value when retrieving a value from a snapshot.");
    id = ids_[index];
    value = values_[index];
}

void CSnapshotComponentData::ThrowFull(std::uint32_t id) const {
    throw RomException("Impossible to add the value for the entity " + std::to_string(id) + ". The component " +
                       componentId_ + " on the support " + supportId_ + " is already full.");
}

void CSnapshotComponentData::Restore(std::string componentId, std::string supportId, std::uint32_t count) {
    if (count != expected_) {
        ids_.reset(new std::uint32_t[count]());
        values_.reset(new double[count]());
    }
    componentId_ = std::move(componentId);
    supportId_ = std::move(supportId);
    assigned_ = expected_ = count;
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

// (id << 32 | position) for every pair, in ascending id order: a least-significant-digit
// radix sort on the id, 11 bits a pass, passing over digits that every id shares.
std::vector<std::uint64_t> SortedKeys(const std::uint32_t* ids, std::uint32_t count) {
    std::vector<std::uint64_t> keys(count);
    for (std::uint32_t i = 0; i < count; ++i) keys[i] = (std::uint64_t{ids[i]} << 32) | i;
    constexpr int kBits = 11;
    constexpr std::uint32_t kBuckets = 1u << kBits;
    std::vector<std::uint32_t> counts(3 * kBuckets, 0);
    for (std::uint32_t i = 0; i < count; ++i)
        for (int pass = 0; pass < 3; ++pass) ++counts[pass * kBuckets + ((ids[i] >> (pass * kBits)) & (kBuckets - 1))];
    std::vector<std::uint64_t> scratch(count);
    for (int pass = 0; pass < 3; ++pass) {
        std::uint32_t* bucket = &counts[pass * kBuckets];
        const int shift = 32 + pass * kBits;
        if (count == 0 || bucket[(keys[0] >> shift) & (kBuckets - 1)] == count) continue;  // one digit for all
        std::uint32_t start = 0;
        for (std::uint32_t b = 0; b < kBuckets; ++b) std::swap(start, bucket[b]), start += bucket[b];
        for (std::uint32_t i = 0; i < count; ++i) scratch[bucket[(keys[i] >> shift) & (kBuckets - 1)]++] = keys[i];
        keys.swap(scratch);
    }
    return keys;
}

bool Ascending(const std::uint32_t* ids, std::uint32_t count) {
    for (std::uint32_t i = 1; i < count; ++i)
        if (ids[i] < ids[i - 1]) return false;
    return true;
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
        if (data.KeepsInsertionOrder() || Ascending(data.Ids(), count)) {
            stream.Write(data.Ids(), count);
            stream.Write(data.Values(), count);
            return;
        }
        std::vector<std::uint64_t> own;
        if (data.sortedKeys == nullptr) own = SortedKeys(data.Ids(), count);
        const std::vector<std::uint64_t>& keys = data.sortedKeys != nullptr ? *data.sortedKeys : own;
        std::unique_ptr<std::uint32_t[]> ids(new std::uint32_t[count]);
        for (std::uint32_t i = 0; i < count; ++i) ids[i] = static_cast<std::uint32_t>(keys[i] >> 32);
        stream.Write(ids.get(), count);
        ids.reset();
        std::unique_ptr<double[]> values(new double[count]);
        const double* source = data.Values();
        for (std::uint32_t i = 0; i < count; ++i) values[i] = source[keys[i] & 0xFFFFFFFFu];
        stream.Write(values.get(), count);
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
        // Component data with the same ids (the components of one support, filled in
        // one order) share one sort.
        std::vector<std::uint64_t> keys;
        const CSnapshotComponentData* sortedFor = nullptr;
        struct Forget {
            const CSnapshot& snapshot;
            ~Forget() {
                for (const auto& data : snapshot.ComponentData()) data->sortedKeys = nullptr;
            }
        } forget{snapshot};
        for (const auto& data : snapshot.ComponentData()) {
            const std::uint32_t count = data->GetExpectedEntityValueCount();
            if (!data->KeepsInsertionOrder() && count > 1 && !Ascending(data->Ids(), count)) {
                const bool same = sortedFor != nullptr && sortedFor->GetExpectedEntityValueCount() == count &&
                                  std::memcmp(sortedFor->Ids(), data->Ids(), sizeof(std::uint32_t) * count) == 0;
                if (!same) {
                    keys = SortedKeys(data->Ids(), count);
                    sortedFor = data.get();
                }
                data->sortedKeys = &keys;
            }
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
