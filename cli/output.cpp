// The command's outputs: each written under a temporary name of its own, made
// exclusively in the output's folder, and renamed over the output once complete.
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli.hpp"

namespace tervik::cli {

// A temporary file being written, for a signal handler to remove: fixed storage, so that
// the handler reads it without locks or allocation.
struct Pending {
    enum : int { kFree, kTaken, kReady };
    std::atomic<int> state{kFree};
    char path[4096] = {};
};

namespace {

std::array<Pending, 8> pending;
static_assert(std::atomic<int>::is_always_lock_free);

Pending* Remember(const std::string& path) {
    if (path.size() >= sizeof Pending::path) return nullptr;
    for (Pending& slot : pending) {
        int free = Pending::kFree;
        if (slot.state.compare_exchange_strong(free, Pending::kTaken)) {
            std::memcpy(slot.path, path.c_str(), path.size() + 1);
            slot.state.store(Pending::kReady);
            return &slot;
        }
    }
    return nullptr;
}

extern "C" void RemoveAndRaise(int signal) {
    for (Pending& slot : pending)
        if (slot.state.load() == Pending::kReady) ::unlink(slot.path);
    ::signal(signal, SIG_DFL);
    ::raise(signal);
}

std::string Folder(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

// The permissions of a new file: those of the file it replaces, or what the umask allows.
mode_t ModeFor(const std::string& path) {
    struct stat existing {};
    if (::lstat(path.c_str(), &existing) == 0 && S_ISREG(existing.st_mode)) return existing.st_mode & 07777;
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

}  // namespace

OutputFile::OutputFile(std::string path) : path_(std::move(path)) {
    // "." + name + ".tmp-" + 6 random characters, the name shortened to the system's limit.
    constexpr std::size_t kNameLimit = 255, kAdded = 1 + 5 + 6;
    std::string name = path_.substr(Folder(path_).size());
    if (name.size() + kAdded > kNameLimit) name.resize(kNameLimit - kAdded);
    temporary_ = Folder(path_) + "." + name + ".tmp-XXXXXX";
    // O_EXCL: a name that exists, a symbolic link included, is never opened.
    const int descriptor = ::mkostemp(temporary_.data(), O_CLOEXEC);
    if (descriptor < 0) {
        const std::string folder = Folder(path_).empty()       ? "."
                                   : Folder(path_).size() == 1 ? "/"
                                                               : Folder(path_).substr(0, Folder(path_).size() - 1);
        throw OutputFailure("cannot write " + path_ + ": cannot create a file in the folder " + folder + ": " +
                            std::strerror(errno));
    }
    pending_ = Remember(temporary_);
    (void)::fchmod(descriptor, ModeFor(path_));
    file_ = ::fdopen(descriptor, "wb");
    if (file_ == nullptr) {
        const int error = errno;
        ::close(descriptor);
        Discard();
        throw OutputFailure("cannot write " + path_ + ": " + std::strerror(error));
    }
    std::setvbuf(file_, nullptr, _IOFBF, 1 << 16);
}

OutputFile::~OutputFile() {
    if (file_ != nullptr) std::fclose(file_);
    if (!committed_) Discard();
}

void OutputFile::Discard() {
    ::unlink(temporary_.c_str());
    if (pending_ != nullptr) pending_->state.store(Pending::kFree);
    pending_ = nullptr;
}

// In pieces of 4 MiB at most, as the library writes its arrays: a larger write makes the
// kernel take the page cache's memory in blocks a host may have taken back, slow to fault in.
void OutputFile::Write(const void* data, std::uint64_t bytes) {
    constexpr std::uint64_t kPiece = std::uint64_t{4} << 20;
    for (std::uint64_t done = 0; done < bytes;) {
        const std::uint64_t piece = std::min(kPiece, bytes - done);
        if (std::fwrite(static_cast<const char*>(data) + done, 1, piece, file_) != piece)
            throw OutputFailure("cannot write " + path_ + ": " + std::strerror(errno));
        done += piece;
        written_ += piece;
    }
}

void OutputFile::Reserve(std::uint64_t bytes) {
#if defined(__linux__) && defined(FALLOC_FL_KEEP_SIZE)
    (void)::fallocate(::fileno(file_), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(bytes));
#else
    (void)bytes;
#endif
}

std::uint64_t OutputFile::Commit() {
    bool written = std::fflush(file_) == 0;
    int error = errno;
    written = std::fclose(file_) == 0 && written;
    file_ = nullptr;
    if (written && std::rename(temporary_.c_str(), path_.c_str()) != 0) {
        written = false;
        error = errno;
    }
    if (!written) throw OutputFailure("cannot write " + path_ + ": " + std::strerror(error));
    committed_ = true;
    if (pending_ != nullptr) pending_->state.store(Pending::kFree);
    return written_;
}

void RemoveOutputsOnSignals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGXFSZ}) {
        struct sigaction action {
        }, previous{};
        if (::sigaction(signal, nullptr, &previous) != 0 || previous.sa_handler == SIG_IGN) continue;
        action.sa_handler = RemoveAndRaise;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESETHAND;
        ::sigaction(signal, &action, nullptr);
    }
}

}  // namespace tervik::cli
