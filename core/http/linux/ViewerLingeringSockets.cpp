#include "core/http/linux/ViewerLingeringSockets.h"

#include <sys/socket.h>

#include <boost/asio/buffer.hpp>
#include <utility>

namespace velmora {

ViewerLingeringSockets::ViewerLingeringSockets(ViewerExecutor queue,
                                               std::shared_ptr<ViewerContinuousClock> clock)
    : queue_(std::move(queue)), clock_(std::move(clock)) {}

void ViewerLingeringSockets::linger(Socket socket) {
    boost::system::error_code error;
    socket.shutdown(Socket::shutdown_send, error);
    if (error) {
        // The peer has reset the connection: nothing is left to protect.
        close(std::move(socket));
        return;
    }
    while (sockets_.size() >= socketLimit) {
        closeOldest();
    }
    const Number number = ++lastNumber_;
    const auto [place, isNew] =
        sockets_.emplace(number, Lingering{std::move(socket), clock_->now() + lingerTime});
    awaitOldest();
    drain(number, place->second);
    noteRoom();
}

void ViewerLingeringSockets::close(Socket socket) {
    boost::system::error_code ignored;  // the descriptor is gone whatever close reports
    socket.close(ignored);
    noteRoom();
}

bool ViewerLingeringSockets::closeOldest() {
    if (sockets_.empty()) {
        return false;
    }
    remove(sockets_.begin());
    return true;
}

void ViewerLingeringSockets::setRoomHandler(std::function<void()> handler) {
    roomHandler_ = std::move(handler);
}

void ViewerLingeringSockets::noteRoom() {
    if (roomHandler_) {
        roomHandler_();
    }
}

void ViewerLingeringSockets::drain(Number number, Lingering& lingering) {
    // With MSG_TRUNC TCP drops received bytes without copying them.
    lingering.socket.async_receive(boost::asio::buffer(thrownAway_), MSG_TRUNC,
                                   [self = shared_from_this(), number](
                                       const boost::system::error_code& error, std::size_t bytes) {
                                       self->drained(number, error, bytes);
                                   });
}

void ViewerLingeringSockets::drained(Number number, const boost::system::error_code& error,
                                     std::size_t bytes) {
    const auto place = sockets_.find(number);
    if (place == sockets_.end()) {
        return;
    }
    place->second.drainedBytes += bytes;
    if (!error && place->second.drainedBytes < drainedBytesLimit) {
        drain(number, place->second);
        return;
    }
    remove(place);
}

void ViewerLingeringSockets::remove(Sockets::iterator place) {
    Socket socket = std::move(place->second.socket);
    sockets_.erase(place);
    close(std::move(socket));
}

void ViewerLingeringSockets::awaitOldest() {
    if (isAwaitingOldest_ || sockets_.empty()) {
        return;
    }
    isAwaitingOldest_ = true;
    clock_->schedule(sockets_.begin()->second.deadline, queue_, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->isAwaitingOldest_ = false;
            self->closeExpired();
        }
    });
}

void ViewerLingeringSockets::closeExpired() {
    const ViewerContinuousClock::Instant now = clock_->now();
    while (!sockets_.empty() && sockets_.begin()->second.deadline <= now) {
        closeOldest();
    }
    awaitOldest();
}

}  // namespace velmora
