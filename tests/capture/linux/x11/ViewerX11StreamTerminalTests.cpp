#include <gtest/gtest.h>

#include <optional>

#include "tests/capture/linux/x11/CapturedMonitor.h"

namespace velmora {
namespace {

constexpr const char* hasTerminal = "XFree86_has_VT";
constexpr ViewerRectangle screen{0, 0, 1280, 720};

bool showsBlue(CapturedMonitor& monitor) {
    return monitor.recorder().waitForPicture(
        [](const StreamRecorder::Picture& picture) { return picture.isAll(0x0000ff); });
}

TEST(ViewerX11StreamTerminal, SwitchedAwayGivesOneStopNotice) {
    const XServer server;
    const auto client = server.connect();
    client->setRootProperty(hasTerminal, 1);
    CapturedMonitor monitor(server);
    ASSERT_TRUE(monitor.begin());

    client->setRootProperty(hasTerminal, 0);

    EXPECT_TRUE(monitor.recorder().waitForStop());
    EXPECT_TRUE(monitor.stop());
    EXPECT_EQ(monitor.recorder().stops(), 1U);
}

TEST(ViewerX11StreamTerminal, SwitchedAwayItFailsAStartUntilItIsBack) {
    const XServer server;
    const auto client = server.connect();
    client->setRootProperty(hasTerminal, 0);
    CapturedMonitor away(server);
    EXPECT_FALSE(away.start());
    EXPECT_EQ(away.recorder().stops() + away.recorder().frames(), 0U);

    client->setRootProperty(hasTerminal, 1);

    CapturedMonitor back(server);
    EXPECT_TRUE(back.begin());
}

TEST(ViewerX11StreamTerminal, ANoticeThatItIsThereChangesNothing) {
    const XServer server;
    XPainter painter(server);
    const auto client = server.connect();
    CapturedMonitor monitor(server);
    ASSERT_TRUE(monitor.begin());

    client->setRootProperty(hasTerminal, 1);
    client->setRootProperty(hasTerminal, std::nullopt);
    client->setRootProperty("_SOMETHING_ELSE", 0);
    painter.fill(screen, 0x0000ff);

    EXPECT_TRUE(showsBlue(monitor));
    EXPECT_EQ(monitor.recorder().stops(), 0U);
}

TEST(ViewerX11StreamTerminal, TheMonitorsAreWatchedAllTheSame) {
    XServer server;
    server.setMonitor("a", {0, 0, 640, 720}, "screen");
    server.setMonitor("b", {640, 0, 640, 720});
    CapturedMonitor monitor(server, "b");
    ASSERT_TRUE(monitor.begin());

    server.deleteMonitor("b");

    EXPECT_TRUE(monitor.recorder().waitForStop());
}

}  // namespace
}  // namespace velmora
