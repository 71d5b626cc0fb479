#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <utility>

#include "core/runtime/ViewerDeadlineQueue.h"

namespace velmora {

/// The timers of a clock that a test moves. The clock sees to it that one thread at a time is here.
class SimulatedTimers final {
  public:
    using Instant = ViewerDeadlineQueue::Instant;
    using TimerId = ViewerDeadlineQueue::TimerId;
    using Action = ViewerDeadlineQueue::Action;
    using Due = ViewerDeadlineQueue::Due;

    TimerId add(Instant deadline, ViewerExecutor executor, Action action) {
        ++pending_;
        ++added_;
        return deadlines_.add(deadline, std::move(executor), std::move(action));
    }
    /// What the timer holds, or nothing when it is not here any more.
    Action withdraw(TimerId timer) {
        Action action = deadlines_.withdraw(timer);
        pending_ -= action ? 1U : 0U;
        return action;
    }
    std::optional<Due> takeDue(Instant now) {
        std::optional<Due> due = deadlines_.takeDue(now);
        pending_ -= due ? 1U : 0U;
        return due;
    }
    /// The earliest deadline; the latest instant there is where none is left.
    Instant next() const { return deadlines_.next(); }

    std::size_t pending() const { return pending_; }
    /// All that there ever were.
    std::size_t added() const { return added_; }

  private:
    ViewerDeadlineQueue deadlines_;
    std::size_t pending_ = 0;
    std::size_t added_ = 0;
};

}  // namespace velmora
