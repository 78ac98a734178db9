// The registry of binary serialization factories, found by their UUID text.
#include <string>

#include "common/persistence.hpp"
#include "mesh/serialization/mesh_factories.hpp"
#include "project/project.hpp"
#include "snapshot/serialization/snapshot_factories.hpp"

namespace Tervik::Rom::Common {

const ISerializationFactory& FindSerializationFactory(const std::string& uuid) {
    if (uuid == Project::ProjectSerializationFactory().GetUuid()) return Project::ProjectSerializationFactory();
    const ISerializationFactory* const* mesh = Mesh::MeshSerializationFactories();
    for (std::size_t i = 0; i < Mesh::kMeshFactoryCount; ++i)
        if (uuid == mesh[i]->GetUuid()) return *mesh[i];
    const ISerializationFactory* const* snapshot = Snapshot::SnapshotSerializationFactories();
    for (std::size_t i = 0; i < Snapshot::kSnapshotFactoryCount; ++i)
        if (uuid == snapshot[i]->GetUuid()) return *snapshot[i];
    throw RomException("Internal error: The SerializationFactory for the type " + uuid + " is missing.");
}

}  // namespace Tervik::Rom::Common
