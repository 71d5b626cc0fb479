#pragma once

#import <dispatch/dispatch.h>

#include <memory>

#include "core/runtime/ViewerAction.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerDeadlineQueue.h"
#include "core/runtime/ViewerExecutor.h"
#include "core/runtime/ViewerLock.h"

namespace velmora {

/// The continuous clock of macOS. Dispatch has no timer on a clock that goes on during sleep, so
/// two of its timers stand before the queue of deadlines: one is exact but stops with the machine,
/// the other follows the wall clock and fires at the wake-up. Whichever fires, what is due is read
/// from the clock itself, so that neither a sleep nor a wall clock that is set matters. Any thread;
/// actions run on their executors.
class ViewerDispatchClock final : public ViewerContinuousClock,
                                  public std::enable_shared_from_this<ViewerDispatchClock> {
  public:
    static std::shared_ptr<ViewerDispatchClock> make();
    ~ViewerDispatchClock() override;
    ViewerDispatchClock(const ViewerDispatchClock&) = delete;
    ViewerDispatchClock& operator=(const ViewerDispatchClock&) = delete;

    Instant now() const override;
    TimerId schedule(Instant deadline, ViewerExecutor executor, ViewerAction action) override;
    void withdraw(TimerId timer) override;

  private:
    ViewerDispatchClock();

    void install(dispatch_source_t timer);
    /// Sets both timers for the earliest deadline. On the executor.
    void arm();
    /// Hands out what is due. On the executor.
    void fire();

    const ViewerExecutor executor_;
    const dispatch_source_t awakeTimer_;
    const dispatch_source_t wallTimer_;

    ViewerLock lock_;
    ViewerDeadlineQueue deadlines_ VIEWER_GUARDED_BY(lock_);
    /// What the timers are set for, or about to be.
    Instant armed_ VIEWER_GUARDED_BY(lock_) = Instant::max();
};

}  // namespace velmora
