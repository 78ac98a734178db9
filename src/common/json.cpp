#include "common/json.hpp"

#include <algorithm>
#include <charconv>
#include <functional>
#include <ostream>
#include <memory>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/locale/utf.hpp>
#include <json/reader.h>
#include <json/writer.h>

#include <tervik/rom/common.hpp>

namespace Tervik::Rom::Common {

namespace {

// Writes a value the way the JSON library's styled stream writer does with a tab for
// indentation, byte for byte: objects one member a line, arrays of scalars on one line
// while it stays under the margin, comments where they were read. It makes no string per
// token and no stream call per token: member names are read in place, plain texts and
// integers go straight into a buffer handed to the stream 64 KB at a time. Texts that need
// escapes and reals are made by the library itself, one value at a time.
class StyledWriter {
public:
    explicit StyledWriter(std::ostream& out) : out_(out) { buffer_.reserve(kFlushAt + 4096); }

    void Write(const Json::Value& root) {
        indented_ = true;
        CommentBefore(root);
        if (!indented_) NewLine();
        indented_ = true;
        Value(root);
        CommentAfter(root);
        Put("\n");
        Flush();
    }

private:
    static constexpr std::size_t kFlushAt = 1 << 16;
    static constexpr unsigned kMargin = 74;  // a one-line array ends before this column

    void Put(std::string_view text) {
        buffer_.append(text);
        if (buffer_.size() >= kFlushAt) Flush();
    }
    void Flush() {
        const auto size = static_cast<std::streamsize>(buffer_.size());
        if (size != 0 && out_.rdbuf()->sputn(buffer_.data(), size) != size) out_.setstate(std::ios::badbit);
        buffer_.clear();
    }
    void NewLine() {
        Put("\n");
        Put(indent_);
    }
    void WithIndent(std::string_view text) {
        if (!indented_) NewLine();
        Put(text);
        indented_ = false;
    }

    // The text of a scalar, or of an empty array or object, appended to into.
    static void Token(const Json::Value& value, std::string& into) {
        char digits[24];
        switch (value.type()) {
            case Json::nullValue:
                into += "null";
                return;
            case Json::intValue:
                into.append(digits, std::to_chars(digits, digits + sizeof digits, value.asLargestInt()).ptr);
                return;
            case Json::uintValue:
                into.append(digits, std::to_chars(digits, digits + sizeof digits, value.asLargestUInt()).ptr);
                return;
            case Json::realValue:
                into += Json::valueToString(value.asDouble());
                return;
            case Json::booleanValue:
                into += value.asBool() ? "true" : "false";
                return;
            case Json::stringValue: {
                const char* begin = nullptr;
                const char* end = nullptr;
                if (value.getString(&begin, &end)) Quoted(begin, end, into);
                return;
            }
            case Json::arrayValue:
                into += "[]";
                return;
            case Json::objectValue:
                into += "{}";
                return;
        }
    }
    static void Quoted(const char* begin, const char* end, std::string& into) {
        const bool plain = std::all_of(begin, end, [](char c) {
            const auto byte = static_cast<unsigned char>(c);
            return byte >= 0x20 && byte < 0x80 && c != '"' && c != '\\';
        });
        if (plain) {
            into += '"';
            into.append(begin, end);
            into += '"';
            return;
        }
        Json::FastWriter writer;  // escapes as the styled writer does
        writer.omitEndingLineFeed();
        into += writer.write(Json::Value(begin, end));
    }

    void Value(const Json::Value& value) {
        if (value.type() == Json::arrayValue && !value.empty()) return Array(value);
        if (value.type() != Json::objectValue || value.empty()) {
            scratch_.clear();
            Token(value, scratch_);
            return Put(scratch_);
        }
        WithIndent("{");
        indent_ += '\t';
        for (auto it = value.begin(); it != value.end();) {
            const Json::Value& child = *it;
            CommentBefore(child);
            const char* end = nullptr;
            const char* name = it.memberName(&end);
            scratch_.clear();
            Quoted(name, std::find(name, end, '\0'), scratch_);  // a name ends at a NUL, as a C string
            WithIndent(scratch_);
            Put(" : ");
            Value(child);
            if (++it != value.end()) Put(",");
            CommentAfter(child);
        }
        indent_.pop_back();
        WithIndent("}");
    }

    void Array(const Json::Value& value) {
        const Json::ArrayIndex size = value.size();
        // Arrays of scalars (or of empty arrays and objects) are measured with their tokens;
        // an array holding more, or long, goes one item a line.
        bool measured = size * 3 < kMargin;
        for (Json::ArrayIndex i = 0; i < size && measured; ++i) {
            const Json::Value& child = value[i];
            measured = !((child.isArray() || child.isObject()) && !child.empty());
        }
        bool oneLine = measured;
        tokens_.clear();
        ends_.clear();
        if (measured) {
            unsigned length = 4 + (size - 1) * 2;  // "[ ", ", " between items, " ]"
            for (Json::ArrayIndex i = 0; i < size; ++i) {
                const Json::Value& child = value[i];
                if (HasComment(child)) oneLine = false;
                const std::size_t before = tokens_.size();
                Token(child, tokens_);
                ends_.push_back(tokens_.size());
                length += static_cast<unsigned>(tokens_.size() - before);
            }
            oneLine = oneLine && length < kMargin;
        }
        if (oneLine) {
            Put("[ ");
            for (std::size_t i = 0, from = 0; i < ends_.size(); from = ends_[i++]) {
                if (i > 0) Put(", ");
                Put(std::string_view(tokens_).substr(from, ends_[i] - from));
            }
            return Put(" ]");
        }
        WithIndent("[");
        indent_ += '\t';
        for (Json::ArrayIndex i = 0; i < size; ++i) {
            const Json::Value& child = value[i];
            CommentBefore(child);
            if (measured) {  // scalars only: the tokens stay as measured
                const std::size_t from = i == 0 ? 0 : ends_[i - 1];
                WithIndent(std::string_view(tokens_).substr(from, ends_[i] - from));
            } else {
                if (!indented_) NewLine();
                indented_ = true;
                Value(child);
                indented_ = false;
            }
            if (i + 1 < size) Put(",");
            CommentAfter(child);
        }
        indent_.pop_back();
        WithIndent("]");
    }

    static bool HasComment(const Json::Value& value) {
        return value.hasComment(Json::commentBefore) || value.hasComment(Json::commentAfterOnSameLine) ||
               value.hasComment(Json::commentAfter);
    }
    void CommentBefore(const Json::Value& value) {
        if (!value.hasComment(Json::commentBefore)) return;
        if (!indented_) NewLine();
        const std::string comment = value.getComment(Json::commentBefore);
        for (std::size_t i = 0; i < comment.size(); ++i) {
            Put(std::string_view(&comment[i], 1));
            if (comment[i] == '\n' && i + 1 < comment.size() && comment[i + 1] == '/') Put(indent_);
        }
        indented_ = false;
    }
    void CommentAfter(const Json::Value& value) {
        if (value.hasComment(Json::commentAfterOnSameLine)) {
            Put(" ");
            Put(value.getComment(Json::commentAfterOnSameLine));
        }
        if (value.hasComment(Json::commentAfter)) {
            NewLine();
            Put(value.getComment(Json::commentAfter));
        }
        indented_ = false;
    }

    std::ostream& out_;
    std::string buffer_;
    std::string indent_;
    std::string scratch_;
    std::string tokens_;             // the measured array's tokens, one after the other
    std::vector<std::size_t> ends_;  // where each of them ends
    bool indented_ = false;
};

}  // namespace

std::string StyledJsonText(const Json::Value& value) {
    std::ostringstream out;
    WriteStyledJson(value, out);
    return out.str();
}

void WriteStyledJson(const Json::Value& value, std::ostream& out) { StyledWriter(out).Write(value); }

std::string CompactJsonText(const Json::Value& value) {
    Json::FastWriter writer;
    return writer.write(value);
}

namespace {

constexpr char kDuplicateKey[] = "Duplicate key: '";

bool Parse(const char* begin, const char* end, Json::Value& value, bool rejectDuplicates, std::string& errors) {
    Json::CharReaderBuilder builder;
    builder["collectComments"] = true;
    builder["rejectDupKeys"] = rejectDuplicates;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    try {
        return reader->parse(begin, end, &value, &errors);
    } catch (const std::exception&) {
        return false;  // nested deeper than the reader's stack limit
    }
}

}  // namespace

bool ParseJson(const char* begin, const char* end, Json::Value& value, std::string* duplicateKey) {
    std::string errors;
    if (Parse(begin, end, value, true, errors)) return true;
    const std::size_t at = errors.find(kDuplicateKey);
    std::string lenient;
    if (at == std::string::npos || !Parse(begin, end, value, false, lenient)) return false;
    if (duplicateKey != nullptr) {
        const std::size_t from = at + sizeof kDuplicateKey - 1;
        const std::size_t to = errors.rfind('\'', errors.find('\n', from));
        *duplicateKey = errors.substr(from, to == std::string::npos || to < from ? std::string::npos : to - from);
    }
    return true;
}

namespace {

// Why a text cannot be written as it is, or null.
const char* TextFault(std::string_view text) {
    using Utf8 = boost::locale::utf::utf_traits<char>;
    for (auto at = text.begin(); at != text.end();) {
        if (*at == '\0') return "holds a NUL character, where it would be cut";
        if (static_cast<unsigned char>(*at) < 0x80) {
            ++at;
            continue;
        }
        const boost::locale::utf::code_point point = Utf8::decode(at, text.end());
        if (point == boost::locale::utf::illegal || point == boost::locale::utf::incomplete)
            return "is not valid UTF-8, and JSON holds UTF-8 text only";
    }
    return nullptr;
}

// The path is put together on the way back from the text found, innermost part first.
const char* FindUnwritable(const Json::Value& value, std::string& text, std::vector<std::string>& path) {
    const char* begin = nullptr;
    const char* end = nullptr;
    switch (value.type()) {
        case Json::stringValue: {
            value.getString(&begin, &end);
            const char* fault = TextFault(std::string_view(begin, static_cast<std::size_t>(end - begin)));
            if (fault != nullptr) text.assign(begin, end);
            return fault;
        }
        case Json::arrayValue:
        case Json::objectValue:
            for (auto it = value.begin(); it != value.end(); ++it) {
                if (value.type() == Json::objectValue) {
                    begin = it.memberName(&end);
                    if (const char* fault = TextFault(std::string_view(begin, static_cast<std::size_t>(end - begin)))) {
                        text.assign(begin, end);
                        path.emplace_back(" (a key)");
                        path.push_back("." + EscapedText(text));
                        return fault;
                    }
                }
                if (const char* fault = FindUnwritable(*it, text, path)) {
                    path.push_back(value.type() == Json::objectValue ? "." + std::string(begin, end)
                                                                     : "[" + std::to_string(it.index()) + "]");
                    return fault;
                }
            }
            return nullptr;
        default:
            return nullptr;
    }
}

}  // namespace

std::string UnwritableText(const Json::Value& value, const std::string& root) {
    std::string text;
    std::vector<std::string> path;
    const char* fault = FindUnwritable(value, text, path);
    if (fault == nullptr) return std::string();
    std::string where = root;
    for (auto part = path.rbegin(); part != path.rend(); ++part) where += *part;
    if (root.empty() && !where.empty() && where[0] == '.') where.erase(0, 1);
    return "the text \"" + EscapedText(text) + "\" at " + where + " " + fault + ".";
}

bool MayHoldUnwritableText(std::string_view json) {
    // The bytes ORed together and their least, a block at a time, which compilers vectorise.
    const auto* bytes = reinterpret_cast<const unsigned char*>(json.data());
    unsigned char high = 0;
    unsigned char low = 0xFF;
    std::size_t i = 0;
    constexpr std::size_t kBlock = 64;
    for (; i + kBlock <= json.size(); i += kBlock)
        for (std::size_t k = 0; k < kBlock; ++k) {
            high |= bytes[i + k];
            low = bytes[i + k] < low ? bytes[i + k] : low;
        }
    for (; i < json.size(); ++i) {
        high |= bytes[i];
        low = bytes[i] < low ? bytes[i] : low;
    }
    if ((high & 0x80) != 0 || (low == 0 && !json.empty())) return true;
    for (std::size_t at = json.find('\\'); at != std::string_view::npos; at = json.find('\\', at + 2))
        if (at + 1 < json.size() && json[at + 1] == 'u') return true;
    return false;
}

std::string EscapedText(const std::string& text) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7F && byte != '\\') {
            escaped += c;
        } else {
            escaped += "\\x";
            escaped += kHex[byte >> 4];
            escaped += kHex[byte & 0x0F];
        }
    }
    return escaped;
}

void RequireWritableTexts(const Json::Value& value, const std::string& root, const std::string& fileName) {
    const std::string problem = UnwritableText(value, root);
    if (!problem.empty()) throw RomException("The file " + fileName + " cannot be saved: " + problem);
}

namespace {

std::size_t Combine(std::size_t seed, std::size_t h) {
    return seed ^ (h + 0x9e3779b97f4a7c15ull + (seed << 6) + (seed >> 2));
}

}  // namespace

std::size_t HashJson(const Json::Value& value) {
    std::size_t h = static_cast<std::size_t>(value.type());
    switch (value.type()) {
        case Json::nullValue:
            return h;
        case Json::intValue:
            return Combine(h, std::hash<Json::Int64>()(value.asInt64()));
        case Json::uintValue:
            return Combine(h, std::hash<Json::UInt64>()(value.asUInt64()));
        case Json::realValue: {
            const double d = value.asDouble();
            return Combine(h, std::hash<double>()(d == 0.0 ? 0.0 : d));  // 0.0 and -0.0 are equal
        }
        case Json::booleanValue:
            return Combine(h, value.asBool() ? 1u : 2u);
        case Json::stringValue: {
            const char* begin = nullptr;
            const char* end = nullptr;
            value.getString(&begin, &end);
            return Combine(h, std::hash<std::string_view>()(std::string_view(begin, end - begin)));
        }
        case Json::arrayValue:
            for (const Json::Value& item : value) h = Combine(h, HashJson(item));
            return h;
        case Json::objectValue:
            for (auto it = value.begin(); it != value.end(); ++it) {
                h = Combine(h, std::hash<std::string>()(it.name()));
                h = Combine(h, HashJson(*it));
            }
            return h;
    }
    return h;
}

}  // namespace Tervik::Rom::Common
