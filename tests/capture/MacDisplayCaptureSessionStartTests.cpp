#include <gtest/gtest.h>

#include <chrono>
#include <memory>

#include "tests/capture/CapturedWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

TEST(MacDisplayCaptureSession, AStreamThatRefusesItsReceiverGivesNoFrameAndIsNotStarted) {
    CapturedWorld world;
    world.capture->direct = [](ScriptedStreamCourse& course) { course.acceptsOutput = false; };

    EXPECT_TRUE(isEmpty(world.ask()));
    EXPECT_EQ(world.stream().starts, 0);
    EXPECT_EQ(world.stream().stops, 0);
    EXPECT_TRUE(world.stream().isDestroyed);

    world.letStarts();
    world.captureFirst(100);
    EXPECT_EQ(world.capture->streams.size(), 2U) << "the next request tries again";
}

TEST(MacDisplayCaptureSession, AStartThatFailsGivesNoFrameAndTheNextRequestTriesAgain) {
    CapturedWorld world;
    world.capture->direct = [](ScriptedStreamCourse& course) {
        course.startAnswer = ScriptedAnswer::fail;
    };

    EXPECT_TRUE(isEmpty(world.ask()));
    EXPECT_TRUE(world.stream().isDestroyed);
    EXPECT_EQ(world.stream().stops, 0);

    world.letStarts();
    world.captureFirst(100);
    EXPECT_EQ(world.capture->streams.size(), 2U);
}

TEST(MacDisplayCaptureSession, APictureOfAStreamThatFailedToStartIsNotServedLater) {
    CapturedWorld world;
    world.holdStarts();
    const auto first = world.ask();
    world.stream().deliverPicture(100);
    world.stream().completeStart(false);
    world.simulated.settle();
    EXPECT_TRUE(isEmpty(first));

    const auto second = world.ask();
    world.stream().completeStart(true);
    world.simulated.settle();
    EXPECT_FALSE(second.isThere());
    world.stream().deliverPicture(200);
    world.simulated.advance(20ms);
    EXPECT_TRUE(shows(second, 200));
}

TEST(MacDisplayCaptureSession, AStartThatIsNotAnsweredCountsAsFailedAfterFourSeconds) {
    CapturedWorld world;
    world.holdStarts();
    const auto answer = world.ask();
    world.simulated.advance(3999ms);
    EXPECT_FALSE(answer.isThere());
    world.simulated.advance(1ms);
    EXPECT_TRUE(isEmpty(answer));

    world.letStarts();
    world.captureFirst(100);
    EXPECT_EQ(world.capture->streams.size(), 2U);
}

TEST(MacDisplayCaptureSession, AStreamWhoseStartIsNotAnsweredIsStoppedBeforeItIsGivenUp) {
    CapturedWorld world;
    world.capture->direct = [](ScriptedStreamCourse& course) {
        course.startAnswer = ScriptedAnswer::hold;
        course.stopAnswer = ScriptedAnswer::hold;
    };
    for (std::size_t number = 0; number < 5; ++number) {
        SCOPED_TRACE(number);
        const auto answer = world.ask();
        world.simulated.advance(3999ms);
        EXPECT_EQ(world.stream(number).stops, 0) << "it may yet start";
        world.simulated.advance(1ms);
        EXPECT_EQ(world.stream(number).stops, 1) << "the system may be recording all the same";
        EXPECT_TRUE(isEmpty(answer)) << "nobody waits for that stop";
        EXPECT_EQ(world.simulated.pendingTimers(), 0U);
    }
}

TEST(MacDisplayCaptureSession, AStreamThatStartsLateIsStoppedAtOnceAndChangesNothing) {
    CapturedWorld world;
    world.holdStarts();
    (void)world.ask();
    world.simulated.advance(4s);
    world.letStarts();
    world.captureFirst(200);
    ASSERT_EQ(world.capture->streams.size(), 2U);

    ScriptedStreamCourse& late = world.stream(0);
    ASSERT_EQ(late.stops, 1) << "that one came before it ran";
    late.stopAnswer = ScriptedAnswer::hold;
    late.deliverPicture(100);
    late.completeStart(true);
    world.simulated.settle();

    EXPECT_EQ(late.stops, 2);
    EXPECT_EQ(world.simulated.pendingTimers(), 0U) << "nobody waits for that stop";
    late.deliverPicture(50);
    EXPECT_TRUE(shows(world.ask(), 200));
    EXPECT_TRUE(world.stream(1).isRunning);
    late.completeStop(true);
    world.simulated.runToEnd();
    EXPECT_TRUE(late.isDestroyed);
}

TEST(MacDisplayCaptureSession, AStreamThatFailsLateIsLetGo) {
    CapturedWorld world;
    world.holdStarts();
    (void)world.ask();
    world.simulated.advance(4s);
    EXPECT_FALSE(world.stream().isDestroyed) << "its start is still under way";

    world.stream().completeStart(false);
    world.simulated.settle();

    EXPECT_EQ(world.stream().stops, 1) << "there is nothing more to stop";
    EXPECT_TRUE(world.stream().isDestroyed);
}

TEST(MacDisplayCaptureSession, AStreamThatStartsAfterItsSessionIsGoneIsStoppedToo) {
    CapturedWorld world;
    world.holdStarts();
    (void)world.ask();
    world.simulated.advance(4s);
    world.session = nullptr;

    world.stream().completeStart(true);
    world.simulated.settle();

    EXPECT_EQ(world.stream().stops, 2);
    EXPECT_FALSE(world.stream().isRunning);
}

ViewerTask<void> askInto(std::shared_ptr<MacDisplayCaptureSession> session, int* outcome) {
    const auto frame = co_await session->latestFrame();
    *outcome = frame.has_value() ? 1 : 0;
}

TEST(MacDisplayCaptureSession, ACancelledRequestStillFinishesItsStart) {
    CapturedWorld world;
    world.holdStarts();
    int outcome = -1;
    const auto task = startTask(world.simulated.taskExecutor(), askInto(world.session, &outcome));
    world.simulated.settle();
    task->cancel();
    world.simulated.settle();
    EXPECT_EQ(outcome, -1);

    world.stream().completeStart(true);
    world.simulated.settle();

    EXPECT_EQ(outcome, 0);
    EXPECT_TRUE(world.stream().isRunning);
    world.stream().deliverPicture(100);
    EXPECT_TRUE(shows(world.ask(), 100)) << "the stream serves the next request";
}

TEST(MacDisplayCaptureSession, ASessionThatIsDroppedLeavesNoStreamRunning) {
    CapturedWorld world;
    world.captureFirst(100);
    ASSERT_TRUE(world.stream().isRunning);
    world.session = nullptr;
    world.simulated.settle();
    EXPECT_FALSE(world.stream().isRunning);
    EXPECT_TRUE(world.stream().isDestroyed);
}

}  // namespace
}  // namespace velmora
