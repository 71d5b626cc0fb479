#pragma once

#include <time.h>

#include <chrono>

namespace velmora {

/// A duration of 0 or more as the system's calls take it.
inline timespec timespecOf(std::chrono::nanoseconds duration) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    timespec result{};
    result.tv_sec = static_cast<time_t>(seconds.count());
    result.tv_nsec = static_cast<long>((duration - seconds).count());
    return result;
}

}  // namespace velmora
