// The versions stamped into every file the library writes.
#ifndef TERVIK_ROM_SRC_COMMON_VERSION_HPP
#define TERVIK_ROM_SRC_COMMON_VERSION_HPP

#include <cstdint>

namespace Tervik::Rom::Common {

struct ProductVersion {
    std::int32_t major = 0;
    std::int32_t minor = 0;
};

// The version written into every binary object and JSON document file.
inline constexpr ProductVersion kProductVersion{18, 2};
// The current version of files, object frames and JSON envelopes.
inline constexpr std::uint32_t kFileVersion = 1;

}  // namespace Tervik::Rom::Common

#endif
