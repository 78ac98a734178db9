// Every operation of the factory as a C++ client of the shared library calls it: each result
// is of the kind the operation promises, the CreateAndInit and CreateAndResume forms read
// their files (a missing one throws and hands nothing out), and everything created is
// deleted through its root. What the objects do is tested through the exports, which call
// the same operations.
#include <memory>
#include <string>
#include <type_traits>

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

// What object, deleted through its root, is: an I or not (checked through a dynamic_cast from
// its root), and for the objects made from a configuration, whether it was initialised.
template <class I>
std::string KindOf(Rom::Common::IRomObject* object) {
    const Held owned(object);
    const auto* typed = dynamic_cast<const I*>(owned.get());
    if constexpr (std::is_base_of_v<Rom::Configuration::IConfigurable<Rom::Configuration::IMeshDataCfg>, I> ||
                  std::is_base_of_v<Rom::Configuration::IConfigurable<Rom::Configuration::ISnapshotCfg>, I>)
        return typed == nullptr ? "another kind" : typed->IsInitialized() ? "initialised" : "fresh";
    return typed == nullptr ? "another kind" : "its kind";
}

TEST_F(Factory, EveryOperationGivesTheKindItPromises) {
    Rom::Api::IFactory& factory = GetFactory();
    const std::string meshCfg = Path("mesh.romcfg"), snapshotCfg = Path("snapshot.romcfg");
    const std::string projectFile = Path("project.rompjt");
    ROM_OK(RomPersistableSave(NewConfiguration(MeshShape()).get(), meshCfg.c_str()));
    ROM_OK(RomPersistableSave(SnapshotConfiguration({{"s", 2}}, {"c"}, {{"s", "c"}}).get(), snapshotCfg.c_str()));
    ROM_OK(RomPersistableSave(Create(RomFactoryCreateProject).get(), projectFile.c_str()));
    using namespace Rom;
    EXPECT_EQ(KindOf<Configuration::IRomSetupCfg>(factory.CreateSetupCfg()), "its kind");
    EXPECT_EQ(KindOf<Mesh::IMesh>(factory.CreateAndInitMesh(meshCfg)), "initialised");
    EXPECT_EQ(KindOf<Mesh::IMeshData>(factory.CreateAndInitMeshData(meshCfg)), "initialised");
    EXPECT_EQ(KindOf<Mesh::IMeshData>(factory.CreateMeshData()), "fresh");
    EXPECT_EQ(KindOf<Configuration::IMeshDataCfg>(factory.CreateMeshDataCfg()), "its kind");
    EXPECT_EQ(KindOf<Project::IProject>(factory.CreateAndResumeProject(projectFile)), "its kind");
    EXPECT_EQ(KindOf<Project::IProject>(factory.CreateProject()), "its kind");
    EXPECT_EQ(KindOf<Snapshot::ISnapshot>(factory.CreateAndInitSnapshot(snapshotCfg)), "initialised");
    EXPECT_EQ(KindOf<Snapshot::ISnapshot>(factory.CreateSnapshot()), "fresh");
    EXPECT_EQ(KindOf<Snapshot::ISnapshot>(factory.CreateAndInitSnapshot(snapshotCfg, true)), "initialised");
    EXPECT_EQ(KindOf<Configuration::ISnapshotCfg>(factory.CreateSnapshotCfg()), "its kind");
    EXPECT_EQ(KindOf<Snapshot::ISnapshotCache>(factory.CreateSnapshotCache()), "its kind");
    EXPECT_EQ(KindOf<Snapshot::IUserPoint>(factory.CreateUserPoint()), "its kind");
    // The extensions are checked beside their exported twins in exports_test.

    const std::string missing = Path("missing.romcfg");
    EXPECT_THROW(Held(factory.CreateAndInitMesh(missing)), Common::RomException);
    EXPECT_THROW(Held(factory.CreateAndInitMeshData(missing)), Common::RomException);
    EXPECT_THROW(Held(factory.CreateAndResumeProject(Path("missing.rompjt"))), Common::RomException);
    EXPECT_THROW(Held(factory.CreateAndInitSnapshot(missing)), Common::RomException);
    EXPECT_THROW(Held(factory.CreateAndInitSnapshot(missing, true)), Common::RomException);
}
