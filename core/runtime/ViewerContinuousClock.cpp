#include "core/runtime/ViewerContinuousClock.h"

#include <boost/asio/cancellation_state.hpp>
#include <boost/asio/this_coro.hpp>
#include <memory>

#include "core/runtime/ViewerIfAlive.h"
#include "core/runtime/ViewerOneShot.h"
#include "core/runtime/ViewerTaskHandle.h"

namespace velmora {

namespace {

/// A sleeping task and the two that may wake it. Lives on the task's executor.
struct Sleep final {
    ViewerOneShot<bool> continuation;
    ViewerContinuousClock::TimerId timer;

    void end(bool passed) {
        if (continuation) {
            auto sleeper = std::move(continuation);
            sleeper.complete(passed);
        }
    }
};

}  // namespace

ViewerTask<bool> ViewerContinuousClock::sleep(Duration duration) {
    const auto state = co_await boost::asio::this_coro::cancellation_state;
    if (isCancelled(state)) {
        co_return false;
    }
    const ViewerExecutor executor = co_await boost::asio::this_coro::executor;
    const Instant deadline = now() + duration;
    auto slot = state.slot();
    const bool passed = co_await ViewerOneShot<bool>::wait([&](ViewerOneShot<bool> continuation) {
        // Owned by the timer alone: a sleep that the task held would hold the task.
        const auto sleeping = std::make_shared<Sleep>();
        sleeping->continuation = std::move(continuation);
        sleeping->timer = schedule(deadline, executor, [sleeping] { sleeping->end(true); });
        if (slot.is_connected()) {
            slot.assign(ifAlive(std::weak_ptr(sleeping),
                                [this](Sleep& asleep, boost::asio::cancellation_type) {
                                    withdraw(asleep.timer);
                                    asleep.end(false);
                                }));
        }
    });
    slot.clear();
    co_return passed;
}

}  // namespace velmora
