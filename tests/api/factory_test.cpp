// Every operation of the factory as a C++ client of the shared library calls it: each result
// is of the kind the operation promises, the CreateAndInit and CreateAndResume forms read
// their files (a missing one throws and hands nothing out), and everything created is
// deleted through its root. What the objects do is tested through the exports, which call
// the same operations.
#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <tervik/rom/api.hpp>
#include <tervik/rom/configuration.hpp>
#include <tervik/rom/mesh.hpp>
#include <tervik/rom/project.hpp>
#include <tervik/rom/snapshot.hpp>

#include "support/mesh_shape.hpp"
#include "support/snapshots.hpp"

namespace Rom = Tervik::Rom;
using Held = std::unique_ptr<Rom::Common::IRomObject>;
using Factory = TempDirTest;

TEST_F(Factory, EveryOperationGivesTheKindItPromises) {
    Rom::Api::IFactory& factory = GetFactory();
    const std::string meshCfg = Path("mesh.romcfg"), snapshotCfg = Path("snapshot.romcfg");
    const std::string projectFile = Path("project.rompjt");
    ROM_OK(RomPersistableSave(NewConfiguration(MeshShape()).get(), meshCfg.c_str()));
    ROM_OK(RomPersistableSave(SnapshotConfiguration({{"s", 2}}, {"c"}, {{"s", "c"}}).get(), snapshotCfg.c_str()));
    ROM_OK(RomPersistableSave(Create(RomFactoryCreateProject).get(), projectFile.c_str()));
    // The object as interface I, checked through a dynamic_cast from its root, and whether
    // it was initialised from its file.
    const auto is = [](auto* object, auto check) {
        const Held owned(object);
        return static_cast<bool>(check(owned.get()));
    };
    using namespace Rom;
    const auto initialised = [](auto* object) { return object != nullptr && object->IsInitialized(); };
    EXPECT_TRUE(is(factory.CreateSetupCfg(), [](auto* o) { return dynamic_cast<Configuration::IRomSetupCfg*>(o); }));
    EXPECT_TRUE(
        is(factory.CreateAndInitMesh(meshCfg), [&](auto* o) { return initialised(dynamic_cast<Mesh::IMesh*>(o)); }));
    EXPECT_TRUE(is(factory.CreateAndInitMeshData(meshCfg),
                   [&](auto* o) { return initialised(dynamic_cast<Mesh::IMeshData*>(o)); }));
    EXPECT_TRUE(
        is(factory.CreateMeshData(), [](auto* o) { return !dynamic_cast<Mesh::IMeshData&>(*o).IsInitialized(); }));
    EXPECT_TRUE(is(factory.CreateMeshDataCfg(), [](auto* o) { return dynamic_cast<Configuration::IMeshDataCfg*>(o); }));
    EXPECT_TRUE(
        is(factory.CreateAndResumeProject(projectFile), [](auto* o) { return dynamic_cast<Project::IProject*>(o); }));
    EXPECT_TRUE(is(factory.CreateProject(), [](auto* o) { return dynamic_cast<Project::IProject*>(o); }));
    EXPECT_TRUE(is(factory.CreateAndInitSnapshot(snapshotCfg),
                   [&](auto* o) { return initialised(dynamic_cast<Snapshot::ISnapshot*>(o)); }));
    EXPECT_TRUE(
        is(factory.CreateSnapshot(), [](auto* o) { return !dynamic_cast<Snapshot::ISnapshot&>(*o).IsInitialized(); }));
    EXPECT_TRUE(is(factory.CreateAndInitSnapshot(snapshotCfg, true),
                   [&](auto* o) { return initialised(dynamic_cast<Snapshot::ISnapshot*>(o)); }));
    EXPECT_TRUE(is(factory.CreateSnapshotCfg(), [](auto* o) { return dynamic_cast<Configuration::ISnapshotCfg*>(o); }));
    EXPECT_TRUE(is(factory.CreateSnapshotCache(), [](auto* o) { return dynamic_cast<Snapshot::ISnapshotCache*>(o); }));
    EXPECT_TRUE(is(factory.CreateUserPoint(), [](auto* o) { return dynamic_cast<Snapshot::IUserPoint*>(o); }));
    // The extensions are checked beside their exported twins in exports_test.

    const std::string missing = Path("missing.romcfg");
    EXPECT_THROW(Held(factory.CreateAndInitMesh(missing)), Common::RomException);
    EXPECT_THROW(Held(factory.CreateAndInitMeshData(missing)), Common::RomException);
    EXPECT_THROW(Held(factory.CreateAndResumeProject(Path("missing.rompjt"))), Common::RomException);
    EXPECT_THROW(Held(factory.CreateAndInitSnapshot(missing)), Common::RomException);
    EXPECT_THROW(Held(factory.CreateAndInitSnapshot(missing, true)), Common::RomException);
}
