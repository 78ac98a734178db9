// Snapshot configurations, snapshots and their values, built through the exported functions,
// and snapshot files read back record by record.
#ifndef TERVIK_ROM_TESTS_SUPPORT_SNAPSHOTS_HPP
#define TERVIK_ROM_TESTS_SUPPORT_SNAPSHOTS_HPP

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/exports.hpp"
#include "support/file_bytes.hpp"

inline const char kSnapshotUuid[] = "5B37D1B0-D9FD-4CE1-AB14-3B41E04F4F23";
inline const char kComponentDataUuid[] = "76323E85-420C-430F-A0E2-3C576F16718D";

struct SupportPlan {
    const char* id;
    std::uint32_t size;
};
struct PairPlan {
    const char* support;
    const char* component;
};

inline RomObject* SnapshotSupport(RomObject* snapshot, const char* id, std::uint32_t size) {
    RomObject* support = Child(RomSnapshotCfgAddSupport, snapshot);
    ROM_OK(RomSetSolverId(support, id));
    ROM_OK(RomSupportCfgSetEntityCount(support, size));
    return support;
}

inline RomObject* SnapshotComponent(RomObject* snapshot, const char* id) {
    RomObject* component = Child(RomSnapshotCfgAddComponent, snapshot);
    ROM_OK(RomSetSolverId(component, id));
    return component;
}

// Supports and components in the order given, then the associations in the order given.
inline Owned SnapshotConfiguration(const std::vector<SupportPlan>& supports, const std::vector<const char*>& components,
                                   const std::vector<PairPlan>& pairs) {
    Owned cfg = Create(RomFactoryCreateSnapshotCfg);
    std::map<std::string, RomObject*> byId;
    for (const SupportPlan& s : supports) byId[s.id] = SnapshotSupport(cfg.get(), s.id, s.size);
    for (const char* id : components) byId[id] = SnapshotComponent(cfg.get(), id);
    for (const PairPlan& p : pairs)
        ROM_OK(RomSnapshotCfgAddComponentToSupport(cfg.get(), byId[p.component], byId[p.support]));
    return cfg;
}

inline Owned SnapshotOf(RomObject* cfg) {
    Owned snapshot = Create(RomFactoryCreateSnapshot);
    ROM_OK(RomSnapshotInitialize(snapshot.get(), cfg));
    return snapshot;
}

inline RomObject* Data(RomObject* snapshot, const char* component, const char* support) {
    RomObject* data = nullptr;
    ROM_OK(RomSnapshotGetComponentData(snapshot, component, support, &data));
    return data;
}

using Pairs = std::vector<std::pair<std::uint32_t, double>>;

inline void Fill(RomObject* data, const Pairs& pairs) {
    for (const auto& [id, value] : pairs) ROM_OK(RomSnapshotComponentDataAddValue(data, id, value));
}

// What GetValue gives for every slot.
inline Pairs Values(RomObject* data) {
    Pairs pairs(Read(RomSnapshotComponentDataGetExpectedEntityValueCount, data));
    for (std::uint32_t i = 0; i < pairs.size(); ++i)
        ROM_OK(RomSnapshotComponentDataGetValue(data, i, &pairs[i].first, &pairs[i].second));
    return pairs;
}

// By ascending id, equal ids in the order they come.
inline Pairs ById(Pairs pairs) {
    std::stable_sort(pairs.begin(), pairs.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    return pairs;
}

// A snapshot of one support s of count entities and one component c, filled with ids
// count, count - 1, ..., 1.
inline Owned FilledSnapshot(std::uint32_t count) {
    Owned snapshot = SnapshotOf(SnapshotConfiguration({{"s", count}}, {"c"}, {{"s", "c"}}).get());
    for (std::uint32_t i = 0; i < count; ++i)
        ROM_OK(RomSnapshotComponentDataAddValue(Data(snapshot.get(), "c", "s"), count - i, i));
    return snapshot;
}

// A snapshot file read back. Offsets are those of the type version and of the count, for patching.
struct SnapshotRecord {
    std::size_t versionAt, countAt;
    std::string component, support;
    Pairs pairs;
};
struct SnapshotFile {
    std::size_t envelopeAt, envelopeEnd;
    Json::Value data;
    std::vector<SnapshotRecord> records;
};

inline SnapshotFile ParseSnapshot(const std::string& bytes) {
    SnapshotFile file{};
    FileBytes cursor(bytes);
    cursor.Frame(kSnapshotUuid);
    file.envelopeAt = cursor.At();
    file.data = cursor.Envelope();
    file.envelopeEnd = cursor.At();
    while (!cursor.AtEnd()) {
        SnapshotRecord record{cursor.Frame(kComponentDataUuid), 0, cursor.Text(), cursor.Text(), {}};
        record.countAt = cursor.At();
        record.pairs.resize(std::min<std::size_t>(cursor.Next<std::uint32_t>(), bytes.size()));
        for (auto& pair : record.pairs) pair.first = cursor.Next<std::uint32_t>();
        for (auto& pair : record.pairs) pair.second = cursor.Next<double>();
        file.records.push_back(std::move(record));
    }
    return file;
}

#endif
