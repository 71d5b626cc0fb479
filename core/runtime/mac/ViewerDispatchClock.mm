#include "core/runtime/mac/ViewerDispatchClock.h"

#include <time.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <chrono>
#include <cstdint>
#include <optional>
#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "core/runtime/mac/ViewerDispatchExecutor.h"
#include "core/runtime/mac/ViewerDispatchExecutors.h"

namespace velmora {

namespace {

constexpr std::uint64_t noLeeway = 0;

dispatch_source_t makeTimer(const ViewerExecutor& executor) {
    return dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, queueOf(executor));
}

}  // namespace

std::shared_ptr<ViewerDispatchClock> ViewerDispatchClock::make() {
    const std::shared_ptr<ViewerDispatchClock> clock(new ViewerDispatchClock);
    clock->install(clock->awakeTimer_);
    clock->install(clock->wallTimer_);
    return clock;
}

ViewerDispatchClock::ViewerDispatchClock()
    : executor_(ViewerDispatchExecutor(makeSerialQueue("com.quilmer.velmora.viewer-host.clock"))),
      awakeTimer_(makeTimer(executor_)),
      wallTimer_(makeTimer(executor_)) {}

ViewerDispatchClock::~ViewerDispatchClock() {
    dispatch_source_cancel(awakeTimer_);
    dispatch_source_cancel(wallTimer_);
}

void ViewerDispatchClock::install(dispatch_source_t timer) {
    const std::weak_ptr<ViewerDispatchClock> weak = weak_from_this();
    dispatch_source_set_event_handler(timer, ^{
      if (const auto clock = weak.lock()) {
          clock->fire();
      }
    });
    dispatch_resume(timer);
}

ViewerContinuousClock::Instant ViewerDispatchClock::now() const {
    // Here, unlike on other systems, this clock goes on during sleep.
    timespec time{};
    const int result = ::clock_gettime(CLOCK_MONOTONIC_RAW, &time);
    viewerCheck(result == 0, "the system has a clock that goes on during sleep");
    return Instant(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

ViewerContinuousClock::TimerId ViewerDispatchClock::schedule(Instant deadline,
                                                             ViewerExecutor executor,
                                                             ViewerAction action) {
    TimerId timer;
    bool isEarliest = false;
    {
        const ViewerLockGuard guard(lock_);
        timer = deadlines_.add(deadline, std::move(executor), std::move(action));
        isEarliest = deadline < armed_;
        armed_ = std::min(armed_, deadline);
    }
    if (isEarliest) {
        // Not here, where another thread may be setting the timers for a later deadline.
        boost::asio::post(executor_, [weak = weak_from_this()] {
            if (const auto clock = weak.lock()) {
                clock->arm();
            }
        });
    }
    return timer;
}

void ViewerDispatchClock::withdraw(TimerId timer) {
    ViewerDeadlineQueue::Action withdrawn;  // what it holds goes when the lock is released
    const ViewerLockGuard guard(lock_);
    withdrawn = deadlines_.withdraw(timer);
}

void ViewerDispatchClock::arm() {
    Instant next;
    {
        const ViewerLockGuard guard(lock_);
        next = deadlines_.next();
        armed_ = next;
    }
    if (next == Instant::max()) {
        return;
    }
    const std::int64_t wait = std::max((next - now()).count(), Duration::rep(0));
    dispatch_source_set_timer(awakeTimer_, dispatch_time(DISPATCH_TIME_NOW, wait),
                              DISPATCH_TIME_FOREVER, noLeeway);
    dispatch_source_set_timer(wallTimer_, dispatch_walltime(nullptr, wait), DISPATCH_TIME_FOREVER,
                              noLeeway);
}

void ViewerDispatchClock::fire() {
    const auto takeDue = [this, current = now()] {
        const ViewerLockGuard guard(lock_);
        return deadlines_.takeDue(current);
    };
    while (auto due = takeDue()) {
        boost::asio::post(due->executor, std::move(due->action));
    }
    arm();
}

}  // namespace velmora
