// Exports not tied to one object family: factory, extensions, solver ids,
// containers and persistence.
#include <tervik/rom/api.hpp>
#include <tervik/rom/configuration.hpp>
#include <tervik/rom/mesh.hpp>
#include <tervik/rom/project.hpp>
#include <tervik/rom/snapshot.hpp>

#include "api/frame.hpp"

using namespace Tervik::Rom;
using Api::Frame::As;
using Api::Frame::Run;
using Api::Frame::RunString;
using Api::Frame::Str;

extern "C" {
// One line an export, however long.
// clang-format off

RomExceptionHandle RomFactoryCreateAndInitMesh(RomObject** out, const char* configurationFile) { return Run(out, ROM_CALL(GetFactory().CreateAndInitMesh(Str(configurationFile)))); }
RomExceptionHandle RomFactoryCreateMeshData(RomObject** out) { return Run(out, ROM_CALL(GetFactory().CreateMeshData())); }
RomExceptionHandle RomFactoryCreateAndInitMeshData(RomObject** out, const char* configurationFile) { return Run(out, ROM_CALL(GetFactory().CreateAndInitMeshData(Str(configurationFile)))); }
RomExceptionHandle RomFactoryCreateMeshDataCfg(RomObject** out) { return Run(out, ROM_CALL(GetFactory().CreateMeshDataCfg())); }
RomExceptionHandle RomFactoryCreateSetupCfg(RomObject** out) { return Run(out, ROM_CALL(GetFactory().CreateSetupCfg())); }
RomExceptionHandle RomFactoryCreateSnapshot(RomObject** out) { return Run(out, ROM_CALL(GetFactory().CreateSnapshot())); }
RomExceptionHandle RomFactoryCreateAndInitSnapshot(RomObject** out, const char* configurationFile) { return Run(out, ROM_CALL(GetFactory().CreateAndInitSnapshot(Str(configurationFile)))); }
RomExceptionHandle RomFactoryCreateSnapshotCfg(RomObject** out) { return Run(out, ROM_CALL(GetFactory().CreateSnapshotCfg())); }
RomExceptionHandle RomFactoryCreateProject(RomObject** out) { return Run(out, ROM_CALL(GetFactory().CreateProject())); }
RomExceptionHandle RomFactoryCreateSnapshotCache(RomObject** out) { return Run(out, ROM_CALL(GetFactory().CreateSnapshotCache())); }
RomExceptionHandle RomFactoryCreateUserPoint(RomObject** out) { return Run(out, ROM_CALL(GetFactory().CreateUserPoint())); }

RomExceptionHandle RomFactoryRelease(RomObject* object) { return Run(ROM_CALL(delete object)); }

const char* RomGetConfigurationFileExtension() { return RunString(ROM_CALL(GetFactory().GetConfigurationFileExtension())); }
const char* RomGetMeshFileExtension() { return RunString(ROM_CALL(GetFactory().GetMeshFileExtension())); }
const char* RomGetProjectFileExtension() { return RunString(ROM_CALL(GetFactory().GetProjectFileExtension())); }
const char* RomGetRomFileExtension() { return RunString(ROM_CALL(GetFactory().GetRomFileExtension())); }
const char* RomGetSnapshotFileExtension() { return RunString(ROM_CALL(GetFactory().GetSnapshotFileExtension())); }
const char* RomGetSnapshotCacheFileExtension() { return RunString(ROM_CALL(GetFactory().GetSnapshotCacheFileExtension())); }

const char* RomGetSolverId(RomObject* object) { return RunString(ROM_CALL(As<Common::IIdentifiableBySolver>(object).GetSolverId())); }
RomExceptionHandle RomSetSolverId(RomObject* object, const char* solverId) { return Run(ROM_CALL(As<Common::IIdentifiableBySolver>(object).SetSolverId(Str(solverId)))); }
const char* RomSolverIdentifierGetId(RomObject* object) { return RunString(ROM_CALL(As<Common::ISolverIdentifier>(object).GetId())); }

RomExceptionHandle RomContainerGetCount(RomObject* container, uint32_t* count) { return Run(count, ROM_CALL(As<Common::IContainerBase>(container).GetCount())); }
RomExceptionHandle RomContainerGetObject(RomObject* container, uint32_t index, RomObject** out) { return Run(out, ROM_CALL(As<Common::IContainerBase>(container).GetObject(index))); }
RomExceptionHandle RomContainerIndexOf(RomObject* container, RomObject* object, uint32_t* index) { return Run(index, ROM_CALL(As<Common::IContainerBase>(container).IndexOf(object))); }

RomExceptionHandle RomPersistableResume(RomObject* object, const char* file) { return Run(ROM_CALL(As<Common::IPersistable>(object).Resume(Str(file)))); }
RomExceptionHandle RomPersistableSave(RomObject* object, const char* file) { return Run(ROM_CALL(As<Common::IPersistable>(object).Save(Str(file)))); }

// clang-format on
}
