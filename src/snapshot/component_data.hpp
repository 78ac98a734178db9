// A snapshot's component data: one (component, support) pair's ids and values.
#ifndef TERVIK_ROM_SRC_SNAPSHOT_COMPONENT_DATA_HPP
#define TERVIK_ROM_SRC_SNAPSHOT_COMPONENT_DATA_HPP

#include <cstdint>
#include <memory>
#include <string>

#include <tervik/rom/snapshot.hpp>

#include "common/persistence.hpp"
#include "common/zeroed_memory.hpp"
#include "snapshot/value_room.hpp"

namespace Tervik::Rom::Snapshot {

inline constexpr char kSnapshotComponentDataUuid[] = "76323E85-420C-430F-A0E2-3C576F16718D";

class CSnapshotComponentData final : public ISnapshotComponentData, public virtual Common::ISerializable {
public:
    // Arrays of expected zeros.
    CSnapshotComponentData(std::string componentId, std::string supportId, std::uint32_t expected,
                           bool keepInsertionOrder);

    const std::string& GetComponentId() const override { return componentId_; }
    const std::string& GetSupportId() const override { return supportId_; }
    std::uint32_t GetExpectedEntityValueCount() const override { return expected_; }
    std::uint32_t GetAssignedEntityValueCount() const override { return assigned_; }
    void GetValue(std::uint32_t index, std::uint32_t& id, double& value) const override;
    // The caller may rewrite the values or the ids through these arrays: the values go back
    // to the order they were added in for good, and the ids' order is checked again at save.
    double* GetValueArray() override {
        KeepAddedOrder();
        return room_.Values();
    }
    std::uint32_t* GetIdArray() override {
        KeepAddedOrder();
        idsLent_ = true;
        return ids_.get();
    }
    void AddValue(std::uint32_t id, double value) override {
        const std::uint32_t i = assigned_;
        if (i >= expected_) ThrowFull(id);
        ids_[i] = id;
        sink_[i - sinkFrom_] = value;
        assigned_ = i + 1;
        if (ascending_ && i != 0 && id < ids_[i - 1]) ascending_ = false;
        if (i + 1 == placeAt_) PlaceAdded();
    }

    // count pairs as count AddValue calls would add them, but all or none.
    void AddValues(const std::uint32_t* ids, const double* values, std::uint32_t count);

    const char* GetSerializationUuid() const override { return kSnapshotComponentDataUuid; }
    bool KeepsInsertionOrder() const { return keepInsertionOrder_; }
    const std::uint32_t* Ids() const { return ids_.get(); }
    // The values in the order added; null while they are placed by id instead.
    const double* Values() const { return room_.Placing() ? nullptr : room_.Values(); }
    // Every value at the place of its id (all added, the ids distinct), or null.
    const CValueRoom* Placed() const {
        return room_.Placing() && room_.Settled() && placed_ == assigned_ ? &room_ : nullptr;
    }
    bool IsFull() const { return assigned_ == expected_; }
    // Whether the ids ascend (unassigned slots are zeros and come last, so a table not full
    // counts as unordered): known from the adds, or checked when the array was handed out.
    bool IdsAscend() const;
    // Replaces everything by what a file holds: full, count pairs.
    void Restore(std::string componentId, std::string supportId, std::uint32_t count);
    // Notes the order of the ids just read into the table (through GetIdArray).
    void RestoredIds();
    // Takes over the pairs of read, a component data of the same pair just resumed.
    void TakeResumed(CSnapshotComponentData& read) noexcept;

    // The memory of a component data a resume replaced: a Restore of as many values takes
    // it rather than have new memory mapped and faulted in.
    std::unique_ptr<CSnapshotComponentData> spare;

private:
    [[noreturn]] void ThrowFull(std::uint32_t id) const;
    // Every batch of adds: while the ids have come in order, nothing; once they have not
    // (early in the fill), the room is laid out by id and each batch goes to it. One store
    // at a random place per call would hold up the calls behind it.
    void PlaceAdded();
    void StartPlacing();
    // After a batch went to the room: once all are added, the values go to their places.
    void PlacedAll() noexcept;
    void Settle() noexcept;
    // The values in the order added from now on.
    void KeepAddedOrder() noexcept;
    std::uint32_t NextBatch() const;

    Common::CZeroedArray<std::uint32_t> ids_;
    CValueRoom room_;
    // Where AddValue puts value i: sink_[i - sinkFrom_]. The room, or while placing, the
    // batch of values added since the last placement.
    double* sink_ = nullptr;
    std::uint32_t sinkFrom_ = 0;
    std::unique_ptr<double[]> batch_;
    std::uint32_t placed_ = 0;   // values at their places in the room, while placing
    std::uint32_t placeAt_ = 0;  // the count of values added at which PlaceAdded runs; 0: never
    std::uint32_t assigned_ = 0;
    std::uint32_t expected_ = 0;
    std::string componentId_;
    std::string supportId_;
    bool keepInsertionOrder_ = false;
    bool ascending_ = true;  // the ids added so far ascend
    bool idsLent_ = false;   // GetIdArray handed the array out since
};

// The error of a component data of count values that memory cannot hold.
Common::RomException TooLarge(const std::string& componentId, const std::string& supportId, std::uint32_t count);

// Adds arrays of pairs to any component data: at once to the library's own.
void AddValues(ISnapshotComponentData& data, const std::uint32_t* ids, const double* values, std::uint32_t count);

}  // namespace Tervik::Rom::Snapshot

#endif
