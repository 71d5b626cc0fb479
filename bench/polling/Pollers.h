#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/system/HTTPClient.h"

namespace velmora::bench {

/// Operators who ask a running host for frames of its displays, and with them clients that mean no
/// good. One thread.
class Pollers final {
  public:
    /// For these displays.
    explicit Pollers(std::vector<std::string> ids) : ids_(std::move(ids)) {}

    /// Ten times a second for a frame of each display, and once a second for the list.
    void poll(std::chrono::seconds duration);
    /// Lets go of every connection that is still open.
    void leave() { open_.clear(); }

    std::size_t frames() const { return frames_; }
    /// Those whose label was not the last one's of their display.
    std::size_t newFrames() const { return newFrames_; }
    /// Requests for frames that were answered with anything else.
    std::size_t refusals() const { return refusals_; }

  private:
    void look();
    void harass(std::size_t second);

    const std::vector<std::string> ids_;
    /// Connections of those who wait, or let wait.
    std::vector<HTTPClient> open_;
    std::map<std::string, std::string> labels_;
    std::size_t frames_ = 0;
    std::size_t newFrames_ = 0;
    std::size_t refusals_ = 0;
};

}  // namespace velmora::bench
