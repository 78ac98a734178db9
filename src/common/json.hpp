// JSON helpers shared by every object that writes itself as JSON.
#ifndef TERVIK_ROM_SRC_COMMON_JSON_HPP
#define TERVIK_ROM_SRC_COMMON_JSON_HPP

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

#include <json/value.h>

namespace Tervik::Rom::Common {

// Writes an object into a JSON value and reads it back.
class JsonService {
public:
    virtual ~JsonService() = default;
    virtual void ToJson(Json::Value& value) const = 0;
    virtual void FromJson(const Json::Value& value, std::uint32_t version) = 0;
};

// Multi-line text with tab indentation, as stored in JSON document files.
std::string StyledJsonText(const Json::Value& value);
// The same text, written to out as it is made.
void WriteStyledJson(const Json::Value& value, std::ostream& out);
// One-line text, as embedded in binary files.
std::string CompactJsonText(const Json::Value& value);
// Parses text (comments kept); returns false when it is not valid JSON.
bool ParseJson(const char* begin, const char* end, Json::Value& value);

// Hash consistent with Json::Value equality: equal values hash equally.
std::size_t HashJson(const Json::Value& value);

}  // namespace Tervik::Rom::Common

#endif
