#include <cstdio>
#include <cstring>
#include <limits>
#include <numeric>
#include <vector>

#include "common/serialization_file.hpp"
#include "support/temp_dir.hpp"

using namespace Tervik::Rom::Common;

namespace {

class SerializationFileTest : public TempDirTest {
protected:
    // Writes through a fresh file and returns the bytes it left.
    template <class Writer>
    std::string Written(Writer&& writer) {
        const std::string path = Path("out.bin");
        CSerializationFile file;
        file.OpenForSerializing(path);
        writer(*file.GetStreamAdapter());
        file.Close();
        return ReadBytes(path);
    }

    std::unique_ptr<CSerializationFile> Reading(const std::string& bytes) {
        const std::string path = Path("in.bin");
        WriteBytes(path, bytes);
        auto file = std::make_unique<CSerializationFile>();
        file->OpenForDeserializing(path);
        return file;
    }
};

const std::string kReadError = "System error while trying to read from a file.";

}  // namespace

TEST_F(SerializationFileTest, PrimitivesAreLittleEndianWithoutPadding) {
    const std::string bytes = Written([](IStreamAdapter& s) {
        s.Write(std::int32_t{-2});
        s.Write(std::uint32_t{0x01020304});
        s.Write(std::int16_t{0x0506});
        s.Write(true);
        s.Write('z');
        s.Write(std::int64_t{1} << 40);
        s.Write(1.5);
        s.Write(0.25f);
        s.Write("ab");
        s.Write(std::string());
    });
    // ..., 1 << 40, 1.5 (0x3FF8 << 48), 0.25f (0x3E80 << 16), "ab" and "" after their lengths.
    EXPECT_EQ(bytes, std::string("\xfe\xff\xff\xff\x04\x03\x02\x01\x06\x05\x01z\0\0\0\0\0\x01\0\0\0\0\0\0\0\0\xf8\x3f"
                                 "\0\0\x80\x3e\x02\0\0\0ab\0\0\0\0",
                                 42));
}

TEST_F(SerializationFileTest, EverythingRoundTrips) {
    const double doubles[3] = {1.0, -0.0, std::numeric_limits<double>::denorm_min()};
    const std::int32_t ints[2] = {-7, 9};
    Json::Value json;
    json["a"].append("x");
    json["b"] = 0.1;
    auto file = Reading(Written([&](IStreamAdapter& s) {
        s.Write(doubles, 3);
        s.Write(ints, 2);
        s.Write(json);
        s.Write(std::string("caf\xc3\xa9"));
        s.Write(static_cast<const double*>(nullptr), 0);
    }));
    IStreamAdapter& s = *file->GetStreamAdapter();
    double d[3];
    std::int32_t i[2];
    Json::Value j;
    char* text = nullptr;
    s.Read(d, 3);
    s.Read(i, 2);
    s.Read(j);
    s.Read(&text);
    EXPECT_EQ(std::memcmp(d, doubles, sizeof d), 0);
    EXPECT_EQ(i[1], 9);
    EXPECT_EQ(j, json);
    EXPECT_STREQ(text, "caf\xc3\xa9");
    delete[] text;
    EXPECT_EQ(s.GetRemainingBytes(), 0u);
}

// The read of a large array on two threads starts where the stream stands, after what it
// buffered, and leaves it after the array; a file that ends before is a read error.
TEST_F(SerializationFileTest, ReadsOnTwoThreadsFromTheStreamsPosition) {
    std::vector<std::uint32_t> large(3 * 1024 * 1024 + 7);
    std::iota(large.begin(), large.end(), 5u);
    const std::string path = Path("two.bin");
    {
        CSerializationFile file;
        file.OpenForSerializing(path);
        file.GetStreamAdapter()->Write("head");
        file.GetStreamAdapter()->Write(large.data(), static_cast<std::uint32_t>(large.size()));
        file.GetStreamAdapter()->Write(std::int16_t{-3});
        file.Close();
    }
    std::FILE* file = std::fopen(path.c_str(), "rb");
    ASSERT_NE(file, nullptr);
    char head[8] = {};
    ASSERT_EQ(std::fread(head, 1, 8, file), 8u);
    std::vector<std::uint32_t> read(large.size());
    ASSERT_TRUE(ReadOnTwoThreads(file, read.data(), read.size() * sizeof(std::uint32_t)));
    EXPECT_TRUE(read == large);
    std::int16_t tail = 0;
    EXPECT_EQ(std::fread(&tail, sizeof tail, 1, file), 1u);
    EXPECT_EQ(tail, -3);
    std::rewind(file);
    ASSERT_EQ(std::fread(head, 1, 8, file), 8u);
    read.push_back(0);  // room for 3 bytes more than the file holds after the head
    EXPECT_EQ(MessageOf([&] { ReadOnTwoThreads(file, read.data(), large.size() * sizeof(std::uint32_t) + 3); }),
              kReadError);
    std::fclose(file);
}

// Null buffers are refused unless empty; a read past the end fails, and so does a string
// count (negative ones included) that the file cannot hold, before anything is allocated.
TEST_F(SerializationFileTest, BuffersAndCountsAreChecked) {
    CSerializationFile file;
    file.OpenForSerializing(Path("x.bin"));
    IStreamAdapter& s = *file.GetStreamAdapter();
    s.Write(static_cast<const std::int32_t*>(nullptr), 0);
    EXPECT_EQ(MessageOf([&] { s.Write(static_cast<const double*>(nullptr), 1); }),
              "Tried to write to an uninitialized file.");
    file.Close();
    EXPECT_EQ(ReadBytes(Path("x.bin")), "");
    EXPECT_EQ(MessageOf([&] { Reading("abcd")->GetStreamAdapter()->Read(static_cast<std::int32_t*>(nullptr), 1); }),
              "Tried to read from an uninitialized file.");

    auto in = Reading(std::string("\x01\0\0\0\x02\0", 6));
    std::int32_t value = 0;
    in->GetStreamAdapter()->Read(&value, 1);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(MessageOf([&] { in->GetStreamAdapter()->Read(&value, 1); }), kReadError);
    std::int16_t last = 0;
    in->GetStreamAdapter()->Read(&last, 1);
    EXPECT_EQ(last, 2) << "the last bytes are still read";

    for (const std::string& bytes : {std::string("\xff\xff\xff\x7f", 4) + "abc", std::string("\x05\0\0\0abcd", 8),
                                     std::string("\xfe\xff\xff\xff", 4)}) {
        std::string text;
        EXPECT_EQ(MessageOf([&] { Reading(bytes)->GetStreamAdapter()->Read(text); }), kReadError);
    }
    Json::Value json;
    Reading(std::string("\x02\0\0\0{}", 6))->GetStreamAdapter()->Read(json);
    EXPECT_TRUE(json.isObject());
}

TEST_F(SerializationFileTest, OpeningErrors) {
    CSerializationFile file;
    EXPECT_EQ(MessageOf([&] { file.OpenForDeserializing(""); }),
              "CSerializationFile cannot be open for deserializing since provided fileName is empty !");
    EXPECT_EQ(MessageOf([&] { file.OpenForSerializing(""); }),
              "CSerializationFile cannot be open for serializing since provided fileName is empty !");
    const std::string missing = Path("missing.bin");
    EXPECT_EQ(MessageOf([&] { file.OpenForDeserializing(missing); }), "Could not open the file " + missing + ".");
    EXPECT_EQ(MessageOf([&] { file.OpenForDeserializing(dir_.string()); }),
              "Could not open the file " + dir_.string() + ".");
    const std::string nowhere = Path("no/such/folder/x.bin");
    EXPECT_EQ(MessageOf([&] { file.OpenForSerializing(nowhere); }), "Could not open the file " + nowhere + ".");
    EXPECT_TRUE(Files().empty());
}

// Opening a second file closes the first; names are UTF-8.
TEST_F(SerializationFileTest, OpeningASecondFileClosesTheFirst) {
    const std::string name = Path("r\xc3\xa9sultat \xe6\xb5\x8b\xe8\xaf\x95.bin");
    CSerializationFile file;
    file.OpenForSerializing(Path("first.bin"));
    file.GetStreamAdapter()->Write(std::int32_t{7});
    file.OpenForSerializing(name);
    EXPECT_EQ(file.GetFileName(), name);
    EXPECT_EQ(ReadBytes(Path("first.bin")), std::string("\x07\0\0\0", 4));
    file.GetStreamAdapter()->Write("x");
    file.Close();
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::u8path(name)));
    file.OpenForDeserializing(name);
    std::string text;
    file.GetStreamAdapter()->Read(text);
    EXPECT_EQ(text, "x");
}

TEST_F(SerializationFileTest, RenameFailureIsAWriteError) {
    // The target is a non-empty folder: the new file cannot replace it.
    std::filesystem::create_directories(dir_ / "taken" / "inside");
    CSerializationFile file;
    file.OpenForSerializing(Path("taken"));
    file.GetStreamAdapter()->Write(1.0);
    EXPECT_EQ(MessageOf([&] { file.Close(); }), "System error while trying to write to a file.");
    EXPECT_TRUE(std::filesystem::is_directory(dir_ / "taken" / "inside"));
    EXPECT_EQ(Files(), std::vector<std::string>{"taken"});
}

TEST_F(SerializationFileTest, ReplacingKeepsPermissionsAndFollowsLinks) {
    const std::string target = Path("target.bin");
    WriteBytes(target, "old");
    std::filesystem::permissions(target, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    std::filesystem::create_symlink(target, dir_ / "link.bin");
    CSerializationFile file;
    file.OpenForSerializing(Path("link.bin"));
    file.GetStreamAdapter()->Write("new");
    file.Close();
    EXPECT_TRUE(std::filesystem::is_symlink(dir_ / "link.bin"));
    EXPECT_EQ(ReadBytes(target), std::string("\x03\0\0\0new", 7));
    EXPECT_EQ(std::filesystem::status(target).permissions() & std::filesystem::perms::all,
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}
