#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <memory>

#include "core/coordination/ViewerCaptureCoordinator.h"
#include "tests/coordination/CoordinatedWorld.h"
#include "tests/support/runtime/ScriptedClock.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

/// A coordinator whose idle timers the test fires itself, right or wrong. The captures sleep on the
/// world's clock.
struct TimedWorld final {
    CoordinatedWorld host;
    std::shared_ptr<ScriptedClock> clock = std::make_shared<ScriptedClock>();

    TimedWorld() {
        host.coordinator = std::make_shared<ViewerCaptureCoordinator>(
            host.source, CoordinatedWorld::sessionLimit, CoordinatedWorld::idleTimeout, host.world,
            clock);
    }
    void fire(std::size_t timer) {
        clock->fire(timer);
        host.world.settle();
    }
    bool isStopped() { return host.session(0).isAskedToStop(); }
};

TEST(ViewerCaptureCoordinatorTimer, EachFinishedRequestSetsItsTimer) {
    TimedWorld timed;
    (void)timed.host.ask("1");
    timed.clock->time += 3s;
    (void)timed.host.ask("1");
    ASSERT_EQ(timed.clock->scheduled(), 2U);
    EXPECT_EQ(timed.clock->deadline(0), timed.clock->now() + 2s);
    EXPECT_EQ(timed.clock->deadline(1), timed.clock->now() + 5s);
}

TEST(ViewerCaptureCoordinatorTimer, ATimerThatFiresTooEarlyStopsNothing) {
    TimedWorld timed;
    timed.host.delayFrames(1s);
    const auto answer = timed.host.request("1");
    timed.host.world.settle();
    timed.clock->time += 3s;
    timed.host.world.advance(1s);
    ASSERT_TRUE(answer.isThere());
    timed.clock->time += 5s - 1ns;
    timed.fire(0);
    EXPECT_FALSE(timed.isStopped()) << "the time counts from the request's end";
    timed.clock->time += 1ns;
    timed.fire(0);
    EXPECT_TRUE(timed.isStopped());
}

TEST(ViewerCaptureCoordinatorTimer, AnEarlierRequestsTimerStopsNothing) {
    TimedWorld timed;
    (void)timed.host.ask("1");
    (void)timed.host.ask("1");
    timed.clock->time += 20s;
    timed.fire(0);
    EXPECT_FALSE(timed.isStopped());
    timed.fire(1);
    EXPECT_TRUE(timed.isStopped());
}

TEST(ViewerCaptureCoordinatorTimer, TheTimerOfOneOfTwoRequestsSideBySideStopsNothing) {
    TimedWorld timed;
    timed.host.delayFrames(1s);
    (void)timed.host.request("1");
    (void)timed.host.request("1");
    timed.host.world.advance(1s);
    ASSERT_EQ(timed.clock->scheduled(), 2U);
    timed.clock->time += 20s;
    timed.fire(0);
    EXPECT_FALSE(timed.isStopped());
    timed.fire(1);
    EXPECT_TRUE(timed.isStopped());
}

TEST(ViewerCaptureCoordinatorTimer, ATimerStopsNothingWhileARequestWaits) {
    TimedWorld timed;
    (void)timed.host.ask("1");
    timed.host.session(0).frameDelay = [] { return 1s; };
    const auto answer = timed.host.request("1");
    timed.host.world.settle();
    timed.clock->time += 20s;
    timed.fire(0);
    EXPECT_FALSE(timed.isStopped());
    EXPECT_FALSE(answer.isThere());
}

TEST(ViewerCaptureCoordinatorTimer, ATimerFindsNothingToStopTwice) {
    TimedWorld timed;
    (void)timed.host.ask("1");
    timed.clock->time += 20s;
    timed.fire(0);
    (void)timed.host.ask("2");
    timed.fire(0);
    EXPECT_EQ(timed.host.session(0).stopCalls.size(), 1U);
    (void)timed.host.ask("1");
    timed.clock->time += 20s;
    timed.fire(0);
    EXPECT_EQ(timed.host.source->running("1"), 1) << "it belongs to the capture before";
}

TEST(ViewerCaptureCoordinatorTimer, ATimerThatFiresAfterTheShutdownStopsNothing) {
    TimedWorld timed;
    (void)timed.host.ask("1");
    timed.host.world.spawn(timed.host.coordinator->shutdown());
    timed.host.world.settle();
    timed.clock->time += 20s;
    timed.fire(0);
    EXPECT_EQ(timed.host.session(0).stopCalls.size(), 1U);
}

TEST(ViewerCaptureCoordinatorTimer, ATimerThatFiresAfterTheCoordinatorsEndDoesNothing) {
    TimedWorld timed;
    (void)timed.host.ask("1");
    timed.host.coordinator.reset();
    timed.clock->time += 20s;
    timed.fire(0);
    EXPECT_FALSE(timed.isStopped());
}

}  // namespace
}  // namespace velmora
