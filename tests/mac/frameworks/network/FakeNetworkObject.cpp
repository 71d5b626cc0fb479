#include "tests/mac/frameworks/network/FakeNetworkObject.h"

#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

void FakeNetworkObject::setQueue(DispatchWorld::QueuePointer queue) {
    const std::lock_guard guard(lock_);
    queue_ = std::move(queue);
}

void FakeNetworkObject::setStateHandler(StateHandler handler) {
    const std::lock_guard guard(lock_);
    stateHandler_.swap(handler);
}

void FakeNetworkObject::start(std::function<void()> keeper) {
    {
        const std::lock_guard guard(lock_);
        viewerCheck(queue_ != nullptr, "the queue is set before the start");
        viewerCheck(!isStarted_, "a network object is started once");
        isStarted_ = true;
        keeper_ = std::move(keeper);
    }
    begin();
}

void FakeNetworkObject::cancel() {
    {
        const std::lock_guard guard(lock_);
        if (!isStarted_ || isCancelled_) {
            return;
        }
        isCancelled_ = true;
    }
    end();
    deliverState(cancelledState_);
    post([self = shared_from_this()] {
        self->setStateHandler(nullptr);
        std::function<void()> keeper;  // goes when the lock is released
        const std::lock_guard guard(self->lock_);
        keeper.swap(self->keeper_);
    });
}

void FakeNetworkObject::drop() {
    const std::lock_guard guard(lock_);
    isDropped_ = true;
}

void FakeNetworkObject::deliverState(unsigned state, Error error) {
    post([self = shared_from_this(), state, error = std::move(error)] {
        StateHandler handler;
        {
            const std::lock_guard guard(self->lock_);
            handler = self->stateHandler_;
        }
        if (handler) {
            handler(state, error);
        }
    });
}

void FakeNetworkObject::post(DispatchWorld::Work work) const {
    DispatchWorld::QueuePointer queue;
    {
        const std::lock_guard guard(lock_);
        queue = queue_;
    }
    DispatchWorld::shared().post(queue, std::move(work));
}

bool FakeNetworkObject::isStarted() const {
    const std::lock_guard guard(lock_);
    return isStarted_;
}

bool FakeNetworkObject::isCancelled() const {
    const std::lock_guard guard(lock_);
    return isCancelled_;
}

bool FakeNetworkObject::isDropped() const {
    const std::lock_guard guard(lock_);
    return isDropped_;
}

bool FakeNetworkObject::isWatched() const {
    const std::lock_guard guard(lock_);
    return stateHandler_ != nullptr;
}

}  // namespace velmora
