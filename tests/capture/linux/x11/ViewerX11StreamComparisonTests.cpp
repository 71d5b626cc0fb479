#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "tests/capture/linux/x11/CapturedMonitor.h"
#include "tests/capture/linux/x11/XFramebuffer.h"

// The server's word about changes is only a hint: a tenth of the rows is looked at each second.

namespace velmora {
namespace {

constexpr std::uint32_t red = 0xff0000;
constexpr std::uint32_t blue = 0x0000ff;
constexpr ViewerRectangle screen{0, 0, 1280, 720};

TEST(ViewerX11StreamComparison, FindsAChangeThatNobodyReported) {
    XFramebuffer framebuffer({});
    framebuffer.fill(screen, red);
    CapturedMonitor monitor(framebuffer.server());
    ASSERT_TRUE(monitor.begin());

    framebuffer.fill(screen, blue);

    EXPECT_TRUE(monitor.recorder().waitForPicture(
        [](const StreamRecorder::Picture& picture) { return picture.isAll(blue); }));
}

TEST(ViewerX11StreamComparison, FindsAChangeOfOneColourAlone) {
    XServer::Options options;
    options.width = 64;
    options.height = 1;
    XFramebuffer framebuffer(options);
    framebuffer.fill({0, 0, 64, 1}, 0x102030);
    CapturedMonitor monitor(framebuffer.server());
    ASSERT_TRUE(monitor.begin());
    std::size_t frames = 1;
    for (const std::uint32_t colour : {0x902030U, 0x90a030U, 0x90a0b0U}) {
        framebuffer.fill({0, 0, 64, 1}, colour);
        EXPECT_TRUE(monitor.recorder().waitForFrames(++frames)) << std::hex << colour;
    }
}

TEST(ViewerX11StreamComparison, OneFindingRenewsTheWholePicture) {
    XFramebuffer framebuffer({});
    framebuffer.fill(screen, red);
    CapturedMonitor monitor(framebuffer.server());
    ASSERT_TRUE(monitor.begin());

    // In the fourth tenth, which is looked at first, and in the last one.
    framebuffer.fill({400, 230, 4, 4}, blue);
    framebuffer.fill({1000, 700, 20, 20}, blue);

    ASSERT_TRUE(monitor.recorder().waitForFrames(2));
    EXPECT_EQ(monitor.recorder().latest().at(201, 116), blue);
    EXPECT_EQ(monitor.recorder().latest().at(505, 355), blue);
}

TEST(ViewerX11StreamComparison, EveryRowHasItsTurn) {
    XServer::Options options;
    options.width = 64;
    options.height = 3;
    XFramebuffer framebuffer(options);
    framebuffer.fill({0, 0, 64, 3}, red);
    CapturedMonitor monitor(framebuffer.server());
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(monitor.begin());

    framebuffer.fill({0, 2, 64, 1}, blue);

    EXPECT_TRUE(monitor.recorder().waitForFrames(2));
    // The third second is the third row's.
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3));
}

TEST(ViewerX11StreamComparison, FollowsWhatIsNeverReportedOnceItHasFoundSome) {
    // Small, so that only the intervals take time.
    XServer::Options options;
    options.width = 64;
    options.height = 48;
    constexpr ViewerRectangle smallScreen{0, 0, 64, 48};
    XFramebuffer framebuffer(options);
    framebuffer.fill(smallScreen, red);
    CapturedMonitor monitor(framebuffer.server());
    ASSERT_TRUE(monitor.begin());
    framebuffer.fill(smallScreen, blue);
    ASSERT_TRUE(monitor.recorder().waitForFrames(2));
    const auto begin = std::chrono::steady_clock::now();
    constexpr std::uint32_t changes = 20;

    for (std::uint32_t change = 1; change <= changes; ++change) {
        const std::uint32_t colour = change * 0x0a0000;
        framebuffer.fill(smallScreen, colour);
        ASSERT_TRUE(monitor.recorder().waitForPicture(
            [&](const StreamRecorder::Picture& picture) { return picture.isAll(colour); }));
    }

    // A comparison a second would take as many seconds.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(changes / 2));
}

TEST(ViewerX11StreamComparison, WorksWhileOtherPlacesChangeAndAreReported) {
    XFramebuffer framebuffer({});
    XPainter painter(framebuffer.server());
    painter.fill(screen, red);
    CapturedMonitor monitor(framebuffer.server());
    ASSERT_TRUE(monitor.begin());

    framebuffer.fill({0, 0, 640, 720}, blue);

    const auto end = std::chrono::steady_clock::now() + StreamRecorder::patience;
    for (std::uint32_t colour = 0; monitor.recorder().latest().at(0, 359) != blue; ++colour) {
        ASSERT_LT(std::chrono::steady_clock::now(), end);
        painter.fill({1000, 0, 100, 720}, colour * 77);
    }
}

TEST(ViewerX11StreamComparison, IsAllThereIsOnAServerThatReportsNothing) {
    XServer::Options options;
    options.arguments = {"-extension", "DAMAGE"};
    const XServer server(options);
    XPainter painter(server);
    CapturedMonitor monitor(server);
    ASSERT_TRUE(monitor.begin());

    painter.fill(screen, blue);

    EXPECT_TRUE(monitor.recorder().waitForPicture(
        [](const StreamRecorder::Picture& picture) { return picture.isAll(blue); }));
}

}  // namespace
}  // namespace velmora
