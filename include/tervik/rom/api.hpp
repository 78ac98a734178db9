// The factory: the C++ entry point of the library.
#ifndef TERVIK_ROM_API_HPP
#define TERVIK_ROM_API_HPP

#include <string>

#include <tervik/rom/common.hpp>

namespace Tervik::Rom::Configuration {
class IRomSetupCfg;
class IMeshDataCfg;
class ISnapshotCfg;
}  // namespace Tervik::Rom::Configuration
namespace Tervik::Rom::Mesh {
class IMesh;
class IMeshData;
}  // namespace Tervik::Rom::Mesh
namespace Tervik::Rom::Snapshot {
class ISnapshot;
class ISnapshotCache;
class IUserPoint;
}  // namespace Tervik::Rom::Snapshot
namespace Tervik::Rom::Project {
class IProject;
}

namespace Tervik::Rom::Api {

// Creates the top-level objects; the caller owns what a Create operation returns.
class IFactory {
public:
    virtual Configuration::IRomSetupCfg* CreateSetupCfg() = 0;
    virtual Mesh::IMesh* CreateAndInitMesh(const std::string& configurationFile) = 0;
    virtual Mesh::IMeshData* CreateAndInitMeshData(const std::string& configurationFile) = 0;
    virtual Mesh::IMeshData* CreateMeshData() = 0;
    virtual Configuration::IMeshDataCfg* CreateMeshDataCfg() = 0;
    virtual Project::IProject* CreateAndResumeProject(const std::string& projectFile) = 0;
    virtual Project::IProject* CreateProject() = 0;
    virtual Snapshot::ISnapshot* CreateAndInitSnapshot(const std::string& configurationFile) = 0;
    virtual Snapshot::ISnapshot* CreateSnapshot() = 0;
    // As the form above, choosing whether component data are saved in insertion order.
    virtual Snapshot::ISnapshot* CreateAndInitSnapshot(const std::string& configurationFile,
                                                       bool keepInsertionOrder) = 0;
    virtual Configuration::ISnapshotCfg* CreateSnapshotCfg() = 0;
    virtual Snapshot::ISnapshotCache* CreateSnapshotCache() = 0;
    virtual Snapshot::IUserPoint* CreateUserPoint() = 0;
    virtual const std::string& GetConfigurationFileExtension() const = 0;
    virtual const std::string& GetMeshFileExtension() const = 0;
    virtual const std::string& GetProjectFileExtension() const = 0;
    virtual const std::string& GetRomFileExtension() const = 0;
    virtual const std::string& GetSnapshotFileExtension() const = 0;
    virtual const std::string& GetSnapshotCacheFileExtension() const = 0;
    virtual ~IFactory() = default;
};

}  // namespace Tervik::Rom::Api

// The process-wide factory, built on first use (safe from several threads).
__attribute__((visibility("default"))) Tervik::Rom::Api::IFactory& GetFactory();

#endif
