#include "core/capture/linux/x11/ViewerX11Monitors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "core/capture/linux/x11/ViewerX11Connection.h"
#include "tests/support/capture/EDIDBlock.h"
#include "tests/support/x11/XServer.h"

namespace velmora {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

XServer::Options xorg() {
    XServer::Options options;
    options.kind = XServer::Kind::xorg;
    options.width = 800;
    options.height = 600;
    return options;
}

std::vector<ViewerX11Monitor> monitorsOf(const XServer& server) {
    const auto connection = ViewerX11Connection::connect(server.displayName());
    EXPECT_NE(connection, nullptr);
    const auto monitors = readMonitors(*connection);
    EXPECT_TRUE(monitors.has_value());
    return monitors.value_or(std::vector<ViewerX11Monitor>());
}

std::vector<std::string> namesOf(const XServer& server) {
    std::vector<std::string> names;
    for (const ViewerX11Monitor& each : monitorsOf(server)) {
        names.push_back(each.name);
    }
    return names;
}

std::map<std::string, std::string> uuidsByConnector(const XServer& server) {
    std::map<std::string, std::string> uuids;
    for (const ViewerX11Monitor& each : monitorsOf(server)) {
        uuids[each.connector] = each.uuidText;
    }
    return uuids;
}

std::string mainOf(const XServer& server) {
    std::string main;
    for (const ViewerX11Monitor& each : monitorsOf(server)) {
        if (each.isMain) {
            EXPECT_EQ(main, "") << "two monitors are the main one";
            main = each.name;
        }
    }
    return main;
}

std::vector<std::uint8_t> twin() {
    return EDIDBlock().model(7).monitorName("Twin").bytes();
}

std::vector<std::uint8_t> numbered(std::uint32_t number) {
    return EDIDBlock().model(7).serialNumber(number).monitorName("Twin").bytes();
}

TEST(ViewerX11Monitors, AMonitorOfAVirtualServerHasTheSizeOfItsScreen) {
    const XServer server;
    const auto monitors = monitorsOf(server);
    ASSERT_EQ(monitors.size(), 1U);
    EXPECT_EQ(monitors[0].rectangle, (ViewerRectangle{0, 0, 1280, 720}));
    EXPECT_EQ(monitors[0].name, "screen");
    EXPECT_EQ(monitors[0].connector, "screen");
    EXPECT_THAT(monitors[0].edid, IsEmpty());
    EXPECT_TRUE(monitors[0].isMain);
    EXPECT_NE(monitors[0].number, 0U);
}

TEST(ViewerX11Monitors, WithoutRandrTheRootWindowIsTheOneMonitor) {
    XServer::Options options;
    options.arguments = {"-extension", "RANDR"};
    const XServer server(options);
    const auto monitors = monitorsOf(server);
    ASSERT_EQ(monitors.size(), 1U);
    EXPECT_EQ(monitors[0].rectangle, (ViewerRectangle{0, 0, 1280, 720}));
    EXPECT_EQ(monitors[0].number, 0U);
    EXPECT_EQ(monitors[0].name, "Screen");
    EXPECT_EQ(monitors[0].uuidText.size(), 36U);
    EXPECT_TRUE(monitors[0].isMain);
}

TEST(ViewerX11Monitors, AMonitorNeedsNoOutput) {
    XServer server;
    server.setMonitor("left", {0, 0, 640, 720}, "screen");
    server.setMonitor("right", {640, 0, 640, 720});
    const auto monitors = monitorsOf(server);
    ASSERT_EQ(monitors.size(), 2U);
    EXPECT_EQ(monitors[0].connector, "screen");
    EXPECT_EQ(monitors[1].name, "right");
    EXPECT_EQ(monitors[1].connector, "");
    EXPECT_EQ(monitors[1].rectangle, (ViewerRectangle{640, 0, 640, 720}));
    EXPECT_NE(monitors[0].uuidText, monitors[1].uuidText);
}

TEST(ViewerX11Monitors, OnlyThePartOnTheScreenCounts) {
    XServer server;
    server.setMonitor("inside", {0, 0, 640, 720}, "screen");
    server.setMonitor("corner", {1180, 700, 500, 500});
    server.setMonitor("before", {-100, -10, 300, 300});
    server.setMonitor("outside", {1280, 0, 640, 720});
    std::map<std::string, ViewerRectangle> places;
    for (const ViewerX11Monitor& each : monitorsOf(server)) {
        places[each.name] = each.rectangle;
    }
    EXPECT_EQ(places, (std::map<std::string, ViewerRectangle>{{"inside", {0, 0, 640, 720}},
                                                              {"corner", {1180, 700, 100, 20}},
                                                              {"before", {0, 0, 200, 290}}}));
}

TEST(ViewerX11Monitors, ANameInUTF8StaysAndAnyOtherIsRepaired) {
    XServer server;
    server.setMonitor("B\u00fcro", {0, 0, 640, 720}, "screen");
    server.setMonitor("B\xfcro", {640, 0, 640, 720});
    EXPECT_THAT(namesOf(server), ElementsAre("B\u00fcro", "B\ufffdro"));
}

TEST(ViewerX11Monitors, IdsOutliveTheServer) {
    XServer server;
    server.setMonitor("left", {0, 0, 640, 720}, "screen");
    server.setMonitor("right", {640, 0, 640, 720});
    const auto before = monitorsOf(server);
    server.kill();
    server.restart();
    // Other names first, so that atoms have other numbers.
    server.setMonitor("other", {0, 0, 10, 10});
    server.deleteMonitor("other");
    server.setMonitor("right", {640, 0, 640, 720});
    server.setMonitor("left", {0, 0, 640, 720}, "screen");
    const auto after = monitorsOf(server);
    ASSERT_EQ(before.size(), 2U);
    ASSERT_EQ(after.size(), 2U);
    for (const ViewerX11Monitor& each : after) {
        const auto found =
            std::find_if(before.begin(), before.end(),
                         [&](const ViewerX11Monitor& old) { return old.name == each.name; });
        ASSERT_NE(found, before.end());
        EXPECT_EQ(found->uuidText, each.uuidText);
    }
}

TEST(ViewerX11Monitors, ThePrimaryMonitorIsTheMainOne) {
    XServer server(xorg());
    server.showOutput("DUMMY1", {800, 0, 640, 480});
    ASSERT_TRUE(server.xrandr({"--output", "DUMMY0", "--primary"}));
    EXPECT_EQ(mainOf(server), "DUMMY0");
    ASSERT_TRUE(server.xrandr({"--output", "DUMMY1", "--primary"}));
    EXPECT_EQ(mainOf(server), "DUMMY1");
}

TEST(ViewerX11Monitors, WithoutAPrimaryMonitorTheOneAtTheOriginIsTheMainOne) {
    XServer server(xorg());
    server.showOutput("DUMMY1", {0, 0, 640, 480});
    server.showOutput("DUMMY0", {640, 0, 800, 600});
    ASSERT_TRUE(server.xrandr({"--noprimary"}));
    EXPECT_EQ(mainOf(server), "DUMMY1");
}

TEST(ViewerX11Monitors, WithNothingAtTheOriginTheFirstMonitorIsTheMainOne) {
    XServer server;
    server.setMonitor("left", {100, 0, 200, 200}, "screen");
    server.setMonitor("right", {300, 0, 200, 200});
    const auto monitors = monitorsOf(server);
    ASSERT_EQ(monitors.size(), 2U);
    EXPECT_EQ(mainOf(server), monitors[0].name);
}

TEST(ViewerX11Monitors, AMonitorBelowTheOriginIsNotAtIt) {
    XServer server;
    server.setMonitor("first", {300, 0, 200, 200}, "screen");
    server.setMonitor("below", {0, 100, 200, 200});
    server.setMonitor("last", {0, 0, 100, 100});
    EXPECT_EQ(mainOf(server), "last");
}

TEST(ViewerX11Monitors, WithoutAnyActiveOutputThereIsNoMonitor) {
    XServer server(xorg());
    server.hideOutput("DUMMY0");
    EXPECT_THAT(monitorsOf(server), IsEmpty());
}

TEST(ViewerX11Monitors, TheMonitorsOwnNameGoesBeforeRandrs) {
    XServer server(xorg());
    server.showOutput("DUMMY1", {800, 0, 640, 480});
    EXPECT_THAT(namesOf(server), ElementsAre("DUMMY0", "DUMMY1"));
    server.setEDID("DUMMY1", EDIDBlock().monitorName("VX 2780").bytes());
    EXPECT_THAT(namesOf(server), ElementsAre("DUMMY0", "VX 2780"));
}

TEST(ViewerX11Monitors, ATwinWithoutASerialNumberChangesNoIdByComingOrGoing) {
    XServer server(xorg());
    server.setEDID("DUMMY0", twin());
    server.setEDID("DUMMY1", twin());
    const auto alone = uuidsByConnector(server);
    server.showOutput("DUMMY1", {800, 0, 640, 480});
    const auto both = uuidsByConnector(server);
    server.hideOutput("DUMMY0");
    const auto other = uuidsByConnector(server);
    ASSERT_EQ(both.size(), 2U);
    EXPECT_NE(both.at("DUMMY0"), both.at("DUMMY1"));
    EXPECT_EQ(alone, (std::map<std::string, std::string>{{"DUMMY0", both.at("DUMMY0")}}));
    EXPECT_EQ(other, (std::map<std::string, std::string>{{"DUMMY1", both.at("DUMMY1")}}));
}

TEST(ViewerX11Monitors, AMonitorWithASerialNumberKeepsItsIdOnAnotherConnector) {
    XServer server(xorg());
    server.showOutput("DUMMY1", {800, 0, 640, 480});
    server.setEDID("DUMMY0", numbered(1));
    server.setEDID("DUMMY1", numbered(2));
    const auto before = uuidsByConnector(server);
    server.setEDID("DUMMY0", numbered(2));
    server.setEDID("DUMMY1", numbered(1));
    const auto after = uuidsByConnector(server);
    EXPECT_NE(before.at("DUMMY0"), before.at("DUMMY1"));
    EXPECT_EQ(before.at("DUMMY0"), after.at("DUMMY1"));
    EXPECT_EQ(before.at("DUMMY1"), after.at("DUMMY0"));
}

TEST(ViewerX11Monitors, EDIDsOfAnyShapeAreTakenAsTheyAre) {
    XServer server(xorg());
    for (const std::size_t length : {1U, 127U, 256U, 4000U}) {
        SCOPED_TRACE(length);
        const std::vector<std::uint8_t> bytes(length, 0xa5);
        server.setEDID("DUMMY0", bytes);
        const auto monitors = monitorsOf(server);
        ASSERT_EQ(monitors.size(), 1U);
        EXPECT_EQ(monitors[0].edid, bytes);
        EXPECT_EQ(monitors[0].name, "DUMMY0");
    }
}

TEST(ViewerX11Monitors, ThereAreNoneOnABrokenConnection) {
    XServer server;
    const auto connection = ViewerX11Connection::connect(server.displayName());
    ASSERT_NE(connection, nullptr);
    server.kill();
    EXPECT_FALSE(readMonitors(*connection).has_value());
    EXPECT_TRUE(connection->isDead());
}

}  // namespace
}  // namespace velmora
