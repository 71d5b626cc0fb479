#pragma once

#include <boost/asio/post.hpp>
#include <cstddef>
#include <utility>
#include <vector>

#include "core/runtime/ViewerAction.h"
#include "core/runtime/ViewerContinuousClock.h"

namespace velmora {

/// A clock whose time and timers only the test moves. A timer can be fired too early, and also
/// after it was withdrawn, as when it had already been handed to its executor. One thread.
class ScriptedClock final : public ViewerContinuousClock {
  public:
    Instant now() const override { return time; }
    TimerId schedule(Instant deadline, ViewerExecutor executor, ViewerAction action) override {
        timers_.push_back({deadline, std::move(executor), std::move(action)});
        return {deadline, timers_.size()};
    }
    void withdraw(TimerId) override {}

    std::size_t scheduled() const { return timers_.size(); }
    Instant deadline(std::size_t timer) const { return timers_.at(timer).deadline; }
    /// Hands the action of a timer, counted from 0, to its executor.
    void fire(std::size_t timer) {
        boost::asio::post(timers_.at(timer).executor,
                          [this, timer] { timers_.at(timer).action(); });
    }

    Instant time{std::chrono::hours(1)};

  private:
    struct Timer final {
        Instant deadline;
        ViewerExecutor executor;
        ViewerAction action;
    };

    std::vector<Timer> timers_;
};

}  // namespace velmora
