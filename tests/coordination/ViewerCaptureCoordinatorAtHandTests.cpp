#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "core/coordination/ViewerCaptureCoordinator.h"
#include "tests/coordination/CoordinatedWorld.h"
#include "tests/support/runtime/OneLoop.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using Instants = std::vector<ViewerContinuousClock::Instant>;

/// A coordinator that works on the main thread's loop.
class ViewerCaptureCoordinatorAtHand : public testing::Test {
  protected:
    ViewerCaptureCoordinatorAtHand() {
        host.source->areAtHand = true;
        host.coordinator = std::make_shared<ViewerCaptureCoordinator>(
            host.source, CoordinatedWorld::sessionLimit, CoordinatedWorld::idleTimeout, loop,
            borrowedClock(host.world));
    }

    std::optional<ViewerHostDisplays> displays() {
        return host.coordinator->displaysAtHand(host.world.mainExecutor());
    }
    std::optional<ViewerHostFrame> frame(const std::string& displayID) {
        return host.coordinator->frameAtHand(host.world.mainExecutor(), displayID);
    }

    CoordinatedWorld host;
    OneLoop loop{host.world.mainExecutor()};
};

TEST_F(ViewerCaptureCoordinatorAtHand, TheSourcesDisplaysAre) {
    const auto listed = displays();
    ASSERT_TRUE(listed.has_value());
    EXPECT_TRUE(std::ranges::equal(*listed, CoordinatedWorld::displays()));

    host.source->areAtHand = false;
    EXPECT_FALSE(displays().has_value());
}

TEST_F(ViewerCaptureCoordinatorAtHand, NothingIsForOneWhoRunsElsewhere) {
    (void)host.ask("1");
    const ViewerExecutor elsewhere = host.world.taskExecutor();
    EXPECT_FALSE(host.coordinator->displaysAtHand(elsewhere).has_value());
    EXPECT_FALSE(host.coordinator->frameAtHand(elsewhere, "1").has_value());
}

TEST_F(ViewerCaptureCoordinatorAtHand, NoFrameIsBeforeItsCaptureWasAskedForAndNoneIsStarted) {
    EXPECT_FALSE(frame("1").has_value());
    host.world.runToEnd();
    EXPECT_EQ(host.source->makeCalls, 0);
}

TEST_F(ViewerCaptureCoordinatorAtHand, AFrameOfARunningCaptureIsAndPutsTheStopOff) {
    const auto begin = host.world.now();
    (void)host.ask("1");
    host.world.advance(3s);
    EXPECT_EQ(frame("1"), frameOf("1"));
    EXPECT_EQ(host.session(0).caller, host.world.mainExecutor());
    EXPECT_EQ(host.world.pendingTimers(), 1U);
    host.world.runToEnd();
    EXPECT_EQ(host.session(0).frameCalls, 1);
    EXPECT_EQ(host.session(0).stopCalls, Instants({begin + 8s}));
}

TEST_F(ViewerCaptureCoordinatorAtHand, AFrameThatIsNotPutsNothingOff) {
    const auto begin = host.world.now();
    (void)host.ask("1");
    host.session(0).isAtHand = false;
    host.world.advance(3s);
    EXPECT_FALSE(frame("1").has_value());
    host.world.runToEnd();
    EXPECT_EQ(host.session(0).stopCalls, Instants({begin + 5s}));
}

TEST_F(ViewerCaptureCoordinatorAtHand, AFrameIsWhileAnotherRequestStillWaits) {
    host.delayFrames(7s);
    const auto begin = host.world.now();
    const auto waiting = host.ask("1");
    host.world.advance(1s);
    EXPECT_EQ(frame("1"), frameOf("1"));
    host.world.advance(5s);
    EXPECT_FALSE(host.session(0).isAskedToStop()) << "a request waits";
    host.world.runToEnd();
    EXPECT_EQ(waiting.value(), frameOf("1"));
    EXPECT_EQ(host.session(0).stopCalls, Instants({begin + 12s}));
}

TEST_F(ViewerCaptureCoordinatorAtHand, NothingIsOnceShutDown) {
    (void)host.ask("1");
    host.world.spawn(host.coordinator->shutdown());
    host.world.settle();
    EXPECT_FALSE(displays().has_value());
    EXPECT_FALSE(frame("1").has_value());
}

}  // namespace
}  // namespace velmora
