// Exports of points and the snapshot cache.
#include <tervik/rom/snapshot.hpp>

#include "api/frame.hpp"

using namespace Tervik::Rom::Snapshot;
using Tervik::Rom::Api::Frame::As;
using Tervik::Rom::Api::Frame::Run;
using Tervik::Rom::Api::Frame::RunFound;
using Tervik::Rom::Api::Frame::Str;

extern "C" {

RomExceptionHandle RomPointClear(RomObject* point) { return Run(ROM_CALL(As<IPoint>(point).Clear())); }
RomExceptionHandle RomPointCopyTo(RomObject* point, RomObject* target) { return Run(ROM_CALL(As<IPoint>(point).CopyTo(As<IUserPoint>(target)))); }
RomExceptionHandle RomPointEquals(RomObject* point, RomObject* other, uint32_t* equal) { return Run(equal, ROM_CALL(As<IPoint>(point).Equals(As<IPoint>(other)))); }
RomExceptionHandle RomPointGetValue(RomObject* point, const char* name, double* value) { return Run(value, ROM_CALL(As<IPoint>(point).GetValue(Str(name)))); }
RomExceptionHandle RomPointHasValue(RomObject* point, const char* name, uint32_t* has) { return Run(has, ROM_CALL(As<IPoint>(point).HasValue(Str(name)))); }
RomExceptionHandle RomPointSetValue(RomObject* point, const char* name, double value) { return Run(ROM_CALL(As<IPoint>(point).SetValue(Str(name), value))); }
uint32_t RomPointTryGetValue(RomObject* point, const char* name, double* value) { return RunFound(ROM_CALL(value != nullptr && As<IPoint>(point).TryGetValue(Str(name), *value))); }

RomExceptionHandle RomSnapshotCacheClear(RomObject* cache) { return Run(ROM_CALL(As<ISnapshotCache>(cache).Clear())); }
RomExceptionHandle RomSnapshotCachePull(RomObject* cache, RomObject* input, RomObject** entry) { return Run(entry, ROM_CALL(As<ISnapshotCache>(cache).Pull(As<IPoint>(input)))); }
RomExceptionHandle RomSnapshotCachePush(RomObject* cache, RomObject* input, RomObject* output, const char* snapshotFile, uint32_t* added) { return Run(added, ROM_CALL(As<ISnapshotCache>(cache).Push(As<IPoint>(input), As<IPoint>(output), Str(snapshotFile)))); }
RomExceptionHandle RomSnapshotCacheEntryGetInputPoint(RomObject* entry, RomObject** point) { return Run(point, ROM_CALL(As<ISnapshotCacheEntry>(entry).GetInputPoint())); }
RomExceptionHandle RomSnapshotCacheEntryGetOutputPoint(RomObject* entry, RomObject** point) { return Run(point, ROM_CALL(As<ISnapshotCacheEntry>(entry).GetOutputPoint())); }
RomExceptionHandle RomSnasphotCacheEntryGetSnapshotFile(RomObject* entry, const char** file) { return Run(file, ROM_CALL(As<ISnapshotCacheEntry>(entry).GetSnapshotFile())); }

}
