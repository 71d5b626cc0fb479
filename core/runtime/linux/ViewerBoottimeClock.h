#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/system/error_code.hpp>
#include <memory>
#include <thread>

#include "core/runtime/ViewerAction.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerDeadlineQueue.h"

namespace velmora {

/// The continuous clock of one loop: CLOCK_BOOTTIME, and one timerfd before a queue of deadlines.
/// The timerfd is set only for a deadline earlier than the one it already waits for, so that
/// scheduling and withdrawing an action normally costs no system call. The time is told on any
/// thread; everything else happens on the one thread that runs the loop, which is checked. Actions
/// run on their executors.
class ViewerBoottimeClock final : public ViewerContinuousClock,
                                  public std::enable_shared_from_this<ViewerBoottimeClock> {
  public:
    explicit ViewerBoottimeClock(boost::asio::io_context& loop);

    Instant now() const override;
    TimerId schedule(Instant deadline, ViewerExecutor executor, ViewerAction action) override;
    void withdraw(TimerId timer) override;

  private:
    /// The first thread that comes here is the loop's.
    void checkThread();
    void armFor(Instant deadline);
    void awaitExpiry();
    void expired(const boost::system::error_code& error);

    boost::asio::posix::stream_descriptor timer_;
    std::thread::id thread_;
    bool isAwaiting_ = false;
    /// When the timerfd fires next; the latest instant there is while it is not set.
    Instant armed_ = Instant::max();
    ViewerDeadlineQueue deadlines_;
};

}  // namespace velmora
