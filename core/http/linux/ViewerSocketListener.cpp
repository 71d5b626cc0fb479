#include "core/http/linux/ViewerSocketListener.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <cerrno>
#include <utility>
#include <variant>

#include "core/http/linux/ViewerAcceptFailure.h"
#include "core/http/linux/ViewerSocketConnection.h"
#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerIfAlive.h"
#include "core/runtime/linux/ViewerDescriptorLimit.h"

namespace velmora {

namespace {

/// As many as are taken before anything else of the turn has its way.
constexpr std::size_t acceptsATurn = 64;

/// How many connections' memory is kept for later ones: more than are served at once.
constexpr std::size_t keptConnections = 64;

/// How many answered connections may linger unread where clients have `descriptors` to themselves:
/// those of 2 seconds at 512 requests a second. Of more, what the kernel keeps of a socket is out
/// of the processor's cache when it is closed.
std::size_t unreadSocketLimit(int descriptors) {
    constexpr std::size_t most = 1024;
    constexpr std::size_t share = 4;
    return std::min(static_cast<std::size_t>(descriptors) / share, most);
}

}  // namespace

ViewerSocketListener::ViewerSocketListener(std::uint16_t port,
                                           std::shared_ptr<ViewerContinuousClock> clock)
    : requestedPort_(port),
      clock_(std::move(clock)),
      memory_(std::make_shared<ViewerRecycler>(keptConnections)) {}

void ViewerSocketListener::setStateHandler(StateHandler handler) {
    stateHandler_ = std::move(handler);
}

void ViewerSocketListener::setConnectionHandler(ConnectionHandler handler) {
    connectionHandler_ = std::move(handler);
}

void ViewerSocketListener::start(ViewerExecutor queue) {
    bool wasCancelled = false;
    {
        const ViewerLockGuard guard(lock_);
        viewerCheck(!queue_.has_value(), "a listener is started once");
        queue_ = queue;
        wasCancelled = isCancelled_;
    }
    boost::asio::post(queue, [self = shared_from_this(), queue, wasCancelled] {
        if (wasCancelled) {
            self->cancelOnQueue();
        } else {
            self->open(queue);
        }
    });
}

std::optional<std::uint16_t> ViewerSocketListener::port() const {
    const std::uint16_t bound = port_;
    return bound != 0 ? std::optional(bound) : std::nullopt;
}

void ViewerSocketListener::cancel() {
    std::optional<ViewerExecutor> queue;
    {
        const ViewerLockGuard guard(lock_);
        if (isCancelled_) {
            return;
        }
        isCancelled_ = true;
        queue = queue_;
    }
    // One that is not started yet is told when it starts.
    if (queue) {
        boost::asio::post(*queue, [self = shared_from_this()] { self->cancelOnQueue(); });
    }
}

void ViewerSocketListener::open(const ViewerExecutor& queue) {
    {
        const ViewerLockGuard guard(lock_);
        if (isCancelled_) {
            return;  // the end is already on its way
        }
    }
    auto opened = ViewerListeningSocket::open(requestedPort_);
    if (const auto* failure = std::get_if<ViewerPlatformError>(&opened)) {
        fail(failure->description);
        return;
    }
    listening_.emplace(std::get<ViewerListeningSocket>(std::move(opened)));
    set_ = std::make_shared<ViewerSocketSet>(queue, clock_);
    const int error = set_->open();
    if (error != 0 || !set_->watch(listening_->descriptor(), EPOLLIN, weak_from_this())) {
        fail(portFailure(requestedPort_, error != 0 ? error : errno));
        return;
    }
    port_ = listening_->port();
    firstReserved_ = firstReservedDescriptor();
    ending_ =
        std::make_shared<ViewerLingeringSockets>(set_, clock_, unreadSocketLimit(firstReserved_));
    ending_->setRoomHandler(ifAlive(weak_from_this(), &ViewerSocketListener::resumeAccepting));
    report(ViewerListenerState::ready, {});
}

void ViewerSocketListener::proceed() {
    if (!listening_ || pause_) {
        return;  // this was on its way when the listener was cancelled or paused
    }
    std::size_t left = std::clamp<std::size_t>(waitingConnections(), 1, acceptsATurn);
    while (left > 0 && acceptNext()) {
        --left;
    }
    if (accepted_.isOpen() && !pause_) {
        // There is room for it by now, and nothing else may happen that would bring it its turn.
        set_->runSoon(weak_from_this());
    }
}

std::size_t ViewerSocketListener::waitingConnections() const {
    // A call of accept that finds nobody costs several times as much as this one. Of a listening
    // socket these two tell the length of the queue and its bound.
    tcp_info info{};
    socklen_t size = sizeof info;
    const bool isKnown =
        ::getsockopt(listening_->descriptor(), IPPROTO_TCP, TCP_INFO, &info, &size) == 0;
    return isKnown ? info.tcpi_unacked : 1;
}

bool ViewerSocketListener::acceptNext() {
    if (!accepted_.isOpen()) {
        accepted_ = ViewerSocketDescriptor(
            ::accept4(listening_->descriptor(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    }
    if (accepted_.isOpen()) {
        return handOver() || makeRoom();
    }
    const int error = errno;
    switch (acceptFailure(error)) {
        case ViewerAcceptFailure::connectionGone:
            return true;  // the next one may be there
        case ViewerAcceptFailure::exhausted:
            return makeRoom();
        case ViewerAcceptFailure::listenerBroken:
            fail(portFailure(port_, error));
            return false;
    }
    return false;
}

bool ViewerSocketListener::handOver() {
    if (!isClearOfReserve()) {
        return false;
    }
    connectionHandler_(std::allocate_shared<ViewerSocketConnection>(
        ViewerRecyclingAllocator<ViewerSocketConnection>(memory_), std::move(accepted_), set_,
        ending_));
    return listening_.has_value();
}

bool ViewerSocketListener::isClearOfReserve() {
    if (accepted_.number() < firstReserved_) {
        return true;
    }
    // A lower number may have become free since it was accepted; the system takes the lowest.
    ViewerSocketDescriptor moved(::fcntl(accepted_.number(), F_DUPFD_CLOEXEC, 0));
    if (!moved.isOpen() || moved.number() >= firstReserved_) {
        return false;
    }
    accepted_ = std::move(moved);
    return true;
}

bool ViewerSocketListener::makeRoom() {
    if (ending_->closeOldest()) {
        return true;
    }
    pauseAccepting();
    return false;
}

void ViewerSocketListener::pauseAccepting() {
    set_->watchFor(listening_->descriptor(), 0);
    pause_ = clock_->schedule(clock_->now() + exhaustedPause, set_->queue(),
                              ifAlive(weak_from_this(), &ViewerSocketListener::resumeAccepting));
}

void ViewerSocketListener::resumeAccepting() {
    if (!pause_) {
        return;
    }
    clock_->withdraw(*std::exchange(pause_, std::nullopt));
    set_->watchFor(listening_->descriptor(), EPOLLIN);
    // One that was kept is in no queue any more that could be watched.
    set_->runSoon(weak_from_this());
}

void ViewerSocketListener::stopAccepting() {
    if (pause_) {
        clock_->withdraw(*std::exchange(pause_, std::nullopt));
    }
    port_ = 0;
    if (listening_) {
        set_->forget(listening_->descriptor());
    }
    listening_.reset();
    accepted_.close();
}

void ViewerSocketListener::fail(const std::string& description) {
    stopAccepting();
    report(ViewerListenerState::failed, description);
}

void ViewerSocketListener::cancelOnQueue() {
    stopAccepting();
    report(ViewerListenerState::cancelled, {});
}

void ViewerSocketListener::report(ViewerListenerState state, const std::string& description) {
    if (stateHandler_) {
        stateHandler_(state, description);
    }
}

}  // namespace velmora
