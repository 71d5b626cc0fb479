#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/coordination/ViewerHostFrameProviding.h"
#include "tests/support/http/FakeFrameProvider.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {

/// A provider that takes its time, by chance: none, some that a cancellation cuts short, or some
/// that nothing cuts short. It counts the requests inside it. Outlives what it is given to.
class SimulatedProvider final : public ViewerHostFrameProviding {
  public:
    /// Longer than a request may take, and what a frame of the slow display may need.
    static constexpr std::chrono::seconds longestPause{8};

    explicit SimulatedProvider(SimulatedWorld& world);

    ViewerTask<std::vector<ViewerHostDisplay>> displays() override;
    ViewerTask<std::optional<ViewerHostFrame>> frame(std::string displayID) override;
    ViewerTask<void> shutdown() override;

    /// The requests that wait for an answer now, and the most there were at once.
    std::size_t waiting() const { return waiting_; }
    std::size_t mostWaiting() const { return mostWaiting_; }
    /// "displays", "frame ID" and "shutdown", in the order of their answers.
    const std::vector<std::string>& calls() const { return provider_->calls; }
    /// Called when a shutdown begins. Set before the server is made.
    std::function<void()> onShutdown;

  private:
    static ViewerTask<void> pause(SimulatedProvider* self, std::chrono::milliseconds most);
    static ViewerTask<void> pauseStubbornly(SimulatedWorld* world,
                                            std::chrono::milliseconds duration);
    static ViewerTask<std::vector<ViewerHostDisplay>> pausedDisplays(SimulatedProvider* self);
    static ViewerTask<std::optional<ViewerHostFrame>> pausedFrame(SimulatedProvider* self,
                                                                  std::string displayID);
    static ViewerTask<void> pausedShutdown(SimulatedProvider* self);

    SimulatedWorld& world_;
    const std::shared_ptr<FakeFrameProvider> provider_;
    std::size_t waiting_ = 0;
    std::size_t mostWaiting_ = 0;
};

}  // namespace velmora
