#include "core/capture/linux/wayland/pipewire/ViewerPipeWireCapture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "tests/capture/linux/wayland/pipewire/CapturedNode.h"
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

}  // namespace
}  // namespace velmora
