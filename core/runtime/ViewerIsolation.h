#pragma once

#include <boost/asio/cancellation_state.hpp>
#include <boost/asio/this_coro.hpp>
#include <type_traits>
#include <utility>
#include <variant>

#include "core/runtime/ViewerOneShot.h"
#include "core/runtime/ViewerTaskHandle.h"
#include "core/runtime/ViewerThreadSafety.h"

namespace velmora {

/// An actor's executor: every public operation of the actor runs inside it, one at a time, and
/// lets others in at each wait. Owned by the actor; any thread. The actor's fields are guarded by
/// it, so that clang finds an operation that touches them without having entered.
class VIEWER_CAPABILITY("isolation") ViewerIsolation final {
  public:
    explicit ViewerIsolation(ViewerExecutor executor) : executor_(std::move(executor)) {}

    const ViewerExecutor& executor() const { return executor_; }

    /// Runs `operation` inside and goes back to the caller's executor with its result. Where the
    /// caller is already inside, nothing changes hands. A cancellation of the calling task reaches
    /// the operation too. The isolation may be gone before the operation ends.
    template <typename T>
    ViewerTask<T> run(ViewerTask<T> operation) const {
        return enter(executor_, std::move(operation));
    }

    /// Whether one who runs on `caller` is inside.
    bool isEnteredBy(const ViewerExecutor& caller) const { return caller == executor_; }

    /// Stands at the head of each operation that was entered, through `run` or otherwise. What
    /// follows may touch what the isolation guards, after each wait too: whoever resumes the
    /// operation does so inside.
    void assertInside() const VIEWER_ASSERTS_ITSELF {}

  private:
    template <typename T>
    using Value = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

    template <typename T>
    static ViewerTask<T> enter(ViewerExecutor executor, ViewerTask<T> operation) {
        const ViewerExecutor current = co_await boost::asio::this_coro::executor;
        if (current == executor) {
            co_return co_await std::move(operation);
        }
        auto state = co_await boost::asio::this_coro::cancellation_state;
        const bool isAlreadyCancelled = isCancelled(state);
        auto slot = state.slot();
        Value<T> value =
            co_await ViewerOneShot<Value<T>>::wait([&](ViewerOneShot<Value<T>> caller) {
                const auto inside =
                    startTask(executor, answer<T>(std::move(operation), std::move(caller)));
                if (isAlreadyCancelled) {
                    inside->cancel();
                } else if (slot.is_connected()) {
                    slot.assign([inside](boost::asio::cancellation_type) { inside->cancel(); });
                }
            });
        slot.clear();
        if constexpr (!std::is_void_v<T>) {
            co_return std::move(value);
        }
    }

    template <typename T>
    static ViewerTask<void> answer(ViewerTask<T> operation, ViewerOneShot<Value<T>> caller) {
        if constexpr (std::is_void_v<T>) {
            co_await std::move(operation);
            caller.complete({});
        } else {
            T value = co_await std::move(operation);
            caller.complete(std::move(value));
        }
    }

    ViewerExecutor executor_;
};

}  // namespace velmora
