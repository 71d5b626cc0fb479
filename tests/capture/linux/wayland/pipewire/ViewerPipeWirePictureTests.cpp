#include "core/capture/linux/wayland/pipewire/ViewerPipeWirePicture.h"

#include <gtest/gtest.h>
#include <spa/param/video/raw.h>

#include <array>
#include <cstdint>
#include <vector>

namespace velmora {
namespace {

using Instant = ViewerPipeWirePicture::Instant;
using Outcome = ViewerPipeWirePicture::Outcome;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds frameInterval{40};
constexpr std::int64_t side = 20;
const Instant start{std::chrono::hours(1)};

/// A small screen in memory, and the picture of it.
struct Screen final {
    Screen() { pixels.fill(1); }

    ViewerPipeWireFrame frame(std::vector<ViewerRectangle> damage) const {
        ViewerPipeWireFrame result;
        result.kind = ViewerPipeWireFrame::Kind::picture;
        result.pixels = reinterpret_cast<const std::uint8_t*>(pixels.data());
        result.bytesPerRow = side * sizeof(std::uint32_t);
        result.shown = {0, 0, side, side};
        if (!damage.empty()) {
            result.damage = std::move(damage);
        }
        return result;
    }
    /// A newer frame comes and what is due is done.
    Outcome show(Instant now, std::vector<ViewerRectangle> damage = {}) {
        const ViewerPipeWireFrame newest = frame(std::move(damage));
        picture.notice(newest, format, now);
        return picture.act(newest, now);
    }
    std::uint32_t& at(std::int64_t x, std::int64_t y) {
        return pixels.at(static_cast<std::size_t>(y * side + x));
    }
    std::uint32_t seen(std::int64_t x, std::int64_t y) {
        const auto* const row = reinterpret_cast<const std::uint32_t*>(
            picture.pixels().pixels + static_cast<std::size_t>(y) * picture.pixels().bytesPerRow);
        return row[x] & 0xffffff;
    }

    ViewerPipeWireFormat format{SPA_VIDEO_FORMAT_BGRx, side, side};
    std::array<std::uint32_t, side * side> pixels{};
    ViewerPipeWirePicture picture{frameInterval};
};

TEST(ViewerPipeWirePicture, TheFirstFrameIsTakenWholeAndNotNeededAnyMore) {
    Screen screen;

    const Outcome outcome = screen.show(start, {{0, 0, 1, 1}});

    EXPECT_TRUE(outcome.isDifferent);
    EXPECT_FALSE(outcome.next.has_value());
    EXPECT_EQ(screen.seen(19, 19), 1U);
}

TEST(ViewerPipeWirePicture, AnIsolatedChangeIsShownAtOnceAndTheNextOneAfterTheInterval) {
    Screen screen;
    (void)screen.show(start);
    const Instant change = start + seconds(5);

    screen.at(3, 3) = 2;
    EXPECT_TRUE(screen.show(change).isDifferent);
    screen.at(3, 3) = 3;
    const Outcome early = screen.show(change + milliseconds(1));
    EXPECT_FALSE(early.isDifferent);
    EXPECT_EQ(early.next, change + frameInterval);

    EXPECT_TRUE(screen.picture.act(screen.frame({}), change + frameInterval).isDifferent);
    EXPECT_EQ(screen.seen(3, 3), 3U);
}

TEST(ViewerPipeWirePicture, AnEqualFrameIsNoOtherPicture) {
    Screen screen;
    (void)screen.show(start);

    EXPECT_FALSE(screen.show(start + seconds(1)).isDifferent);
}

TEST(ViewerPipeWirePicture, AnotherPartOfEqualSizeIsTakenWholeAtOnce) {
    Screen screen;
    screen.at(19, 5) = 2;
    const auto showPart = [&](std::int64_t x, Instant now) {
        ViewerPipeWireFrame part = screen.frame({{x, 0, 1, 1}});
        part.shown = {x, 0, side - 2, side};
        screen.picture.notice(part, screen.format, now);
        return screen.picture.act(part, now);
    };
    (void)showPart(0, start);

    EXPECT_TRUE(showPart(2, start + seconds(1)).isDifferent);
    EXPECT_EQ(screen.seen(17, 5), 2U);
}

TEST(ViewerPipeWirePicture, WhatChangedIsToldOfTheWholeFrameAndSeenInThePartThatIsShown) {
    Screen screen;
    const auto showPart = [&](Instant now) {
        ViewerPipeWireFrame part = screen.frame({{9, 14, 1, 1}});
        part.shown = {4, 8, 8, 8};
        screen.picture.notice(part, screen.format, now);
        return screen.picture.act(part, now);
    };
    (void)showPart(start);
    screen.at(9, 14) = 2;

    EXPECT_TRUE(showPart(start + seconds(1)).isDifferent);
    EXPECT_EQ(screen.seen(5, 6), 2U);
}

TEST(ViewerPipeWirePicture, WhatPassedOverFramesSaidIsRenewedToo) {
    Screen screen;
    (void)screen.show(start);
    screen.at(3, 3) = 2;
    (void)screen.show(start + milliseconds(1), {{3, 3, 1, 1}});
    screen.at(9, 9) = 2;
    (void)screen.show(start + milliseconds(2), {{9, 9, 1, 1}});

    EXPECT_TRUE(
        screen.picture.act(screen.frame({{9, 9, 1, 1}}), start + frameInterval).isDifferent);

    EXPECT_EQ(screen.seen(3, 3), 2U);
    EXPECT_EQ(screen.seen(9, 9), 2U);
}

TEST(ViewerPipeWirePicture, AFrameThatChangedInPartIsNeededUntilAllOfItWasCompared) {
    Screen screen;
    (void)screen.show(start);
    screen.at(3, 3) = 2;
    Outcome outcome = screen.show(start + seconds(10), {{3, 3, 1, 1}});
    ASSERT_TRUE(outcome.isDifferent);

    int looks = 0;
    while (outcome.next) {
        ++looks;
        outcome = screen.picture.act(screen.frame({{3, 3, 1, 1}}), *outcome.next);
        EXPECT_FALSE(outcome.isDifferent);
    }

    EXPECT_GE(looks, 9);
    EXPECT_LE(looks, 10);
}

TEST(ViewerPipeWirePicture, AChangeThatNothingToldOfIsFoundInTheNewestFrame) {
    Screen screen;
    (void)screen.show(start);
    screen.at(3, 3) = 2;
    screen.at(17, 17) = 2;
    Outcome outcome = screen.show(start + seconds(10), {{3, 3, 1, 1}});
    ASSERT_EQ(screen.seen(17, 17), 1U);

    bool isFound = false;
    while (outcome.next) {
        outcome = screen.picture.act(screen.frame({{3, 3, 1, 1}}), *outcome.next);
        isFound = isFound || outcome.isDifferent;
    }

    EXPECT_TRUE(isFound);
    EXPECT_EQ(screen.seen(17, 17), 2U);
}

TEST(ViewerPipeWirePicture, WhatIsDistrustedIsTakenWhole) {
    Screen screen;
    (void)screen.show(start);
    screen.at(17, 17) = 2;

    screen.picture.distrust();

    EXPECT_TRUE(screen.show(start + seconds(1), {{3, 3, 1, 1}}).isDifferent);
    EXPECT_EQ(screen.seen(17, 17), 2U);
}

TEST(ViewerPipeWirePicture, AnotherFormatDoesNotComeBeforeTheInterval) {
    Screen screen;
    (void)screen.show(start);
    screen.format.pixels = SPA_VIDEO_FORMAT_RGBx;

    const Outcome outcome = screen.show(start + milliseconds(1));

    EXPECT_FALSE(outcome.isDifferent);
    EXPECT_EQ(outcome.next, start + frameInterval);
    EXPECT_TRUE(screen.picture.act(screen.frame({}), start + frameInterval).isDifferent);
    EXPECT_EQ(screen.seen(0, 0), 0x010000U);
}

}  // namespace
}  // namespace velmora
