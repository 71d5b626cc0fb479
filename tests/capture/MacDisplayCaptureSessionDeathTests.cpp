#include <gtest/gtest.h>

#include <chrono>

#include "tests/capture/CapturedWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

TEST(MacDisplayCaptureSession, AfterAStreamsDeathTheNextRequestStartsANewOneAndServesNothingStale) {
    CapturedWorld world;
    world.captureFirst(100);
    world.stream().die();
    EXPECT_EQ(world.capture->streams.size(), 1U) << "nothing happens before a request";

    const auto answer = world.ask();
    ASSERT_EQ(world.capture->streams.size(), 2U);
    EXPECT_EQ(world.stream(0).stops, 0) << "a dead stream is not stopped";
    EXPECT_TRUE(world.stream(0).isDestroyed);
    world.simulated.advance(100ms);
    EXPECT_FALSE(answer.isThere());
    world.stream().deliverPicture(200);
    world.simulated.advance(20ms);
    EXPECT_TRUE(shows(answer, 200));
    EXPECT_EQ(counterOf(answer.value()), "2") << "numbers are not used again";
}

TEST(MacDisplayCaptureSession, TheSamePictureAfterADeathHasANewLabel) {
    CapturedWorld world;
    world.captureFirst(100);
    world.stream().die();
    world.captureFirst(100);
    EXPECT_EQ(counterOf(world.ask().value()), "2");
}

TEST(MacDisplayCaptureSession, WithoutAFrameOfTheNewStreamTheRequestEndsAfterTwoSeconds) {
    CapturedWorld world;
    world.captureFirst(100);
    world.stream().die();
    const auto answer = world.ask();
    world.simulated.advance(1999ms);
    EXPECT_FALSE(answer.isThere());
    world.simulated.advance(1ms);
    EXPECT_TRUE(isEmpty(answer));
}

TEST(MacDisplayCaptureSession, ADeathEndsTheSearchForAFirstFrameAndTheNextRequestStartsAnew) {
    CapturedWorld world;
    const auto answer = world.ask();
    world.simulated.advance(50ms);
    world.stream().die();
    world.simulated.advance(9ms);
    EXPECT_FALSE(answer.isThere());
    world.simulated.advance(1ms);
    EXPECT_TRUE(isEmpty(answer));
    EXPECT_EQ(world.capture->streams.size(), 1U);

    world.captureFirst(100);
    EXPECT_EQ(world.capture->streams.size(), 2U);
}

TEST(MacDisplayCaptureSession, ADeathDuringTheStartIsNoticedByTheSearchForAFirstFrame) {
    CapturedWorld world;
    world.holdStarts();
    const auto answer = world.ask();
    world.stream().die();
    world.stream().completeStart(true);
    world.simulated.advance(20ms);
    EXPECT_TRUE(isEmpty(answer));

    world.letStarts();
    world.captureFirst(200);
    EXPECT_EQ(world.capture->streams.size(), 2U);
}

TEST(MacDisplayCaptureSession, ADeathTogetherWithAFailedStartCostsTheNextStreamNothing) {
    CapturedWorld world;
    world.holdStarts();
    const auto first = world.ask();
    world.stream().die();
    world.stream().completeStart(false);
    world.simulated.settle();
    EXPECT_TRUE(isEmpty(first));

    world.letStarts();
    const auto second = world.ask();
    world.stream().deliverPicture(100);
    world.simulated.advance(20ms);
    EXPECT_TRUE(shows(second, 100));
    EXPECT_TRUE(shows(world.ask(), 100));
    EXPECT_EQ(world.capture->streams.size(), 2U);
}

/// A session whose first stream died and whose second one runs. The first one's receiver is still
/// at work.
struct SucceededWorld final {
    SucceededWorld() {
        world.captureFirst(100);
        oldReceiver = world.stream().receiver.lock();
        world.stream().die();
        world.captureFirst(200);
    }

    CapturedWorld world;
    std::shared_ptr<ViewerStreamReceiver> oldReceiver;
};

TEST(MacDisplayCaptureSession, AFrameOfADeadStreamIsNeverServed) {
    SucceededWorld succeeded;
    const PaintedPicture stale(50);
    succeeded.oldReceiver->streamDidOutput(stale.complete());
    const auto answer = succeeded.world.ask();
    EXPECT_TRUE(shows(answer, 200));
    EXPECT_EQ(counterOf(answer.value()), "2");
}

TEST(MacDisplayCaptureSession, AFrameThatADeadStreamDeliversBeforeTheNewOneDoesIsNotServed) {
    CapturedWorld world;
    world.captureFirst(100);
    const auto oldReceiver = world.stream().receiver.lock();
    world.stream().die();
    const auto answer = world.ask();
    const PaintedPicture stale(50);
    oldReceiver->streamDidOutput(stale.complete());
    world.simulated.advance(100ms);
    EXPECT_FALSE(answer.isThere());
    world.stream().deliverPicture(200);
    world.simulated.advance(20ms);
    EXPECT_TRUE(shows(answer, 200));
}

TEST(MacDisplayCaptureSession, ASecondNoticeOfADeadStreamDoesNotCondemnTheNewOne) {
    SucceededWorld succeeded;
    succeeded.oldReceiver->streamDidStop();
    EXPECT_TRUE(shows(succeeded.world.ask(), 200));
    EXPECT_EQ(succeeded.world.capture->streams.size(), 2U);
    EXPECT_TRUE(succeeded.world.stream().isRunning);
}

/// A session with two requests: the first one's stream died while it started, the second one
/// started the next stream. Neither start is answered yet.
struct OvertakenWorld final {
    static FrameAnswer askAndDie(CapturedWorld& world) {
        world.holdStarts();
        auto answer = world.ask();
        world.stream().die();
        return answer;
    }

    CapturedWorld world;
    FrameAnswer first = askAndDie(world);
    FrameAnswer second = world.ask();
};

TEST(MacDisplayCaptureSession, AFailedStartDoesNotDropTheStreamThatCameAfterIt) {
    OvertakenWorld overtaken;
    CapturedWorld& world = overtaken.world;
    ASSERT_EQ(world.capture->streams.size(), 2U);
    world.stream(1).deliverPicture(200);
    world.stream(1).completeStart(true);
    world.stream(0).completeStart(false);
    world.simulated.settle();

    EXPECT_TRUE(isEmpty(overtaken.first));
    EXPECT_TRUE(shows(overtaken.second, 200));
    EXPECT_TRUE(shows(world.ask(), 200));
    EXPECT_EQ(world.capture->streams.size(), 2U);
    EXPECT_TRUE(world.stop().isThere());
    EXPECT_EQ(world.stream(1).stops, 1);
}

TEST(MacDisplayCaptureSession, AStartThatSucceedsAfterItsStreamDiedServesTheNextStreamsFrames) {
    OvertakenWorld overtaken;
    CapturedWorld& world = overtaken.world;
    world.stream(0).completeStart(true);
    world.simulated.settle();
    EXPECT_FALSE(overtaken.first.isThere());
    EXPECT_FALSE(world.stream(0).isRunning) << "nobody would ever stop it";
    world.stream(1).deliverPicture(200);
    world.stream(1).completeStart(true);
    world.simulated.advance(20ms);
    EXPECT_TRUE(shows(overtaken.first, 200));
    EXPECT_TRUE(shows(overtaken.second, 200));
}

TEST(MacDisplayCaptureSession, AStopDuringBothStartsStopsBothStreams) {
    OvertakenWorld overtaken;
    CapturedWorld& world = overtaken.world;
    EXPECT_TRUE(world.stop().isThere());
    world.stream(0).completeStart(true);
    world.stream(1).completeStart(true);
    world.simulated.settle();
    EXPECT_TRUE(isEmpty(overtaken.first));
    EXPECT_TRUE(isEmpty(overtaken.second));
    EXPECT_FALSE(world.stream(0).isRunning);
    EXPECT_FALSE(world.stream(1).isRunning);
    EXPECT_EQ(world.simulated.pendingTimers(), 0U);
}

}  // namespace
}  // namespace velmora
