#pragma once

#include <algorithm>
#include <boost/asio/post.hpp>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <utility>

#include "core/runtime/ViewerContinuousClock.h"

namespace velmora {

/// A clock that stands still until a test moves it. Any thread.
class ManualClock final : public ViewerContinuousClock {
  public:
    Instant now() const override {
        const std::lock_guard guard(mutex_);
        return now_;
    }

    TimerId schedule(Instant deadline, ViewerExecutor executor,
                     std::function<void()> action) override {
        const std::lock_guard guard(mutex_);
        timers_.emplace(deadline, Timer{++lastId_, std::move(executor), std::move(action)});
        scheduled_.notify_all();
        return lastId_;
    }

    void withdraw(TimerId timer) override {
        const std::lock_guard guard(mutex_);
        std::erase_if(timers_, [timer](const auto& entry) { return entry.second.id == timer; });
    }

    void advance(Duration duration) {
        const std::lock_guard guard(mutex_);
        now_ += duration;
        while (!timers_.empty() && timers_.begin()->first <= now_) {
            Timer due = std::move(timers_.begin()->second);
            timers_.erase(timers_.begin());
            boost::asio::post(due.executor, std::move(due.action));
        }
    }

    /// Waits until `total` timers have been scheduled since the beginning. False when that does not
    /// happen within a generous time.
    bool waitForScheduled(TimerId total) {
        constexpr std::chrono::seconds limit{30};
        std::unique_lock lock(mutex_);
        return scheduled_.wait_for(lock, limit, [&] { return lastId_ >= total; });
    }

    std::size_t pendingTimers() const {
        const std::lock_guard guard(mutex_);
        return timers_.size();
    }

  private:
    struct Timer final {
        TimerId id;
        ViewerExecutor executor;
        std::function<void()> action;
    };

    mutable std::mutex mutex_;
    std::condition_variable scheduled_;
    Instant now_{std::chrono::hours(1)};
    TimerId lastId_ = 0;
    std::multimap<Instant, Timer> timers_;
};

}  // namespace velmora
