// Reads a saved file primitive by primitive, checking the frame of each record.
#ifndef TERVIK_ROM_TESTS_SUPPORT_FILE_BYTES_HPP
#define TERVIK_ROM_TESTS_SUPPORT_FILE_BYTES_HPP

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

class FileBytes {
public:
    explicit FileBytes(std::string bytes) : bytes_(std::move(bytes)) {}

    template <class T>
    std::vector<T> Array(std::size_t count) {
        std::vector<T> values(count);
        const bool inside = at_ + count * sizeof(T) <= bytes_.size();
        EXPECT_TRUE(inside) << "the file ends too early";
        if (inside) std::memcpy(values.data(), &bytes_[at_], count * sizeof(T));
        at_ = std::min(bytes_.size(), at_ + count * sizeof(T));
        return values;
    }
    template <class T>
    T Next() {
        return Array<T>(1)[0];
    }
    std::string Text() {
        const auto length = static_cast<std::size_t>(Next<std::int32_t>());
        const std::string text = bytes_.substr(at_, length);
        at_ = std::min(bytes_.size(), at_ + length);
        return text;
    }
    // A configuration in its envelope; gives the configuration.
    Json::Value Envelope() {
        Json::Value envelope;
        std::istringstream in(Text());
        std::string errors;
        EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), in, &envelope, &errors)) << errors;
        EXPECT_EQ(envelope.getMemberNames(), (std::vector<std::string>{"data", "version"}));
        EXPECT_EQ(envelope["version"], 1);
        return envelope["data"];
    }
    // The frame of an object: not null, frame version, type, type version, product version.
    // Gives where the type version lies.
    std::size_t Frame(const std::string& uuid) {
        EXPECT_EQ(Array<std::int32_t>(2), (std::vector<std::int32_t>{0, 1})) << uuid;
        EXPECT_EQ(Text(), uuid);
        const std::size_t versionAt = at_;
        EXPECT_EQ(Array<std::int32_t>(3), (std::vector<std::int32_t>{1, 18, 2})) << uuid;
        return versionAt;
    }
    std::size_t At() const { return at_; }
    bool AtEnd() const { return at_ == bytes_.size(); }

private:
    std::string bytes_;
    std::size_t at_ = 0;
};

template <class T>
void Put(std::string& bytes, std::size_t at, T value) {
    std::memcpy(&bytes[at], &value, sizeof value);
}
// A copy of bytes with value put at `at`.
template <class T>
std::string Patched(std::string bytes, std::size_t at, T value) {
    Put(bytes, at, value);
    return bytes;
}

// Replaces each `from` found after start (or the first alone) inside the JSON texts of a
// saved file, with the length in front of each text.
inline std::string PatchJson(std::string bytes, const std::string& from, const std::string& to, std::size_t start,
                             bool all = true) {
    for (std::size_t at = bytes.find(from, start); at != std::string::npos; at = bytes.find(from, at + to.size())) {
        const std::size_t text = bytes.rfind("{\"data\":", at) - 4;
        std::int32_t length = 0;
        std::memcpy(&length, &bytes[text], 4);
        Put<std::int32_t>(bytes, text,
                          length + static_cast<std::int32_t>(to.size()) - static_cast<std::int32_t>(from.size()));
        bytes.replace(at, from.size(), to);
        if (!all) break;
    }
    return bytes;
}

#endif
