#include <gtest/gtest.h>
#include <pipewire/stream.h>

#include <chrono>
#include <cstdint>
#include <set>
#include <vector>

#include "tests/capture/linux/wayland/pipewire/ScriptedCapture.h"

namespace velmora {
namespace {

constexpr std::uint32_t red = 0xff0000;
constexpr std::uint32_t blue = 0x0000ff;

TEST(ViewerPipeWireCaptureBuffer, APictureWithoutAFormatIsGivenBackUnread) {
    ScriptedCapture scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    scripted.pipeWire.tellParameter(SPA_PARAM_Format, nullptr);

    scripted.show(red);
    scripted.show(red);

    EXPECT_EQ(scripted.deliveries, 0);
    EXPECT_EQ(scripted.pipeWire.returned(), std::vector{&scripted.buffer});
}

TEST(ViewerPipeWireCaptureBuffer, ABufferThatNothingHasToldOfIsGivenBackUnread) {
    ScriptedCapture scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);

    scripted.show(red);
    scripted.show(red);

    EXPECT_EQ(scripted.deliveries, 0);
    EXPECT_EQ(scripted.pipeWire.returned(), std::vector{&scripted.buffer});
}

TEST(ViewerPipeWireCaptureBuffer, APictureThatComesAfterItsEndIsNotRead) {
    ScriptedCapture scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    pw_buffer next = scripted.buffer;
    scripted.pipeWire.addBuffer(next);

    scripted.pipeWire.removeNode(1);
    scripted.show(red);
    scripted.pipeWire.bring(next);

    EXPECT_EQ(scripted.ends, 1);
    EXPECT_EQ(scripted.deliveries, 0);
    EXPECT_EQ(scripted.pipeWire.returned(), std::vector{&scripted.buffer}) << "passed over";
}

TEST(ViewerPipeWireCaptureBuffer, WhatIsStillToBeLookedAtIsGivenBackAtTheEnd) {
    ScriptedCapture scripted(std::chrono::hours(1));
    pw_buffer held = scripted.buffer;
    pw_buffer unread = scripted.buffer;
    scripted.showAndHold(held);
    scripted.pipeWire.addBuffer(unread);
    scripted.pipeWire.removeNode(1);
    scripted.pipeWire.bring(unread);

    scripted.capture.reset();

    EXPECT_EQ(scripted.returned(), (std::multiset{&scripted.buffer, &held, &unread}));
}

TEST(ViewerPipeWireCaptureBuffer, ABufferThatIsTakenAwayIsNotGivenBack) {
    ScriptedCapture scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    pw_buffer next = scripted.buffer;
    scripted.pipeWire.addBuffer(next);
    scripted.show(red);

    scripted.pipeWire.removeBuffer(scripted.buffer);
    scripted.pipeWire.bring(next);

    EXPECT_TRUE(scripted.pipeWire.returned().empty());
}

TEST(ViewerPipeWireCaptureBuffer, APictureThatNobodyHasReadGoesWithItsBuffer) {
    ScriptedCapture scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    scripted.pipeWire.removeNode(1);
    scripted.show(red);

    scripted.pipeWire.removeBuffer(scripted.buffer);
    scripted.capture.reset();

    EXPECT_TRUE(scripted.pipeWire.returned().empty());
}

TEST(ViewerPipeWireCaptureBuffer, TheHeldPictureGoesWithItsBufferAlone) {
    ScriptedCapture scripted(std::chrono::hours(1));
    pw_buffer held = scripted.buffer;
    scripted.showAndHold(held);

    scripted.pipeWire.removeBuffer(held);
    scripted.pipeWire.tellState(PW_STREAM_STATE_STREAMING);

    EXPECT_FALSE(scripted.isTimed()) << "there is nothing to wait for";
    scripted.capture.reset();
    EXPECT_EQ(scripted.returned(), std::multiset{&scripted.buffer});
}

TEST(ViewerPipeWireCaptureBuffer, ABufferThatIsTakenAwayTakesNoOtherPictureAlong) {
    ScriptedCapture scripted(std::chrono::hours(1));
    pw_buffer held = scripted.buffer;
    scripted.showAndHold(held);

    scripted.pipeWire.removeBuffer(scripted.buffer);
    scripted.capture.reset();

    EXPECT_EQ(scripted.returned(), (std::multiset{&scripted.buffer, &held}));
}

TEST(ViewerPipeWireCaptureBuffer, ABufferThatComesAgainIsReadWhereItIsNow) {
    ScriptedCapture scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    scripted.pipeWire.removeBuffer(scripted.buffer);
    auto moved = scripted.pixels;
    moved.fill(blue);
    scripted.data.data = moved.data();
    scripted.pipeWire.addBuffer(scripted.buffer);

    scripted.show(red);

    EXPECT_EQ(scripted.deliveries, 1);
    EXPECT_EQ(scripted.delivered, blue);
}

TEST(ViewerPipeWireCaptureBuffer, APictureThatANewerOneReplacesIsGivenBackOnce) {
    ScriptedCapture scripted(std::chrono::hours(1));
    pw_buffer held = scripted.buffer;
    pw_buffer newer = scripted.buffer;
    scripted.showAndHold(held);
    scripted.pipeWire.addBuffer(newer);

    scripted.pipeWire.bring(newer);
    scripted.capture.reset();

    EXPECT_EQ(scripted.returned(), (std::multiset{&scripted.buffer, &held, &newer}));
}

TEST(ViewerPipeWireCaptureBuffer, AnotherFormatGivesTheHeldPictureBackOnce) {
    ScriptedCapture scripted(std::chrono::hours(1));
    pw_buffer held = scripted.buffer;
    pw_buffer newer = scripted.buffer;
    scripted.showAndHold(held);

    scripted.fix(SPA_VIDEO_FORMAT_RGBx);
    scripted.pipeWire.addBuffer(newer);
    scripted.pipeWire.bring(newer);

    EXPECT_EQ(scripted.returned(), (std::multiset{&scripted.buffer, &held}));
    scripted.capture.reset();
    EXPECT_EQ(scripted.returned(), (std::multiset{&scripted.buffer, &held, &newer}));
}

TEST(ViewerPipeWireCaptureBuffer, WhatABrokenPictureSaidIsNotMissed) {
    ScriptedCapture scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    scripted.show(red);
    scripted.tellChange(0, 0, 2, 2);
    scripted.chunk.flags = SPA_CHUNK_FLAG_CORRUPTED;
    scripted.show(blue);
    ASSERT_EQ(scripted.delivered, red);

    scripted.tellChange(10, 10, 2, 2);
    scripted.chunk.flags = SPA_CHUNK_FLAG_NONE;
    scripted.show(blue);
    scripted.passTime();

    EXPECT_EQ(scripted.delivered, blue);
}

TEST(ViewerPipeWireCaptureBuffer, WhatAPictureThatCannotBeReadSaidIsNotMissed) {
    ScriptedCapture scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    scripted.show(red);
    scripted.tellChange(0, 0, 2, 2);
    --scripted.chunk.stride;
    scripted.show(blue);
    ASSERT_EQ(scripted.delivered, red);

    scripted.tellChange(10, 10, 2, 2);
    ++scripted.chunk.stride;
    scripted.show(blue);
    scripted.passTime();

    EXPECT_EQ(scripted.delivered, blue);
}

TEST(ViewerPipeWireCaptureBuffer, TheFirstPictureOfAFormatIsTakenWhole) {
    ScriptedCapture scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    scripted.show(red);

    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.tellChange(10, 10, 2, 2);
    scripted.show(blue);
    scripted.passTime();

    EXPECT_EQ(scripted.delivered, blue);
}

}  // namespace
}  // namespace velmora
