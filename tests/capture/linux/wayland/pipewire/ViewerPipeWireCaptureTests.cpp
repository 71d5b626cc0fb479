#include "core/capture/linux/wayland/pipewire/ViewerPipeWireCapture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/capture/linux/wayland/pipewire/CapturedNode.h"
#include "tests/capture/linux/wayland/pipewire/ScriptedCapture.h"
#include "tests/support/pipewire/ScriptedPipeWireSource.h"

namespace velmora {
namespace {

using Picture = ScriptedPipeWireSource::Picture;

constexpr std::uint32_t red = 0xff0000;
constexpr std::uint32_t blue = 0x0000ff;
constexpr ViewerRectangle right{32, 0, 32, 48};

StreamRecorder::Judgement isAll(std::uint32_t colour) {
    return [colour](const StreamRecorder::Picture& picture) {
        return picture.at(0, 0) == colour && picture.at(63, 47) == colour;
    };
}

/// A red screen whose first picture was delivered.
struct Cast final {
    Cast() {
        EXPECT_TRUE(node.start());
        EXPECT_TRUE(screen.send(red));
        EXPECT_TRUE(node.recorder().waitForPicture(isAll(red)));
    }

    PipeWireServer server;
    ScriptedPipeWireSource screen{server};
    RemoteOnLoop remote{server};
    CapturedNode node{remote, screen.node()};
};

TEST(ViewerPipeWireCapture, WhatPicturesThatWereLostOnTheirWaySaidIsNotMissed) {
    Cast cast;
    Picture picture{ScriptedPipeWireSource::all(blue), {right}};
    picture.lostBefore = 1;

    ASSERT_TRUE(cast.screen.send(picture));

    EXPECT_TRUE(cast.node.recorder().waitForPicture(isAll(blue)));
    EXPECT_EQ(cast.node.recorder().frames(), 2U);
}

TEST(ViewerPipeWireCapture, ABufferIsGivenBackOnceNothingOfItIsStillToBeLookedAt) {
    // All but the one that came last. On a busy machine PipeWire may lose one with its picture.
    constexpr std::size_t allButOne = 3;
    constexpr int attempts = 3;
    std::size_t free = 0;
    for (int attempt = 0; attempt < attempts && free < allButOne; ++attempt) {
        Cast cast;
        for (const std::uint32_t colour : {blue, red, blue}) {
            ASSERT_TRUE(cast.node.receivesNext(cast.screen, colour));
        }
        free = cast.screen.takeFreeBuffers();
    }
    EXPECT_EQ(free, allButOne);
}

TEST(ViewerPipeWireCapture, MemoryThatBecomesShorterWhileItIsComparedIsNotRead) {
    Cast cast;
    // It is kept until all of it was compared, a part each second.
    ASSERT_TRUE(cast.screen.send(Picture{ScriptedPipeWireSource::all(red), {right}}));
    EXPECT_TRUE(cast.node.recorder().staysStill(std::chrono::milliseconds(200)));

    cast.screen.truncateMemory();

    EXPECT_TRUE(cast.node.recorder().staysStill(std::chrono::milliseconds(2500)));
    EXPECT_TRUE(cast.node.stop());
}

TEST(ViewerPipeWireCapture, AStreamThatShowsSomethingBeforeItRunsIsNotSilent) {
    ScriptedCapture scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    scripted.show(red);
    ASSERT_EQ(scripted.deliveries, 1);

    scripted.pipeWire.tellState(PW_STREAM_STATE_STREAMING);

    EXPECT_FALSE(scripted.isTimed()) << "there is nothing to wait for";
}

TEST(ViewerPipeWireCapture, AFormatThatCannotBeReadIsItsEnd) {
    ScriptedCapture scripted;

    scripted.fix(SPA_VIDEO_FORMAT_I420);

    EXPECT_EQ(scripted.ends, 1);
    EXPECT_EQ(scripted.pipeWire.bufferRequests(), 0U);
}

TEST(ViewerPipeWireCapture, AStreamThatRefusesItsBuffersIsOver) {
    ScriptedCapture scripted({.buffers = true});

    scripted.fix(SPA_VIDEO_FORMAT_BGRx);

    EXPECT_EQ(scripted.pipeWire.bufferRequests(), 1U);
    EXPECT_EQ(scripted.ends, 1);
}

TEST(ViewerPipeWireCapture, WhatIsToldOfOtherThingsIsNoFormat) {
    ScriptedCapture scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);

    scripted.tell(SPA_PARAM_EnumFormat, SPA_VIDEO_FORMAT_I420);
    scripted.pipeWire.tellParameter(SPA_PARAM_Props, nullptr);
    scripted.show(red);

    EXPECT_EQ(scripted.deliveries, 1);
    EXPECT_EQ(scripted.ends, 0);
}

TEST(ViewerPipeWireCapture, OneWithoutATimerIsRefusedAndEndsAllTheSame) {
    ScriptedCapture scripted({.timers = true});
    EXPECT_FALSE(scripted.isConnected);

    scripted.connection.lose();

    EXPECT_EQ(scripted.ends, 1);
    EXPECT_EQ(scripted.pipeWire.wrongTimers(), 0U);
}

TEST(ViewerPipeWireCapture, APictureThatIsDueAtItsEndIsNotDelivered) {
    ScriptedCapture scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    scripted.pipeWire.tellState(PW_STREAM_STATE_STREAMING);
    scripted.show(red);
    scripted.show(blue);
    const int deliveries = scripted.deliveries;
    scripted.waitUntilDue();

    scripted.pipeWire.removeNode(1);
    scripted.pipeWire.expireTimer();
    scripted.pipeWire.tellState(PW_STREAM_STATE_PAUSED);

    EXPECT_EQ(scripted.ends, 1);
    EXPECT_EQ(scripted.deliveries, deliveries);
}

TEST(ViewerPipeWireCapture, WithoutAFormatNothingIsWaitedFor) {
    ScriptedCapture scripted(std::chrono::hours(1));
    pw_buffer held = scripted.buffer;
    scripted.showAndHold(held);

    scripted.pipeWire.tellParameter(SPA_PARAM_Format, nullptr);
    scripted.pipeWire.tellState(PW_STREAM_STATE_STREAMING);

    EXPECT_FALSE(scripted.isTimed());
}

TEST(ViewerPipeWireCapture, OneThatNothingIsToldOfHasALimit) {
    const ScriptedCapture scripted;

    EXPECT_TRUE(scripted.isTimed());
}

TEST(ViewerPipeWireCapture, WhoListensOnWaitsAnewEachTime) {
    ScriptedCapture scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.tellState(PW_STREAM_STATE_STREAMING);
    const auto first = scripted.due();

    scripted.capture->listenOn();
    const auto second = scripted.due();
    scripted.capture->listenOn();

    EXPECT_GT(second, first);
    EXPECT_GT(scripted.due(), second);
}

TEST(ViewerPipeWireCapture, ItsEndIsToldOnceAndNothingIsWaitedForAnyMore) {
    ScriptedCapture scripted;

    scripted.pipeWire.removeNode(1);
    EXPECT_FALSE(scripted.isTimed());
    scripted.connection.lose();

    EXPECT_EQ(scripted.ends, 1);
}

TEST(ViewerPipeWireCapture, WhatBecomesOfAnotherNodeIsNothingToIt) {
    ScriptedCapture scripted;
    scripted.pipeWire.addNode(2, "20");
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    scripted.pipeWire.tellState(PW_STREAM_STATE_STREAMING);
    scripted.show(red);
    ViewerGrantedStream own;
    own.node = 1;
    ViewerGrantedStream other;
    other.node = 2;

    scripted.connection.outputHasResized(other, {80, 20});
    EXPECT_FALSE(scripted.isTimed());
    scripted.connection.outputHasResized(own, {80, 20});
    EXPECT_TRUE(scripted.isTimed());
    scripted.pipeWire.removeNode(2);

    EXPECT_EQ(scripted.ends, 0);
}

TEST(ViewerPipeWireCapture, TheSizeOfItsOutputIsAwaitedOnce) {
    ScriptedCapture scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    scripted.pipeWire.tellState(PW_STREAM_STATE_STREAMING);
    scripted.show(red);
    ViewerGrantedStream own;
    own.node = 1;
    scripted.connection.outputHasResized(own, {ScriptedCapture::side, ScriptedCapture::side});
    ASSERT_FALSE(scripted.isTimed()) << "it has this size";

    scripted.fix(SPA_VIDEO_FORMAT_BGRx, {10, ScriptedCapture::side});
    EXPECT_TRUE(scripted.isTimed());
    scripted.show(blue);
    scripted.passTime();

    EXPECT_EQ(scripted.delivered, blue);
    EXPECT_FALSE(scripted.isTimed());
    EXPECT_EQ(scripted.ends, 0);
}

TEST(ViewerPipeWireCapture, OneThatIsGoneHasReleasedAllAndHearsNothingMore) {
    ScriptedCapture scripted;

    scripted.capture.reset();
    scripted.pipeWire.removeNode(1);
    scripted.connection.lose();

    EXPECT_EQ(scripted.pipeWire.released(), (std::vector<std::string>{"stream", "timer", "event"}));
    EXPECT_EQ(scripted.ends, 0);
}

TEST(ViewerPipeWireCapture, OneWithoutAStreamIsRefusedAndReleasesWhatItHas) {
    ScriptedCapture scripted({.streams = true});
    EXPECT_FALSE(scripted.isConnected);

    scripted.capture.reset();

    EXPECT_EQ(scripted.pipeWire.released(), (std::vector<std::string>{"timer", "event"}));
}

TEST(ViewerPipeWireCapture, OneWhoseNodeIsRefusedIsRefused) {
    const ScriptedCapture scripted({.targets = true});

    EXPECT_FALSE(scripted.isConnected);
}

}  // namespace
}  // namespace velmora
