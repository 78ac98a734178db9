#include "common/json_file.hpp"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string_view>
#include <system_error>

#include <tervik/rom/common.hpp>

#include "common/json.hpp"
#include "common/replacing_file.hpp"

namespace Tervik::Rom::Common {

namespace {

// The whole content of a regular file, at most its size; false when it cannot be
// opened or read.
bool ReadWholeFile(const std::string& fileName, std::string& content) {
    std::uint64_t size = 0;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(OpenRegularFile(fileName, size), &std::fclose);
    if (file == nullptr) return false;
    try {
        content.resize(static_cast<std::size_t>(size));
    } catch (const std::exception&) {
        throw RomException("The file " + fileName + " does not fit in memory: its " + std::to_string(size) +
                           " bytes could not be allocated.");
    }
    content.resize(std::fread(content.data(), 1, content.size(), file.get()));
    return std::ferror(file.get()) == 0;
}

// A stream buffer that writes to a file being replaced, 64 KB at a time, and tells whether
// the text written may hold a text that cannot be written as it is (see MayHoldUnwritableText).
class FileBuffer final : public std::streambuf {
public:
    explicit FileBuffer(CReplacingFile& file) : file_(file) { setp(buffer_, buffer_ + sizeof buffer_); }
    bool Suspect() const { return suspect_; }

protected:
    int_type overflow(int_type c) override {
        Drain();
        if (!traits_type::eq_int_type(c, traits_type::eof())) {
            *pptr() = traits_type::to_char_type(c);
            pbump(1);
        }
        return traits_type::not_eof(c);
    }
    int sync() override {
        Drain();
        return 0;
    }

private:
    void Drain() {
        const auto size = static_cast<std::size_t>(pptr() - pbase());
        if (size == 0) return;
        // An escape cut between two pieces is looked at as well.
        suspect_ =
            suspect_ || MayHoldUnwritableText(std::string_view(pbase(), size)) || (last_ == '\\' && *pbase() == 'u');
        last_ = pbase()[size - 1];
        file_.Write(pbase(), size);
        setp(buffer_, buffer_ + sizeof buffer_);
    }

    CReplacingFile& file_;
    bool suspect_ = false;
    char last_ = '\0';
    char buffer_[1 << 16];
};

}  // namespace

void JsonSerializationFile::SetFileName(const std::string& fileName) {
    if (fileName.empty())
        throw RomException("Trying to set an empty file path to the JsonSerializationFile is not supported!");
    fileName_ = fileName;
}

void JsonSerializationFile::Write(const std::string& key, Json::Value value) {
    if (key.empty()) throw RomException("Provided key is empty! JsonSerializationFile cannot write...");
    if (fileName_.empty())
        throw RomException("JsonSerializationFile cannot be open for writing since no fileName has been setup !");
    Json::Value root(Json::objectValue);
    root["version"] = kFileVersion;
    root["loomsteadVersion"][0] = kProductVersion.major;
    root["loomsteadVersion"][1] = kProductVersion.minor;
    root[key].swap(value);

    // The text goes to the file as it is made, rather than into one string first (whose
    // growth copies a large document over and over).
    CReplacingFile file(fileName_);
    FileBuffer buffer(file);
    std::ostream out(&buffer);
    out.exceptions(std::ios::badbit);  // a failed write throws its own error through the stream
    WriteStyledJson(root, out);
    out.flush();
    // The writer puts every byte past ASCII and every NUL as an escape: a text of plain ASCII
    // (nearly every document) needs no look at each of its texts. Refused, nothing is written.
    if (buffer.Suspect()) RequireWritableTexts(root[key], key, fileName_);
    file.Commit();
    version_ = kFileVersion;
    productVersion_ = kProductVersion;
}

void JsonSerializationFile::Read(const std::string& key, Json::Value& value) {
    if (key.empty()) throw RomException("Provided key is empty! JsonSerializationFile cannot read...");
    if (fileName_.empty())
        throw RomException("JsonSerializationFile cannot be open for reading since no fileName has been setup !");
    std::error_code error;
    if (!std::filesystem::exists(fileName_, error))
        throw RomException("JsonSerializationFile does not exist!\nProvided complete path to file is :\n" + fileName_);
    std::string text;
    if (!ReadWholeFile(fileName_, text)) throw RomException("Could not open the file " + fileName_ + ".");

    // Text that does not parse holds no key.
    Json::Value root;
    std::string duplicateKey;
    if (!ParseJson(text.data(), text.data() + text.size(), root, &duplicateKey) || !root.isObject())
        root = Json::Value();
    if (root.isMember("version")) {
        const Json::Value& version = root["version"];
        version_ = version.isInt() ? static_cast<std::uint32_t>(version.asInt()) : version.asUInt();
    }
    if (root.isMember("loomsteadVersion")) {
        const Json::Value& product = root["loomsteadVersion"];
        productVersion_.major = product[0].asInt();
        productVersion_.minor = product[1].asInt();
    }
    if (!root.isMember(key))
        throw RomException("JsonSerializationFile cannot find any key named " + key + "\nin the file\n" + fileName_);
    value.swap(root[key]);
    doubt_ = !duplicateKey.empty() ? "one of its objects has the key \"" + EscapedText(duplicateKey) + "\" twice."
             : MayHoldUnwritableText(text) ? UnwritableText(value, key)
                                           : std::string();
}

}  // namespace Tervik::Rom::Common
