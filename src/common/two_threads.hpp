// A second thread for large copies and reads, when the machine has a core to spare.
#ifndef TERVIK_ROM_SRC_COMMON_TWO_THREADS_HPP
#define TERVIK_ROM_SRC_COMMON_TWO_THREADS_HPP

#include <cstdint>
#include <system_error>
#include <thread>

namespace Tervik::Rom::Common {

// Runs part(0) on the caller and part(1) on a thread of its own, or both on the caller when no
// thread can be started; part must not throw.
template <class Part>
void OnTwoThreads(const Part& part) noexcept {
    try {
        std::thread helper([&part] { part(1); });
        part(0);
        helper.join();
        return;
    } catch (const std::system_error&) {
    }
    part(0);
    part(1);
}

// Runs part(0, 0, half) on the caller and part(1, half, size) on a thread of its own (as
// OnTwoThreads), half being size / 2 rounded down to a multiple of align.
template <class Part>
void OnTwoHalves(std::uint64_t size, std::uint64_t align, const Part& part) noexcept {
    const std::uint64_t half = size / 2 / align * align;
    OnTwoThreads([&](int k) { k == 0 ? part(0, 0, half) : part(1, half, size); });
}

// Whether the machine has a core to spare for a second thread: fewer tasks run now than it
// has cores. (On the shared 2-core development machine, its other core taken, a second
// thread placing values made a batch a quarter slower, not faster.)
bool SpareCore() noexcept;

}  // namespace Tervik::Rom::Common

#endif
