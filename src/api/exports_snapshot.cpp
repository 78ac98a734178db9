// Exports of points, snapshots with their component data, and the snapshot cache.
#include <tervik/rom/snapshot.hpp>

#include "api/frame.hpp"
#include "snapshot/snapshot.hpp"

using namespace Tervik::Rom::Snapshot;
using Tervik::Rom::Api::Frame::As;
using Tervik::Rom::Api::Frame::Run;
using Tervik::Rom::Api::Frame::RunFound;
using Tervik::Rom::Api::Frame::Str;
using Tervik::Rom::Configuration::ISnapshotCfg;

extern "C" {
// One line an export, however long.
// clang-format off

RomExceptionHandle RomPointClear(RomObject* point) { return Run(ROM_CALL(As<IPoint>(point).Clear())); }
RomExceptionHandle RomPointCopyTo(RomObject* point, RomObject* target) { return Run(ROM_CALL(As<IPoint>(point).CopyTo(As<IUserPoint>(target)))); }
RomExceptionHandle RomPointEquals(RomObject* point, RomObject* other, uint32_t* equal) { return Run(equal, ROM_CALL(As<IPoint>(point).Equals(As<IPoint>(other)))); }
RomExceptionHandle RomPointGetValue(RomObject* point, const char* name, double* value) { return Run(value, ROM_CALL(As<IPoint>(point).GetValue(Str(name)))); }
RomExceptionHandle RomPointHasValue(RomObject* point, const char* name, uint32_t* has) { return Run(has, ROM_CALL(As<IPoint>(point).HasValue(Str(name)))); }
RomExceptionHandle RomPointSetValue(RomObject* point, const char* name, double value) { return Run(ROM_CALL(As<IPoint>(point).SetValue(Str(name), value))); }
uint32_t RomPointTryGetValue(RomObject* point, const char* name, double* value) { return RunFound(ROM_CALL(value != nullptr && As<IPoint>(point).TryGetValue(Str(name), *value))); }

RomExceptionHandle RomSnapshotInitialize(RomObject* snapshot, RomObject* configuration) { return Run(ROM_CALL(As<ISnapshot>(snapshot).Initialize(As<ISnapshotCfg>(configuration)))); }
RomExceptionHandle RomSnapshotIsInitialized(RomObject* snapshot, uint32_t* initialized) { return Run(initialized, ROM_CALL(As<ISnapshot>(snapshot).IsInitialized())); }
RomExceptionHandle RomSnapshotIsFilled(RomObject* snapshot, uint32_t* filled) { return Run(filled, ROM_CALL(As<ISnapshot>(snapshot).IsFilled())); }
RomExceptionHandle RomSnapshotGetConfiguration(RomObject* snapshot, RomObject** configuration) { return Run(configuration, ROM_CALL(As<ISnapshot>(snapshot).GetConfiguration())); }
RomExceptionHandle RomSnapshotGetComponentData(RomObject* snapshot, const char* componentId, const char* supportId, RomObject** data) { return Run(data, ROM_CALL(As<ISnapshot>(snapshot).GetComponentData(Str(componentId), Str(supportId)))); }

RomExceptionHandle RomSnapshotComponentDataAddValue(RomObject* data, uint32_t id, double value) { return Run(ROM_CALL(As<ISnapshotComponentData>(data).AddValue(id, value))); }
RomExceptionHandle RomSnapshotComponentDataAddValues(RomObject* data, const uint32_t* ids, const double* values, uint32_t count) { return Run(ROM_CALL(Tervik::Rom::Snapshot::AddValues(As<ISnapshotComponentData>(data), ids, values, count))); }
RomExceptionHandle RomSnapshotComponentDataGetValue(RomObject* data, uint32_t index, uint32_t* id, double* value) { return Run(ROM_CALL(Tervik::Rom::Api::Frame::Both(id, value, [&](uint32_t& i, double& v) { As<ISnapshotComponentData>(data).GetValue(index, i, v); }))); }
RomExceptionHandle RomSnapshotComponentDataGetAssignedEntityValueCount(RomObject* data, uint32_t* count) { return Run(count, ROM_CALL(As<ISnapshotComponentData>(data).GetAssignedEntityValueCount())); }
RomExceptionHandle RomSnapshotComponentDataGetExpectedEntityValueCount(RomObject* data, uint32_t* count) { return Run(count, ROM_CALL(As<ISnapshotComponentData>(data).GetExpectedEntityValueCount())); }
RomExceptionHandle RomSnapshotComponentDataGetComponentId(RomObject* data, const char** id) { return Run(id, ROM_CALL(As<ISnapshotComponentData>(data).GetComponentId())); }
RomExceptionHandle RomSnapshotComponentDataGetSupportId(RomObject* data, const char** id) { return Run(id, ROM_CALL(As<ISnapshotComponentData>(data).GetSupportId())); }
RomExceptionHandle RomSnapshotComponentDataGetIdArray(RomObject* data, uint32_t** ids) { return Run(ids, ROM_CALL(As<ISnapshotComponentData>(data).GetIdArray())); }
RomExceptionHandle RomSnapshotComponentDataGetValueArray(RomObject* data, double** values) { return Run(values, ROM_CALL(As<ISnapshotComponentData>(data).GetValueArray())); }

RomExceptionHandle RomSnapshotCacheClear(RomObject* cache) { return Run(ROM_CALL(As<ISnapshotCache>(cache).Clear())); }
RomExceptionHandle RomSnapshotCachePull(RomObject* cache, RomObject* input, RomObject** entry) { return Run(entry, ROM_CALL(As<ISnapshotCache>(cache).Pull(As<IPoint>(input)))); }
RomExceptionHandle RomSnapshotCachePush(RomObject* cache, RomObject* input, RomObject* output, const char* snapshotFile, uint32_t* added) { return Run(added, ROM_CALL(As<ISnapshotCache>(cache).Push(As<IPoint>(input), As<IPoint>(output), Str(snapshotFile)))); }
RomExceptionHandle RomSnapshotCacheEntryGetInputPoint(RomObject* entry, RomObject** point) { return Run(point, ROM_CALL(As<ISnapshotCacheEntry>(entry).GetInputPoint())); }
RomExceptionHandle RomSnapshotCacheEntryGetOutputPoint(RomObject* entry, RomObject** point) { return Run(point, ROM_CALL(As<ISnapshotCacheEntry>(entry).GetOutputPoint())); }
RomExceptionHandle RomSnasphotCacheEntryGetSnapshotFile(RomObject* entry, const char** file) { return Run(file, ROM_CALL(As<ISnapshotCacheEntry>(entry).GetSnapshotFile())); }

// clang-format on
}
