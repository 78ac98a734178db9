#include "common/json.hpp"

#include <functional>
#include <memory>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include <json/reader.h>
#include <json/writer.h>

#include <tervik/rom/common.hpp>

namespace Tervik::Rom::Common {

std::string StyledJsonText(const Json::Value& value) {
    std::ostringstream out;
    WriteStyledJson(value, out);
    return out.str();
}

void WriteStyledJson(const Json::Value& value, std::ostream& out) {
    Json::StyledStreamWriter writer("\t");
    writer.write(out, value);
}

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
    if (duplicateKey == nullptr || at == std::string::npos) return false;
    // Reported only for a text that is valid otherwise.
    Json::Value lenient;
    std::string ignored;
    if (!Parse(begin, end, lenient, false, ignored)) return false;
    const std::size_t from = at + sizeof kDuplicateKey - 1;
    const std::size_t to = errors.rfind('\'', errors.find('\n', from));
    *duplicateKey = errors.substr(from, to == std::string::npos || to < from ? std::string::npos : to - from);
    return false;
}

bool IsUtf8(std::string_view text) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t size = text.size();
    std::size_t i = 0;
    while (i < size) {
        const unsigned char lead = bytes[i];
        if (lead < 0x80) {
            ++i;
            continue;
        }
        std::size_t length = 0;
        std::uint32_t point = 0;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2, point = lead & 0x1Fu;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3, point = lead & 0x0Fu;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4, point = lead & 0x07u;
        } else {
            return false;
        }
        if (size - i < length) return false;
        for (std::size_t k = 1; k < length; ++k) {
            if ((bytes[i + k] & 0xC0u) != 0x80u) return false;
            point = point << 6 | (bytes[i + k] & 0x3Fu);
        }
        if ((length == 3 && point < 0x800) || (length == 4 && (point < 0x10000 || point > 0x10FFFF)) ||
            (point >= 0xD800 && point <= 0xDFFF))
            return false;
        i += length;
    }
    return true;
}

namespace {

// The path is put together on the way back from the text found, innermost part first.
bool FindNonUtf8(const Json::Value& value, std::string& text, std::vector<std::string>& path) {
    switch (value.type()) {
    case Json::stringValue: {
        const char* begin = nullptr;
        const char* end = nullptr;
        value.getString(&begin, &end);
        if (IsUtf8(std::string_view(begin, static_cast<std::size_t>(end - begin)))) return false;
        text.assign(begin, end);
        return true;
    }
    case Json::arrayValue:
        for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
            if (FindNonUtf8(value[i], text, path)) {
                path.push_back("[" + std::to_string(i) + "]");
                return true;
            }
        }
        return false;
    case Json::objectValue:
        for (auto it = value.begin(); it != value.end(); ++it) {
            const char* end = nullptr;
            const char* name = it.memberName(&end);
            const std::string_view key(name, static_cast<std::size_t>(end - name));
            if (!IsUtf8(key)) {
                text.assign(key);
                path.emplace_back(" (a key)");
                path.push_back("." + text);
                return true;
            }
            if (FindNonUtf8(*it, text, path)) {
                path.push_back("." + std::string(key));
                return true;
            }
        }
        return false;
    default:
        return false;
    }
}

}  // namespace

bool FindNonUtf8(const Json::Value& value, const std::string& root, std::string& text, std::string& where) {
    std::vector<std::string> path;
    if (!FindNonUtf8(value, text, path)) return false;
    where = root;
    for (auto part = path.rbegin(); part != path.rend(); ++part) where += *part;
    return true;
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

void RequireUtf8(const Json::Value& value, const std::string& root, const std::string& fileName) {
    std::string text;
    std::string where;
    if (FindNonUtf8(value, root, text, where))
        throw RomException("The file " + fileName + " cannot be saved: the text \"" + EscapedText(text) + "\" at " +
                           where + " is not valid UTF-8, and JSON holds UTF-8 text only.");
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
