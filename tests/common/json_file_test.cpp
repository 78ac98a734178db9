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
