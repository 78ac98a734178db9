// Writing a file without ever losing the one it replaces.
#ifndef TERVIK_ROM_SRC_COMMON_REPLACING_FILE_HPP
#define TERVIK_ROM_SRC_COMMON_REPLACING_FILE_HPP

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace Tervik::Rom::Common {

// Opens a regular file for reading without ever blocking (a FIFO or a device is
// refused at once, not waited on); size receives its size. Null when it cannot be
// opened or is not a regular file.
std::FILE* OpenRegularFile(const std::string& fileName, std::uint64_t& size);

// Asks the file system to set aside bytes more past the current position of file, without
// changing the file's size: a large write then finds its space ready. Where the file
// system cannot, nothing changes.
void ReserveSpace(std::FILE* file, std::uint64_t bytes);

// Writes bytes to file in pieces of at most kWritePiece; false on a short write. A single
// write of 8 MiB or more makes the kernel take the page cache's memory in blocks that a
// host may have taken back from a virtual machine, each faulted in slowly: on the
// development host 344 MB went in 0.35-0.6 s that way, in 0.06 s by pieces of 4 MiB.
inline constexpr std::size_t kWritePiece = std::size_t{4} << 20;
bool WriteInPieces(std::FILE* file, const void* data, std::size_t bytes);

// A new file written under a temporary name in the target's folder and renamed over
// the target by Commit, once everything was written, flushed and closed. Until then
// the target keeps its old content; a file that is never committed is removed.
class CReplacingFile {
public:
    // Throws "Could not open the file <target>." when the temporary file cannot be made.
    explicit CReplacingFile(const std::string& target);
    CReplacingFile(const CReplacingFile&) = delete;
    CReplacingFile& operator=(const CReplacingFile&) = delete;
    ~CReplacingFile();

    std::FILE* Stream() const { return stream_; }
    // Writes size bytes; a short write throws the write error.
    void Write(const void* data, std::size_t size);
    // Flushes, closes and renames over the target; any failure throws
    // "System error while trying to write to a file." and leaves the target as it was.
    void Commit();

private:
    std::string destination_;
    std::string temporary_;
    std::FILE* stream_ = nullptr;
};

}  // namespace Tervik::Rom::Common

#endif
