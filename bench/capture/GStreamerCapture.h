#pragma once

#include <chrono>
#include <cstdint>

#include "bench/capture/ChildProcess.h"

namespace velmora::bench {

/// GStreamer, doing the same with its own elements: 25 times a second the screen is captured,
/// reduced to 640 × 360 by the cheapest of its scalers that does not alias, and encoded at the same
/// quality. One thread.
class GStreamerCapture final {
  public:
    GStreamerCapture();

    /// Waits for the first frame, which takes as long as GStreamer needs to start.
    void awaitFrame();
    /// Takes what is encoded in this time; how many frames that were.
    std::uint64_t framesWithin(std::chrono::nanoseconds duration);

    const ChildProcess& process() const { return process_; }

  private:
    /// How many frames end in the next bytes, which come by the deadline.
    std::uint64_t readFrames(std::chrono::steady_clock::time_point deadline);

    ChildProcess process_;
    bool isInsideMarker_ = false;
};

}  // namespace velmora::bench
