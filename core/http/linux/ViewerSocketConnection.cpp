#include "core/http/linux/ViewerSocketConnection.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <cerrno>
#include <span>
#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

ViewerSocketConnection::ViewerSocketConnection(ViewerSocketDescriptor socket,
                                               std::shared_ptr<ViewerSocketSet> set,
                                               std::shared_ptr<ViewerLingeringSockets> ending)
    : set_(std::move(set)), ending_(std::move(ending)), socket_(std::move(socket)) {}

ViewerSocketConnection::~ViewerSocketConnection() {
    if (!socket_.isOpen()) {
        return;
    }
    boost::asio::dispatch(set_->queue(),
                          [set = set_, ending = ending_, isWatched = watchedEvents_ != 0,
                           socket = std::move(socket_)]() mutable {
                              if (isWatched) {
                                  set->forget(socket.number());
                              }
                              ending->close(std::move(socket));
                          });
}

void ViewerSocketConnection::start(ViewerExecutor queue,
                                   std::weak_ptr<ViewerConnectionReceiver> receiver) {
    viewerCheck(queue == set_->queue(), "a connection runs on its listener's queue");
    if (set_->isInTurn()) {
        startOnQueue(std::move(receiver));
        return;
    }
    boost::asio::post(set_->queue(),
                      [weak = weak_from_this(), receiver = std::move(receiver)]() mutable {
                          if (const auto self = weak.lock()) {
                              self->startOnQueue(std::move(receiver));
                          }
                      });
}

void ViewerSocketConnection::startOnQueue(std::weak_ptr<ViewerConnectionReceiver> receiver) {
    receiver_ = std::move(receiver);
    isStarted_ = true;
    isStateDue_ = true;
    runSoon();
}

void ViewerSocketConnection::proceed() {
    isProceeding_ = true;
    if (received_) {
        deliver();
    }
    do {
        isAskedAgain_ = false;
        proceedOnce();
    } while (isAskedAgain_);
    isProceeding_ = false;
}

void ViewerSocketConnection::proceedOnce() {
    if (isStateDue_ && !isCancelled_) {
        reportState(ViewerConnectionState::ready);
        isAskedAgain_ = false;  // whatever it asked for follows
    }
    if (isReceiving_ && !received_) {
        receiveNow();
    }
    if (answer_ == Answer::underWay) {
        sendRest();
    }
    if (isSending_ && answer_ != Answer::underWay) {
        isSending_ = false;
        if (const auto receiver = receiver_.lock()) {
            receiver->connectionDidSend();
        }
    }
    if (isStateDue_) {
        reportState(ViewerConnectionState::cancelled);
    }
}

void ViewerSocketConnection::reportState(ViewerConnectionState state) {
    isStateDue_ = false;
    if (const auto receiver = receiver_.lock()) {
        receiver->connectionDidChange(state);
    }
}

void ViewerSocketConnection::receive(std::size_t maximum) {
    viewerCheck(!isReceiving_, "a connection receives one delivery at a time");
    isReceiving_ = true;
    receiveMaximum_ = std::min(maximum, receiveBuffer_.size());
    runSoon();
}

void ViewerSocketConnection::receiveNow() {
    if (isCancelled_) {
        deliver();
        return;
    }
    const ssize_t bytes = ::recv(socket_.number(), receiveBuffer_.data(), receiveMaximum_, 0);
    if (bytes < 0 && errno == EAGAIN) {
        watchFor(EPOLLIN | EPOLLET);
        return;
    }
    hasPeerEnded_ = bytes == 0;
    received_ = bytes;
    set_->noteIntake();
    set_->runSoon(weak_from_this());
}

void ViewerSocketConnection::deliver() {
    constexpr ssize_t failed = -1;
    const ssize_t bytes = received_.value_or(failed);
    received_.reset();
    ViewerDelivery delivery;
    delivery.content =
        std::span(receiveBuffer_).first(static_cast<std::size_t>(std::max<ssize_t>(bytes, 0)));
    delivery.isComplete = bytes == 0;
    delivery.hasError = bytes < 0;
    isReceiving_ = false;
    if (const auto receiver = receiver_.lock()) {
        receiver->connectionDidReceive(delivery);
    }
}

void ViewerSocketConnection::expectMore() {
    expectsMore_ = true;
}

void ViewerSocketConnection::send(ViewerHostResponseBytes message) {
    if (set_->isInTurn()) {
        sendOnQueue(std::move(message));
        return;
    }
    boost::asio::dispatch(set_->queue(),
                          [self = shared_from_this(), message = std::move(message)]() mutable {
                              self->sendOnQueue(std::move(message));
                          });
}

void ViewerSocketConnection::sendOnQueue(ViewerHostResponseBytes message) {
    viewerCheck(!isSending_, "a connection sends one message");
    isSending_ = true;
    if (isCancelled_) {
        runSoon();
        return;
    }
    answer_ = Answer::underWay;
    message_ = std::move(message);
    sendRest();
}

void ViewerSocketConnection::sendRest() {
    const std::size_t messageBytes = message_->head.size() + message_->body.size();
    while (sentBytes_ < messageBytes) {
        auto pieces = unsent();
        msghdr header{};
        header.msg_iov = pieces.data();
        header.msg_iovlen = pieces.size();
        const ssize_t bytes = ::sendmsg(socket_.number(), &header, MSG_MORE | MSG_NOSIGNAL);
        if (bytes < 0 && errno == EAGAIN) {
            watchFor(EPOLLIN | EPOLLOUT | EPOLLET);
            return;
        }
        if (bytes < 0) {
            endSend(Answer::lost);
            return;
        }
        sentBytes_ += static_cast<std::size_t>(bytes);
    }
    endSend(Answer::taken);
}

void ViewerSocketConnection::endSend(Answer answer) {
    answer_ = answer;
    message_.reset();
    runSoon();
}

std::array<iovec, 2> ViewerSocketConnection::unsent() const {
    const auto piece = [](const void* data, std::size_t size, std::size_t sent) {
        // The system takes the pieces as writable ones for the sake of reading into them.
        auto* const begin = static_cast<std::uint8_t*>(const_cast<void*>(data));
        return iovec{begin + sent, size - sent};
    };
    const std::size_t headBytes = message_->head.size();
    const std::size_t sentOfHead = std::min(sentBytes_, headBytes);
    return {piece(message_->head.data(), headBytes, sentOfHead),
            piece(message_->body.data(), message_->body.size(), sentBytes_ - sentOfHead)};
}

void ViewerSocketConnection::cancel() {
    if (set_->isInTurn()) {
        cancelOnQueue();
        return;
    }
    boost::asio::dispatch(set_->queue(), [self = shared_from_this()] { self->cancelOnQueue(); });
}

void ViewerSocketConnection::cancelOnQueue() {
    if (isCancelled_) {
        return;
    }
    isCancelled_ = true;
    received_.reset();
    endSocket();
    isStateDue_ = isStarted_;
    runSoon();
}

void ViewerSocketConnection::endSocket() {
    const bool isWatched = std::exchange(watchedEvents_, 0U) != 0;
    if (answer_ != Answer::taken || hasPeerEnded_) {
        if (isWatched) {
            set_->forget(socket_.number());
        }
        if (answer_ == Answer::underWay) {
            const linger abort{1, 0};
            (void)::setsockopt(socket_.number(), SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
            endSend(Answer::lost);
        }
        ending_->close(std::move(socket_));
        return;
    }
    if (isWatched) {
        set_->stopWatching(socket_.number());
    }
    if (expectsMore_) {
        ending_->drain(std::move(socket_));
    } else {
        ending_->linger(std::move(socket_));
    }
}

void ViewerSocketConnection::watchFor(std::uint32_t events) {
    if (watchedEvents_ == 0) {
        watchedEvents_ = set_->watch(socket_.number(), events, weak_from_this()) ? events : 0;
    } else if ((watchedEvents_ & events) != events) {
        watchedEvents_ |= events;
        set_->watchFor(socket_.number(), watchedEvents_);
    }
}

void ViewerSocketConnection::runSoon() {
    if (isProceeding_) {
        isAskedAgain_ = true;
    } else {
        set_->runSoon(weak_from_this());
    }
}

}  // namespace velmora
