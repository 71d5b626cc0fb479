#include "core/http/linux/ViewerSocketConnection.h"

#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

ViewerSocketConnection::ViewerSocketConnection(Socket socket,
                                               std::shared_ptr<ViewerLingeringSockets> ending)
    : queue_(socket.get_executor()), ending_(std::move(ending)), socket_(std::move(socket)) {}

ViewerSocketConnection::~ViewerSocketConnection() {
    if (!socket_.is_open()) {
        return;
    }
    boost::system::error_code ignored;  // the descriptor is gone whatever close reports
    socket_.close(ignored);
    boost::asio::dispatch(queue_, [ending = ending_] { ending->noteRoom(); });
}

void ViewerSocketConnection::setStateHandler(StateHandler handler) {
    stateHandler_ = std::move(handler);
}

void ViewerSocketConnection::start(ViewerExecutor queue) {
    viewerCheck(queue == queue_, "a connection runs on its listener's queue");
    boost::asio::post(queue_, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->started();
        }
    });
}

void ViewerSocketConnection::started() {
    isStarted_ = true;
    if (stateHandler_) {
        stateHandler_(isCancelled_ ? ViewerConnectionState::cancelled
                                   : ViewerConnectionState::ready);
    }
}

void ViewerSocketConnection::receive(std::size_t maximum, ReceiveHandler handler) {
    viewerCheck(!receiveHandler_, "a connection receives one delivery at a time");
    receiveHandler_ = std::move(handler);
    socket_.async_receive(
        boost::asio::buffer(receiveBuffer_, maximum),
        [weak = weak_from_this()](const boost::system::error_code& error, std::size_t bytes) {
            if (const auto self = weak.lock()) {
                self->received(error, bytes);
            }
        });
}

void ViewerSocketConnection::received(const boost::system::error_code& error, std::size_t bytes) {
    ViewerDelivery delivery;
    if (isCancelled_) {
        delivery.hasError = true;
    } else {
        delivery.content = std::span(receiveBuffer_).first(bytes);
        delivery.isComplete = error == boost::asio::error::eof;
        delivery.hasError = error && !delivery.isComplete;
    }
    std::exchange(receiveHandler_, nullptr)(delivery);
}

void ViewerSocketConnection::send(ViewerHostResponseBytes message, SendHandler handler) {
    boost::asio::dispatch(queue_, [self = shared_from_this(), message = std::move(message),
                                   handler = std::move(handler)]() mutable {
        self->sendOnQueue(std::move(message), std::move(handler));
    });
}

void ViewerSocketConnection::sendOnQueue(ViewerHostResponseBytes message, SendHandler handler) {
    if (isCancelled_) {
        boost::asio::post(queue_, std::move(handler));
        return;
    }
    viewerCheck(answer_ == Answer::none, "a connection sends one message");
    answer_ = Answer::underWay;
    message_ = std::move(message);
    sendHandler_ = std::move(handler);
    sendRest();
}

void ViewerSocketConnection::sendRest() {
    boost::system::error_code error;
    const std::size_t messageBytes = message_->head.size() + message_->body.size();
    while (!error && sentBytes_ < messageBytes) {
        sentBytes_ += socket_.send(unsent(), MSG_MORE, error);
    }
    if (error == boost::asio::error::would_block) {
        socket_.async_wait(Socket::wait_write,
                           [weak = weak_from_this()](const boost::system::error_code& waitError) {
                               const auto self = weak.lock();
                               if (self && waitError) {
                                   self->endSend(Answer::lost);
                               } else if (self) {
                                   self->sendRest();
                               }
                           });
        return;
    }
    endSend(error ? Answer::lost : Answer::taken);
}

void ViewerSocketConnection::endSend(Answer answer) {
    answer_ = answer;
    message_.reset();
    boost::asio::post(queue_, std::exchange(sendHandler_, nullptr));
}

std::array<boost::asio::const_buffer, 2> ViewerSocketConnection::unsent() const {
    const std::size_t headBytes = message_->head.size();
    const std::size_t sentOfHead = std::min(sentBytes_, headBytes);
    return {boost::asio::buffer(message_->head) + sentOfHead,
            boost::asio::buffer(message_->body.data(), message_->body.size()) +
                (sentBytes_ - sentOfHead)};
}

void ViewerSocketConnection::cancel() {
    boost::asio::dispatch(queue_, [self = shared_from_this()] { self->cancelOnQueue(); });
}

void ViewerSocketConnection::cancelOnQueue() {
    if (isCancelled_) {
        return;
    }
    isCancelled_ = true;
    endSocket();
    if (isStarted_ && stateHandler_) {
        boost::asio::post(queue_, [weak = weak_from_this()] {
            if (const auto self = weak.lock()) {
                self->stateHandler_(ViewerConnectionState::cancelled);
            }
        });
    }
}

void ViewerSocketConnection::endSocket() {
    boost::system::error_code ignored;  // the socket goes whatever the options and waits report
    if (answer_ == Answer::taken) {
        socket_.cancel(ignored);
        ending_->linger(std::move(socket_));
        return;
    }
    if (answer_ == Answer::underWay) {
        socket_.set_option(Socket::linger(true, 0), ignored);
    }
    ending_->close(std::move(socket_));
}

}  // namespace velmora
