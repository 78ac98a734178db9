#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>

#include <json/writer.h>

#include "common/json.hpp"
#include "common/json_file.hpp"
#include "support/temp_dir.hpp"

using namespace Tervik::Rom::Common;

namespace {

class JsonFileTest : public TempDirTest {};

}  // namespace

TEST_F(JsonFileTest, WritesAStampedTabIndentedDocument) {
    JsonSerializationFile file;
    EXPECT_EQ(file.GetVersion(), 0u);
    file.SetFileName(Path("doc.romcfg"));
    Json::Value value;
    value["name"] = "wing";
    file.Write("setup", value);
    EXPECT_EQ(ReadBytes(Path("doc.romcfg")),
              "{\n\t\"loomsteadVersion\" : [ 18, 2 ],\n\t\"setup\" : \n\t{\n\t\t\"name\" : \"wing\"\n\t},\n"
              "\t\"version\" : 1\n}\n");
    EXPECT_EQ(file.GetVersion(), 1u);
    EXPECT_EQ(file.GetProductVersion().major, 18);

    JsonSerializationFile reader;
    reader.SetFileName(Path("doc.romcfg"));
    Json::Value read;
    reader.Read("setup", read);
    EXPECT_EQ(read, value);
    EXPECT_EQ(reader.GetVersion(), 1u);
    EXPECT_EQ(reader.GetProductVersion().minor, 2);
}

TEST_F(JsonFileTest, ErrorsNameTheKeyAndTheFile) {
    JsonSerializationFile file;
    EXPECT_EQ(MessageOf([&] { file.SetFileName(""); }),
              "Trying to set an empty file path to the JsonSerializationFile is not supported!");
    Json::Value value;
    EXPECT_EQ(MessageOf([&] { file.Read("k", value); }),
              "JsonSerializationFile cannot be open for reading since no fileName has been setup !");
    EXPECT_EQ(MessageOf([&] { file.Write("k", value); }),
              "JsonSerializationFile cannot be open for writing since no fileName has been setup !");
    EXPECT_EQ(MessageOf([&] { file.Read("", value); }), "Provided key is empty! JsonSerializationFile cannot read...");
    EXPECT_EQ(MessageOf([&] { file.Write("", value); }),
              "Provided key is empty! JsonSerializationFile cannot write...");

    const std::string missing = Path("missing.romcfg"), nowhere = Path("none/doc.romcfg");
    file.SetFileName(missing);
    EXPECT_EQ(MessageOf([&] { file.Read("k", value); }),
              "JsonSerializationFile does not exist!\nProvided complete path to file is :\n" + missing);
    file.SetFileName(nowhere);
    EXPECT_EQ(MessageOf([&] { file.Write("k", Json::Value(1)); }), "Could not open the file " + nowhere + ".");

    const std::string other = Path("other.romcfg");
    WriteBytes(other, "{\"snapshot\": {}}");
    file.SetFileName(other);
    EXPECT_EQ(MessageOf([&] { file.Read("setup", value); }),
              "JsonSerializationFile cannot find any key named setup\nin the file\n" + other);
    // A file without versions is still read; the versions stay unset.
    file.Read("snapshot", value);
    EXPECT_EQ(file.GetVersion(), 0u);
    EXPECT_EQ(file.GetProductVersion().major, 0);

    // Broken, foreign and too deeply nested texts hold no key either.
    const std::string deep = "{\"setup\": " + std::string(100000, '[') + std::string(100000, ']') + "}";
    for (const std::string& text :
         {std::string("{\"setup\": {"), std::string("not json"), std::string("[1, 2]"), std::string(), deep}) {
        WriteBytes(other, text);
        EXPECT_EQ(MessageOf([&] { file.Read("setup", value); }),
                  "JsonSerializationFile cannot find any key named setup\nin the file\n" + other)
            << text.substr(0, 20);
    }
}

TEST_F(JsonFileTest, WritingTwiceKeepsTheSecondValueOnly) {
    JsonSerializationFile file;
    file.SetFileName(Path("twice.romcch"));
    file.Write("first", Json::Value(1));
    file.Write("second", Json::Value(2));
    Json::Value value;
    EXPECT_NE(MessageOf([&] { file.Read("first", value); }).find("cannot find any key named first"), std::string::npos);
    file.Read("second", value);
    EXPECT_EQ(value.asInt(), 2);
    EXPECT_EQ(Files(), std::vector<std::string>{"twice.romcch"});
}

namespace {

// A random value: every kind of scalar, texts that need escapes, arrays around the width
// where they stop fitting on one line, nesting.
Json::Value RandomJson(std::mt19937& random, int depth) {
    const auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    static const std::vector<std::string> texts = {"",
                                                   "x",
                                                   "field0.x",
                                                   "say \"hi\"",
                                                   "a \\ text",
                                                   std::string("nul\0inside", 10),
                                                   "tab\there\nline\x01\x1f",
                                                   "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80",
                                                   "bad \xE9 byte \xC3",
                                                   "del\x7F",
                                                   std::string(40, 'w')};
    static const std::vector<double> reals = {0.1,
                                              -0.0,
                                              1e300,
                                              3.0,
                                              1.0 / 3.0,
                                              -2.5e-310,
                                              std::numeric_limits<double>::infinity(),
                                              -std::numeric_limits<double>::infinity(),
                                              std::nan("")};
    const int kind = depth <= 0 ? pick(6) : pick(9);
    switch (kind) {
        case 0:
            return Json::Value();
        case 1:
            return Json::Value(static_cast<Json::Int64>(random()) - Json::Int64{1} * (1 << 30) * pick(5));
        case 2:
            return Json::Value(std::numeric_limits<Json::UInt64>::max() - pick(2));
        case 3:
            return Json::Value(reals[pick(static_cast<int>(reals.size()))]);
        case 4:
            return Json::Value(pick(2) == 0);
        case 5: {
            const std::string& text = texts[pick(static_cast<int>(texts.size()))];
            return Json::Value(text.data(), text.data() + text.size());
        }
        case 6:
        case 7: {
            Json::Value array(Json::arrayValue);
            for (int i = 0, n = pick(4) == 0 ? pick(30) : pick(8); i < n; ++i)
                array.append(RandomJson(random, depth - 1));
            return array;
        }
        default: {
            Json::Value object(Json::objectValue);
            for (int i = 0, n = pick(5); i < n; ++i) {
                const std::string& key = texts[pick(static_cast<int>(texts.size()))];
                object[key + std::to_string(i)] = RandomJson(random, depth - 1);
            }
            return object;
        }
    }
}

std::string LibraryStyledText(const Json::Value& value) {
    std::ostringstream out;
    Json::StyledStreamWriter("\t").write(out, value);
    return out.str();
}

}  // namespace

// Documents are written byte for byte as the JSON library's styled writer would, comments
// read with them included.
TEST(StyledJson, WritesWhatTheLibrarysStyledWriterWrites) {
    std::mt19937 random(7);
    for (int i = 0; i < 3000; ++i) {
        const Json::Value value = RandomJson(random, 1 + i % 4);
        ASSERT_EQ(StyledJsonText(value), LibraryStyledText(value)) << CompactJsonText(value);
    }
    for (const char* text :
         {"// head\n{ \"a\" : 1, // after a\n \"b\" : [ 1, /* in */ 2 ], \"c\" : { \"d\" : [] } /* end */ }\n// tail",
          "[ 1, 2, // two\n 3 ]", "{\n// one\n// two\n\"a\" : [ true ] }", "/* one */ 7",
          "{ \"x\" : [ [], {}, \"\" ], // x\n \"y\" : null }",
          "[ {\"a\": 1}, // first\n [ 2 ], \n/* last\n / line */ 3 ]"}) {
        Json::Value value;
        ASSERT_TRUE(ParseJson(text, text + std::strlen(text), value)) << text;
        EXPECT_EQ(StyledJsonText(value), LibraryStyledText(value)) << text;
    }
}
