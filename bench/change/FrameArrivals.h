#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

#include "core/capture/ViewerPixelBuffer.h"
#include "core/coordination/ViewerFrameAccumulator.h"

namespace velmora::bench {

/// Encodes pictures as the host does, hands them to an accumulator as the host does, and remembers
/// when there was a frame that differs from the one before. Any thread.
class FrameArrivals final {
  public:
    using Clock = std::chrono::steady_clock;

    /// A picture that was captured.
    void take(const ViewerPixelBuffer& pixels);

    /// How many different frames there were.
    std::uint64_t count() const;
    /// Waits until there are more than so many, and returns since when there are. Stops the
    /// benchmark when that takes 30 seconds.
    Clock::time_point awaitMoreThan(std::uint64_t count);

  private:
    ViewerFrameAccumulator accumulator_{"bench"};
    mutable std::mutex lock_;
    std::condition_variable changed_;
    // Guarded by the lock.
    std::string label_;
    std::uint64_t count_ = 0;
    Clock::time_point last_;
};

}  // namespace velmora::bench
