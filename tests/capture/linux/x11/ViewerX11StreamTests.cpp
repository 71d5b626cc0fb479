#include "core/capture/linux/x11/ViewerX11Stream.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/capture/linux/x11/CapturedMonitor.h"
#include "tests/capture/linux/x11/X11Waiting.h"

namespace velmora {
namespace {

constexpr std::uint32_t red = 0xff0000;
constexpr std::uint32_t green = 0x00ff00;
constexpr std::uint32_t blue = 0x0000ff;

XServer::Options sized(int width, int height) {
    XServer::Options options;
    options.width = width;
    options.height = height;
    return options;
}

/// Whether the first frame of a screen full of noise is the reduced screen.
void expectTheScreenReduced(const XServer::Options& options) {
    const XServer server(options);
    XPainter painter(server);
    const ViewerRectangle screen{0, 0, options.width, options.height};
    painter.put(screen, noise(1, static_cast<std::size_t>(screen.area())));
    CapturedMonitor monitor(server);

    ASSERT_TRUE(monitor.begin());

    EXPECT_TRUE(isNearly(monitor.recorder().latest(), reducedScreen(painter, screen)));
    EXPECT_TRUE(monitor.recorder().isClean());
}

TEST(ViewerX11Stream, AFrameIsWholeAndOfTheReducedSize) {
    const XServer server;
    CapturedMonitor monitor(server);

    ASSERT_TRUE(monitor.begin());

    EXPECT_EQ(monitor.recorder().latest().width, 640);
    EXPECT_EQ(monitor.recorder().latest().height, 360);
    EXPECT_TRUE(monitor.recorder().isClean());
}

TEST(ViewerX11Stream, TheFirstFrameIsTheScreenReducedAtAWholeRatio) {
    expectTheScreenReduced(sized(1280, 720));
}

TEST(ViewerX11Stream, TheFirstFrameIsTheScreenReducedAtABrokenRatio) {
    expectTheScreenReduced(sized(1366, 768));
    expectTheScreenReduced(sized(1000, 999));
}

TEST(ViewerX11Stream, ASmallScreenIsNotReduced) {
    expectTheScreenReduced(sized(640, 360));
    expectTheScreenReduced(sized(213, 101));
}

TEST(ViewerX11Stream, ALargeScreenIsFetchedInManyBands) {
    expectTheScreenReduced(sized(3840, 2160));
}

TEST(ViewerX11Stream, AVeryWideScreenIsFetchedInPartsOfARow) {
    expectTheScreenReduced(sized(16384, 64));
}

TEST(ViewerX11Stream, WithoutSharedMemoryTheFramesAreTheSame) {
    XServer::Options options = sized(1366, 768);
    options.arguments = {"-extension", "MIT-SHM"};
    expectTheScreenReduced(options);
}

TEST(ViewerX11Stream, EachMonitorIsCapturedFromItsOwnPlace) {
    XServer server;
    server.setMonitor("left", {0, 0, 600, 720}, "screen");
    server.setMonitor("right", {600, 100, 680, 500});
    XPainter painter(server);
    painter.fill({0, 0, 1280, 720}, green);
    painter.fill({0, 0, 600, 720}, red);
    painter.fill({600, 100, 680, 500}, blue);
    CapturedMonitor left(server, "left");
    CapturedMonitor right(server, "right");

    ASSERT_TRUE(left.begin());
    ASSERT_TRUE(right.begin());

    EXPECT_TRUE(left.recorder().latest().isAll(red));
    EXPECT_TRUE(right.recorder().latest().isAll(blue));
}

TEST(ViewerX11Stream, AChangeOfAPartArrivesAtItsPlace) {
    const XServer server;
    XPainter painter(server);
    painter.fill({0, 0, 1280, 720}, red);
    CapturedMonitor monitor(server);
    ASSERT_TRUE(monitor.begin());

    painter.fill({200, 100, 20, 10}, blue);

    ASSERT_TRUE(monitor.recorder().waitForFrames(2));
    EXPECT_TRUE(isNearly(monitor.recorder().latest(), reducedScreen(painter, {0, 0, 1280, 720})));
}

TEST(ViewerX11Stream, AChangeOfOneColourAloneArrives) {
    const XServer server(sized(64, 48));
    XPainter painter(server);
    painter.fill({0, 0, 64, 48}, 0x102030);
    CapturedMonitor monitor(server);
    ASSERT_TRUE(monitor.begin());
    for (const std::uint32_t colour : {0x902030U, 0x90a030U, 0x90a0b0U}) {
        painter.fill({0, 0, 64, 48}, colour);
        EXPECT_TRUE(monitor.recorder().waitForPicture([&](const StreamRecorder::Picture& picture) {
            return picture.isAll(colour);
        })) << std::hex
            << colour;
    }
}

TEST(ViewerX11Stream, ManySmallChangesMakeTheSamePictureAsAWholeCapture) {
    const XServer server(sized(1366, 768));
    XPainter painter(server);
    CapturedMonitor monitor(server);
    ASSERT_TRUE(monitor.begin());
    for (std::uint32_t seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 engine(seed);
        const auto below = [&](std::int64_t bound) {
            return static_cast<std::int64_t>(engine()) % bound;
        };
        for (std::int64_t count = below(30); count > 0; --count) {
            const ViewerRectangle area{below(1366), below(768), 1 + below(100), 1 + below(50)};
            painter.fill(area, static_cast<std::uint32_t>(below(0x1000000)));
        }
        painter.copy({100, 100, 400, 200}, below(900), below(500));

        const StreamRecorder::Picture expected = reducedScreen(painter, {0, 0, 1366, 768});
        EXPECT_TRUE(monitor.recorder().waitForPicture(
            [&](const StreamRecorder::Picture& picture) { return isNearly(picture, expected); }));
    }
}

TEST(ViewerX11Stream, AStillScreenGivesNoFrames) {
    const XServer server;
    CapturedMonitor monitor(server);
    ASSERT_TRUE(monitor.begin());

    EXPECT_TRUE(monitor.recorder().staysStill(std::chrono::milliseconds(2500)));
}

TEST(ViewerX11Stream, WhatIsPaintedAsItWasGivesNoFrame) {
    const XServer server;
    XPainter painter(server);
    painter.fill({0, 0, 1280, 720}, green);
    CapturedMonitor monitor(server);
    ASSERT_TRUE(monitor.begin());

    painter.fill({0, 0, 1280, 720}, green);

    EXPECT_TRUE(monitor.recorder().staysStill(std::chrono::milliseconds(300)));
}

TEST(ViewerX11Stream, AChangeOnAnotherMonitorGivesNoFrame) {
    XServer server;
    server.setMonitor("left", {0, 0, 640, 720}, "screen");
    server.setMonitor("right", {640, 0, 640, 720});
    XPainter painter(server);
    CapturedMonitor left(server, "left");
    ASSERT_TRUE(left.begin());

    painter.fill({640, 0, 640, 720}, red);

    EXPECT_TRUE(left.recorder().staysStill(std::chrono::milliseconds(300)));
}

TEST(ViewerX11Stream, AChangeIsCapturedWhenTheServerTellsOfIt) {
    const XServer server(sized(64, 48));
    XPainter painter(server);
    CapturedMonitor monitor(server);
    ASSERT_TRUE(monitor.begin());
    const auto begin = std::chrono::steady_clock::now();
    constexpr std::size_t changes = 20;

    for (std::size_t change = 1; change <= changes; ++change) {
        painter.fill({0, 0, 64, 48}, change % 2 == 0 ? red : blue);
        ASSERT_TRUE(monitor.recorder().waitForFrames(1 + change));
    }

    // Otherwise each would have to wait for the comparison that is made every second.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, changes * std::chrono::milliseconds(500));
}

TEST(ViewerX11Stream, ConstantChangeGivesAtMost25FramesASecond) {
    // Small, so that only the interval keeps the frames apart.
    const XServer server(sized(64, 48));
    XPainter painter(server);
    CapturedMonitor monitor(server);
    ASSERT_TRUE(monitor.begin());
    const auto begin = std::chrono::steady_clock::now();
    constexpr std::size_t frames = 40;

    for (std::uint32_t colour = 0; monitor.recorder().frames() < frames; ++colour) {
        ASSERT_LT(std::chrono::steady_clock::now() - begin, StreamRecorder::patience);
        painter.fill({0, 0, 64, 48}, colour * 77);
    }

    const auto duration = std::chrono::steady_clock::now() - begin;
    // The first interval may already have begun, and a frame may be delivered a little late.
    EXPECT_GE(duration, (frames - 3) * std::chrono::milliseconds(40));
}

TEST(ViewerX11Stream, FramesComeOnAThreadNamedAfterTheQueue) {
    const XServer server;
    CapturedMonitor monitor(server);
    ASSERT_TRUE(monitor.begin());

    EXPECT_EQ(monitor.recorder().threads().front(), "capture.7");
}

TEST(ViewerX11Stream, AThreadsNameIsTheBeginningOfALabelWithoutShortParts) {
    const XServer server;
    CapturedMonitor monitor(server);
    const auto recorder = std::make_shared<StreamRecorder>();
    ASSERT_TRUE(monitor.stream().addOutput(recorder, "capture.aLabelOfOneLongPart"));
    ASSERT_TRUE(monitor.start());
    ASSERT_TRUE(recorder->waitForFrames(1));

    EXPECT_EQ(recorder->threads().front(), "aLabelOfOneLong");
}

}  // namespace
}  // namespace velmora
