#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "tests/mac/frameworks/dispatch/DispatchWorld.h"

namespace velmora {

/// An error of Network.framework's. A plain value.
struct FakeNetworkError final {
    int code = 0;
    std::string description;
};

/// What a listener and a connection of Network.framework's have in common: a queue, a state
/// handler, and that the system keeps one that was started until it is cancelled. Shared by the
/// object that the program sees and the test, which may outlive it. Any thread.
class FakeNetworkObject : public std::enable_shared_from_this<FakeNetworkObject> {
  public:
    using Error = std::optional<FakeNetworkError>;
    using StateHandler = std::function<void(unsigned state, const Error& error)>;

    virtual ~FakeNetworkObject() = default;
    FakeNetworkObject(const FakeNetworkObject&) = delete;
    FakeNetworkObject& operator=(const FakeNetworkObject&) = delete;

    // What the program does.

    void setQueue(DispatchWorld::QueuePointer queue);
    void setStateHandler(StateHandler handler);
    /// `keeper` holds the program's object; it goes after the last event.
    void start(std::function<void()> keeper);
    /// Is lost before the start.
    void cancel();
    /// The last reference of the program and the system is gone.
    void drop();

    // What the test does and sees.

    /// A change of state, delivered on the queue.
    void deliverState(unsigned state, Error error = std::nullopt);
    bool isStarted() const;
    bool isCancelled() const;
    bool isDropped() const;
    /// Whether a state handler is there.
    bool isWatched() const;

  protected:
    explicit FakeNetworkObject(unsigned cancelledState) : cancelledState_(cancelledState) {}

    /// What a start and a cancellation do besides; without the lock.
    virtual void begin() {}
    virtual void end() {}
    /// Runs `work` on the queue.
    void post(DispatchWorld::Work work) const;

    mutable std::mutex lock_;

  private:
    const unsigned cancelledState_;
    // Guarded by `lock_`.
    DispatchWorld::QueuePointer queue_;
    StateHandler stateHandler_;
    std::function<void()> keeper_;
    bool isStarted_ = false;
    bool isCancelled_ = false;
    bool isDropped_ = false;
};

}  // namespace velmora
