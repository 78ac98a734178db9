// JSON document files: one stored value under a key, beside the file and product versions.
#ifndef TERVIK_ROM_SRC_COMMON_JSON_FILE_HPP
#define TERVIK_ROM_SRC_COMMON_JSON_FILE_HPP

#include <cstdint>
#include <string>

#include <json/value.h>

#include "common/version.hpp"

namespace Tervik::Rom::Common {

class JsonSerializationFile {
public:
    void SetFileName(const std::string& fileName);
    // Reads the file and copies the value stored under key.
    void Read(const std::string& key, Json::Value& value);
    // Replaces the file by a document holding value under key. The old file stays as it
    // was when anything fails.
    void Write(const std::string& key, Json::Value value);
    // The "version" of the last read or write; 0 before any.
    std::uint32_t GetVersion() const { return version_; }
    // The "loomsteadVersion" of the last read or write; 0.0 before any.
    ProductVersion GetProductVersion() const { return productVersion_; }
    // After a read, why a save would not give the file back as it stands, or "": one of its
    // objects gives a key twice (the later value was taken), or a text of the value is one
    // no save writes. The reader refuses the file for it once all else was read.
    const std::string& Doubt() const { return doubt_; }

private:
    std::string fileName_;
    std::uint32_t version_ = 0;
    ProductVersion productVersion_;
    std::string doubt_;
};

}  // namespace Tervik::Rom::Common

#endif
