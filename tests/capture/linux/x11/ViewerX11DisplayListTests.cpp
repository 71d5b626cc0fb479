#include "core/capture/linux/x11/ViewerX11DisplayList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "core/runtime/linux/ViewerLoopIntake.h"
#include "tests/capture/linux/x11/DisplayListOnLoop.h"
#include "tests/capture/linux/x11/X11Waiting.h"
#include "tests/support/capture/EDIDBlock.h"
#include "tests/support/x11/XClient.h"
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

/// The widths of the displays, sorted, as the very next answer has them when every notice was sent.
std::vector<std::int64_t> widths(DisplayListOnLoop& on, const XServer& server) {
    X11Waiting::untilNoticesAreSent(server);
    const auto displays = on.get();
    std::vector<std::int64_t> widths;
    if (displays) {
        for (const ViewerNativeDisplay& each : *displays) {
            widths.push_back(each.width);
        }
    }
    std::sort(widths.begin(), widths.end());
    return widths;
}

bool hasWidth(const DisplayListOnLoop::Displays& displays, std::int64_t width) {
    return displays &&
           std::any_of(displays->begin(), displays->end(),
                       [&](const ViewerNativeDisplay& each) { return each.width == width; });
}

int refreshingThreads() {
    return X11Waiting::threadsNamed("x11-connect") + X11Waiting::threadsNamed("x11-displays");
}

TEST(ViewerX11DisplayList, TheFirstAnswerHasTheDisplaysWithTheirNames) {
    XServer server;
    server.setMonitor("left", {0, 0, 500, 720}, "screen");
    server.setMonitor("right", {500, 0, 780, 720});
    DisplayListOnLoop on(server.displayName());
    const auto displays = on.get();
    ASSERT_NE(displays, nullptr);
    ASSERT_EQ(displays->size(), 2U);
    EXPECT_EQ(displays->at(0).width, 500);
    EXPECT_EQ(displays->at(0).height, 720);
    EXPECT_TRUE(displays->at(0).isMain);
    EXPECT_EQ(displays->at(1).width, 780);
    EXPECT_FALSE(displays->at(1).isMain);
    EXPECT_EQ(displays->at(0).name, "left");
    EXPECT_EQ(displays->at(1).name, "right");
    EXPECT_TRUE(on.list().hasAccess());
}

TEST(ViewerX11DisplayList, AnUnchangedListIsTheSameObjectAtOnceAlsoWhileTheServerIsFrozen) {
    XServer server;
    DisplayListOnLoop on(server.displayName());
    const auto displays = on.get();
    ASSERT_NE(displays, nullptr);
    server.freeze();
    EXPECT_TRUE(X11Waiting::until([] { return refreshingThreads() == 0; }));
    for (int i = 0; i < 100; ++i) {
        const auto answer = on.ask();
        EXPECT_TRUE(answer->isThere);
        EXPECT_EQ(answer->displays, displays);
    }
    EXPECT_EQ(refreshingThreads(), 0);
}

TEST(ViewerX11DisplayList, AFreshListIsAtHandAndNoneIsUntilAChangeWasRead) {
    XServer server;
    DisplayListOnLoop on(server.displayName());
    EXPECT_EQ(on.list().current(), nullptr) << "nothing was read";
    const auto displays = on.get();
    ASSERT_NE(displays, nullptr);
    EXPECT_EQ(on.list().current(), displays);
    server.setMonitor("new", {0, 0, 780, 720});
    X11Waiting::untilNoticesAreSent(server);
    EXPECT_EQ(on.list().current(), nullptr);
    server.freeze();
    const auto answer = on.ask();
    EXPECT_EQ(on.list().current(), nullptr) << "a refresh is under way";
    server.thaw();
    ASSERT_TRUE(on.wait(*answer));
    EXPECT_EQ(on.list().current(), answer->displays);
    EXPECT_TRUE(hasWidth(on.list().current(), 780));
}

TEST(ViewerX11DisplayList, OneLookAtTheNoticesIsEnoughForABatchOfRequestsAndNotForTheNext) {
    XServer server;
    DisplayListOnLoop on(server.displayName());
    auto& intake = ViewerLoopIntake::of(DisplayListOnLoop::loop().get_executor());
    intake.add();
    const auto displays = on.get();
    ASSERT_NE(displays, nullptr);
    server.setMonitor("first", {0, 0, 780, 720});
    X11Waiting::untilNoticesAreSent(server);
    EXPECT_EQ(on.get(), displays);
    intake.add();
    EXPECT_TRUE(hasWidth(on.get(), 780));
    intake.close();
    server.setMonitor("second", {0, 0, 680, 720});
    EXPECT_THAT(widths(on, server), ElementsAre(680, 780, 1280));
}

TEST(ViewerX11DisplayList, ANoticeThatChangesNothingLeavesTheSameObject) {
    XServer server;
    DisplayListOnLoop on(server.displayName());
    const auto displays = on.get();
    ASSERT_NE(displays, nullptr);
    server.setMonitor("passing", {0, 0, 10, 10});
    server.deleteMonitor("passing");
    X11Waiting::untilNoticesAreSent(server);
    server.freeze();
    const auto answer = on.ask();
    EXPECT_FALSE(answer->isThere) << "the server is asked";
    server.thaw();
    ASSERT_TRUE(on.wait(*answer));
    EXPECT_EQ(answer->displays, displays);
}

TEST(ViewerX11DisplayList, AMonitorWithoutAnOutputIsSeenToComeChangeAndGo) {
    XServer server;
    DisplayListOnLoop on(server.displayName());
    EXPECT_THAT(widths(on, server), ElementsAre(1280));
    server.setMonitor("right", {500, 0, 780, 720});
    EXPECT_THAT(widths(on, server), ElementsAre(780, 1280));
    server.deleteMonitor("right");
    server.setMonitor("right", {600, 0, 680, 720});
    EXPECT_THAT(widths(on, server), ElementsAre(680, 1280));
    server.deleteMonitor("right");
    EXPECT_THAT(widths(on, server), ElementsAre(1280));
}

TEST(ViewerX11DisplayList, AChangeOfTheScreensSizeIsSeen) {
    XServer server;
    DisplayListOnLoop on(server.displayName());
    EXPECT_THAT(widths(on, server), ElementsAre(1280));
    server.setMode("screen", 640, 480);
    EXPECT_THAT(widths(on, server), ElementsAre(640));
    server.setMode("screen", 1280, 720);
    EXPECT_THAT(widths(on, server), ElementsAre(1280));
}

TEST(ViewerX11DisplayList, OutputsAreSeenToComeChangeAndGo) {
    XServer server(xorg());
    DisplayListOnLoop on(server.displayName());
    EXPECT_THAT(widths(on, server), ElementsAre(800));
    server.showOutput("DUMMY1", {800, 0, 640, 480});
    EXPECT_THAT(widths(on, server), ElementsAre(640, 800));
    server.showOutput("DUMMY1", {800, 0, 320, 240});
    EXPECT_THAT(widths(on, server), ElementsAre(320, 800));
    server.hideOutput("DUMMY0");
    EXPECT_THAT(widths(on, server), ElementsAre(320));
    server.hideOutput("DUMMY1");
    EXPECT_THAT(widths(on, server), IsEmpty());
}

TEST(ViewerX11DisplayList, AnotherPrimaryOutputIsSeen) {
    XServer server(xorg());
    server.showOutput("DUMMY1", {800, 0, 640, 480});
    DisplayListOnLoop on(server.displayName());
    for (const char* primary : {"DUMMY1", "DUMMY0", "DUMMY1"}) {
        SCOPED_TRACE(primary);
        ASSERT_TRUE(server.xrandr({"--output", primary, "--primary"}));
        X11Waiting::untilNoticesAreSent(server);
        const auto displays = on.get();
        ASSERT_NE(displays, nullptr);
        ASSERT_EQ(displays->size(), 2U);
        for (const ViewerNativeDisplay& each : *displays) {
            EXPECT_EQ(each.isMain, (each.width == 640) == (std::string(primary) == "DUMMY1"));
        }
    }
}

TEST(ViewerX11DisplayList, AnotherMonitorOnTheSameOutputIsSeenByItsEDID) {
    XServer server(xorg());
    DisplayListOnLoop on(server.displayName());
    EXPECT_THAT(on.names(), ElementsAre("DUMMY0"));
    server.setEDID("DUMMY0", EDIDBlock().serialNumber(1).monitorName("One").bytes());
    X11Waiting::untilNoticesAreSent(server);
    EXPECT_THAT(on.names(), ElementsAre("One"));
    const auto one = on.get();
    server.setEDID("DUMMY0", EDIDBlock().serialNumber(2).monitorName("Two").bytes());
    X11Waiting::untilNoticesAreSent(server);
    EXPECT_THAT(on.names(), ElementsAre("Two"));
    EXPECT_NE(on.get()->at(0).uuidText, one->at(0).uuidText);
    server.setEDID("DUMMY0", {});
    X11Waiting::untilNoticesAreSent(server);
    EXPECT_THAT(on.names(), ElementsAre("DUMMY0"));
}

TEST(ViewerX11DisplayList, SeveralCallersShareOneRefresh) {
    XServer server;
    DisplayListOnLoop on(server.displayName());
    server.freeze();
    std::vector<std::shared_ptr<DisplayListOnLoop::Answer>> answers(20);
    for (auto& each : answers) {
        each = on.ask();
    }
    EXPECT_TRUE(X11Waiting::until([] { return refreshingThreads() == 1; }));
    server.thaw();
    for (const auto& each : answers) {
        ASSERT_TRUE(on.wait(*each));
        EXPECT_NE(each->displays, nullptr);
        EXPECT_EQ(each->displays, answers[0]->displays);
    }
}

TEST(ViewerX11DisplayList, ACallerSeesEveryChangeThatWasToldBeforeItCame) {
    XServer server;
    DisplayListOnLoop on(server.displayName());
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        // The first change makes a refresh necessary, the second one comes while it reads, at a
        // moment that differs from round to round.
        server.setMonitor("early", {0, 0, 100 + round, 10});
        X11Waiting::untilNoticesAreSent(server);
        const auto early = on.ask();
        DisplayListOnLoop::settle();
        server.setMonitor("late", {0, 0, 300 + round, 10});
        X11Waiting::untilNoticesAreSent(server);
        const auto late = on.ask();
        ASSERT_TRUE(on.wait(*early));
        ASSERT_TRUE(on.wait(*late));
        EXPECT_TRUE(hasWidth(early->displays, 100 + round));
        EXPECT_TRUE(hasWidth(late->displays, 300 + round));
        server.deleteMonitor("early");
        server.deleteMonitor("late");
    }
}

TEST(ViewerX11DisplayList, AChangeDuringAReadingIsNotMissed) {
    const XServer server;
    DisplayListOnLoop on(server.displayName());
    for (int round = 0; round < 50; ++round) {
        SCOPED_TRACE(round);
        // The last change comes at any moment of a reading that the one before made necessary.
        const int lastWidth = 100 + 10 * (round + 1);
        std::atomic<bool> isOver = false;
        std::thread changing([&] {
            const auto client = server.connect();
            for (int width = lastWidth - 9; width <= lastWidth; ++width) {
                client->setMonitor("changing", {0, 0, width, 10}, "");
            }
            isOver = true;
        });
        while (!isOver) {
            EXPECT_NE(on.get(), nullptr);
        }
        changing.join();
        X11Waiting::untilNoticesAreSent(server);
        EXPECT_TRUE(hasWidth(on.get(), lastWidth));
    }
}

}  // namespace
}  // namespace velmora
