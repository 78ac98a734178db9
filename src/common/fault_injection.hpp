// A seam for tests of what a failed save leaves behind: armed, it makes the Nth write,
// flush, close or rename of a save fail. Disarmed (the default) it costs one relaxed load.
#ifndef TERVIK_ROM_SRC_COMMON_FAULT_INJECTION_HPP
#define TERVIK_ROM_SRC_COMMON_FAULT_INJECTION_HPP

#include <atomic>
#include <cstdint>

namespace Tervik::Rom::Common::FaultInjection {

extern std::atomic<std::uint64_t> failAt;  // 0: disarmed
extern std::atomic<std::uint64_t> counted;

// From now on the operation number failAt (from 1) fails; 0 disarms, and a number no
// save reaches just counts.
inline void Arm(std::uint64_t operation) {
    counted.store(0, std::memory_order_relaxed);
    failAt.store(operation, std::memory_order_relaxed);
}

// Operations counted since Arm.
inline std::uint64_t Counted() { return counted.load(std::memory_order_relaxed); }

// Counts one operation of a save; true when it is the one to fail.
inline bool Fails() {
    const std::uint64_t operation = failAt.load(std::memory_order_relaxed);
    return operation != 0 && counted.fetch_add(1, std::memory_order_relaxed) + 1 == operation;
}

}  // namespace Tervik::Rom::Common::FaultInjection

#endif
