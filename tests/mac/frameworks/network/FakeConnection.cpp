#include "tests/mac/frameworks/network/FakeConnection.h"

#include <algorithm>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

constexpr int cancelledCode = 89;  // ECANCELED there

FakeNetworkError cancellation() {
    return {cancelledCode, "Operation canceled"};
}

}  // namespace

void FakeConnection::begin() {
    bool isAutomatic = false;
    {
        const std::lock_guard guard(lock_);
        isAutomatic = isAutomatic_;
    }
    if (isAutomatic) {
        deliverState(preparing);
        deliverState(ready);
    }
}

void FakeConnection::end() {
    if (hasOutstandingReceive()) {
        complete({std::nullopt, false, cancellation()});
    }
    while (outstandingSends() > 0) {
        completeSend(cancellation());
    }
}

void FakeConnection::receive(Sizes sizes, ReceiveCompletion completion) {
    {
        const std::lock_guard guard(lock_);
        viewerCheck(!outstanding_, "one receive at a time is asked for");
        receives_.push_back(sizes);
        outstanding_ = sizes;
        receiveCompletion_ = std::move(completion);
    }
    if (isCancelled()) {
        complete({std::nullopt, false, cancellation()});
    } else {
        pump();
    }
}

void FakeConnection::pump() {
    Delivery delivery;
    {
        const std::lock_guard guard(lock_);
        if (!outstanding_ || (incoming_.size() < outstanding_->first && !isEnded_)) {
            return;
        }
        const std::size_t size = std::min<std::size_t>(incoming_.size(), outstanding_->second);
        if (size > 0) {
            delivery.content = {incoming_.substr(0, size)};
            incoming_.erase(0, size);
        }
        delivery.isComplete = isEnded_ && incoming_.empty();
    }
    complete(std::move(delivery));
}

void FakeConnection::complete(Delivery delivery) {
    ReceiveCompletion completion;
    {
        const std::lock_guard guard(lock_);
        viewerCheck(outstanding_.has_value(), "a delivery needs a receive");
        outstanding_ = std::nullopt;
        completion = std::exchange(receiveCompletion_, nullptr);
    }
    post([completion = std::move(completion), delivery = std::move(delivery)] {
        completion(delivery);
    });
}

void FakeConnection::deliver(const std::string& bytes) {
    {
        const std::lock_guard guard(lock_);
        incoming_ += bytes;
    }
    pump();
}

void FakeConnection::deliverEnd() {
    {
        const std::lock_guard guard(lock_);
        isEnded_ = true;
    }
    pump();
}

void FakeConnection::deliver(Delivery delivery) {
    complete(std::move(delivery));
}

void FakeConnection::send(Message message, SendCompletion completion) {
    bool isCompletedAtOnce = false;
    {
        const std::lock_guard guard(lock_);
        messages_.push_back({nullptr, message.isDefaultContext, message.isComplete});
        sends_.push_back({std::move(message), std::move(completion)});
        isCompletedAtOnce = isAutomatic_;
    }
    if (isCancelled()) {
        completeSend(cancellation());
    } else if (isCompletedAtOnce) {
        completeSend();
    }
}

void FakeConnection::completeSend(Error error) {
    Send send;
    {
        const std::lock_guard guard(lock_);
        viewerCheck(!sends_.empty(), "a completion needs a send");
        send = std::move(sends_.front());
        sends_.pop_front();
        if (!error) {
            received_ += send.message.bytes();
        }
    }
    post([send = std::move(send), error = std::move(error)] { send.completion(error); });
}

void FakeConnection::setAutomatic(bool isAutomatic) {
    const std::lock_guard guard(lock_);
    isAutomatic_ = isAutomatic;
}

std::string FakeConnection::received() const {
    const std::lock_guard guard(lock_);
    return received_;
}

std::vector<FakeConnection::Message> FakeConnection::messages() const {
    const std::lock_guard guard(lock_);
    return messages_;
}

std::vector<FakeConnection::Sizes> FakeConnection::receives() const {
    const std::lock_guard guard(lock_);
    return receives_;
}

bool FakeConnection::hasOutstandingReceive() const {
    const std::lock_guard guard(lock_);
    return outstanding_.has_value();
}

std::size_t FakeConnection::outstandingSends() const {
    const std::lock_guard guard(lock_);
    return sends_.size();
}

}  // namespace velmora
