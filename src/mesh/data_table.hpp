// The flat tables of the mesh objects, owned or borrowed from the caller.
#ifndef TERVIK_ROM_SRC_MESH_DATA_TABLE_HPP
#define TERVIK_ROM_SRC_MESH_DATA_TABLE_HPP

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <type_traits>

#include <tervik/rom/common.hpp>

#include "common/zeroed_memory.hpp"

namespace Tervik::Rom::Mesh {

// A table's record: its element count, its first element, and whether the library
// allocated it (a borrowed array is never freed).
template <class T>
struct DataTable {
    static_assert(std::is_trivial_v<T>, "tables of plain numbers, zeros when allocated");
    std::uint32_t count = 0;
    T* data = nullptr;
    bool owned = false;

    // A borrowed table, or an owned one of zeros, or one that a read is to fill whole (reading).
    DataTable(std::uint32_t size, T* borrowed, bool reading = false)
        : count(size), data(borrowed != nullptr ? borrowed : Allocate(size, reading)), owned(borrowed == nullptr) {}
    DataTable(const DataTable&) = delete;
    DataTable& operator=(const DataTable&) = delete;
    ~DataTable() {
        if (owned) Common::FreeZeroed(data, std::size_t{count} * sizeof(T));
    }

    static T* Allocate(std::uint32_t size, bool reading) {
        const std::size_t bytes = std::size_t{size} * sizeof(T);
        return static_cast<T*>(reading ? Common::AllocateForReading(bytes) : Common::AllocateZeroed(bytes));
    }

    T& At(std::uint32_t index) const {
        if (index >= count) throw Common::RomException("Index out of range.");
        return data[index];
    }
};

// What a table is called in its owner's messages.
struct TableNames {
    const char* owner;     // the owning class, "CNodeData"
    const char* table;     // as copied and set, "coordinates"
    const char* accessed;  // as accessed, "coordinates table" or "table of ids"
    const char* absent;    // "this table" or "data for this table"
};

// One table of a data object: absent until copied into, set, or filled.
template <class T>
class CTable {
public:
    explicit CTable(const TableNames& names) : names_(names) {}

    bool IsPresent() const { return table_ != nullptr; }
    const DataTable<T>* Record() const { return table_.get(); }
    // Keeps the current table alive for a writer holding pointers into it, even once this
    // table has been replaced (by a resume or a Set).
    std::shared_ptr<const void> Hold() const { return table_; }
    void Release() { table_.reset(); }

    // Writes count values from data at offset; offset 0 and count 0 copy the whole table.
    // An absent table is first allocated with size zeros.
    void Copy(const T* data, std::uint32_t offset, std::uint32_t count, std::uint32_t size) {
        if (data == nullptr) Throw("copy", names_.table, " table but provided data are not valid !");
        if (table_ == nullptr) table_ = Allocate(size);
        if (offset == 0 && count == 0) count = table_->count;
        // In 64 bits, so that a range wrapping around 32 bits is refused too.
        if (std::uint64_t{offset} + count > table_->count)
            throw Common::RomException("The array is too long to be copied into this one.");
        if (count != 0) std::memmove(table_->data + offset, data, std::size_t{count} * sizeof(T));
    }

    // The live storage; never allocates.
    T* Get() const {
        if (table_ == nullptr)
            Throw("access", names_.accessed, std::string(" but ") + names_.absent + " is not available yet!");
        return table_->data;
    }

    // Borrows data as the whole table of size elements. The table's own array handed back
    // stays as it is (replacing the record would free it).
    void Set(T* data, std::uint32_t size) {
        if (data == nullptr) Throw("set", names_.table, " table but provided data are not valid !");
        if (table_ != nullptr && table_->data == data && table_->count == size) return;
        table_ = std::make_shared<DataTable<T>>(size, data);
    }

    // The first element for a writer that fills the table; allocates an absent table.
    T* Fill(std::uint32_t size) {
        if (table_ == nullptr) table_ = Allocate(size);
        return &table_->At(0);
    }

    // The table for a reader that restores it whole: kept when it has size elements (borrowed
    // or not), otherwise allocated anew, its values left to the reader.
    T* Resize(std::uint32_t size) {
        if (table_ == nullptr || table_->count != size) table_ = Allocate(size, true);
        return table_->data;
    }

    void Swap(CTable& other) noexcept { table_.swap(other.table_); }

    // Both absent, or the same count and equal entries.
    bool Equals(const CTable& other) const {
        if (table_ == nullptr || other.table_ == nullptr) return table_ == other.table_;
        if (table_->count != other.table_->count) return false;
        for (std::uint32_t i = 0; i < table_->count; ++i)
            if (!(table_->data[i] == other.table_->data[i])) return false;
        return true;
    }

private:
    // A new table of size zeros, or of values left to a reader; memory that cannot hold it is
    // named in the error.
    std::shared_ptr<DataTable<T>> Allocate(std::uint32_t size, bool reading = false) const {
        try {
            return std::make_shared<DataTable<T>>(size, nullptr, reading);
        } catch (const std::bad_alloc&) {
            throw Common::RomException(
                std::string("In ") + names_.owner + ", the " + names_.table + " table of " + std::to_string(size) +
                " values (" + std::to_string(std::uint64_t{size} * sizeof(T)) + " bytes) does not fit in memory.");
        }
    }

    [[noreturn]] void Throw(const char* verb, const char* what, const std::string& tail) const {
        throw Common::RomException(std::string("In ") + names_.owner + ", trying to " + verb + " " + what + tail);
    }

    const TableNames& names_;
    std::shared_ptr<DataTable<T>> table_;
};

}  // namespace Tervik::Rom::Mesh

#endif
