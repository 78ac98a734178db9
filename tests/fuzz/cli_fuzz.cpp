// libFuzzer target: arbitrary bytes saved as a mesh file, then given to the command's
// `info --json --tables`, `validate` and `export` in turn, in this process. Each may fail
// with a message; none may crash, hang, leak or read past a table.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

#include <unistd.h>

#include "cli.hpp"

namespace {

// A private folder, made once per process and removed at its end, holding the input
// and the export.
struct Folder {
    std::string path, input, output;

    Folder() {
        const char* tmp = std::getenv("TMPDIR");
        std::string pattern = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/tervikrom-fuzz.XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr) {
            std::perror("mkdtemp");
            std::abort();
        }
        path = pattern;
        input = path + "/input." + RomGetMeshFileExtension();
        output = path + "/output.vtu";
    }

    ~Folder() {
        std::remove(input.c_str());
        std::remove(output.c_str());
        ::rmdir(path.c_str());
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tervik::cli;
    static const Folder folder;
    std::FILE* out = std::fopen(folder.input.c_str(), "wb");
    if (out == nullptr || (size != 0 && std::fwrite(data, 1, size, out) != size) || std::fclose(out) != 0) {
        std::perror(folder.input.c_str());
        std::abort();
    }
    std::ostringstream text, errors;
    InfoOptions info;
    info.files = {folder.input};
    info.json = info.tables = true;
    Info(info, text, errors);
    ValidateOptions validate;
    validate.files = {folder.input};
    Validate(validate, text, errors);
    ExportOptions exported;
    exported.mesh = folder.input;
    exported.output = folder.output;
    Export(exported, text, errors);
    std::remove(folder.output.c_str());
    return 0;
}
