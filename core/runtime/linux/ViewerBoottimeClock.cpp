#include "core/runtime/linux/ViewerBoottimeClock.h"

#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <cstdint>
#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerIfAlive.h"
#include "core/runtime/linux/ViewerTimespec.h"

namespace velmora {

namespace {

int makeTimer() {
    const int descriptor = ::timerfd_create(CLOCK_BOOTTIME, TFD_NONBLOCK | TFD_CLOEXEC);
    viewerCheck(descriptor >= 0, "the system has no timer for the loop's clock");
    return descriptor;
}

}  // namespace

ViewerBoottimeClock::ViewerBoottimeClock(boost::asio::io_context& loop)
    : timer_(loop, makeTimer()) {}

ViewerContinuousClock::Instant ViewerBoottimeClock::now() const {
    timespec time{};
    const int result = ::clock_gettime(CLOCK_BOOTTIME, &time);
    viewerCheck(result == 0, "the system has no clock that goes on during sleep");
    return Instant(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

ViewerContinuousClock::TimerId ViewerBoottimeClock::schedule(Instant deadline,
                                                             ViewerExecutor executor,
                                                             ViewerAction action) {
    checkThread();
    const TimerId id = deadlines_.add(deadline, std::move(executor), std::move(action));
    if (deadline < armed_) {
        armFor(deadline);
    }
    return id;
}

void ViewerBoottimeClock::withdraw(TimerId timer) {
    checkThread();
    // The timerfd stays as it is: at worst it fires once for nothing.
    (void)deadlines_.withdraw(timer);  // the action goes at once
}

void ViewerBoottimeClock::checkThread() {
    const std::thread::id current = std::this_thread::get_id();
    if (thread_ == std::thread::id()) {
        thread_ = current;
    }
    viewerCheck(thread_ == current, "one thread runs the loop and uses its clock");
}

void ViewerBoottimeClock::armFor(Instant deadline) {
    // An all-zero time would switch the timer off.
    const Duration sinceBoot = std::max(deadline.time_since_epoch(), Duration(1));
    itimerspec setting{};
    setting.it_value = timespecOf(sinceBoot);
    const int result =
        ::timerfd_settime(timer_.native_handle(), TFD_TIMER_ABSTIME, &setting, nullptr);
    viewerCheck(result == 0, "the loop's timer takes any time");
    armed_ = deadline;
    awaitExpiry();
}

void ViewerBoottimeClock::awaitExpiry() {
    if (isAwaiting_) {
        return;
    }
    isAwaiting_ = true;
    timer_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                      ifAlive(weak_from_this(), &ViewerBoottimeClock::expired));
}

void ViewerBoottimeClock::expired(const boost::system::error_code& error) {
    isAwaiting_ = false;
    if (error) {
        return;
    }
    std::uint64_t expirations = 0;
    // Nothing to read means that the timer was set anew meanwhile; the deadlines tell what is due.
    (void)::read(timer_.native_handle(), &expirations, sizeof expirations);
    armed_ = Instant::max();
    const Instant current = now();
    while (auto due = deadlines_.takeDue(current)) {
        boost::asio::post(due->executor, std::move(due->action));
    }
    if (deadlines_.next() < Instant::max()) {
        armFor(deadlines_.next());
    }
}

}  // namespace velmora
