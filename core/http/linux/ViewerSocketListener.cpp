#include "core/http/linux/ViewerSocketListener.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/system/error_code.hpp>
#include <cerrno>
#include <utility>
#include <variant>

#include "core/http/linux/ViewerAcceptFailure.h"
#include "core/http/linux/ViewerListeningSocket.h"
#include "core/http/linux/ViewerSocketConnection.h"
#include "core/runtime/ViewerCheck.h"
#include "core/runtime/linux/ViewerDescriptorLimit.h"

namespace velmora {

using boost::asio::ip::tcp;

ViewerSocketListener::ViewerSocketListener(std::uint16_t port,
                                           std::shared_ptr<ViewerContinuousClock> clock)
    : requestedPort_(port), clock_(std::move(clock)) {}

ViewerSocketListener::~ViewerSocketListener() {
    closeAccepted();
}

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
    auto& listening = std::get<ViewerListeningSocket>(opened);
    boost::system::error_code error;
    acceptor_.emplace(queue);
    acceptor_->assign(listening.isIPv6() ? tcp::v6() : tcp::v4(), listening.descriptor(), error);
    if (error) {
        fail(portFailure(requestedPort_, error.value()));
        return;
    }
    port_ = listening.port();
    listening.release();
    firstReserved_ = firstReservedDescriptor();
    ending_ = std::make_shared<ViewerLingeringSockets>(queue, clock_);
    ending_->setRoomHandler([weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->resumeAccepting();
        }
    });
    awaitConnections();
    report(ViewerListenerState::ready, {});
}

void ViewerSocketListener::awaitConnections() {
    auto proceed = [weak = weak_from_this()](const boost::system::error_code& error) {
        const auto self = weak.lock();
        if (self && !error) {
            self->acceptNext();
        }
    };
    if (accepted_ >= 0) {
        boost::asio::post(acceptor_->get_executor(),
                          [proceed] { proceed(boost::system::error_code()); });
    } else {
        acceptor_->async_wait(tcp::acceptor::wait_read, std::move(proceed));
    }
}

void ViewerSocketListener::acceptNext() {
    if (!acceptor_) {
        return;  // this was on its way when the listener was cancelled
    }
    // One at a time: the wait is ready at once while more are waiting, and a call of accept that
    // finds nobody costs several times as much as that wait.
    if (accepted_ < 0) {
        accepted_ = ::accept4(acceptor_->native_handle(), nullptr, nullptr, SOCK_CLOEXEC);
    }
    if (accepted_ >= 0) {
        if (handOver()) {
            awaitConnections();
        } else {
            makeRoom();
        }
        return;
    }
    const int error = errno;
    switch (acceptFailure(error)) {
        case ViewerAcceptFailure::connectionGone:
            awaitConnections();
            return;
        case ViewerAcceptFailure::exhausted:
            makeRoom();
            return;
        case ViewerAcceptFailure::listenerBroken:
            fail(portFailure(port_, error));
            return;
    }
}

bool ViewerSocketListener::handOver() {
    if (!isClearOfReserve()) {
        return false;
    }
    tcp::socket socket(acceptor_->get_executor());
    boost::system::error_code error;
    // The family does not matter: the socket is never opened again.
    socket.assign(tcp::v6(), accepted_, error);
    if (error) {
        return false;  // the loop cannot watch one more socket
    }
    accepted_ = -1;
    socket.non_blocking(true, error);
    connectionHandler_(std::make_shared<ViewerSocketConnection>(std::move(socket), ending_));
    return true;
}

bool ViewerSocketListener::isClearOfReserve() {
    if (accepted_ < firstReserved_) {
        return true;
    }
    // A lower number may have become free since it was accepted; the system takes the lowest.
    const int moved = ::fcntl(accepted_, F_DUPFD_CLOEXEC, 0);
    if (moved < 0) {
        return false;
    }
    const bool isClear = moved < firstReserved_;
    ::close(isClear ? std::exchange(accepted_, moved) : moved);
    return isClear;
}

void ViewerSocketListener::makeRoom() {
    if (ending_->closeOldest()) {
        awaitConnections();
    } else {
        pauseAccepting();
    }
}

void ViewerSocketListener::pauseAccepting() {
    pause_ = clock_->schedule(clock_->now() + exhaustedPause, acceptor_->get_executor(),
                              [weak = weak_from_this()] {
                                  if (const auto self = weak.lock()) {
                                      self->resumeAccepting();
                                  }
                              });
}

void ViewerSocketListener::resumeAccepting() {
    if (pause_) {
        clock_->withdraw(*std::exchange(pause_, std::nullopt));
        awaitConnections();
    }
}

void ViewerSocketListener::stopAccepting() {
    if (pause_) {
        clock_->withdraw(*std::exchange(pause_, std::nullopt));
    }
    port_ = 0;
    acceptor_.reset();
    closeAccepted();
}

void ViewerSocketListener::closeAccepted() {
    if (accepted_ >= 0) {
        ::close(std::exchange(accepted_, -1));
    }
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
