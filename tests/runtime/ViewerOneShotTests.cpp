#include "core/runtime/ViewerOneShot.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

#include "core/runtime/ViewerTaskHandle.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {
namespace {

ViewerTask<void> receiveInto(ViewerOneShot<int>* stored, int* received) {
    const int value = co_await ViewerOneShot<int>::wait(
        [&](ViewerOneShot<int> continuation) { *stored = std::move(continuation); });
    *received = value;
}

TEST(ViewerOneShot, AWaitingTaskGoesOnWithTheValueItIsCompletedWith) {
    SimulatedWorld world;
    ViewerOneShot<int> stored;
    int received = 0;
    world.spawn(receiveInto(&stored, &received));
    world.settle();
    ASSERT_TRUE(stored);
    EXPECT_EQ(received, 0);

    stored.complete(7);
    EXPECT_EQ(received, 0) << "the task goes on on its own executor, not inside complete()";
    world.settle();
    EXPECT_EQ(received, 7);
    EXPECT_FALSE(stored);
}

ViewerTask<void> receiveAtOnce(int* received) {
    const int value = co_await ViewerOneShot<int>::wait(
        [](ViewerOneShot<int> continuation) { continuation.complete(3); });
    *received = value;
}

TEST(ViewerOneShot, MayBeCompletedBeforeTheTaskIsSuspended) {
    SimulatedWorld world;
    int received = 0;
    world.spawn(receiveAtOnce(&received));
    world.settle();
    EXPECT_EQ(received, 3);
}

ViewerTask<void> holdWhileWaiting(std::shared_ptr<int> held, ViewerOneShot<int>* stored) {
    const int value = co_await ViewerOneShot<int>::wait(
        [&](ViewerOneShot<int> continuation) { *stored = std::move(continuation); });
    *held = value;
}

TEST(ViewerOneShot, DroppingItEndsTheTaskAndReleasesWhatItHolds) {
    SimulatedWorld world;
    auto held = std::make_shared<int>(0);
    {
        ViewerOneShot<int> stored;
        world.spawn(holdWhileWaiting(held, &stored));
        world.settle();
        EXPECT_EQ(held.use_count(), 2);
    }
    world.settle();
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_EQ(*held, 0);
}

TEST(ViewerOneShotDeathTest, CompletingTwiceStopsTheProcess) {
    EXPECT_DEATH(
        {
            ViewerOneShot<int> empty;
            empty.complete(1);
        },
        "completes exactly once");
}

}  // namespace
}  // namespace velmora
