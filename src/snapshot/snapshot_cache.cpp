#include "snapshot/snapshot_cache.hpp"

#include <memory>
#include <utility>

#include "common/file_extensions.hpp"

namespace Tervik::Rom::Snapshot {

using Common::RomException;

namespace {

const char* const kMissingFileName = "A snapshot cache entry misses its snapshot file name.";

}  // namespace

CSnapshotCacheEntry::CSnapshotCacheEntry(const IPoint& input, const IPoint& output, std::string snapshotFile)
    : snapshotFile_(std::move(snapshotFile)) {
    input.CopyTo(input_);
    output.CopyTo(output_);
}

void CSnapshotCacheEntry::ToJson(Json::Value& value) const {
    if (snapshotFile_.empty()) throw RomException(kMissingFileName);
    input_.ToJson(value["input"]);
    output_.ToJson(value["output"]);
    value["snapshotFile"] = snapshotFile_;
}

void CSnapshotCacheEntry::FromJson(const Json::Value& value, std::uint32_t version) {
    if (!value.isObject() || !value.isMember("input"))
        throw RomException("A snapshot cache entry misses its input value.");
    input_.FromJson(value["input"], version);
    if (!value.isMember("output")) throw RomException("A snapshot cache entry misses its output value.");
    output_.FromJson(value["output"], version);
    if (!value.isMember("snapshotFile")) throw RomException(kMissingFileName);
    snapshotFile_ = value["snapshotFile"].asString();
}

void CSnapshotCache::Clear() { entries_.Clear(); }

ISnapshotCacheEntry* CSnapshotCache::Pull(const IPoint& input) {
    for (CSnapshotCacheEntry* entry : entries_.Members())
        if (input.Equals(entry->GetInputPoint())) return entry;
    return nullptr;
}

bool CSnapshotCache::Push(const IPoint& input, const IPoint& output, const std::string& snapshotFile) {
    if (Pull(input) != nullptr) return false;
    entries_.Add(std::make_unique<CSnapshotCacheEntry>(input, output, snapshotFile));
    return true;
}

const std::string& CSnapshotCache::GetFileExtension() const { return Common::FileExtension::SnapshotCache(); }

void CSnapshotCache::ToJson(Json::Value& value) const { entries_.ToJson(value["entries"]); }

void CSnapshotCache::FromJson(const Json::Value& value, std::uint32_t version) {
    if (!value.isObject() || !value.isMember("entries"))
        throw RomException("The snapshot cache file does not have the list of snapshots.");
    entries_.FromJson(value["entries"], version);
}

std::unique_ptr<Common::CPersistableJson> CSnapshotCache::CopyForResume() const {
    return std::make_unique<CSnapshotCache>();
}

void CSnapshotCache::TakeResumed(Common::CPersistableJson& read) noexcept {
    entries_.SwapMembers(static_cast<CSnapshotCache&>(read).entries_);
}

}  // namespace Tervik::Rom::Snapshot
