#include "core/runtime/ViewerTaskHandle.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include "core/runtime/ViewerOneShot.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

ViewerTask<void> sleepAndNote(ViewerContinuousClock* clock, std::string* outcome) {
    const bool passed = co_await clock->sleep(1h);
    const auto state = co_await boost::asio::this_coro::cancellation_state;
    *outcome = std::string(passed ? "passed" : "woken") + (isCancelled(state) ? " cancelled" : "");
}

TEST(ViewerTaskHandle, ATaskCancelledBeforeItsStartBeginsCancelled) {
    SimulatedWorld world;
    std::string outcome;
    const auto task = std::make_shared<ViewerTaskHandle>(world.taskExecutor());
    task->cancel();
    world.settle();
    task->start(sleepAndNote(&world, &outcome));
    world.settle();
    EXPECT_EQ(outcome, "woken cancelled");
}

TEST(ViewerTaskHandle, ACancellationIsSeenOnTheHandleAtOnce) {
    SimulatedWorld world;
    std::string outcome;
    const auto task = startTask(world.taskExecutor(), sleepAndNote(&world, &outcome));
    world.settle();
    EXPECT_FALSE(task->isCancelled());
    task->cancel();
    EXPECT_TRUE(task->isCancelled());
    EXPECT_EQ(outcome, "");
    world.settle();
    EXPECT_EQ(outcome, "woken cancelled");
}

TEST(ViewerTaskHandle, ATaskThatHasEndedIsNotCancelledAnyMore) {
    SimulatedWorld world;
    std::string outcome;
    const auto task = startTask(world.taskExecutor(), sleepAndNote(&world, &outcome));
    world.runToEnd();
    task->cancel();
    world.settle();
    EXPECT_FALSE(task->isCancelled());
    EXPECT_EQ(outcome, "passed");
}

ViewerTask<void> waitFor(ViewerOneShot<bool>* continuation, std::string* outcome) {
    const bool value = co_await ViewerOneShot<bool>::wait(
        [&continuation](ViewerOneShot<bool> task) { *continuation = std::move(task); });
    *outcome = value ? "ended" : "failed";
}

TEST(ViewerTaskHandle, ACancellationMayReachATaskThatEndsInTheSameMoment) {
    SimulatedWorld world;
    std::string outcome;
    ViewerOneShot<bool> continuation;
    auto task = startTask(world.taskExecutor(), waitFor(&continuation, &outcome));
    world.settle();
    continuation.complete(true);
    task->cancel();
    const std::weak_ptr<ViewerTaskHandle> gone = task;
    task.reset();
    world.settle();
    EXPECT_EQ(outcome, "ended");
    EXPECT_TRUE(gone.expired());
}

}  // namespace
}  // namespace velmora
