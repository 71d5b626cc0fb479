#pragma once

#include <sys/types.h>

#include <chrono>

#include "bench/Measuring.h"
#include "bench/capture/ChildProcess.h"

namespace velmora::bench {

inline double milliseconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

/// The processor time that a program and the X server spent since this was made. One thread.
class Usage final {
  public:
    Usage(pid_t server, const ChildProcess& client)
        : server_(server),
          client_(client),
          clientBegin_(client.processorTime()),
          serverBegin_(processorTime(server)) {}

    double clientMilliseconds() const {
        return milliseconds(client_.processorTime() - clientBegin_);
    }
    double serverMilliseconds() const {
        return milliseconds(processorTime(server_) - serverBegin_);
    }
    double wallMilliseconds() const {
        return milliseconds(std::chrono::steady_clock::now() - begin_);
    }

  private:
    const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    const pid_t server_;
    const ChildProcess& client_;
    const std::chrono::nanoseconds clientBegin_;
    const std::chrono::nanoseconds serverBegin_;
};

}  // namespace velmora::bench
