#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "core/runtime/ViewerAction.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"

namespace velmora {

/// The actions that a clock has still to run, in the order of their deadlines; those of one
/// deadline in the order in which they were added. Owned by the clock, which sees to it that one
/// thread at a time is here.
class ViewerDeadlineQueue final {
  public:
    using Instant = ViewerContinuousClock::Instant;
    using TimerId = ViewerContinuousClock::TimerId;
    using Action = ViewerAction;

    struct Due final {
        ViewerExecutor executor;
        Action action;
    };

    TimerId add(Instant deadline, ViewerExecutor executor, Action action);
    /// Takes an action out and yields it, because what it holds may go only where no lock is held;
    /// nothing when it is not here any more.
    Action withdraw(TimerId timer);
    /// The earliest deadline; the latest instant there is where nothing is left.
    Instant next() const;
    /// Takes out the first action whose deadline is not after `now`.
    std::optional<Due> takeDue(Instant now);

  private:
    using Pending = std::map<TimerId, Due>;

    /// Keeps the node of an action that was taken out for the next one.
    void keep(Pending::node_type node);

    std::uint64_t lastNumber_ = 0;
    Pending pending_;
    std::vector<Pending::node_type> unused_;
};

}  // namespace velmora
