#include "api/factory.hpp"

#include <memory>

#include <tervik/rom/configuration.hpp>

#include "common/file_extensions.hpp"
#include "configuration/setup_cfg.hpp"
#include "configuration/snapshot_cfg.hpp"
#include "mesh/mesh.hpp"
#include "project/project.hpp"
#include "snapshot/point.hpp"
#include "snapshot/snapshot.hpp"
#include "snapshot/snapshot_cache.hpp"

namespace Tervik::Rom::Api {

Configuration::IRomSetupCfg* CFactory::CreateSetupCfg() { return new Configuration::CRomSetupCfg(); }

namespace {

// A new object of class C initialised from the configuration (class Cfg) in a file.
template <class C, class Cfg>
C* CreateAndInit(const std::string& configurationFile) {
    auto object = std::make_unique<C>();
    {
        Cfg configuration;
        configuration.Resume(configurationFile);
        object->Initialize(configuration);
    }
    return object.release();
}

}  // namespace

Mesh::IMesh* CFactory::CreateAndInitMesh(const std::string& configurationFile) {
    return CreateAndInit<Mesh::CMesh, Configuration::CMeshDataCfg>(configurationFile);
}

Mesh::IMeshData* CFactory::CreateAndInitMeshData(const std::string& configurationFile) {
    return CreateAndInit<Mesh::CMeshData, Configuration::CMeshDataCfg>(configurationFile);
}

Mesh::IMeshData* CFactory::CreateMeshData() { return new Mesh::CMeshData(); }

Configuration::IMeshDataCfg* CFactory::CreateMeshDataCfg() { return new Configuration::CMeshDataCfg(); }

Project::IProject* CFactory::CreateAndResumeProject(const std::string& projectFile) {
    auto project = std::make_unique<Project::CProject>();
    project->Resume(projectFile);
    return project.release();
}

Project::IProject* CFactory::CreateProject() { return new Project::CProject(); }

Snapshot::ISnapshot* CFactory::CreateAndInitSnapshot(const std::string& configurationFile) {
    return CreateAndInitSnapshot(configurationFile, false);
}

Snapshot::ISnapshot* CFactory::CreateSnapshot() { return new Snapshot::CSnapshot(false); }

Snapshot::ISnapshot* CFactory::CreateAndInitSnapshot(const std::string& configurationFile, bool keepInsertionOrder) {
    auto snapshot = std::make_unique<Snapshot::CSnapshot>(keepInsertionOrder);
    {
        Configuration::CSnapshotCfg configuration;
        configuration.Resume(configurationFile);
        snapshot->Initialize(configuration);
    }
    return snapshot.release();
}

Configuration::ISnapshotCfg* CFactory::CreateSnapshotCfg() { return new Configuration::CSnapshotCfg(); }

Snapshot::ISnapshotCache* CFactory::CreateSnapshotCache() { return new Snapshot::CSnapshotCache(); }

Snapshot::IUserPoint* CFactory::CreateUserPoint() { return new Snapshot::CPoint(); }

const std::string& CFactory::GetConfigurationFileExtension() const { return Common::FileExtension::Configuration(); }

const std::string& CFactory::GetMeshFileExtension() const { return Common::FileExtension::Mesh(); }

const std::string& CFactory::GetProjectFileExtension() const { return Common::FileExtension::Project(); }

const std::string& CFactory::GetRomFileExtension() const { return Common::FileExtension::Rom(); }

const std::string& CFactory::GetSnapshotFileExtension() const { return Common::FileExtension::Snapshot(); }

const std::string& CFactory::GetSnapshotCacheFileExtension() const { return Common::FileExtension::SnapshotCache(); }

}  // namespace Tervik::Rom::Api

Tervik::Rom::Api::IFactory& GetFactory() {
    static Tervik::Rom::Api::CFactory factory;
    return factory;
}
