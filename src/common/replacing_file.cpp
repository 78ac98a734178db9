#include "common/replacing_file.hpp"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tervik/rom/common.hpp>

#include "common/fault_injection.hpp"
#include "common/identifiable.hpp"

namespace Tervik::Rom::Common {

std::atomic<std::uint64_t> FaultInjection::failAt{0};
std::atomic<std::uint64_t> FaultInjection::counted{0};

namespace {

[[noreturn]] void ThrowWriteError() { throw RomException("System error while trying to write to a file."); }

// Saving through a symbolic link replaces the file it points to, not the link.
std::string ResolveLink(const std::string& target) {
    std::error_code error;
    if (!std::filesystem::is_symlink(target, error)) return target;
    const std::filesystem::path resolved = std::filesystem::weakly_canonical(target, error);
    return error ? target : resolved.string();
}

// The temporary name beside the target: "." + name + ".tmp-" + 8 random characters,
// the name shortened so that the whole stays within the system's limit for a name.
std::string TemporaryName(const std::string& name) {
    constexpr std::size_t kNameLimit = 255;
    constexpr std::size_t kAdded = 1 + 5 + 8;
    const std::string kept = name.size() + kAdded > kNameLimit ? name.substr(0, kNameLimit - kAdded) : name;
    return "." + kept + ".tmp-" + NewUuid().substr(0, 8);
}

}  // namespace

std::FILE* OpenRegularFile(const std::string& fileName, std::uint64_t& size) {
    const int descriptor = ::open(fileName.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0) return nullptr;
    struct stat status {};
    std::FILE* file = nullptr;
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
        const int flags = ::fcntl(descriptor, F_GETFL);
        if (flags >= 0 && ::fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK) == 0) file = ::fdopen(descriptor, "rb");
    }
    if (file == nullptr) {
        ::close(descriptor);
        return nullptr;
    }
    size = static_cast<std::uint64_t>(status.st_size);
    return file;
}

void ReserveSpace(std::FILE* file, std::uint64_t bytes) {
#if defined(__linux__) && defined(FALLOC_FL_KEEP_SIZE)
    const off_t position = ::ftello(file);
    if (position >= 0 && bytes != 0)
        (void)::fallocate(::fileno(file), FALLOC_FL_KEEP_SIZE, position, static_cast<off_t>(bytes));
#else
    (void)file;
    (void)bytes;
#endif
}

bool WriteInPieces(std::FILE* file, const void* data, std::size_t bytes) {
    const auto* from = static_cast<const char*>(data);
    for (std::size_t done = 0; done < bytes;) {
        const std::size_t piece = std::min(kWritePiece, bytes - done);
        if (std::fwrite(from + done, 1, piece, file) != piece) return false;
        done += piece;
    }
    return true;
}

CReplacingFile::CReplacingFile(const std::string& target) : destination_(ResolveLink(target)) {
    const std::filesystem::path path(destination_);
    for (int attempt = 0; attempt < 8 && stream_ == nullptr; ++attempt) {
        std::filesystem::path name = path;
        name.replace_filename(TemporaryName(path.filename().string()));
        temporary_ = name.string();
        const int descriptor = ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor < 0) {
            if (errno == EEXIST) continue;
            break;
        }
        // A replaced file keeps its permissions.
        struct stat existing {};
        if (::stat(destination_.c_str(), &existing) == 0 && S_ISREG(existing.st_mode))
            (void)::fchmod(descriptor, existing.st_mode & 07777);
        stream_ = ::fdopen(descriptor, "wb");
        if (stream_ == nullptr) {
            ::close(descriptor);
            ::unlink(temporary_.c_str());
        }
    }
    if (stream_ == nullptr) throw RomException("Could not open the file " + target + ".");
}

CReplacingFile::~CReplacingFile() {
    if (stream_ != nullptr) {
        std::fclose(stream_);
        ::unlink(temporary_.c_str());
    }
}

void CReplacingFile::Write(const void* data, std::size_t size) {
    if (FaultInjection::Fails() || !WriteInPieces(stream_, data, size)) ThrowWriteError();
}

void CReplacingFile::Commit() {
    if (stream_ == nullptr) ThrowWriteError();
    bool written = !FaultInjection::Fails() && std::fflush(stream_) == 0 && std::ferror(stream_) == 0;
    written = std::fclose(stream_) == 0 && !FaultInjection::Fails() && written;
    stream_ = nullptr;
    if (written) written = !FaultInjection::Fails() && std::rename(temporary_.c_str(), destination_.c_str()) == 0;
    if (!written) {
        ::unlink(temporary_.c_str());
        ThrowWriteError();
    }
}

}  // namespace Tervik::Rom::Common
