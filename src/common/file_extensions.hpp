// The file extensions of the library, without the dot: the one source of these texts.
#ifndef TERVIK_ROM_SRC_COMMON_FILE_EXTENSIONS_HPP
#define TERVIK_ROM_SRC_COMMON_FILE_EXTENSIONS_HPP

#include <string>

namespace Tervik::Rom::Common::FileExtension {

// clang-format off
inline const std::string& Configuration() { static const std::string text = "romcfg"; return text; }
inline const std::string& Mesh() { static const std::string text = "rommsh"; return text; }
inline const std::string& Project() { static const std::string text = "rompjt"; return text; }
inline const std::string& Rom() { static const std::string text = "romdat"; return text; }
inline const std::string& Snapshot() { static const std::string text = "romsnp"; return text; }
inline const std::string& SnapshotCache() { static const std::string text = "romcch"; return text; }
// clang-format on

}  // namespace Tervik::Rom::Common::FileExtension

#endif
