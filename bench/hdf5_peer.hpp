// HDF5's C API as a peer of the library's files, for the benchmarks only: the same arrays
// written to and read from an HDF5 file, one contiguous dataset an array, with the default
// properties. Built when CMake finds HDF5 (TERVIKROM_BENCH_HDF5); otherwise its figures are
// left out.
#ifndef TERVIK_ROM_BENCH_HDF5_PEER_HPP
#define TERVIK_ROM_BENCH_HDF5_PEER_HPP

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "bench.hpp"

#ifdef TERVIKROM_BENCH_HDF5
#include <hdf5.h>
#endif

namespace hdf5 {

// One array: a dataset of rows x columns values (columns 1: one dimension).
struct Dataset {
    std::string name;
    enum Type { Int32, UInt32, Float64 } type;
    const void* data;
    std::uint64_t rows;
    std::uint64_t columns = 1;
};

constexpr bool kAvailable =
#ifdef TERVIKROM_BENCH_HDF5
    true;
#else
    false;
#endif

#ifdef TERVIKROM_BENCH_HDF5

inline hid_t NativeType(Dataset::Type type) {
    switch (type) {
        case Dataset::Int32:
            return H5T_NATIVE_INT32;
        case Dataset::UInt32:
            return H5T_NATIVE_UINT32;
        case Dataset::Float64:
            break;
    }
    return H5T_NATIVE_DOUBLE;
}

inline std::size_t Bytes(const Dataset& set) {
    return static_cast<std::size_t>(set.rows * set.columns) * (set.type == Dataset::Float64 ? 8 : 4);
}

inline void Check(bool ok, const char* what) {
    if (!ok) Fail(std::string("HDF5: ") + what + " failed");
}

// Writes the datasets to a new file at path (the file is replaced).
inline void Write(const std::string& path, const std::vector<Dataset>& sets) {
    const hid_t file = H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
    Check(file >= 0, "H5Fcreate");
    for (const Dataset& set : sets) {
        const hsize_t dims[2] = {set.rows, set.columns};
        const hid_t space = H5Screate_simple(set.columns == 1 ? 1 : 2, dims, nullptr);
        const hid_t dataset =
            H5Dcreate2(file, set.name.c_str(), NativeType(set.type), space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
        Check(space >= 0 && dataset >= 0, "H5Dcreate2");
        Check(H5Dwrite(dataset, NativeType(set.type), H5S_ALL, H5S_ALL, H5P_DEFAULT, set.data) >= 0, "H5Dwrite");
        H5Dclose(dataset);
        H5Sclose(space);
    }
    Check(H5Fclose(file) >= 0, "H5Fclose");
}

// Reads every dataset named in sets (their types and sizes) from path into new page-aligned
// memory, as a resume reads a file into new tables; gives the memory.
inline std::vector<PageMemory> Read(const std::string& path, const std::vector<Dataset>& sets) {
    std::vector<PageMemory> arrays;
    const hid_t file = H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
    Check(file >= 0, "H5Fopen");
    for (const Dataset& set : sets) {
        const hid_t dataset = H5Dopen2(file, set.name.c_str(), H5P_DEFAULT);
        Check(dataset >= 0, "H5Dopen2");
        arrays.push_back(PageAligned(Bytes(set)));
        Check(H5Dread(dataset, NativeType(set.type), H5S_ALL, H5S_ALL, H5P_DEFAULT, arrays.back().get()) >= 0,
              "H5Dread");
        H5Dclose(dataset);
    }
    Check(H5Fclose(file) >= 0, "H5Fclose");
    return arrays;
}

#else

inline void Write(const std::string&, const std::vector<Dataset>&) {}
inline std::vector<PageMemory> Read(const std::string&, const std::vector<Dataset>&) { return {}; }

#endif

}  // namespace hdf5

#endif
