#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "bench/capture/ChildProcess.h"

namespace velmora::bench {

/// The host, asked for frames over HTTP like everybody does. It captures from the first frame that
/// is asked for until 5 seconds after the last one. One thread.
class HostCapture final {
  public:
    /// Returns when the host listens and has listed its displays. `consent` answers what it asks
    /// before that.
    explicit HostCapture(const std::string& program, const std::function<void()>& consent = [] {});

    /// Asks until there is a first frame: on a busy machine a screen may take longer than the host
    /// lets anybody wait.
    void begin() const;
    /// Asks for the newest frame and returns how many the host has encoded since it captures.
    std::uint64_t frames() const;

    const ChildProcess& process() const { return process_; }

  private:
    ChildProcess process_;
    /// Where the frames of its first display are.
    std::string frameTarget_;
};

}  // namespace velmora::bench
