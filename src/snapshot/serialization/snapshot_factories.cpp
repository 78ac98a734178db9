// Bodies of the snapshot files: the snapshot's configuration, then one record per
// component/support pair with its ids and values in ascending id order.
#include "snapshot/serialization/snapshot_factories.hpp"

#include <string>
#include <utility>

#include "snapshot/id_order.hpp"
#include "snapshot/snapshot.hpp"

namespace Tervik::Rom::Snapshot {

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
