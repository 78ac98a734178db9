// Binary file primitives against raw fwrite/fread of the same bytes.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "bench.hpp"
#include "common/serialization_file.hpp"

using namespace Tervik::Rom::Common;

int main(int argc, char** argv) {
    const std::string dir = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    const std::string library = dir + "/tervikrom-bench.bin";
    const std::string raw = dir + "/tervikrom-bench-raw.bin";
    constexpr std::uint32_t doubles = 16u << 20;  // 128 MiB
    constexpr std::uint32_t values = 4u << 20;    // one call each
    std::vector<double> table(doubles, 1.25);
    std::vector<std::uint32_t> ids(values, 7u);

    // A save writes a new file and renames it over the old one; on ext4 that rename
    // starts the writeback of the new data, which truncating in place does not.
    const auto save = [&] {
        CSerializationFile file;
        file.OpenForSerializing(library);
        file.GetStreamAdapter()->Write(table.data(), doubles);
        file.Close();
    };
    const auto rawWrite = [&] {
        std::FILE* file = std::fopen(raw.c_str(), "wb");
        std::fwrite(table.data(), sizeof(double), doubles, file);
        std::fclose(file);
    };
    const double writeNew = BestSeconds([&] {
        std::remove(library.c_str());
        save();
    });
    const double rawWriteNew = BestSeconds([&] {
        std::remove(raw.c_str());
        rawWrite();
    });
    Report("write one array of 128 MiB, new file", writeNew, "raw fwrite, new file", rawWriteNew);
    const double writeOver = BestSeconds(save);
    const double rawWriteOver = BestSeconds(rawWrite);
    Report("write one array of 128 MiB over the old file", writeOver, "raw fwrite, truncating", rawWriteOver);

    const double readArray = BestSeconds([&] {
        CSerializationFile file;
        file.OpenForDeserializing(library);
        file.GetStreamAdapter()->Read(table.data(), doubles);
    });
    const double rawReadArray = BestSeconds([&] {
        std::FILE* file = std::fopen(raw.c_str(), "rb");
        if (std::fread(table.data(), sizeof(double), doubles, file) != doubles) std::puts("short read");
        std::fclose(file);
    });
    Report("read one array of 128 MiB", readArray, "raw fread", rawReadArray);

    const double writeValues = BestSeconds([&] {
        CSerializationFile file;
        file.OpenForSerializing(library);
        IStreamAdapter& stream = *file.GetStreamAdapter();
        for (std::uint32_t id : ids) stream.Write(id);
        file.Close();
    });
    const double rawWriteValues = BestSeconds([&] {
        std::FILE* file = std::fopen(raw.c_str(), "wb");
        for (const std::uint32_t& id : ids) std::fwrite(&id, sizeof id, 1, file);
        std::fclose(file);
    });
    Report("write 4 Mi u32 one at a time", writeValues, "raw fwrite per value", rawWriteValues);

    const double readValues = BestSeconds([&] {
        CSerializationFile file;
        file.OpenForDeserializing(library);
        IStreamAdapter& stream = *file.GetStreamAdapter();
        for (std::uint32_t& id : ids) stream.Read(&id, 1);
    });
    const double rawReadValues = BestSeconds([&] {
        std::FILE* file = std::fopen(raw.c_str(), "rb");
        for (std::uint32_t& id : ids)
            if (std::fread(&id, sizeof id, 1, file) != 1) break;
        std::fclose(file);
    });
    Report("read 4 Mi u32 one at a time", readValues, "raw fread per value", rawReadValues);

    std::remove(library.c_str());
    std::remove(raw.c_str());
    return 0;
}
