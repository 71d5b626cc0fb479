#include <time.h>

#include <chrono>

#include "tests/mac/frameworks/dispatch/DispatchWorld.h"

// The clock that goes on during sleep, as the world shows it. The linker sends the program's own
// calls here (--wrap=clock_gettime); the libraries keep the real clocks.

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the linker's names
extern "C" int __real_clock_gettime(clockid_t clock, timespec* time);

extern "C" int __wrap_clock_gettime(clockid_t clock, timespec* time) {
    if (clock != CLOCK_MONOTONIC_RAW) {
        return __real_clock_gettime(clock, time);
    }
    using velmora::DispatchWorld;
    const auto now = DispatchWorld::shared().now(DispatchWorld::Clock::continuous);
    const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
    time->tv_sec = seconds.count();
    time->tv_nsec = (now - seconds).count();
    return 0;
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
