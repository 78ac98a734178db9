// The snapshot cache: input point -> output point and snapshot file.
#ifndef TERVIK_ROM_SRC_SNAPSHOT_SNAPSHOT_CACHE_HPP
#define TERVIK_ROM_SRC_SNAPSHOT_SNAPSHOT_CACHE_HPP

#include <memory>
#include <string>

#include <tervik/rom/snapshot.hpp>

#include "common/container.hpp"
#include "common/persistence.hpp"
#include "snapshot/point.hpp"

namespace Tervik::Rom::Snapshot {

class CSnapshotCacheEntry : public ISnapshotCacheEntry, public Common::CIdentifiable, public Common::JsonService {
public:
    CSnapshotCacheEntry() = default;
    CSnapshotCacheEntry(const IPoint& input, const IPoint& output, std::string snapshotFile);

    IPoint& GetInputPoint() override { return input_; }
    IPoint& GetOutputPoint() override { return output_; }
    const std::string& GetSnapshotFile() const override { return snapshotFile_; }

    // {"input": point, "output": point, "snapshotFile": name}
    void ToJson(Json::Value& value) const override;
    void FromJson(const Json::Value& value, std::uint32_t version) override;

private:
    CPoint input_;
    CPoint output_;
    std::string snapshotFile_;
};

using CSnapshotCacheEntries = Common::CContainerWithJsonService<CSnapshotCacheEntry, ISnapshotCacheEntry>;

class CSnapshotCache : public ISnapshotCache, public Common::CPersistableJson {
public:
    void Clear() override;
    ISnapshotCacheEntry* Pull(const IPoint& input) override;
    bool Push(const IPoint& input, const IPoint& output, const std::string& snapshotFile) override;

    const CSnapshotCacheEntries& GetEntries() const { return entries_; }
    const std::string& GetFileExtension() const override;
    // {"entries": [entry, ...]}
    void ToJson(Json::Value& value) const override;
    void FromJson(const Json::Value& value, std::uint32_t version) override;

protected:
    std::string GetKey() const override { return "snapshotCache"; }
    // A file replaces every entry: a resume reads into an empty cache.
    std::unique_ptr<Common::CPersistableJson> CopyForResume() const override;
    void TakeResumed(Common::CPersistableJson& read) noexcept override;

private:
    CSnapshotCacheEntries entries_;
};

}  // namespace Tervik::Rom::Snapshot

#endif
