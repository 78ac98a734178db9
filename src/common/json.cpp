#include "common/json.hpp"

#include <functional>
#include <memory>
#include <sstream>
#include <string_view>

#include <json/reader.h>
#include <json/writer.h>

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

bool ParseJson(const char* begin, const char* end, Json::Value& value) {
    Json::CharReaderBuilder builder;
    builder["collectComments"] = true;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    try {
        return reader->parse(begin, end, &value, &errors);
    } catch (const std::exception&) {
        return false;  // nested deeper than the reader's stack limit
    }
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
