#pragma once

#include <chrono>
#include <cstdint>
#include <random>

namespace velmora {

/// How long to wait before asking again what has failed: each time up to twice as long, and never
/// in step with others. One thread.
class ViewerBackOff final {
  public:
    static constexpr std::chrono::milliseconds shortest{500};
    static constexpr std::chrono::milliseconds longest{30'000};

    explicit ViewerBackOff(std::chrono::milliseconds most = longest,
                           std::uint32_t seed = std::random_device()());

    /// Between half and the whole of the time that the failures so far have led to.
    std::chrono::milliseconds next();
    /// It has gone well.
    void reset() { whole_ = shortest; }

  private:
    std::chrono::milliseconds most_;
    std::mt19937 chance_;
    std::chrono::milliseconds whole_ = shortest;
};

}  // namespace velmora
