#include <gtest/gtest.h>

#include <chrono>

#include "tests/capture/CapturedWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

TEST(MacDisplayCaptureSession, AStopEndsTheStream) {
    CapturedWorld world;
    world.captureFirst(100);
    EXPECT_TRUE(world.stop().isThere());
    EXPECT_EQ(world.stream().stops, 1);
    EXPECT_TRUE(world.stream().isDestroyed);
}

TEST(MacDisplayCaptureSession, ASecondStopDoesNothing) {
    CapturedWorld world;
    world.captureFirst(100);
    world.stream().stopAnswer = ScriptedAnswer::hold;
    const auto first = world.stop();
    EXPECT_FALSE(first.isThere());
    EXPECT_TRUE(world.stop().isThere()) << "it does not wait for the first one either";

    world.stream().completeStop(true);
    world.simulated.settle();

    EXPECT_TRUE(first.isThere());
    EXPECT_TRUE(world.stop().isThere());
    EXPECT_EQ(world.stream().stops, 1);
    EXPECT_EQ(world.simulated.pendingTimers(), 0U);
}

TEST(MacDisplayCaptureSession, AStoppedSessionGivesNoFrameAndStartsNothing) {
    CapturedWorld world;
    world.captureFirst(100);
    (void)world.stop();
    EXPECT_TRUE(isEmpty(world.ask()));
    EXPECT_EQ(world.capture->streams.size(), 1U);
}

TEST(MacDisplayCaptureSession, ASessionThatIsStoppingGivesNoFrame) {
    CapturedWorld world;
    world.captureFirst(100);
    world.stream().stopAnswer = ScriptedAnswer::hold;
    (void)world.stop();
    EXPECT_TRUE(isEmpty(world.ask()));
    world.simulated.runToEnd();
}

TEST(MacDisplayCaptureSession, ASessionThatNeverStartedStopsToo) {
    CapturedWorld world;
    EXPECT_TRUE(world.stop().isThere());
    EXPECT_TRUE(isEmpty(world.ask()));
    EXPECT_TRUE(world.capture->streams.empty());
}

TEST(MacDisplayCaptureSession, AStopThatFailsStopsTheSessionAllTheSame) {
    CapturedWorld world;
    world.captureFirst(100);
    world.stream().stopAnswer = ScriptedAnswer::fail;
    EXPECT_TRUE(world.stop().isThere());
    EXPECT_TRUE(isEmpty(world.ask()));
    EXPECT_EQ(world.stream().stops, 1);
    EXPECT_TRUE(world.stream().isDestroyed);
}

TEST(MacDisplayCaptureSession, AStopThatIsNotAnsweredIsWaitedForFourSeconds) {
    CapturedWorld world;
    world.captureFirst(100);
    world.stream().stopAnswer = ScriptedAnswer::hold;
    const auto stop = world.stop();
    world.simulated.advance(3999ms);
    EXPECT_FALSE(stop.isThere());
    world.simulated.advance(1ms);
    EXPECT_TRUE(stop.isThere());

    world.stream().completeStop(true);
    world.simulated.runToEnd();
    EXPECT_TRUE(isEmpty(world.ask()));
    EXPECT_EQ(world.stream().stops, 1);
}

/// A session whose stream is starting for a request.
struct StartingWorld final {
    static FrameAnswer askOf(CapturedWorld& world) {
        world.holdStarts();
        return world.ask();
    }

    CapturedWorld world;
    FrameAnswer request = askOf(world);
};

TEST(MacDisplayCaptureSession, AStreamThatStartsDuringAStopIsStoppedOnceMore) {
    StartingWorld starting;
    CapturedWorld& world = starting.world;
    EXPECT_TRUE(world.stop().isThere());
    EXPECT_EQ(world.stream().stops, 1);
    EXPECT_FALSE(starting.request.isThere());

    world.stream().deliverPicture(100);
    world.stream().completeStart(true);
    world.simulated.settle();

    EXPECT_TRUE(isEmpty(starting.request));
    EXPECT_EQ(world.stream().stops, 2) << "the first one came before it ran";
    EXPECT_FALSE(world.stream().isRunning);
    EXPECT_TRUE(world.stream().isDestroyed);
    EXPECT_EQ(world.simulated.pendingTimers(), 0U);
}

TEST(MacDisplayCaptureSession, TheRequestWaitsForTheStopOfTheStreamItStarted) {
    StartingWorld starting;
    CapturedWorld& world = starting.world;
    (void)world.stop();
    world.stream().stopAnswer = ScriptedAnswer::hold;
    world.stream().completeStart(true);
    world.simulated.advance(3999ms);
    EXPECT_FALSE(starting.request.isThere());
    world.simulated.advance(1ms);
    EXPECT_TRUE(isEmpty(starting.request)) << "no longer than four seconds";
}

TEST(MacDisplayCaptureSession, AStartThatFailsDuringAStopGivesNoFrame) {
    StartingWorld starting;
    CapturedWorld& world = starting.world;
    world.stream().stopAnswer = ScriptedAnswer::hold;
    const auto stop = world.stop();
    world.stream().completeStart(false);
    world.simulated.settle();
    EXPECT_TRUE(isEmpty(starting.request));
    EXPECT_FALSE(stop.isThere());
    world.stream().completeStop(false);
    world.simulated.settle();
    EXPECT_TRUE(stop.isThere());
    EXPECT_EQ(world.stream().stops, 1);
}

TEST(MacDisplayCaptureSession, AStartThatIsNotAnsweredDuringAStopEndsTheRequestAndIsStoppedLate) {
    StartingWorld starting;
    CapturedWorld& world = starting.world;
    (void)world.stop();
    world.simulated.advance(4s);
    EXPECT_TRUE(isEmpty(starting.request));

    world.stream().completeStart(true);
    world.simulated.settle();

    EXPECT_EQ(world.stream().stops, 3) << "by the session's stop, at the limit, when it ran";
    EXPECT_FALSE(world.stream().isRunning);
}

}  // namespace
}  // namespace velmora
