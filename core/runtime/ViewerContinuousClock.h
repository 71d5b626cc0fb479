#pragma once

#include <chrono>
#include <compare>
#include <cstdint>

#include "core/runtime/ViewerAction.h"
#include "core/runtime/ViewerExecutor.h"
#include "core/runtime/ViewerTask.h"

namespace velmora {

/// A monotonic clock that keeps counting while the machine sleeps, and its timers. One is given to
/// every object that measures or waits.
class ViewerContinuousClock {
  public:
    using Duration = std::chrono::nanoseconds;
    /// Time since an arbitrary fixed origin of this clock.
    using Instant = std::chrono::time_point<ViewerContinuousClock, Duration>;

    /// Names a scheduled action: its deadline, and a number that the clock gives out once. One that
    /// was made empty names none.
    struct TimerId final {
        friend bool operator==(const TimerId&, const TimerId&) = default;
        friend std::strong_ordering operator<=>(const TimerId&, const TimerId&) = default;

        Instant deadline;
        std::uint64_t number = 0;
    };

    virtual ~ViewerContinuousClock() = default;

    virtual Instant now() const = 0;

    /// Runs `action` once on `executor`, not before `deadline`. Any thread.
    virtual TimerId schedule(Instant deadline, ViewerExecutor executor, ViewerAction action) = 0;
    /// Takes an action out that has not been handed to its executor yet; anything else is ignored.
    /// Any thread.
    virtual void withdraw(TimerId timer) = 0;

    /// Waits for `duration`. Yields true when the time has passed, false when the surrounding task
    /// was cancelled before (also when it was cancelled already).
    ViewerTask<bool> sleep(Duration duration);
};

}  // namespace velmora
