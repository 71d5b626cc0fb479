#pragma once

#include <boost/asio/post.hpp>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <utility>

#include "core/runtime/ViewerAction.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "tests/support/runtime/SimulatedTimers.h"

namespace velmora {

/// A clock that stands still until a test moves it. Any thread.
class ManualClock final : public ViewerContinuousClock {
  public:
    Instant now() const override {
        const std::lock_guard guard(mutex_);
        return now_;
    }

    TimerId schedule(Instant deadline, ViewerExecutor executor, ViewerAction action) override {
        const std::lock_guard guard(mutex_);
        scheduled_.notify_all();
        return timers_.add(deadline, std::move(executor), std::move(action));
    }

    void withdraw(TimerId timer) override {
        SimulatedTimers::Action withdrawn;  // what it holds goes when the lock is released
        const std::lock_guard guard(mutex_);
        withdrawn = timers_.withdraw(timer);
    }

    void advance(Duration duration) {
        {
            const std::lock_guard guard(mutex_);
            now_ += duration;
        }
        while (auto due = takeDue()) {
            boost::asio::post(due->executor, std::move(due->action));
        }
    }
    /// Lets all timers go off that there are.
    void ring() { advance(std::chrono::hours(1)); }

    /// Waits until `total` timers have been scheduled since the beginning. False when that does not
    /// happen within a generous time.
    bool waitForScheduled(std::size_t total) {
        constexpr std::chrono::seconds limit{30};
        std::unique_lock lock(mutex_);
        return scheduled_.wait_for(lock, limit, [&] { return timers_.added() >= total; });
    }

    std::size_t pendingTimers() const {
        const std::lock_guard guard(mutex_);
        return timers_.pending();
    }

  private:
    std::optional<SimulatedTimers::Due> takeDue() {
        const std::lock_guard guard(mutex_);
        return timers_.takeDue(now_);
    }

    mutable std::mutex mutex_;
    // Guarded by `mutex_`.
    std::condition_variable scheduled_;
    Instant now_{std::chrono::hours(1)};
    SimulatedTimers timers_;
};

}  // namespace velmora
