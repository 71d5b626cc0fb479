#pragma once

#include <boost/asio/post.hpp>
#include <cstddef>
#include <functional>
#include <map>
#include <utility>

#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerLock.h"

namespace velmora {

/// A clock that stands still and whose timers all go off when the test says so. Any thread.
class RungClock final : public ViewerContinuousClock {
  public:
    Instant now() const override { return Instant(); }
    TimerId schedule(Instant, ViewerExecutor executor, std::function<void()> action) override {
        const ViewerLockGuard guard(lock_);
        timers_.emplace(++lastTimer_, std::pair(std::move(executor), std::move(action)));
        return lastTimer_;
    }
    void withdraw(TimerId timer) override {
        const ViewerLockGuard guard(lock_);
        timers_.erase(timer);
    }

    void ring() {
        std::map<TimerId, Timer> due;
        {
            const ViewerLockGuard guard(lock_);
            std::swap(due, timers_);
        }
        for (auto& [id, timer] : due) {
            boost::asio::post(timer.first, std::move(timer.second));
        }
    }
    std::size_t timers() {
        const ViewerLockGuard guard(lock_);
        return timers_.size();
    }

  private:
    using Timer = std::pair<ViewerExecutor, std::function<void()>>;

    ViewerLock lock_;
    TimerId lastTimer_ VIEWER_GUARDED_BY(lock_) = 0;
    std::map<TimerId, Timer> timers_ VIEWER_GUARDED_BY(lock_);
};

}  // namespace velmora
