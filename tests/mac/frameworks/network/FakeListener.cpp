#include "tests/mac/frameworks/network/FakeListener.h"

#include <utility>

namespace velmora {

namespace {

/// What the test sees and says of listeners as such; the test's thread makes them.
struct Listeners final {
    std::weak_ptr<FakeListener> last;
    bool isRefused = false;
};

Listeners& listeners() {
    static auto& all = *new Listeners();
    return all;
}

}  // namespace

void FakeListener::setConnectionHandler(ConnectionHandler handler) {
    const std::lock_guard guard(lock_);
    connectionHandler_.swap(handler);
}

std::uint16_t FakeListener::boundPort() const {
    const std::lock_guard guard(lock_);
    return boundPort_;
}

void FakeListener::becomeReady(std::uint16_t port) {
    {
        const std::lock_guard guard(lock_);
        boundPort_ = port;
    }
    deliverState(ready);
}

std::shared_ptr<FakeConnection> FakeListener::connect() {
    auto connection = std::make_shared<FakeConnection>();
    post([self = std::static_pointer_cast<FakeListener>(shared_from_this()), connection] {
        ConnectionHandler handler;
        {
            const std::lock_guard guard(self->lock_);
            handler = self->connectionHandler_;
        }
        if (handler) {
            handler(connection);
        }
    });
    return connection;
}

bool FakeListener::hasConnectionHandler() const {
    const std::lock_guard guard(lock_);
    return connectionHandler_ != nullptr;
}

std::shared_ptr<FakeListener> FakeListener::last() {
    return listeners().last.lock();
}

void FakeListener::setRefused(bool isRefused) {
    listeners().isRefused = isRefused;
}

std::shared_ptr<FakeListener> FakeListener::make(std::string port, bool isSecure) {
    if (listeners().isRefused) {
        return nullptr;
    }
    std::shared_ptr<FakeListener> listener(new FakeListener(std::move(port), isSecure));
    listeners().last = listener;
    return listener;
}

}  // namespace velmora
