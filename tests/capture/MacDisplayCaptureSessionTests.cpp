#include "core/capture/MacDisplayCaptureSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "tests/capture/CapturedWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

TEST(MacDisplayCaptureSession, StartsNothingUntilAFrameIsAskedFor) {
    CapturedWorld world;
    world.simulated.runToEnd();
    EXPECT_TRUE(world.capture->streams.empty());
}

TEST(MacDisplayCaptureSession, StartsAStreamWithTheSettingsOfAPreview) {
    CapturedWorld world({7, "A", 1920, 1080, true});
    (void)world.ask();

    ASSERT_EQ(world.capture->streams.size(), 1U);
    EXPECT_EQ(world.stream().display, world.display);
    EXPECT_EQ(world.stream().queueLabel, "com.quilmer.velmora.viewer-host.capture.7");
    EXPECT_EQ(world.stream().starts, 1);
    const ViewerStreamSettings& settings = world.stream().settings;
    EXPECT_EQ(settings.frameIntervalValue, 1);
    EXPECT_EQ(settings.frameIntervalTimescale, 25);
    EXPECT_EQ(settings.queueDepth, 2);
    EXPECT_EQ(settings.pixelFormat, 0x42475241U) << "BGRA";
    EXPECT_FALSE(settings.showsCursor);
    EXPECT_FALSE(settings.capturesAudio);
}

TEST(MacDisplayCaptureSession, CapturesAtTheSizeOfThePreview) {
    using Size = std::pair<std::int64_t, std::int64_t>;
    const std::vector<std::pair<Size, Size>> sizes{
        {{1920, 1080}, {640, 360}}, {{2560, 1600}, {576, 360}}, {{1512, 982}, {554, 360}},
        {{320, 200}, {320, 200}},   {{1, 1}, {1, 1}},           {{0, 0}, {1, 1}},
        {{0, 5}, {1, 1}},           {{100'000, 1}, {640, 1}}};
    for (const auto& [native, captured] : sizes) {
        SCOPED_TRACE(native.first);
        CapturedWorld world({1, "A", native.first, native.second, true});
        (void)world.ask();
        EXPECT_EQ(world.stream().settings.width, captured.first);
        EXPECT_EQ(world.stream().settings.height, captured.second);
    }
}

TEST(MacDisplayCaptureSession, AFrameThatCameWithTheStartIsReturnedAtOnce) {
    CapturedWorld world;
    world.holdStarts();
    const auto answer = world.ask();
    world.stream().deliverPicture(100);
    world.stream().completeStart(true);
    world.simulated.settle();
    EXPECT_TRUE(shows(answer, 100));
    EXPECT_EQ(world.simulated.pendingTimers(), 0U);
}

TEST(MacDisplayCaptureSession, LaterRequestsGetTheNewestFrameHoweverOld) {
    CapturedWorld world;
    world.captureFirst(100);
    EXPECT_EQ(counterOf(world.ask().value()), "1");

    world.simulated.advance(24h);
    EXPECT_EQ(counterOf(world.ask().value()), "1");
    world.stream().deliverPicture(50);
    world.stream().deliverPicture(200);

    const auto answer = world.ask();
    EXPECT_TRUE(shows(answer, 200));
    EXPECT_EQ(counterOf(answer.value()), "3");
    EXPECT_EQ(world.capture->streams.size(), 1U);
}

TEST(MacDisplayCaptureSession, APictureThatDoesNotChangeKeepsItsLabel) {
    CapturedWorld world;
    world.captureFirst(100);
    world.stream().deliverPicture(100);
    EXPECT_EQ(counterOf(world.ask().value()), "1");
}

TEST(MacDisplayCaptureSession, LabelsBeginWithTheProcessAndTheSession) {
    std::vector<std::string> labels;
    for (int session = 0; session < 2; ++session) {
        CapturedWorld world;
        world.captureFirst(100);
        labels.emplace_back(world.ask().value()->sequence);
        EXPECT_THAT(labels.back(), testing::MatchesRegex("[0-9a-f]{32}-[0-9a-f]{32}-1"));
    }
    EXPECT_EQ(labels[0].substr(0, 32), labels[1].substr(0, 32));
    EXPECT_NE(labels[0].substr(33), labels[1].substr(33));
}

TEST(MacDisplayCaptureSession, ANewStreamsFirstFrameIsLookedForEvery20Milliseconds) {
    CapturedWorld world;
    const auto answer = world.ask();
    world.simulated.advance(30ms);
    world.stream().deliverPicture(100);
    world.simulated.advance(9ms);
    EXPECT_FALSE(answer.isThere());
    world.simulated.advance(1ms);
    EXPECT_TRUE(shows(answer, 100));
    EXPECT_EQ(world.simulated.pendingTimers(), 0U);
}

TEST(MacDisplayCaptureSession, ARequestWaitsTwoSecondsForAFirstFrameAndLeavesTheStreamRunning) {
    CapturedWorld world;
    const auto answer = world.ask();
    world.simulated.advance(1999ms);
    EXPECT_FALSE(answer.isThere());
    world.simulated.advance(1ms);
    EXPECT_TRUE(isEmpty(answer));
    EXPECT_TRUE(world.stream().isRunning);
    EXPECT_EQ(world.simulated.pendingTimers(), 0U);

    world.stream().deliverPicture(100);

    EXPECT_TRUE(shows(world.ask(), 100));
    EXPECT_EQ(world.capture->streams.size(), 1U);
}

TEST(MacDisplayCaptureSession, AFrameThatComesBeforeTheLastLookIsReturned) {
    CapturedWorld world;
    const auto answer = world.ask();
    world.simulated.advance(1999ms);
    world.stream().deliverPicture(100);
    world.simulated.advance(1ms);
    EXPECT_TRUE(shows(answer, 100));
}

TEST(MacDisplayCaptureSession, RequestsSideBySideShareOneStream) {
    CapturedWorld world;
    world.holdStarts();
    const auto first = world.ask();
    const auto second = world.ask();
    world.simulated.advance(50ms);
    world.stream().deliverPicture(100);
    world.stream().completeStart(true);
    world.simulated.settle();
    EXPECT_TRUE(shows(first, 100)) << "it waited for the start";
    EXPECT_FALSE(second.isThere()) << "it found a stream, and looks for a frame";
    world.simulated.advance(10ms);
    EXPECT_TRUE(shows(second, 100));
    EXPECT_EQ(world.capture->streams.size(), 1U);
    EXPECT_EQ(world.stream().starts, 1);
}

ViewerTask<void> askInto(std::shared_ptr<MacDisplayCaptureSession> session, int* outcome) {
    const auto frame = co_await session->latestFrame();
    *outcome = frame.has_value() ? 1 : 0;
}

TEST(MacDisplayCaptureSession, ACancelledRequestStopsLookingForAFrame) {
    CapturedWorld world;
    int outcome = -1;
    const auto task = startTask(world.simulated.taskExecutor(), askInto(world.session, &outcome));
    world.simulated.advance(50ms);
    ASSERT_EQ(outcome, -1);
    world.stream().deliverPicture(100);

    task->cancel();
    world.simulated.settle();

    EXPECT_EQ(outcome, 0);
    EXPECT_EQ(world.simulated.pendingTimers(), 0U);
    EXPECT_TRUE(shows(world.ask(), 100)) << "the stream goes on";
}

TEST(MacDisplayCaptureSession, ARequestThatWasCancelledBeforeLooksForNoFrame) {
    CapturedWorld world;
    int outcome = -1;
    const auto task = startTask(world.simulated.taskExecutor(), askInto(world.session, &outcome));
    task->cancel();
    world.simulated.settle();
    EXPECT_EQ(outcome, 0);
    EXPECT_EQ(world.simulated.pendingTimers(), 0U);
}

}  // namespace
}  // namespace velmora
