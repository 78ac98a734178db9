// The registry of binary serialization factories, found by their UUID text.
#include <string>

#include "common/persistence.hpp"
#include "project/project.hpp"

namespace Tervik::Rom::Common {

const ISerializationFactory& FindSerializationFactory(const std::string& uuid) {
    static const ISerializationFactory* const factories[] = {
        &Project::ProjectSerializationFactory(),
    };
    for (const ISerializationFactory* factory : factories)
        if (uuid == factory->GetUuid()) return *factory;
    throw RomException("Internal error: The SerializationFactory for the type " + uuid + " is missing.");
}

}  // namespace Tervik::Rom::Common
