// Helpers shared by the benchmark programs: ending the program on an error, timing,
// printing a figure beside its reference, and page-aligned memory with raw file writes
// and reads for the references.
#ifndef TERVIK_ROM_BENCH_BENCH_HPP
#define TERVIK_ROM_BENCH_BENCH_HPP

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>

#include <tervik/rom/rom.h>

// ---- Ending the program -------------------------------------------------------------

[[noreturn]] inline void Fail(const std::string& text) {
    std::fprintf(stderr, "%s\n", text.c_str());
    std::exit(1);
}

[[noreturn]] inline __attribute__((noinline, cold)) void Failed(RomExceptionHandle error, const char* what) {
    std::fprintf(stderr, "%s failed: %s\n", what, RomGetExceptionDescription(error));
    RomReleaseException(error);
    std::exit(1);
}

// Ends the program on an exception handle, printing its text.
inline void Must(RomExceptionHandle error, const char* what) {
    if (__builtin_expect(error != nullptr, 0)) Failed(error, what);
}

// ---- Timing -------------------------------------------------------------------------

inline double Seconds(const std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Wall time of one run, in seconds.
template <class Action>
double Time(Action&& action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return Seconds(start);
}

// Best wall time of a few runs, in seconds.
template <class Action>
double BestSeconds(Action&& action, int runs = 3) {
    double best = std::numeric_limits<double>::max();
    for (int i = 0; i < runs; ++i) best = std::min(best, Time(action));
    return best;
}

// Runs a measurement and its reference in turns for a few rounds; whichever goes second
// in a round runs faster, so the order alternates between rounds.
template <class First, class Second>
void TakeTurns(int rounds, First&& first, Second&& second) {
    for (int round = 0; round < rounds; ++round) {
        if (round % 2 == 0) {
            first();
            second();
        } else {
            second();
            first();
        }
    }
}

// ---- Printing -----------------------------------------------------------------------

inline void Report(const char* what, double seconds, const char* reference, double referenceSeconds) {
    std::printf("%-44s %9.4f s   %-28s %9.4f s   ratio %5.2f\n", what, seconds, reference, referenceSeconds,
                seconds / referenceSeconds);
}

// As Report, with the target (or "") after the ratio.
inline void ReportTarget(const char* what, double seconds, const char* reference, double referenceSeconds,
                         const char* target) {
    std::printf("%-44s %9.4f s   %-28s %9.4f s   ratio %5.2f   %s\n", what, seconds, reference, referenceSeconds,
                seconds / referenceSeconds, target);
}

// ---- Page-aligned memory and raw files ----------------------------------------------

inline constexpr std::size_t kPage = 4096;

struct PageFree {
    void operator()(void* memory) const { std::free(memory); }
};
using PageMemory = std::unique_ptr<unsigned char, PageFree>;

inline PageMemory PageAligned(std::size_t size) {
    const std::size_t rounded = (size + kPage - 1) / kPage * kPage;
    auto* memory = static_cast<unsigned char*>(std::aligned_alloc(kPage, rounded == 0 ? kPage : rounded));
    if (memory == nullptr) Fail("out of memory");
    return PageMemory(memory);
}

// Writes size bytes to a new (or truncated) file with one fwrite.
inline void WriteRaw(const std::string& path, const void* data, std::size_t size) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) Fail("cannot open " + path + " for writing");
    const bool written = std::fwrite(data, 1, size, file) == size;
    if (std::fclose(file) != 0 || !written) Fail("cannot write " + path);
}

// Reads size bytes from the start of a file with one fread.
inline void ReadRaw(const std::string& path, void* data, std::size_t size) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) Fail("cannot open " + path);
    const bool read = std::fread(data, 1, size, file) == size;
    std::fclose(file);
    if (!read) Fail("cannot read " + path);
}

// Best times of one of ours and of its raw reference over the same file, and the file's size.
struct FileTimes {
    double ours = std::numeric_limits<double>::max();
    double raw = std::numeric_limits<double>::max();
    std::size_t size = 0;
};

// Saves object to path, in turns with an fwrite of the same bytes from page-aligned memory to
// rawPath; each writes a new file (the previous one is removed outside the timing).
inline FileTimes SaveBesideWrite(RomObject* object, const std::string& path, const std::string& rawPath, int rounds) {
    Must(RomPersistableSave(object, path.c_str()), "RomPersistableSave");
    FileTimes times;
    times.size = std::filesystem::file_size(path);
    PageMemory outgoing = PageAligned(times.size);
    ReadRaw(path, outgoing.get(), times.size);
    TakeTurns(
        rounds,
        [&] {
            std::filesystem::remove(path);
            times.ours = std::min(times.ours, Time([&] { Must(RomPersistableSave(object, path.c_str()), "RomPersistableSave"); }));
        },
        [&] {
            std::filesystem::remove(rawPath);
            times.raw = std::min(times.raw, Time([&] { WriteRaw(rawPath, outgoing.get(), times.size); }));
        });
    if (std::filesystem::file_size(path) != times.size) Fail("the saved file changed size between saves");
    return times;
}

// Creates an object with create and resumes it from path, in turns with an fread of the same
// bytes into fresh page-aligned memory; resumed receives the object resumed last.
inline FileTimes ResumeBesideRead(RomExceptionHandle (*create)(RomObject**), const std::string& path, int rounds,
                                  RomObject*& resumed) {
    FileTimes times;
    times.size = std::filesystem::file_size(path);
    TakeTurns(
        rounds,
        [&] {
            if (resumed != nullptr) Must(RomFactoryRelease(resumed), "RomFactoryRelease");
            resumed = nullptr;
            times.ours = std::min(times.ours, Time([&] {
                                      Must(create(&resumed), "create");
                                      Must(RomPersistableResume(resumed, path.c_str()), "RomPersistableResume");
                                  }));
        },
        [&] {
            PageMemory incoming;
            times.raw = std::min(times.raw, Time([&] {
                                     incoming = PageAligned(times.size);
                                     ReadRaw(path, incoming.get(), times.size);
                                 }));
        });
    return times;
}

#endif
