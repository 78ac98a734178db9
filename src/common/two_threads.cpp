#include "common/two_threads.hpp"

#include <cstdio>
#include <cstdlib>

namespace Tervik::Rom::Common {

bool SpareCore() noexcept {
    const unsigned cores = std::thread::hardware_concurrency();
    if (cores <= 1) return false;
    // The tasks running now, the caller among them (the fourth field of /proc/loadavg): a
    // solver whose threads have just finished leaves its cores to the copy at once, where the
    // load over the last minute would still count them.
    unsigned running = 0;
    if (std::FILE* file = std::fopen("/proc/loadavg", "r")) {
        const bool read = std::fscanf(file, "%*f %*f %*f %u/", &running) == 1;
        std::fclose(file);
        if (read) return running < cores;
    }
    double load = 0;
    return getloadavg(&load, 1) == 1 && load + 1 <= cores;
}

}  // namespace Tervik::Rom::Common
