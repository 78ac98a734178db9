// The serialization factories of the snapshot types, for the registry.
#ifndef TERVIK_ROM_SRC_SNAPSHOT_SERIALIZATION_SNAPSHOT_FACTORIES_HPP
#define TERVIK_ROM_SRC_SNAPSHOT_SERIALIZATION_SNAPSHOT_FACTORIES_HPP

#include <cstddef>

#include "common/persistence.hpp"

namespace Tervik::Rom::Snapshot {

// The two factories: snapshot, component data.
inline constexpr std::size_t kSnapshotFactoryCount = 2;
const Common::ISerializationFactory* const* SnapshotSerializationFactories();

}  // namespace Tervik::Rom::Snapshot

#endif
