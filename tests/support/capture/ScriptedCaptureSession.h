#pragma once

#include <boost/asio/this_coro.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/coordination/ViewerHostCaptureSession.h"
#include "core/runtime/ViewerContinuousClock.h"

namespace velmora {

/// A capture whose answers come when the test says and which notes what happens to it. One thread.
class ScriptedCaptureSession final : public ViewerHostCaptureSession,
                                     public std::enable_shared_from_this<ScriptedCaptureSession> {
  public:
    using Clock = ViewerContinuousClock;

    ScriptedCaptureSession(Clock& clock, std::string display)
        : displayID(std::move(display)),
          frame(ViewerHostFrame(ViewerBytes("JPEG"), displayID)),
          clock_(clock) {}

    ViewerTask<std::optional<ViewerHostFrame>> latestFrame() override {
        return answer(shared_from_this());
    }
    std::optional<ViewerHostFrame> frameAtHand(const ViewerExecutor& executor) override {
        caller = executor;
        return isAtHand ? frame : std::nullopt;
    }
    ViewerTask<void> stop() override { return end(shared_from_this()); }

    bool isAskedToStop() const { return !stopCalls.empty(); }

    const std::string displayID;
    /// What it answers. Labelled with the display's id.
    std::optional<ViewerHostFrame> frame;
    bool isAtHand = true;
    /// How long the next answer takes, and the stop.
    std::function<Clock::Duration()> frameDelay = [] { return Clock::Duration(0); };
    Clock::Duration stopDelay{0};
    /// Called when it is asked to stop.
    std::function<void(const ScriptedCaptureSession&)> onStop = [](const auto&) {};

    int frameCalls = 0;
    /// Requests that wait for a frame now.
    int waiting = 0;
    Clock::Instant lastAnswer{};
    /// Where it was last called.
    ViewerExecutor caller;
    std::vector<Clock::Instant> stopCalls;
    bool hasStopped = false;

  private:
    using Self = std::shared_ptr<ScriptedCaptureSession>;

    static ViewerTask<std::optional<ViewerHostFrame>> answer(Self self) {
        self->caller = co_await boost::asio::this_coro::executor;
        ++self->frameCalls;
        ++self->waiting;
        const Clock::Duration delay = self->frameDelay();
        if (delay > Clock::Duration(0)) {
            (void)co_await self->clock_.sleep(delay);
        }
        --self->waiting;
        self->lastAnswer = self->clock_.now();
        co_return self->frame;
    }
    static ViewerTask<void> end(Self self) {
        self->caller = co_await boost::asio::this_coro::executor;
        self->stopCalls.push_back(self->clock_.now());
        self->onStop(*self);
        if (self->stopDelay > Clock::Duration(0)) {
            (void)co_await self->clock_.sleep(self->stopDelay);
        }
        self->hasStopped = true;
    }

    Clock& clock_;
};

}  // namespace velmora
