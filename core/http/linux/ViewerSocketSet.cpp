#include "core/http/linux/ViewerSocketSet.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <array>
#include <boost/asio/post.hpp>
#include <boost/system/error_code.hpp>
#include <cerrno>
#include <cstddef>
#include <utility>

#include "core/runtime/ViewerIfAlive.h"

namespace velmora {

namespace {

/// What one turn takes up of each: enough that the loop's own cost is shared by many, and little
/// enough that a timer or a capture is not kept waiting.
constexpr int eventsATurn = 64;
constexpr int roundsATurn = 16;

int control(int epoll, int operation, int descriptor, std::uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.fd = descriptor;
    return ::epoll_ctl(epoll, operation, descriptor, &event);
}

}  // namespace

ViewerSocketSet::ViewerSocketSet(ViewerExecutor queue,
                                 const std::shared_ptr<ViewerContinuousClock>& clock)
    : queue_(std::move(queue)),
      clock_(clock),
      intake_(ViewerLoopIntake::of(queue_)),
      epoll_(queue_) {}

int ViewerSocketSet::open() {
    const int descriptor = ::epoll_create1(EPOLL_CLOEXEC);
    if (descriptor < 0) {
        return errno;
    }
    boost::system::error_code error;
    epoll_.assign(descriptor, error);
    if (error) {
        ::close(descriptor);
        return error.value();
    }
    awaitEvents();
    return 0;
}

bool ViewerSocketSet::watch(int descriptor, std::uint32_t events,
                            std::weak_ptr<ViewerWatchedSocket> socket) {
    if (control(epoll_.native_handle(), EPOLL_CTL_ADD, descriptor, events) != 0) {
        if (const auto clock = clock_.lock()) {
            clock->schedule(clock->now() + noRoomPause, queue_,
                            ifAlive(std::move(socket), &ViewerWatchedSocket::proceed));
        }
        return false;
    }
    const auto place = static_cast<std::size_t>(descriptor);
    if (place >= watched_.size()) {
        watched_.resize(place + 1);
    }
    watched_[place] = std::move(socket);
    return true;
}

void ViewerSocketSet::watchFor(int descriptor, std::uint32_t events) {
    (void)control(epoll_.native_handle(), EPOLL_CTL_MOD, descriptor, events);  // cannot fail
}

void ViewerSocketSet::forget(int descriptor) {
    const auto place = static_cast<std::size_t>(descriptor);
    if (place < watched_.size()) {
        watched_[place].reset();
    }
}

void ViewerSocketSet::stopWatching(int descriptor) {
    forget(descriptor);
    (void)control(epoll_.native_handle(), EPOLL_CTL_DEL, descriptor, 0);  // cannot fail
}

void ViewerSocketSet::runSoon(std::weak_ptr<ViewerWatchedSocket> socket) {
    due_.push_back(std::move(socket));
    if (!isInTurn()) {
        postTurn();
    }
}

void ViewerSocketSet::turn() {
    turnThread_ = std::this_thread::get_id();
    takeEvents();
    for (int round = 0; round < roundsATurn && !due_.empty(); ++round) {
        runDue();
    }
    intake_.close();
    turnThread_ = std::thread::id();
    if (due_.empty()) {
        awaitEvents();
    } else {
        postTurn();
    }
}

void ViewerSocketSet::takeEvents() {
    std::array<epoll_event, eventsATurn> events;
    const int count = ::epoll_wait(epoll_.native_handle(), events.data(), eventsATurn, 0);
    for (int i = 0; i < count; ++i) {
        // One that an earlier event has ended may be gone, or another one in its place.
        const int descriptor = events[static_cast<std::size_t>(i)].data.fd;
        const auto socket = watched_[static_cast<std::size_t>(descriptor)].lock();
        if (socket) {
            socket->proceed();
        }
    }
}

void ViewerSocketSet::runDue() {
    std::swap(due_, running_);
    for (const auto& weak : running_) {
        if (const auto socket = weak.lock()) {
            socket->proceed();
        }
    }
    running_.clear();
}

void ViewerSocketSet::postTurn() {
    if (std::exchange(isPosted_, true)) {
        return;
    }
    boost::asio::post(queue_, ifAlive(weak_from_this(), [](ViewerSocketSet& self) {
                          self.isPosted_ = false;
                          self.turn();
                      }));
}

void ViewerSocketSet::awaitEvents() {
    if (std::exchange(isAwaiting_, true)) {
        return;
    }
    epoll_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                      ifAlive(weak_from_this(),
                              [](ViewerSocketSet& self, const boost::system::error_code& error) {
                                  if (!error) {
                                      self.isAwaiting_ = false;
                                      self.turn();
                                  }
                              }));
}

}  // namespace velmora
