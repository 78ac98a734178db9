// libFuzzer target: arbitrary bytes saved as one kind of file, then resumed through the
// exported functions into a fresh object of that kind. A damaged file must give an
// error, never a crash, a leak, a hang or an allocation its size cannot justify.
//
// Compiled once per kind, with TERVIKROM_FUZZ_CREATE naming the factory function and
// TERVIKROM_FUZZ_EXTENSION the function giving the file extension.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

#include <tervik/rom/rom.h>

#if !defined(TERVIKROM_FUZZ_CREATE) || !defined(TERVIKROM_FUZZ_EXTENSION)
#error "define TERVIKROM_FUZZ_CREATE and TERVIKROM_FUZZ_EXTENSION"
#endif

namespace {

// A private folder, made once per process and removed at its end, holding the one file.
struct Folder {
    std::string path;
    std::string file;

    Folder() {
        const char* tmp = std::getenv("TMPDIR");
        std::string pattern = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/tervikrom-fuzz.XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr) {
            std::perror("mkdtemp");
            std::abort();
        }
        path = pattern;
        file = path + "/input." + TERVIKROM_FUZZ_EXTENSION();
    }

    ~Folder() {
        std::remove(file.c_str());
        ::rmdir(path.c_str());
    }
};

const Folder& folder() {
    static const Folder instance;
    return instance;
}

void Release(RomExceptionHandle exception) {
    if (exception != nullptr) {
        // Reading the text exercises the message built from the file's contents.
        volatile std::size_t length = std::string(RomGetExceptionDescription(exception)).size();
        (void)length;
        RomReleaseException(exception);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string& file = folder().file;
    std::FILE* out = std::fopen(file.c_str(), "wb");
    if (out == nullptr) {
        std::perror(file.c_str());
        std::abort();
    }
    if ((size != 0 && std::fwrite(data, 1, size, out) != size) || std::fclose(out) != 0) {
        std::perror(file.c_str());
        std::abort();
    }

    RomObject* object = nullptr;
    RomExceptionHandle error = TERVIKROM_FUZZ_CREATE(&object);
    if (error != nullptr) {
        std::fprintf(stderr, "%s: %s\n", "creating the object failed", RomGetExceptionDescription(error));
        std::abort();
    }
    Release(RomPersistableResume(object, file.c_str()));
    error = RomFactoryRelease(object);
    if (error != nullptr) {
        std::fprintf(stderr, "%s: %s\n", "releasing the object failed", RomGetExceptionDescription(error));
        std::abort();
    }
    return 0;
}
