// Zero-filled memory for large tables.
#ifndef TERVIK_ROM_SRC_COMMON_ZEROED_MEMORY_HPP
#define TERVIK_ROM_SRC_COMMON_ZEROED_MEMORY_HPP

#include <cstddef>
#include <type_traits>
#include <utility>

namespace Tervik::Rom::Common {

// bytes of zeros. A large block comes from the kernel, whose pages are zeros already, and
// is faulted in at once (FaultIn): a table that is cleared and then read into, as a resume
// does, would otherwise pay a fault every 4 KB and one pass more. Throws std::bad_alloc.
void* AllocateZeroed(std::size_t bytes);
// bytes that a read is to overwrite whole before anything else reads them: a large block may
// be one freed lately, holding what it held. Throws std::bad_alloc.
void* AllocateForReading(std::size_t bytes);
// Frees a block of AllocateZeroed or AllocateForReading, given its size. A large block is
// kept a while for a next AllocateForReading (the latest few, up to 1 GiB; the kernel may
// take their pages back when memory runs short, and a large AllocateZeroed gives back the
// oldest first).
void FreeZeroed(void* block, std::size_t bytes) noexcept;

// The size of a huge page.
inline constexpr std::size_t kHugePage = std::size_t{2} << 20;
// Address space for bytes of zeros rounded up to huge pages, aligned to a huge page and
// asked to come in huge pages; no page is touched yet. reserve: whether the system is to
// count it all as used (not for room most of which may never be touched). Null when the
// system has none.
void* MapZeroed(std::size_t bytes, bool reserve) noexcept;
// Gives back a block of MapZeroed, given the size asked for.
void UnmapZeroed(void* block, std::size_t bytes) noexcept;
// Faults in the pages of bytes from a page boundary of a MapZeroed block at once, rather
// than one at a time as they are first written; false where the kernel cannot.
bool Populate(void* from, std::size_t bytes) noexcept;
// Faults in the first bytes of a MapZeroed block at once, in huge pages or in small ones:
// small ones until this process freed a large block, huge ones after (the kernel hands out
// the memory just freed fast), small ones again for the rest of a block whose huge pages
// come slowly long after the last free (a hypervisor took the memory back). False as Populate.
bool FaultIn(void* block, std::size_t bytes) noexcept;

// An owned array of count zeros of plain numbers.
template <class T>
class CZeroedArray {
    static_assert(std::is_trivial_v<T>);

public:
    CZeroedArray() = default;
    explicit CZeroedArray(std::size_t count)
        : data_(static_cast<T*>(AllocateZeroed(count * sizeof(T)))), bytes_(count * sizeof(T)) {}
    CZeroedArray(CZeroedArray&& other) noexcept
        : data_(std::exchange(other.data_, nullptr)), bytes_(std::exchange(other.bytes_, 0)) {}
    CZeroedArray& operator=(CZeroedArray&& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(bytes_, other.bytes_);
        return *this;
    }
    ~CZeroedArray() { FreeZeroed(data_, bytes_); }

    T* get() const { return data_; }
    T& operator[](std::size_t index) const { return data_[index]; }

private:
    T* data_ = nullptr;
    std::size_t bytes_ = 0;
};

}  // namespace Tervik::Rom::Common

#endif
