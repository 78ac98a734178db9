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
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

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

// Three sides in turns, the order rotating every round.
template <class A, class B, class C>
void RotateTurns(int rounds, A&& a, B&& b, C&& c) {
    for (int round = 0; round < rounds; ++round)
        for (int k = 0; k < 3; ++k) switch ((round + k) % 3) {
                case 0:
                    a();
                    break;
                case 1:
                    b();
                    break;
                default:
                    c();
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

// Writes size bytes to a new (or truncated) file with one fwrite, or with one for each
// piece of that many bytes (the library writes in pieces of 4 MiB).
inline void WriteRaw(const std::string& path, const void* data, std::size_t size,
                     std::size_t piece = std::numeric_limits<std::size_t>::max()) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) Fail("cannot open " + path + " for writing");
    bool written = true;
    for (std::size_t done = 0; written && done < size; done += piece) {
        const std::size_t bytes = std::min(piece, size - done);
        written = std::fwrite(static_cast<const char*>(data) + done, 1, bytes, file) == bytes;
    }
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
            times.ours = std::min(times.ours,
                                  Time([&] { Must(RomPersistableSave(object, path.c_str()), "RomPersistableSave"); }));
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

// ---- Fresh processes ----------------------------------------------------------------
// A resume as a user's program meets it: once, in a process of its own, started after the
// machine was left alone for a few seconds. The program runs itself again for each timed
// step (FreshStep below, from its main), one process per step, the two sides taking turns.
// TERVIKROM_BENCH_PAUSE (seconds, default 3) and TERVIKROM_BENCH_ROUNDS (default 7) set the
// pause before each process and the rounds.

inline double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t n = values.size();
    return n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

inline int EnvironmentNumber(const char* name, int otherwise) {
    const char* text = std::getenv(name);
    return text != nullptr && std::atoi(text) > 0 ? std::atoi(text) : otherwise;
}

// What one step printed: its seconds and the page faults it took.
struct StepFigures {
    double seconds = 0;
    long faults = 0;
};

// Minor page faults of this process so far.
inline long PageFaults() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
}

// In the child: times step(), runs check() untimed, prints the figures for the parent, and
// ends the process.
template <class Step, class Check>
[[noreturn]] void TimeStepAndExit(Step&& step, Check&& check) {
    const long faults = PageFaults();
    const double seconds = Time(step);
    check();
    std::printf("%.9f %ld\n", seconds, PageFaults() - faults);
    std::fflush(stdout);
    std::_Exit(0);
}

// The reference step of every fresh-process comparison: a plain fread of the whole file into
// malloc'ed memory.
inline void FreadStep(const std::string& path) {
    TimeStepAndExit(
        [&] {
            std::FILE* file = std::fopen(path.c_str(), "rb");
            if (file == nullptr) Fail("cannot open " + path);
            std::fseek(file, 0, SEEK_END);
            const auto size = static_cast<std::size_t>(std::ftell(file));
            std::fseek(file, 0, SEEK_SET);
            void* memory = std::malloc(size);
            if (memory == nullptr || std::fread(memory, 1, size, file) != size) Fail("cannot read " + path);
            std::fclose(file);
            // Touched after the timing, so that the read is not optimised away.
            if (static_cast<volatile unsigned char*>(memory)[size / 2] == 0x5a) std::printf(" ");
        },
        [] {});
}

// Starts this program again with "--fresh", step and path; returns what it printed.
inline StepFigures RunFreshStep(const char* step, const std::string& path) {
    int out[2];
    if (pipe(out) != 0) Fail("pipe failed");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    std::string flag = "--fresh";
    std::string name = step;
    std::string file = path;
    char* arguments[] = {self.data(), flag.data(), name.data(), file.data(), nullptr};
    pid_t child = 0;
    if (posix_spawn(&child, self.c_str(), &actions, nullptr, arguments, environ) != 0) Fail("cannot start " + self);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    std::string text;
    char buffer[256];
    for (ssize_t n; (n = read(out[0], buffer, sizeof buffer)) > 0;) text.append(buffer, static_cast<std::size_t>(n));
    close(out[0]);
    int status = 0;
    waitpid(child, &status, 0);
    StepFigures figures;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 ||
        std::sscanf(text.c_str(), "%lf %ld", &figures.seconds, &figures.faults) != 2)
        Fail(std::string("the fresh-process step ") + step + " failed: " + text);
    return figures;
}

// Runs step and the fread of the same file each in fresh processes, in turns, after a pause
// before each, and prints the medians and minima side by side.
inline void CompareFresh(const char* what, const char* step, const std::string& path, const char* target) {
    const int pause = EnvironmentNumber("TERVIKROM_BENCH_PAUSE", 3);
    const int rounds = EnvironmentNumber("TERVIKROM_BENCH_ROUNDS", 7);
    std::vector<double> ours, raw;
    std::vector<double> oursFaults, rawFaults;
    const auto run = [&](bool reference) {
        sleep(static_cast<unsigned>(pause));
        const StepFigures figures = RunFreshStep(reference ? "fread" : step, path);
        (reference ? raw : ours).push_back(figures.seconds);
        (reference ? rawFaults : oursFaults).push_back(static_cast<double>(figures.faults));
    };
    TakeTurns(
        rounds, [&] { run(false); }, [&] { run(true); });
    const double median = Median(ours);
    const double rawMedian = Median(raw);
    const double low = *std::min_element(ours.begin(), ours.end());
    const double rawLow = *std::min_element(raw.begin(), raw.end());
    char label[96];
    std::snprintf(label, sizeof label, "%s, median of %d", what, rounds);
    ReportTarget(label, median, "fread, fresh process, median", rawMedian, target);
    std::printf(
        "  minima %.4f s and %.4f s (ratio %.2f); page faults (medians) %.0f and %.0f; a pause of %d s "
        "before each process\n",
        low, rawLow, low / rawLow, Median(oursFaults), Median(rawFaults), pause);
    std::printf("  each round:");
    for (int i = 0; i < rounds; ++i)
        std::printf(" %.3f/%.3f", ours[static_cast<std::size_t>(i)], raw[static_cast<std::size_t>(i)]);
    std::printf("\n");
}

// A save as a program meets it after working a while: the machine left alone for a few
// seconds (TERVIKROM_BENCH_PAUSE) before each save of object to path (saved before), in
// turns with one fwrite of the same bytes after the same pause and, for information, an
// fwrite of them in pieces of 4 MiB; 5 rounds, medians and minima. Leaves path saved.
inline void CompareAfterPause(RomObject* object, const std::string& path, const std::string& rawPath,
                              const char* target) {
    const int pause = EnvironmentNumber("TERVIKROM_BENCH_PAUSE", 3);
    constexpr int kRounds = 5;
    const std::size_t size = std::filesystem::file_size(path);
    PageMemory outgoing = PageAligned(size);
    ReadRaw(path, outgoing.get(), size);
    std::vector<double> ours, raw, pieces;
    const auto paused = [&](std::vector<double>& times, auto&& action) {
        std::filesystem::remove(path);
        std::filesystem::remove(rawPath);
        sleep(static_cast<unsigned>(pause));
        times.push_back(Time(action));
    };
    RotateTurns(
        kRounds, [&] { paused(ours, [&] { Must(RomPersistableSave(object, path.c_str()), "RomPersistableSave"); }); },
        [&] { paused(raw, [&] { WriteRaw(rawPath, outgoing.get(), size); }); },
        [&] { paused(pieces, [&] { WriteRaw(rawPath, outgoing.get(), size, std::size_t{4} << 20); }); });
    char label[96];
    std::snprintf(label, sizeof label, "save after a pause of %d s, median of %d", pause, kRounds);
    ReportTarget(label, Median(ours), "one fwrite after it, median", Median(raw), target);
    const auto low = [](const std::vector<double>& times) { return *std::min_element(times.begin(), times.end()); };
    std::printf(
        "  minima %.4f s and %.4f s (ratio %.2f); fwrite in pieces of 4 MiB (information): median %.4f s, "
        "min %.4f s\n  each round (ours/fwrite/pieces):",
        low(ours), low(raw), low(ours) / low(raw), Median(pieces), low(pieces));
    for (int i = 0; i < kRounds; ++i)
        std::printf(" %.3f/%.3f/%.3f", ours[static_cast<std::size_t>(i)], raw[static_cast<std::size_t>(i)],
                    pieces[static_cast<std::size_t>(i)]);
    std::printf("\n");
    std::filesystem::remove(rawPath);
    Must(RomPersistableSave(object, path.c_str()), "RomPersistableSave");  // the file as it was
}

#endif
