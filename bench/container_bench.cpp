// Container checks: reading N members must cost N times one member, not N squared.
#include <cstdio>
#include <memory>
#include <string>

#include "bench.hpp"
#include "common/container.hpp"
#include "snapshot/snapshot_cache.hpp"

using namespace Tervik::Rom;

namespace {

Json::Value Entries(int count) {
    Json::Value array(Json::arrayValue);
    for (int i = 0; i < count; ++i) {
        Json::Value entry;
        entry["input"][0]["id"] = "x";
        entry["input"][0]["value"] = i;
        entry["output"] = Json::Value();
        entry["snapshotFile"] = "run-" + std::to_string(i) + ".romsnp";
        array.append(entry);
    }
    return array;
}

}  // namespace

int main() {
    for (int count : {25000, 100000}) {
        const Json::Value array = Entries(count);
        // Reference: making and reading the same members with no container checks.
        const double plain = BestSeconds([&] {
            std::vector<std::unique_ptr<Snapshot::CSnapshotCacheEntry>> members;
            for (const Json::Value& item : array) {
                members.push_back(std::make_unique<Snapshot::CSnapshotCacheEntry>());
                members.back()->FromJson(item, 1);
                Json::Value rendered;
                members.back()->ToJson(rendered);
            }
        });
        const double checked = BestSeconds([&] {
            Snapshot::CSnapshotCacheEntries entries;
            entries.FromJson(array, 1);
        });
        const std::string what = "FromJson " + std::to_string(count) + " members, all checks";
        Report(what.c_str(), checked, "same reads, no checks", plain);
    }
    for (int count : {25000, 100000}) {
        const double add = BestSeconds([&] {
            Common::CContainer<Common::CSolverIdentifier, Common::ISolverIdentifier> ids;
            for (int i = 0; i < count; ++i) ids.Add(std::make_unique<Common::CSolverIdentifier>("s"));
        });
        const double plain = BestSeconds([&] {
            std::vector<std::unique_ptr<Common::CSolverIdentifier>> ids;
            for (int i = 0; i < count; ++i) ids.push_back(std::make_unique<Common::CSolverIdentifier>("s"));
        });
        const std::string what = "Add " + std::to_string(count) + " members";
        Report(what.c_str(), add, "vector push_back", plain);
    }
    return 0;
}
