// Bodies of the snapshot files: the snapshot's configuration, then one record per
// component/support pair with its ids and values in ascending id order.
#include <string>
#include <utility>

#include "common/persistence.hpp"
#include "snapshot/id_order.hpp"
#include "snapshot/snapshot.hpp"

namespace Tervik::Rom::Snapshot {

namespace {

using namespace Common;

constexpr std::int32_t kVersion = 1;

class CSnapshotComponentDataFactory final : public CSerializationFactory<CSnapshotComponentData> {
public:
    std::int32_t GetVersion() const override { return kVersion; }
    const char* GetUuid() const override { return kSnapshotComponentDataUuid; }

    // The record of data: component id, support id, count, then the ids and the values,
    // which order sorts when they are neither in order nor to be kept as added (it keeps
    // its memory and its thread for the next record).
    void Write(ISerializationFile& file, const CSnapshotComponentData& data, CIdOrder& order) const {
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
        if (const CValueRoom* room = data.Placed()) {
            order.WritePlaced(stream, *room, count);
            return;
        }
        order.Make(data.Ids(), count);
        order.WriteSorted(stream, data.Ids(), data.Values());
    }

protected:
    void Write(ISerializationFile& file, const CSnapshotComponentData& data) const override {
        CIdOrder order;
        Write(file, data, order);
    }

    void Read(ISerializationFile& file, CSnapshotComponentData& data, std::int32_t version) const override {
        RequireVersion(version, "The snapshot component data has been saved using the unsupported version ");
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

const CSnapshotComponentDataFactory componentDataFactory;

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
        for (const auto& data : snapshot.ComponentData())
            WriteObject(file, *data, [&] { componentDataFactory.Write(file, *data, order); });
    }

    // Each component data is sized by its record, once the file is seen to hold it, and
    // only after the whole file was read are the records held against the configuration.
    void Read(ISerializationFile& file, CSnapshot& snapshot, std::int32_t version) const override {
        RequireVersion(version, "The snapshot has been saved using the unsupported version ");
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
        RefuseResume(fileName, problem);
    }
};

const CSnapshotFactory snapshotFactory;
const CSerializationFactoryRegistration registration{&snapshotFactory, &componentDataFactory};

}  // namespace

}  // namespace Tervik::Rom::Snapshot
