#include "tests/http/mac/ListenedWorld.h"

#include <variant>

namespace velmora {

void ListenedWorld::makeListener() {
    constexpr std::uint16_t port = 9090;
    queue_ = executors_.makeSerialExecutor("queue");
    listener_ =
        std::get<std::shared_ptr<ViewerListener>>(makeTransport(nullptr)->makeListener(port));
    fakeListener_ = FakeListener::last();
    listener_->setStateHandler(
        [this](ViewerListenerState state, const std::string& errorDescription) {
            states_.emplace_back(state, errorDescription);
        });
    listener_->setConnectionHandler([this](std::shared_ptr<ViewerConnection> connection) {
        connections_.push_back(std::move(connection));
    });
}

void ListenedWorld::TearDown() {
    connections_.clear();
    listener_ = nullptr;
    fakeListener_ = nullptr;
    queue_ = ViewerExecutor();
    MacTest::TearDown();
}

std::shared_ptr<FakeConnection> ListenedWorld::accept() {
    listener_->start(queue_);
    auto peer = fakeListener_->connect();
    world_.settle();
    return peer;
}

}  // namespace velmora
