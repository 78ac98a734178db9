// libFuzzer targets: arbitrary bytes saved as one kind of file and resumed through the
// exported functions. A damaged file must give an error, never a crash, a leak, a hang or
// an allocation its size cannot justify.
// - fuzz_<kind>: resumed into a fresh object of that kind.
// - fuzz_round_trip_<kind> (TERVIKROM_FUZZ_ROUND_TRIP): resumed into an object that holds
//   another file of that kind (the file TERVIKROM_FUZZ_HOLD names). Either the resume fails
//   and the object saves the very bytes it saved before, or it succeeds, and what the object
//   then saves resumes into a fresh object that saves the same again (internal ids aside: a
//   copy of a configuration draws its own). What resumes saves: only a standard element
//   record of an unknown version, passed over as it always was, leaves tables no file holds.
//   Anything else aborts.
//
// Compiled once per target, with TERVIKROM_FUZZ_CREATE naming the factory function and
// TERVIKROM_FUZZ_EXTENSION the function giving the file extension.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include <unistd.h>

#include <tervik/rom/rom.h>

#if !defined(TERVIKROM_FUZZ_CREATE) || !defined(TERVIKROM_FUZZ_EXTENSION)
#error "define TERVIKROM_FUZZ_CREATE and TERVIKROM_FUZZ_EXTENSION"
#endif
#ifndef TERVIKROM_FUZZ_ROUND_TRIP
#define TERVIKROM_FUZZ_ROUND_TRIP 0
#endif

namespace {

[[noreturn]] void Fail(const std::string& what, const std::string& detail = std::string()) {
    std::fprintf(stderr, "fuzz: %s%s%s\n", what.c_str(), detail.empty() ? "" : ": ", detail.c_str());
    std::abort();
}

// A private folder, made once per process and removed at its end.
struct Folder {
    std::string path;
    std::string held;

    Folder() {
        const char* hold = std::getenv("TERVIKROM_FUZZ_HOLD");
        if (TERVIKROM_FUZZ_ROUND_TRIP && (hold == nullptr || *hold == '\0'))
            Fail("TERVIKROM_FUZZ_HOLD names no file of the kind to hold");
        held = hold != nullptr ? hold : "";
        const char* tmp = std::getenv("TMPDIR");
        std::string pattern = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/tervikrom-fuzz.XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr) Fail("mkdtemp");
        path = pattern;
    }
    ~Folder() {
        for (const char* name : {"input", "held", "after", "first", "second"}) std::remove(File(name).c_str());
        ::rmdir(path.c_str());
    }
    std::string File(const char* name) const { return path + "/" + name + "." + TERVIKROM_FUZZ_EXTENSION(); }
};

const Folder& folder() {
    static const Folder instance;
    return instance;
}

// The text of an exception handle (reading it exercises the message built from the file's
// contents), released; empty for null.
std::string Text(RomExceptionHandle error) {
    if (error == nullptr) return std::string();
    std::string text = RomGetExceptionDescription(error);
    RomReleaseException(error);
    return text.empty() ? "(an error without text)" : text;
}

std::string Bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The bytes with every internal id (in a compact or a styled JSON text) blanked.
std::string WithoutInternalIds(std::string bytes) {
    for (const std::string key : {"\"internalId\":\"", "\"internalId\" : \""})
        for (std::size_t at = bytes.find(key); at != std::string::npos; at = bytes.find(key, at + 1))
            if (at + key.size() + 36 <= bytes.size()) bytes.replace(at + key.size(), 36, 36, '-');
    return bytes;
}

struct Object {
    RomObject* handle = nullptr;
    Object() {
        const std::string error = Text(TERVIKROM_FUZZ_CREATE(&handle));
        if (!error.empty()) Fail("creating the object failed", error);
    }
    ~Object() {
        const std::string error = Text(RomFactoryRelease(handle));
        if (!error.empty()) Fail("releasing the object failed", error);
    }
    std::string Resume(const std::string& path) const { return Text(RomPersistableResume(handle, path.c_str())); }
    std::string Save(const std::string& path) const { return Text(RomPersistableSave(handle, path.c_str())); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Folder& f = folder();
    const std::string input = f.File("input");
    std::remove(input.c_str());
    std::FILE* out = std::fopen(input.c_str(), "wb");
    if (out == nullptr || (size != 0 && std::fwrite(data, 1, size, out) != size) || std::fclose(out) != 0)
        Fail("writing the input failed");

    const Object object;
    if (!TERVIKROM_FUZZ_ROUND_TRIP) {
        object.Resume(input);
        return 0;
    }
    std::string error = object.Resume(f.held);
    if (!error.empty()) Fail("the file to hold does not resume", error);
    error = object.Save(f.File("held"));
    if (!error.empty()) Fail("the object holding a file does not save", error);
    const std::string held = Bytes(f.File("held"));

    if (!object.Resume(input).empty()) {
        error = object.Save(f.File("after"));
        if (!error.empty()) Fail("after a failed resume the object no longer saves", error);
        if (Bytes(f.File("after")) != held) Fail("a failed resume changed the object it resumed into");
        return 0;
    }
    error = object.Save(f.File("first"));
    if (error == "Trying to serialize CStdElementData without ids !") return 0;
    if (!error.empty()) Fail("a resumed object does not save", error);
    const Object fresh;
    error = fresh.Resume(f.File("first"));
    if (!error.empty()) Fail("a saved file does not resume", error);
    error = fresh.Save(f.File("second"));
    if (!error.empty()) Fail("a resumed saved file does not save", error);
    if (WithoutInternalIds(Bytes(f.File("second"))) != WithoutInternalIds(Bytes(f.File("first"))))
        Fail("a saved file resumes to something that saves otherwise");
    return 0;
}
