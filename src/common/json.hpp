// JSON helpers shared by every object that writes itself as JSON.
#ifndef TERVIK_ROM_SRC_COMMON_JSON_HPP
#define TERVIK_ROM_SRC_COMMON_JSON_HPP

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

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
// Parses text (comments kept); returns false when it is not valid JSON. A key given twice
// in one object makes the parse fail too (which one counts would be a guess); when the text
// is valid otherwise, duplicateKey, if given, receives that key.
bool ParseJson(const char* begin, const char* end, Json::Value& value, std::string* duplicateKey = nullptr);

// Whether text is valid UTF-8 (no overlong form, surrogate or code point past U+10FFFF).
bool IsUtf8(std::string_view text);
// The first text of value, string or member name, that is not valid UTF-8, with where it
// lies (root + ".entries[0].input[0].id"); false when there is none.
bool FindNonUtf8(const Json::Value& value, const std::string& root, std::string& text, std::string& where);
// The text with every byte outside printable ASCII written as \xHH, for messages.
std::string EscapedText(const std::string& text);
// Throws, naming the file to be saved, when a text of value (found under root) is not
// UTF-8: the JSON writer would put other characters in its place.
void RequireUtf8(const Json::Value& value, const std::string& root, const std::string& fileName);

// Hash consistent with Json::Value equality: equal values hash equally.
std::size_t HashJson(const Json::Value& value);

}  // namespace Tervik::Rom::Common

#endif
