// The serialization factories of the mesh types, for the registry.
#ifndef TERVIK_ROM_SRC_MESH_SERIALIZATION_MESH_FACTORIES_HPP
#define TERVIK_ROM_SRC_MESH_SERIALIZATION_MESH_FACTORIES_HPP

#include <cstddef>

#include "common/persistence.hpp"

namespace Tervik::Rom::Mesh {

// The nine factories: mesh data, node data, element data, standard element data, user
// element data, polygon data, polyhedron data, support data, support datas.
inline constexpr std::size_t kMeshFactoryCount = 9;
const Common::ISerializationFactory* const* MeshSerializationFactories();

}  // namespace Tervik::Rom::Mesh

#endif
