#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "tests/capture/linux/wayland/pipewire/CapturedNode.h"
#include "tests/support/pipewire/ScriptedPipeWireSource.h"

namespace velmora {
namespace {

using Picture = ScriptedPipeWireSource::Picture;
using Seen = StreamRecorder::Picture;

constexpr std::uint32_t red = 0xff0000;
constexpr std::uint32_t blue = 0x0000ff;
constexpr ViewerRectangle left{0, 0, 32, 48};
constexpr ViewerRectangle right{32, 0, 32, 48};

/// A picture of two halves.
ScriptedPipeWireSource::Painting halves(std::uint32_t first, std::uint32_t second) {
    return [first, second](std::int64_t x, std::int64_t) { return x < 32 ? first : second; };
}

StreamRecorder::Judgement isHalves(std::uint32_t first, std::uint32_t second) {
    return [first, second](const Seen& picture) {
        return picture.at(0, 0) == first && picture.at(63, 47) == second;
    };
}

/// A red screen whose first picture was delivered.
struct Cast final {
    Cast() {
        EXPECT_TRUE(node.start());
        EXPECT_TRUE(screen.send(red));
        EXPECT_TRUE(node.recorder().waitForPicture(isHalves(red, red)));
    }

    bool send(const ScriptedPipeWireSource::Painting& painting,
              std::vector<ViewerRectangle> damage) {
        return screen.send(Picture{painting, std::move(damage)});
    }

    PipeWireServer server;
    ScriptedPipeWireSource screen{server};
    RemoteOnLoop remote{server};
    CapturedNode node{remote, screen.node()};
};

TEST(ViewerPipeWireStreamDamage, OnlyWhatIsSaidToHaveChangedIsRenewedAtOnce) {
    Cast cast;

    ASSERT_TRUE(cast.send(halves(blue, blue), {right}));

    EXPECT_TRUE(cast.node.recorder().waitForPicture(isHalves(red, blue)));
}

TEST(ViewerPipeWireStreamDamage, AChangeThatNobodyTellsOfIsFoundOnAStillScreen) {
    Cast cast;

    ASSERT_TRUE(cast.send(halves(blue, red), {right}));

    EXPECT_TRUE(cast.node.recorder().waitForPicture(isHalves(blue, red)));
}

TEST(ViewerPipeWireStreamDamage, WhatPicturesSaidThatWereNeverShownCountsAsWell) {
    Cast cast;

    // Faster than pictures are delivered, so that all but the last are passed over.
    ASSERT_TRUE(cast.send(halves(blue, red), {left}));
    ASSERT_TRUE(cast.send(halves(blue, blue), {right}));
    ASSERT_TRUE(cast.send(halves(blue, blue), {{0, 0, 1, 1}}));

    ASSERT_TRUE(cast.node.recorder().waitForPicture(isHalves(blue, blue)));
    EXPECT_LE(cast.node.recorder().frames(), 3U);
}

TEST(ViewerPipeWireStreamDamage, APictureThatTellsNothingIsTakenWhole) {
    Cast cast;

    ASSERT_TRUE(cast.send(halves(blue, blue), {}));

    EXPECT_TRUE(cast.node.recorder().waitForPicture(isHalves(blue, blue)));
    EXPECT_EQ(cast.node.recorder().frames(), 2U);
}

TEST(ViewerPipeWireStreamDamage, ARegionOutsideThePictureMakesItTakenWhole) {
    Cast cast;

    ASSERT_TRUE(cast.send(halves(blue, blue), {{32, 32, 32, 48}}));

    EXPECT_TRUE(cast.node.recorder().waitForPicture(isHalves(blue, blue)));
    EXPECT_EQ(cast.node.recorder().frames(), 2U);
}

TEST(ViewerPipeWireStreamDamage, ABrokenPictureMakesTheNextOneTakenWhole) {
    Cast cast;
    Picture broken{halves(blue, red), {left}};
    broken.headerFlags = SPA_META_HEADER_FLAG_CORRUPTED;

    ASSERT_TRUE(cast.screen.send(broken));
    ASSERT_TRUE(cast.send(halves(blue, blue), {right}));

    EXPECT_TRUE(cast.node.recorder().waitForPicture(isHalves(blue, blue)));
    EXPECT_EQ(cast.node.recorder().frames(), 2U);
}

TEST(ViewerPipeWireStreamDamage, AnotherPartShownIsTakenWhole) {
    Cast cast;
    Picture picture{halves(red, blue), {{0, 0, 1, 1}}};
    picture.crop = ViewerRectangle{16, 0, 40, 48};
    ASSERT_TRUE(cast.screen.send(picture));
    ASSERT_TRUE(cast.node.recorder().waitForPicture([](const Seen& seen) {
        return seen.width == 40 && seen.at(15, 0) == red && seen.at(16, 0) == blue;
    }));

    picture.crop = ViewerRectangle{20, 0, 40, 48};
    ASSERT_TRUE(cast.screen.send(picture));

    EXPECT_TRUE(cast.node.recorder().waitForPicture(
        [](const Seen& seen) { return seen.at(11, 0) == red && seen.at(12, 0) == blue; }));
    EXPECT_EQ(cast.node.recorder().frames(), 3U);
}

}  // namespace
}  // namespace velmora
