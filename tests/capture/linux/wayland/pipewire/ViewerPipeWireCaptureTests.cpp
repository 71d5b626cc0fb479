#include "core/capture/linux/wayland/pipewire/ViewerPipeWireCapture.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/capture/linux/wayland/pipewire/CapturedNode.h"
#include "tests/support/pipewire/ScriptedPipeWire.h"
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

/// A screen whose capture has begun, on a PipeWire that tells what a test says.
struct Scripted final {
    static constexpr std::uint32_t side = 20;
    static constexpr std::uint64_t serial = 10;

    Scripted() : Scripted(ScriptedPipeWire::Refusals()) {}
    explicit Scripted(ScriptedPipeWire::Refusals refusals) : pipeWire(refusals) {
        pipeWire.addNode(1, std::to_string(serial).c_str());
        isConnected = capture->connect();
    }

    /// The stream has this format from now on.
    void fix(spa_video_format pixelFormat) { tell(SPA_PARAM_Format, pixelFormat); }
    void tell(std::uint32_t id, spa_video_format pixelFormat) {
        alignas(std::uint64_t) std::array<std::uint8_t, 1024> memory{};
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
        spa_video_info_raw info{};
        info.format = pixelFormat;
        info.size = {side, side};
        pipeWire.tellParameter(id, spa_format_video_raw_build(&builder, id, &info));
    }
    void show(std::uint32_t colour) {
        pixels.fill(colour);
        pipeWire.bring(buffer);
    }

    int deliveries = 0;
    int ends = 0;
    ScriptedPipeWire pipeWire;
    ViewerPipeWireConnection connection{pipeWire.library(), pipeWire.loop(), -1};
    std::optional<ViewerPipeWireCapture> capture{
        std::in_place, connection, serial, std::chrono::milliseconds(40),
        ViewerPipeWireCapture::Handlers{
            .deliver = [this](const ViewerPixelBuffer&) { ++deliveries; },
            .fallSilent = [] {},
            .end = [this] { ++ends; }}};
    bool isConnected = false;
    std::array<std::uint32_t, std::size_t{side} * side> pixels{};
    spa_chunk chunk{0, sizeof pixels, side * sizeof(std::uint32_t), 0};
    spa_data data{SPA_DATA_MemPtr, 0, -1, 0, sizeof pixels, pixels.data(), &chunk};
    spa_buffer content{0, 1, nullptr, &data};
    pw_buffer buffer{&content, nullptr, 0, 0};
};

TEST(ViewerPipeWireCapture, AStreamThatShowsSomethingBeforeItRunsIsNotSilent) {
    Scripted scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    scripted.show(red);
    ASSERT_EQ(scripted.deliveries, 1);

    scripted.pipeWire.tellState(PW_STREAM_STATE_STREAMING);

    EXPECT_EQ(scripted.pipeWire.timer().tv_sec, 0) << "there is nothing to wait for";
    EXPECT_EQ(scripted.pipeWire.timer().tv_nsec, 0);
}

TEST(ViewerPipeWireCapture, AFormatThatCannotBeReadIsItsEnd) {
    Scripted scripted;

    scripted.fix(SPA_VIDEO_FORMAT_I420);

    EXPECT_EQ(scripted.ends, 1);
}

TEST(ViewerPipeWireCapture, WhatIsToldOfOtherThingsIsNoFormat) {
    Scripted scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);

    scripted.tell(SPA_PARAM_EnumFormat, SPA_VIDEO_FORMAT_I420);
    scripted.pipeWire.tellParameter(SPA_PARAM_Props, nullptr);
    scripted.show(red);

    EXPECT_EQ(scripted.deliveries, 1);
    EXPECT_EQ(scripted.ends, 0);
}

TEST(ViewerPipeWireCapture, APictureWithoutAFormatIsGivenBackUnread) {
    Scripted scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    scripted.pipeWire.tellParameter(SPA_PARAM_Format, nullptr);

    scripted.show(red);
    scripted.show(red);

    EXPECT_EQ(scripted.deliveries, 0);
    EXPECT_EQ(scripted.pipeWire.returned(), std::vector{&scripted.buffer});
}

TEST(ViewerPipeWireCapture, ABufferThatNothingHasToldOfIsGivenBackUnread) {
    Scripted scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);

    scripted.show(red);
    scripted.show(red);

    EXPECT_EQ(scripted.deliveries, 0);
    EXPECT_EQ(scripted.pipeWire.returned(), std::vector{&scripted.buffer});
}

TEST(ViewerPipeWireCapture, OneWithoutATimerIsRefusedAndEndsAllTheSame) {
    Scripted scripted({.timers = true});
    EXPECT_FALSE(scripted.isConnected);

    scripted.connection.lose();

    EXPECT_EQ(scripted.ends, 1);
    EXPECT_EQ(scripted.pipeWire.wrongTimers(), 0U);
}

TEST(ViewerPipeWireCapture, APictureThatComesAfterItsEndIsNotRead) {
    Scripted scripted;
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

TEST(ViewerPipeWireCapture, APictureThatIsDueAtItsEndIsNotDelivered) {
    Scripted scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    scripted.pipeWire.tellState(PW_STREAM_STATE_STREAMING);
    scripted.show(red);
    scripted.show(blue);
    const timespec due = scripted.pipeWire.timer();
    const int deliveries = scripted.deliveries;
    const auto dueIn = std::chrono::seconds(due.tv_sec) + std::chrono::nanoseconds(due.tv_nsec);
    while (std::chrono::steady_clock::now().time_since_epoch() < dueIn) {
        ::poll(nullptr, 0, 1);
    }

    scripted.pipeWire.removeNode(1);
    scripted.pipeWire.expireTimer();

    EXPECT_EQ(scripted.ends, 1);
    EXPECT_EQ(scripted.deliveries, deliveries);
}

TEST(ViewerPipeWireCapture, WhatIsStillToBeLookedAtIsGivenBackAtTheEnd) {
    Scripted scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    pw_buffer unread = scripted.buffer;
    scripted.pipeWire.addBuffer(unread);
    scripted.show(red);
    scripted.pipeWire.removeNode(1);
    scripted.pipeWire.bring(unread);

    scripted.capture.reset();

    EXPECT_EQ(std::set(scripted.pipeWire.returned().begin(), scripted.pipeWire.returned().end()),
              (std::set{&scripted.buffer, &unread}));
}

TEST(ViewerPipeWireCapture, ABufferThatIsTakenAwayIsNotGivenBack) {
    Scripted scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    pw_buffer next = scripted.buffer;
    scripted.pipeWire.addBuffer(next);
    scripted.show(red);

    scripted.pipeWire.removeBuffer(scripted.buffer);
    scripted.pipeWire.bring(next);

    EXPECT_TRUE(scripted.pipeWire.returned().empty());
}

TEST(ViewerPipeWireCapture, APictureThatNobodyHasReadGoesWithItsBuffer) {
    Scripted scripted;
    scripted.fix(SPA_VIDEO_FORMAT_BGRx);
    scripted.pipeWire.addBuffer(scripted.buffer);
    scripted.pipeWire.removeNode(1);
    scripted.show(red);

    scripted.pipeWire.removeBuffer(scripted.buffer);
    scripted.capture.reset();

    EXPECT_TRUE(scripted.pipeWire.returned().empty());
}

}  // namespace
}  // namespace velmora
