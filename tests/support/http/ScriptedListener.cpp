#include "tests/support/http/ScriptedListener.h"

#include <boost/asio/post.hpp>
#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

void ScriptedListener::becomeReady(std::optional<std::uint16_t> port) {
    {
        const ViewerLockGuard guard(lock_);
        port_ = port;
    }
    change(ViewerListenerState::ready);
}

void ScriptedListener::change(ViewerListenerState state, std::string errorDescription) {
    boost::asio::post(
        queue(), [self = shared_from_this(), state, description = std::move(errorDescription)] {
            StateHandler handler;
            {
                const ViewerLockGuard guard(self->lock_);
                handler = self->stateHandler_;
            }
            handler(state, description);
        });
}

std::shared_ptr<ScriptedPeer> ScriptedListener::connect(std::shared_ptr<ScriptedPeer> peer) {
    boost::asio::post(queue(), [self = shared_from_this(), connection = peer->makeConnection()] {
        ConnectionHandler handler;
        {
            const ViewerLockGuard guard(self->lock_);
            handler = self->connectionHandler_;
        }
        handler(connection);
    });
    return peer;
}

bool ScriptedListener::isStarted() const {
    const ViewerLockGuard guard(lock_);
    return queue_.has_value();
}

std::size_t ScriptedListener::cancellations() const {
    const ViewerLockGuard guard(lock_);
    return cancellations_;
}

ViewerExecutor ScriptedListener::queue() const {
    const ViewerLockGuard guard(lock_);
    viewerCheck(queue_.has_value(), "the listener was started");
    return queue_.value_or(ViewerExecutor());
}

void ScriptedListener::setStateHandler(StateHandler handler) {
    const ViewerLockGuard guard(lock_);
    stateHandler_ = std::move(handler);
}

void ScriptedListener::setConnectionHandler(ConnectionHandler handler) {
    const ViewerLockGuard guard(lock_);
    connectionHandler_ = std::move(handler);
}

void ScriptedListener::start(ViewerExecutor queue) {
    {
        const ViewerLockGuard guard(lock_);
        viewerCheck(!queue_.has_value(), "a listener is started once");
        queue_ = std::move(queue);
    }
    if (portAtStart_) {
        becomeReady(portAtStart_);
    }
}

std::optional<std::uint16_t> ScriptedListener::port() const {
    const ViewerLockGuard guard(lock_);
    return port_;
}

void ScriptedListener::cancel() {
    if (onCancel) {
        onCancel();
    }
    {
        const ViewerLockGuard guard(lock_);
        if (++cancellations_ > 1 || !queue_) {
            return;
        }
    }
    change(ViewerListenerState::cancelled);
}

}  // namespace velmora
