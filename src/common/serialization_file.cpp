#include "common/serialization_file.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>

#include <unistd.h>

#include <tervik/rom/common.hpp>

#include "common/fault_injection.hpp"
#include "common/json.hpp"
#include "common/replacing_file.hpp"
#include "common/two_threads.hpp"

// One object is used by one thread at a time, so the stream needs no locking.
#if defined(__GLIBC__)
#define TERVIK_ROM_FREAD fread_unlocked
#define TERVIK_ROM_FWRITE fwrite_unlocked
#else
#define TERVIK_ROM_FREAD std::fread
#define TERVIK_ROM_FWRITE std::fwrite
#endif

namespace Tervik::Rom::Common {

namespace {

[[noreturn]] void ThrowReadError() { throw RomException("System error while trying to read from a file."); }
[[noreturn]] void ThrowWriteError() { throw RomException("System error while trying to write to a file."); }

}  // namespace

void IStreamAdapter::RequireRemaining(std::uint64_t count, std::uint64_t size) const {
    const std::uint64_t remaining = GetRemainingBytes();
    if (size != 0 && count > remaining / size) ThrowReadError();
}

CStreamAdapter::CStreamAdapter(std::FILE* file, std::uint64_t readable, std::string fileName)
    : file_(file), remaining_(readable), fileName_(std::move(fileName)) {}

void CStreamAdapter::CheckStream() const {
    if (std::ferror(file_) != 0 || std::feof(file_) != 0)
        throw RomException("File system exception when using a file.");
}

namespace {

// Reads bytes at offset of the descriptor into data, in a loop over partial reads; false on an
// error or the end of the file.
bool ReadAt(int descriptor, char* data, std::uint64_t bytes, std::uint64_t offset) noexcept {
    while (bytes != 0) {
        const ssize_t read = ::pread(descriptor, data, std::min<std::uint64_t>(bytes, std::uint64_t{1} << 30),
                                     static_cast<off_t>(offset));
        if (read < 0 && errno == EINTR) continue;
        if (read <= 0) return false;
        data += read;
        bytes -= static_cast<std::uint64_t>(read);
        offset += static_cast<std::uint64_t>(read);
    }
    return true;
}

}  // namespace

bool ReadOnTwoThreads(std::FILE* file, void* data, std::uint64_t bytes) {
    const off_t at = ::ftello(file);
    if (at < 0) return false;
    const int descriptor = ::fileno(file);
    auto* const out = static_cast<char*>(data);
    bool read[2] = {};
    OnTwoHalves(bytes, 4096, [&](int part, std::uint64_t from, std::uint64_t to) {
        read[part] = ReadAt(descriptor, out + from, to - from, static_cast<std::uint64_t>(at) + from);
    });
    if (!read[0] || !read[1] || ::fseeko(file, at + static_cast<off_t>(bytes), SEEK_SET) != 0) ThrowReadError();
    return true;
}

template <class T>
void CStreamAdapter::ReadArray(T* data, std::uint32_t count) {
    if (data == nullptr && count != 0) throw RomException("Tried to read from an uninitialized file.");
    RequireRemaining(count, sizeof(T));
    // A large array on two threads, when the machine has a core to spare: the kernel's copy out
    // of the page cache (and the faults of memory not yet touched) then runs on both cores.
    constexpr std::uint64_t kOnTwoFrom = std::uint64_t{16} << 20;
    const std::uint64_t bytes = std::uint64_t{count} * sizeof(T);
    if (!(bytes >= kOnTwoFrom && SpareCore() && ReadOnTwoThreads(file_, data, bytes)) &&
        TERVIK_ROM_FREAD(data, sizeof(T), count, file_) != count)
        ThrowReadError();
    remaining_ -= bytes;
    CheckStream();
}

template <class T>
void CStreamAdapter::WriteArray(const T* data, std::uint32_t count) {
    if (data == nullptr && count != 0) throw RomException("Tried to write to an uninitialized file.");
    // A large array finds its space set aside in one step rather than block by block.
    constexpr std::uint64_t kReserveFrom = std::uint64_t{1} << 20;
    const std::uint64_t bytes = std::uint64_t{count} * sizeof(T);
    if (bytes >= kReserveFrom) ReserveSpace(file_, bytes);
    if (FaultInjection::Fails() || !WriteInPieces(file_, data, bytes)) ThrowWriteError();
    CheckStream();
}

template <class T>
void CStreamAdapter::WriteValue(T value) {
    if (FaultInjection::Fails() || TERVIK_ROM_FWRITE(&value, sizeof(T), 1, file_) != 1) ThrowWriteError();
    CheckStream();
}

void CStreamAdapter::Read(Json::Value& value) {
    std::string text;
    Read(text);
    std::string duplicateKey;
    if (!ParseJson(text.data(), text.data() + text.size(), value, &duplicateKey)) ThrowReadError();
    if (!doubt_.empty()) return;
    doubt_ = !duplicateKey.empty()
                 ? "one of the objects of its JSON text has the key \"" + EscapedText(duplicateKey) + "\" twice."
             : MayHoldUnwritableText(text) ? UnwritableText(value, "")
                                           : std::string();
}

void CStreamAdapter::Read(std::string& text) {
    std::int32_t count = 0;
    Read(&count, 1);
    if (count < 0) ThrowReadError();
    RequireRemaining(static_cast<std::uint64_t>(count), 1);
    text.resize(static_cast<std::size_t>(count));
    if (count != 0) Read(text.data(), static_cast<std::uint32_t>(count));
}

void CStreamAdapter::Read(double* data, std::uint32_t count) { ReadArray(data, count); }
void CStreamAdapter::Read(float* data, std::uint32_t count) { ReadArray(data, count); }
void CStreamAdapter::Read(std::int64_t* data, std::uint32_t count) { ReadArray(data, count); }
void CStreamAdapter::Read(std::int32_t* data, std::uint32_t count) { ReadArray(data, count); }
void CStreamAdapter::Read(std::uint32_t* data, std::uint32_t count) { ReadArray(data, count); }
void CStreamAdapter::Read(std::int16_t* data, std::uint32_t count) { ReadArray(data, count); }

void CStreamAdapter::Read(char** text) {
    std::string read;
    Read(read);
    char* block = new char[read.size() + 1];
    std::memcpy(block, read.c_str(), read.size() + 1);
    *text = block;
}

void CStreamAdapter::Read(bool* data, std::uint32_t count) { ReadArray(data, count); }
void CStreamAdapter::Read(char* data, std::uint32_t count) { ReadArray(data, count); }

void CStreamAdapter::Write(const double* data, std::uint32_t count) { WriteArray(data, count); }
void CStreamAdapter::Write(const float* data, std::uint32_t count) { WriteArray(data, count); }
void CStreamAdapter::Write(const std::int64_t* data, std::uint32_t count) { WriteArray(data, count); }
void CStreamAdapter::Write(const std::int32_t* data, std::uint32_t count) { WriteArray(data, count); }
void CStreamAdapter::Write(const std::uint32_t* data, std::uint32_t count) { WriteArray(data, count); }
void CStreamAdapter::Write(const std::int16_t* data, std::uint32_t count) { WriteArray(data, count); }
void CStreamAdapter::Write(const char* data, std::uint32_t count) { WriteArray(data, count); }

void CStreamAdapter::Write(const Json::Value& value) { Write(CompactJsonText(value)); }

void CStreamAdapter::Write(const std::string& text) { Write(text.c_str()); }

void CStreamAdapter::Write(double value) { WriteValue(value); }
void CStreamAdapter::Write(float value) { WriteValue(value); }
void CStreamAdapter::Write(std::int64_t value) { WriteValue(value); }
void CStreamAdapter::Write(std::int32_t value) { WriteValue(value); }
void CStreamAdapter::Write(std::uint32_t value) { WriteValue(value); }
void CStreamAdapter::Write(std::int16_t value) { WriteValue(value); }

void CStreamAdapter::Write(const char* text) {
    const std::size_t length = std::strlen(text);
    // The reader takes the count as a signed 32-bit number.
    if (length > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
        throw RomException("Failed to serialize an object as it contains a too long character string.");
    Write(static_cast<std::int32_t>(length));
    Write(text, static_cast<std::uint32_t>(length));
}

void CStreamAdapter::Write(bool value) { WriteValue(value); }
void CStreamAdapter::Write(char value) { WriteValue(value); }

CSerializationFile::~CSerializationFile() {
    // An unclosed output is discarded: the target keeps its old content.
    if (output_ == nullptr && file_ != nullptr) std::fclose(file_);
}

void CSerializationFile::OpenForDeserializing(std::string fileName) {
    if (fileName.empty())
        throw RomException("CSerializationFile cannot be open for deserializing since provided fileName is empty !");
    Close();
    std::uint64_t size = 0;
    std::FILE* file = OpenRegularFile(fileName, size);
    if (file == nullptr) throw RomException("Could not open the file " + fileName + ".");
    file_ = file;
    adapter_ = std::make_unique<CStreamAdapter>(file_, size, fileName);
    fileName_ = std::move(fileName);
}

void CSerializationFile::OpenForSerializing(std::string fileName) {
    if (fileName.empty())
        throw RomException("CSerializationFile cannot be open for serializing since provided fileName is empty !");
    Close();
    output_ = std::make_unique<CReplacingFile>(fileName);
    file_ = output_->Stream();
    adapter_ = std::make_unique<CStreamAdapter>(file_, 0, fileName);
    fileName_ = std::move(fileName);
}

void CSerializationFile::Close() {
    adapter_.reset();
    std::FILE* file = std::exchange(file_, nullptr);
    if (output_ != nullptr) {
        const std::unique_ptr<CReplacingFile> output = std::move(output_);
        output->Commit();
    } else if (file != nullptr) {
        std::fclose(file);
    }
}

}  // namespace Tervik::Rom::Common
