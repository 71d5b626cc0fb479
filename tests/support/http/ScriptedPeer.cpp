#include "tests/support/http/ScriptedPeer.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <cstdint>
#include <span>
#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "tests/support/http/JoinedBytes.h"

namespace velmora {

/// The near end: passes everything on to the peer.
class ScriptedPeer::Connection final : public ViewerConnection {
  public:
    explicit Connection(std::shared_ptr<ScriptedPeer> peer) : peer_(std::move(peer)) {}
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() override { peer_->drop(); }

    void start(ViewerExecutor queue, std::weak_ptr<ViewerConnectionReceiver> receiver) override {
        peer_->start(std::move(queue), std::move(receiver));
    }
    void receive(std::size_t maximum) override { peer_->receive(maximum); }
    void expectMore() override {
        const ViewerLockGuard guard(peer_->lock_);
        peer_->expectsMore_ = true;
    }
    void send(ViewerHostResponseBytes message) override { peer_->take(message); }
    void cancel() override { peer_->cancel(); }

  private:
    const std::shared_ptr<ScriptedPeer> peer_;
};

std::shared_ptr<ViewerConnection> ScriptedPeer::makeConnection() {
    return std::make_shared<Connection>(shared_from_this());
}

void ScriptedPeer::send(std::string_view bytes) {
    {
        const ViewerLockGuard guard(lock_);
        arrived_.append(bytes);
    }
    wake();
}

void ScriptedPeer::end() {
    {
        const ViewerLockGuard guard(lock_);
        hasEnded_ = true;
    }
    wake();
}

void ScriptedPeer::breakOff() {
    {
        const ViewerLockGuard guard(lock_);
        isBroken_ = true;
    }
    wake();
}

void ScriptedPeer::change(ViewerConnectionState state) {
    boost::asio::post(queue(), [self = shared_from_this(), state] {
        if (const auto receiver = self->receiver()) {
            receiver->connectionDidChange(state);
        }
    });
}

void ScriptedPeer::completeSend() {
    boost::asio::post(queue(), [self = shared_from_this()] {
        {
            const ViewerLockGuard guard(self->lock_);
            if (self->unfinishedSends_ == 0) {
                return;
            }
            --self->unfinishedSends_;
        }
        if (self->onSent) {
            self->onSent();
        }
        if (const auto receiver = self->receiver()) {
            receiver->connectionDidSend();
        }
    });
}

void ScriptedPeer::start(ViewerExecutor queue, std::weak_ptr<ViewerConnectionReceiver> receiver) {
    bool isCancelled = false;
    {
        const ViewerLockGuard guard(lock_);
        viewerCheck(!queue_.has_value(), "a connection is started once");
        queue_ = std::move(queue);
        receiver_ = std::move(receiver);
        isCancelled = cancellations_ > 0;
    }
    if (onStart) {
        onStart();
    }
    change(ViewerConnectionState::preparing);
    if (isCancelled) {
        change(ViewerConnectionState::cancelled);
    } else if (network_.becomesReady) {
        change(ViewerConnectionState::ready);
    }
}

void ScriptedPeer::receive(std::size_t maximum) {
    {
        const ViewerLockGuard guard(lock_);
        viewerCheck(!isReceiving_, "a connection receives one delivery at a time");
        receiveLimits_.push_back(maximum);
        isReceiving_ = true;
    }
    wake();
}

void ScriptedPeer::take(const ViewerHostResponseBytes& message) {
    bool isCompleted = network_.completesSends;
    {
        const ViewerLockGuard guard(lock_);
        ++unfinishedSends_;
        if (cancellations_ > 0) {
            ++sendsAfterCancel_;
            isCompleted = true;
        } else {
            messages_.push_back(joined(message));
        }
    }
    if (onMessage) {
        onMessage();
    }
    if (isCompleted) {
        completeSend();
    }
}

void ScriptedPeer::cancel() {
    if (onCancel) {
        onCancel();
    }
    std::size_t unfinishedSends = 0;
    {
        const ViewerLockGuard guard(lock_);
        if (++cancellations_ > 1 || !queue_) {
            return;
        }
        unfinishedSends = unfinishedSends_;
    }
    change(ViewerConnectionState::cancelled);
    for (std::size_t i = 0; i < unfinishedSends; ++i) {
        completeSend();
    }
    wake();
}

void ScriptedPeer::drop() {
    {
        const ViewerLockGuard guard(lock_);
        isDropped_ = true;
        receiver_.reset();
        isReceiving_ = false;
        unfinishedSends_ = 0;
    }
    if (onDrop) {
        onDrop();
    }
}

void ScriptedPeer::wake() {
    {
        const ViewerLockGuard guard(lock_);
        if (!queue_) {
            return;
        }
    }
    boost::asio::post(queue(), [self = shared_from_this()] { self->deliver(); });
}

void ScriptedPeer::deliver() {
    std::string content;
    ViewerDelivery delivery;
    {
        const ViewerLockGuard guard(lock_);
        const bool isCancelled = cancellations_ > 0;
        if (!isReceiving_ || (arrived_.empty() && !hasEnded_ && !isBroken_ && !isCancelled)) {
            return;
        }
        // A cancelled connection may still bring what was on its way.
        content = arrived_.substr(0, receiveLimits_.back());
        arrived_.erase(0, content.size());
        delivery.isComplete = hasEnded_ && arrived_.empty();
        delivery.hasError = isCancelled || (isBroken_ && arrived_.empty());
        isReceiving_ = false;
    }
    if (onDelivery) {
        onDelivery(content.size(), delivery.isComplete || delivery.hasError);
    }
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(content.data());
    delivery.content = std::span(bytes, content.size());
    if (const auto receiver = this->receiver()) {
        receiver->connectionDidReceive(delivery);
    }
}

std::shared_ptr<ViewerConnectionReceiver> ScriptedPeer::receiver() const {
    const ViewerLockGuard guard(lock_);
    return receiver_.lock();
}

std::vector<std::string> ScriptedPeer::messages() const {
    const ViewerLockGuard guard(lock_);
    return messages_;
}

std::size_t ScriptedPeer::sendsAfterCancel() const {
    const ViewerLockGuard guard(lock_);
    return sendsAfterCancel_;
}

std::size_t ScriptedPeer::cancellations() const {
    const ViewerLockGuard guard(lock_);
    return cancellations_;
}

std::vector<std::size_t> ScriptedPeer::receiveLimits() const {
    const ViewerLockGuard guard(lock_);
    return receiveLimits_;
}

bool ScriptedPeer::isStarted() const {
    const ViewerLockGuard guard(lock_);
    return queue_.has_value();
}

bool ScriptedPeer::isReceiving() const {
    const ViewerLockGuard guard(lock_);
    return isReceiving_;
}

bool ScriptedPeer::expectsMore() const {
    const ViewerLockGuard guard(lock_);
    return expectsMore_;
}

bool ScriptedPeer::isDropped() const {
    const ViewerLockGuard guard(lock_);
    return isDropped_;
}

ViewerExecutor ScriptedPeer::queue() const {
    const ViewerLockGuard guard(lock_);
    viewerCheck(queue_.has_value(), "the connection was started");
    return queue_.value_or(ViewerExecutor());
}

}  // namespace velmora
