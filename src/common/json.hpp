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
// in one object leaves the later value, as the JSON reader always did, and, if given,
// duplicateKey receives that key: a reader refuses such a text once it read all else, so
// that a fault of the file met first keeps the text it gives.
bool ParseJson(const char* begin, const char* end, Json::Value& value, std::string* duplicateKey = nullptr);

// Why a save could not write the texts of value (strings and member names) as they are, or
// "": the first that is not valid UTF-8 (the JSON writer would put other characters in its
// place) or holds a NUL (where the writer and every C string would end it), with where it
// lies (root + ".entries[0].input[0].id").
std::string UnwritableText(const Json::Value& value, const std::string& root);
// False when no text parsed from the JSON text can be one UnwritableText finds: it holds no
// byte past ASCII, no NUL and no \u escape. A reader looks no further then (a look at every
// value would cost a fifth of the parse).
bool MayHoldUnwritableText(std::string_view json);
// The text with every byte outside printable ASCII written as \xHH, for messages.
std::string EscapedText(const std::string& text);
// Throws, naming the file to be saved, what UnwritableText finds.
void RequireWritableTexts(const Json::Value& value, const std::string& root, const std::string& fileName);

// Hash consistent with Json::Value equality: equal values hash equally.
std::size_t HashJson(const Json::Value& value);

}  // namespace Tervik::Rom::Common

#endif
