// Every operation of the factory, in its declaration order, as a C++ client of the
// shared library calls it: each result is of the kind the operation promises, the
// CreateAndInit forms are initialised from the files, and everything created is deleted.
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include <gtest/gtest.h>

#include <tervik/rom/api.hpp>
#include <tervik/rom/configuration.hpp>
#include <tervik/rom/mesh.hpp>
#include <tervik/rom/project.hpp>
#include <tervik/rom/snapshot.hpp>

#include "support/temp_dir.hpp"

namespace {

namespace Rom = Tervik::Rom;
using Rom::Common::IRomObject;

// Owns what the factory created; deletes it through IRomObject.
using Owned = std::unique_ptr<IRomObject>;

// The object as interface I, through a dynamic_cast from its root, so the object's
// run-time kind is tested, not the static type of the returned pointer; a null object or
// another kind ends the test.
template <class I>
I& Kind(const Owned& object) {
    auto* cast = dynamic_cast<I*>(object.get());
    if (cast == nullptr) throw std::runtime_error(std::string("not a ") + typeid(I).name());
    return *cast;
}

class FactorySlots : public TempDirTest {};

}  // namespace

TEST_F(FactorySlots, EverySlotInOrder) {
    Rom::Api::IFactory& factory = GetFactory();
    const std::string cfg = factory.GetConfigurationFileExtension();
    const std::string meshCfgFile = Path("mesh." + cfg);
    const std::string snapshotCfgFile = Path("snapshot." + cfg);

    // 0: a set-up; with two nodes, one element and one support, it is also the source of
    // the configuration files the CreateAndInit slots read.
    Owned setupObject(factory.CreateSetupCfg());
    auto& setup = Kind<Rom::Configuration::IRomSetupCfg>(setupObject);
    Kind<Rom::Common::IPersistable>(setupObject);
    auto& meshCfg = setup.ConfigureMeshData();
    meshCfg.ConfigureNodeData().SetCount(2);
    meshCfg.ConfigureNodeData().SetDimension(3);
    auto& elements = meshCfg.ConfigureElementData().ConfigureStdElementData();
    elements.SetCount(1);
    elements.SetConnectivityTableSize(2);
    auto& region = meshCfg.AddRegion();
    region.SetSolverId("all");
    auto& support = region.AddSupport();
    support.SetSolverId("nodes");
    support.SetEntityCount(2);
    support.SetEntitiesType(1);
    auto& field = setup.AddField();
    field.SetSolverId("t");
    field.SetCaption("T");
    auto& component = field.AddComponent();
    component.SetSolverId("t");
    component.SetCaption("T");
    field.AddSupport("nodes");
    setup.Check();
    setup.SaveMeshConfiguration(meshCfgFile);
    setup.SaveSnapshotConfiguration(snapshotCfgFile);

    // 1: a mesh builder initialised from the mesh configuration file.
    Owned meshObject(factory.CreateAndInitMesh(meshCfgFile));
    auto& mesh = Kind<Rom::Mesh::IMesh>(meshObject);
    EXPECT_TRUE(mesh.IsInitialized());
    ASSERT_NE(mesh.GetConfiguration(), nullptr);
    EXPECT_EQ(mesh.GetConfiguration()->GetNodeDataCfg().GetCount(), 2u);

    // 2: mesh data initialised from the same file.
    Owned initialisedMeshData(factory.CreateAndInitMeshData(meshCfgFile));
    auto& meshData = Kind<Rom::Mesh::IMeshData>(initialisedMeshData);
    EXPECT_TRUE(meshData.IsInitialized());
    EXPECT_EQ(meshData.GetSupportDatas().GetCount(), 1u);
    EXPECT_EQ(meshData.GetSupportData("nodes").GetSolverId(), "nodes");

    // 3: mesh data, not initialised.
    Owned emptyMeshData(factory.CreateMeshData());
    auto& empty = Kind<Rom::Mesh::IMeshData>(emptyMeshData);
    EXPECT_FALSE(empty.IsInitialized());

    // 4: a mesh data configuration, which reads the file slot 0 wrote.
    Owned meshCfgObject(factory.CreateMeshDataCfg());
    auto& resumedMeshCfg = Kind<Rom::Configuration::IMeshDataCfg>(meshCfgObject);
    resumedMeshCfg.Resume(meshCfgFile);
    EXPECT_EQ(resumedMeshCfg.GetSupportCfg("nodes").GetEntityCount(), 2u);

    // 6 before 5: slot 5 resumes a saved project.
    Owned projectObject(factory.CreateProject());
    auto& project = Kind<Rom::Project::IProject>(projectObject);
    const std::string projectFile = Path("project." + factory.GetProjectFileExtension());
    Kind<Rom::Common::IPersistable>(projectObject).Save(projectFile);

    // 5: that project, resumed: the same identity.
    Owned resumedProjectObject(factory.CreateAndResumeProject(projectFile));
    auto& resumedProject = Kind<Rom::Project::IProject>(resumedProjectObject);
    EXPECT_TRUE(resumedProject.Compare(&project));
    Owned otherProject(factory.CreateProject());
    EXPECT_FALSE(resumedProject.Compare(otherProject.get()));

    // 7: a snapshot initialised from the snapshot configuration file; its file holds the
    // pairs sorted by entity id.
    const std::string sortedFile = Path("sorted." + factory.GetSnapshotFileExtension());
    const std::string orderedFile = Path("ordered." + factory.GetSnapshotFileExtension());
    Owned snapshotObject(factory.CreateAndInitSnapshot(snapshotCfgFile));
    auto& snapshot = Kind<Rom::Snapshot::ISnapshot>(snapshotObject);
    EXPECT_TRUE(snapshot.IsInitialized());
    EXPECT_FALSE(snapshot.IsFilled());
    EXPECT_EQ(snapshot.GetComponentData("t", "nodes").GetExpectedEntityValueCount(), 2u);
    snapshot.GetComponentData("t", "nodes").AddValue(9, 0.5);
    snapshot.GetComponentData("t", "nodes").AddValue(3, 1.5);
    snapshot.Save(sortedFile);

    // 8: a snapshot, not initialised; it reads what slot 7 wrote.
    Owned emptySnapshotObject(factory.CreateSnapshot());
    auto& emptySnapshot = Kind<Rom::Snapshot::ISnapshot>(emptySnapshotObject);
    EXPECT_FALSE(emptySnapshot.IsInitialized());
    std::uint32_t id = 0;
    double value = 0;
    emptySnapshot.Resume(sortedFile);
    emptySnapshot.GetComponentData("t", "nodes").GetValue(0, id, value);
    EXPECT_EQ(id, 3u);
    EXPECT_EQ(value, 1.5);

    // 9: the second form, initialised the same way; its file keeps the insertion order.
    Owned orderedSnapshotObject(factory.CreateAndInitSnapshot(snapshotCfgFile, true));
    auto& ordered = Kind<Rom::Snapshot::ISnapshot>(orderedSnapshotObject);
    EXPECT_TRUE(ordered.IsInitialized());
    auto& data = ordered.GetComponentData("t", "nodes");
    data.AddValue(9, 0.5);
    data.AddValue(3, 1.5);
    EXPECT_TRUE(ordered.IsFilled());
    ordered.Save(orderedFile);
    Owned reread(factory.CreateSnapshot());
    Kind<Rom::Snapshot::ISnapshot>(reread).Resume(orderedFile);
    Kind<Rom::Snapshot::ISnapshot>(reread).GetComponentData("t", "nodes").GetValue(0, id, value);
    EXPECT_EQ(id, 9u);
    EXPECT_EQ(value, 0.5);

    // 10: a snapshot configuration, which reads the file slot 0 wrote.
    Owned snapshotCfgObject(factory.CreateSnapshotCfg());
    auto& snapshotCfg = Kind<Rom::Configuration::ISnapshotCfg>(snapshotCfgObject);
    snapshotCfg.Resume(snapshotCfgFile);
    EXPECT_EQ(snapshotCfg.GetComponentCfgs().GetCount(), 1u);
    EXPECT_EQ(snapshotCfg.GetSupportCfgs().GetCount(), 1u);

    // 11: a snapshot cache.
    Owned cacheObject(factory.CreateSnapshotCache());
    auto& cache = Kind<Rom::Snapshot::ISnapshotCache>(cacheObject);
    Kind<Rom::Common::IPersistable>(cacheObject);

    // 12: a user point, which the cache takes.
    Owned pointObject(factory.CreateUserPoint());
    auto& point = Kind<Rom::Snapshot::IUserPoint>(pointObject);
    point.SetValue("load", 2.0);
    EXPECT_TRUE(cache.Push(point, point, "run." + factory.GetSnapshotFileExtension()));
    EXPECT_NE(cache.Pull(point), nullptr);

    // 13-18, the extensions, are checked beside their exported twins in exports_test.
}

// The CreateAndInit and CreateAndResume slots report a missing file as a RomException
// and hand nothing out.
TEST_F(FactorySlots, MissingFilesThrow) {
    Rom::Api::IFactory& factory = GetFactory();
    const std::string missingCfg = Path("missing." + factory.GetConfigurationFileExtension());
    const std::string missingProject = Path("missing." + factory.GetProjectFileExtension());
    EXPECT_THROW(Owned(factory.CreateAndInitMesh(missingCfg)), Rom::Common::RomException);
    EXPECT_THROW(Owned(factory.CreateAndInitMeshData(missingCfg)), Rom::Common::RomException);
    EXPECT_THROW(Owned(factory.CreateAndResumeProject(missingProject)), Rom::Common::RomException);
    EXPECT_THROW(Owned(factory.CreateAndInitSnapshot(missingCfg)), Rom::Common::RomException);
    EXPECT_THROW(Owned(factory.CreateAndInitSnapshot(missingCfg, true)), Rom::Common::RomException);
}
