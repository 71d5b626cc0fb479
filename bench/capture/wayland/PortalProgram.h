#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/capture/ChildProcess.h"

namespace velmora::bench {

/// A program that captures the screen which the portal of the environment's desktop grants. One
/// thread.
class PortalProgram final {
  public:
    /// In the arguments stands FD for the connection to PipeWire and NODE for the stream's node.
    explicit PortalProgram(const std::vector<std::string>& arguments);

    /// GStreamer doing what the host does: 25 times a second reduced to 640 × 360 with the cheapest
    /// of its scalers that does not alias, and encoded at the same quality.
    static std::vector<std::string> gstreamer();
    /// The least that has a first picture, and tells how long that took.
    static std::vector<std::string> firstBuffer();

    /// Waits for the first frame.
    void awaitFrame();
    /// Takes what is encoded in this time; how many frames that were.
    std::uint64_t framesWithin(std::chrono::nanoseconds duration);
    /// The milliseconds that `firstBuffer` tells.
    double firstMilliseconds() { return std::stod(starter_.awaitLine("first ")); }

    pid_t id() const { return id_; }

  private:
    std::uint64_t readFrames(std::chrono::steady_clock::time_point deadline);

    ChildProcess starter_;
    const pid_t id_;
    bool isInsideMarker_ = false;
};

}  // namespace velmora::bench
