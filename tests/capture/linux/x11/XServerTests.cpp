#include "tests/support/x11/XServer.h"

#include <gtest/gtest.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/x11/XPainter.h"

namespace velmora {

namespace {

constexpr std::uint32_t red = 0xff0000;
constexpr std::uint32_t blue = 0x0000ff;

/// Whether a client that has no cookie is let in.
bool isOpen(const std::string& displayName) {
    xcb_connection_t* connection = ::xcb_connect(displayName.c_str(), nullptr);
    const bool result = ::xcb_connection_has_error(connection) == 0;
    ::xcb_disconnect(connection);
    return result;
}

XServer::Options xorg() {
    XServer::Options options;
    options.kind = XServer::Kind::xorg;
    return options;
}

}  // namespace

TEST(XServer, HasTheSizeThatWasAskedFor) {
    XServer::Options options;
    options.width = 640;
    options.height = 480;
    const XServer xvfb(options);
    options.kind = XServer::Kind::xorg;
    const XServer xorg(options);

    EXPECT_EQ(xvfb.connect()->screen(), (ViewerRectangle{0, 0, 640, 480}));
    EXPECT_EQ(xorg.connect()->screen(), (ViewerRectangle{0, 0, 640, 480}));
}

TEST(XServer, ShowsWhatIsPainted) {
    const XServer server;
    XPainter painter(server);

    painter.fill({0, 0, 100, 100}, red);
    painter.put({100, 0, 1, 2}, {blue, red});
    painter.copy({100, 0, 1, 2}, 0, 50);

    EXPECT_EQ(painter.read({99, 0, 2, 1}), (std::vector{red, blue}));
    EXPECT_EQ(painter.read({0, 50, 1, 2}), (std::vector{blue, red}));
}

TEST(XServer, ShowsAPictureAsLargeAsTheScreen) {
    const XServer server;
    XPainter painter(server);
    const auto picture = noise(7, std::size_t{1280} * 720);

    painter.put({0, 0, 1280, 720}, picture);

    EXPECT_EQ(painter.read({0, 0, 1280, 720}), picture);
}

TEST(XServer, IsGoneAfterAKillAndComesBackUnderItsName) {
    XServer server;
    const std::string name = server.displayName();

    server.kill();
    EXPECT_FALSE(isOpen(server.displayName()));
    EXPECT_NE(::access(("/tmp/.X11-unix/X" + name.substr(1)).c_str(), F_OK), 0);

    server.restart();
    EXPECT_EQ(server.displayName(), name);
    EXPECT_EQ(server.connect()->screen(), (ViewerRectangle{0, 0, 1280, 720}));
}

TEST(XServer, AnswersAgainAfterAThaw) {
    XServer server;

    server.freeze();
    server.thaw();

    EXPECT_EQ(server.connect()->screen(), (ViewerRectangle{0, 0, 1280, 720}));
}

TEST(XServer, EndsWhileItIsFrozen) {
    std::string socket;
    {
        XServer server;
        socket = "/tmp/.X11-unix/X" + server.displayName().substr(1);
        EXPECT_EQ(::access(socket.c_str(), F_OK), 0);
        server.freeze();
    }
    EXPECT_NE(::access(socket.c_str(), F_OK), 0);
}

TEST(XServer, RefusesAClientWithoutTheCookie) {
    XServer::Options options;
    options.isAuthorityRequired = true;
    XServer server(options);

    EXPECT_FALSE(isOpen(server.displayName()));
    EXPECT_EQ(server.connect()->monitorCount(), 1U);
    EXPECT_TRUE(server.xrandr({"--listmonitors"}));
}

TEST(XServer, GainsAndLosesMonitors) {
    XServer server;

    server.setMonitor("left", {0, 0, 640, 720}, "screen");
    server.setMonitor("right", {640, 0, 640, 720});
    EXPECT_EQ(server.connect()->monitorCount(), 2U);

    server.deleteMonitor("right");
    EXPECT_EQ(server.connect()->monitorCount(), 1U);
}

TEST(XServer, ChangesItsSize) {
    XServer server;

    server.setMode("screen", 800, 600);

    EXPECT_EQ(server.connect()->screen(), (ViewerRectangle{0, 0, 800, 600}));
}

TEST(XServer, ShowsAndHidesOutputs) {
    XServer server(xorg());

    server.showOutput("DUMMY1", {1280, 0, 1920, 1080});
    EXPECT_EQ(server.connect()->monitorCount(), 2U);
    EXPECT_EQ(server.connect()->screen(), (ViewerRectangle{0, 0, 3200, 1080}));

    server.hideOutput("DUMMY1");
    EXPECT_EQ(server.connect()->monitorCount(), 1U);
}

TEST(XServer, TakesAnEDIDAndLosesIt) {
    XServer server(xorg());
    const std::vector<std::uint8_t> bytes(128, 7);

    server.setEDID("DUMMY0", bytes);
    EXPECT_EQ(server.connect()->edid("DUMMY0"), bytes);

    server.setEDID("DUMMY0", {});
    EXPECT_TRUE(server.connect()->edid("DUMMY0").empty());
}

TEST(XServer, ReportsWhatXrandrCannotDo) {
    XServer server;
    EXPECT_FALSE(server.xrandr({"--output", "screen", "--mode", "none such"}));
}

}  // namespace velmora
