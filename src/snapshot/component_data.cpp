#include "snapshot/component_data.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

#include "snapshot/id_order.hpp"

namespace Tervik::Rom::Snapshot {

using Common::RomException;

namespace {
// Values placed by id together: smaller batches measured slower (4,096 took about half as
// long again a value).
constexpr std::uint32_t kPlaceBatch = 1u << 16;
// Placing starts only while the values added so far are few enough to set aside.
constexpr std::uint32_t kStartPlacingBy = 1u << 18;
}  // namespace

CSnapshotComponentData::CSnapshotComponentData(std::string componentId, std::string supportId, std::uint32_t expected,
                                               bool keepInsertionOrder)
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

RomException TooLarge(const std::string& componentId, const std::string& supportId, std::uint32_t count) {
    return RomException("The snapshot component data of the component " + componentId + " on the support " + supportId +
                        ": its " + std::to_string(count) + " values (" +
                        std::to_string(std::uint64_t{count} * (sizeof(std::uint32_t) + sizeof(double))) +
                        " bytes) do not fit in memory.");
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
            throw TooLarge(componentId, supportId, count);
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

}  // namespace Tervik::Rom::Snapshot
