// The factory behind GetFactory.
#ifndef TERVIK_ROM_SRC_API_FACTORY_HPP
#define TERVIK_ROM_SRC_API_FACTORY_HPP

#include <tervik/rom/api.hpp>

namespace Tervik::Rom::Api {

class CFactory : public IFactory {
public:
    Configuration::IRomSetupCfg* CreateSetupCfg() override;
    Mesh::IMesh* CreateAndInitMesh(const std::string& configurationFile) override;
    Mesh::IMeshData* CreateAndInitMeshData(const std::string& configurationFile) override;
    Mesh::IMeshData* CreateMeshData() override;
    Configuration::IMeshDataCfg* CreateMeshDataCfg() override;
    Project::IProject* CreateAndResumeProject(const std::string& projectFile) override;
    Project::IProject* CreateProject() override;
    Snapshot::ISnapshot* CreateAndInitSnapshot(const std::string& configurationFile) override;
    Snapshot::ISnapshot* CreateSnapshot() override;
    Snapshot::ISnapshot* CreateAndInitSnapshot(const std::string& configurationFile, bool keepInsertionOrder) override;
    Configuration::ISnapshotCfg* CreateSnapshotCfg() override;
    Snapshot::ISnapshotCache* CreateSnapshotCache() override;
    Snapshot::IUserPoint* CreateUserPoint() override;
    const std::string& GetConfigurationFileExtension() const override;
    const std::string& GetMeshFileExtension() const override;
    const std::string& GetProjectFileExtension() const override;
    const std::string& GetRomFileExtension() const override;
    const std::string& GetSnapshotFileExtension() const override;
    const std::string& GetSnapshotCacheFileExtension() const override;
};

}  // namespace Tervik::Rom::Api

#endif
