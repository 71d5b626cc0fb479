#include <gtest/gtest.h>
#include <sched.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "tests/acceptance/wayland/CapturedNodes.h"
#include "tests/acceptance/wayland/WaylandHostTest.h"

namespace velmora {

namespace {

/// Threads of a process that do not take turns as everybody's do.
std::size_t realTimeThreads(pid_t process) {
    std::size_t count = 0;
    for (const auto& thread :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        const int policy = ::sched_getscheduler(std::stoi(thread.path().filename()));
        count += policy == SCHED_OTHER ? 0U : 1U;
    }
    return count;
}

std::vector<DesktopOutput> differentOutputs() {
    DesktopOutput plain;
    plain.colour = red;
    DesktopOutput turned;
    turned.x = 1280;
    turned.width = 800;
    turned.height = 600;
    turned.transform = "90";
    turned.colour = green;
    DesktopOutput doubled;
    doubled.x = 1880;
    doubled.width = 1024;
    doubled.height = 768;
    doubled.scale = 2;
    doubled.colour = 0x2040c0;
    return {plain, turned, doubled};
}

class WaylandCapture : public SwayHostTest {
  protected:
    WaylandCapture() : SwayHostTest(differentOutputs()) {}
};

TEST_F(WaylandCapture, TurnedAndScaledOutputsHaveTheSizesThatAreSeen) {
    ASSERT_NO_FATAL_FAILURE(serve());
    for (const auto& [colour, width, height] :
         {std::tuple{red, 1280, 720}, {green, 600, 800}, {0x2040c0U, 1024, 768}}) {
        const std::string id = idOf(colour);
        const auto displays = listDisplays();
        ASSERT_TRUE(displays.has_value());
        const auto found = std::ranges::find(*displays, id, &ViewerHostDisplay::id);
        ASSERT_NE(found, displays->end()) << std::hex << colour;
        EXPECT_EQ(found->width, width);
        EXPECT_EQ(found->height, height);
    }
    const auto turned = frameOf(idOf(green));
    ASSERT_TRUE(turned.has_value());
    EXPECT_EQ(turned->width, 270);
    EXPECT_EQ(turned->height, 360);
}

TEST_F(WaylandCapture, EachCornerOfATurnedOutputIsWhereItIsSeen) {
    WaylandPainter& painter = desktop_.painter(1);
    painter.fill({0, 0, 300, 400}, 0xd0d020);
    ASSERT_NO_FATAL_FAILURE(serve());
    const auto displays = listDisplays();
    ASSERT_TRUE(displays.has_value());
    const auto found = std::ranges::find(*displays, 800, &ViewerHostDisplay::height);
    ASSERT_NE(found, displays->end());

    EXPECT_TRUE(eventually([&] {
        const auto picture = frameOf(found->id);
        return picture && isNear(picture->at(20, 20), 0xd0d020, jpegTolerance) &&
               isNear(picture->at(250, 20), green, jpegTolerance) &&
               isNear(picture->at(20, 340), green, jpegTolerance) &&
               isNear(picture->at(250, 340), green, jpegTolerance);
    }));
}

TEST_F(WaylandCapture, NothingIsCapturedBeforeTheFirstRequestAndSoonAfterTheLast) {
    ASSERT_NO_FATAL_FAILURE(serve());
    const CapturedNodes before = CapturedNodes::of(desktop_.session());
    EXPECT_EQ(before.links, 0U);
    EXPECT_EQ(before.runningNodes, 0U);
    const std::string id = idOf(red);
    ASSERT_NE(id, "");
    EXPECT_TRUE(eventually(
        [&] { return shows(id, red) && CapturedNodes::of(desktop_.session()).links >= 1; }));

    EXPECT_TRUE(eventually([&] {
        const CapturedNodes after = CapturedNodes::of(desktop_.session());
        return after.links == 0 && after.runningNodes == 0 && after.nodes == before.nodes;
    }));
    EXPECT_TRUE(shows(id, red));
}

TEST_F(WaylandCapture, EachReadsOfItsOwnScreenAndWhenThatGoesOfNoOther) {
    ASSERT_NO_FATAL_FAILURE(serve());
    const std::string id = idOf(red);
    ASSERT_NE(id, "");
    EXPECT_TRUE(eventually([&] {
        (void)shows(id, red);  // what keeps it captured
        const CapturedNodes seen = CapturedNodes::of(desktop_.session());
        return seen.links >= 1 && seen.boundNodes == seen.links;
    }));
}

TEST_F(WaylandCapture, NoThreadOfTheHostsIsOfAnotherSchedulingClass) {
    ASSERT_NO_FATAL_FAILURE(serve());
    ASSERT_NE(idOf(red), "");
    EXPECT_EQ(realTimeThreads(host_.process().id()), 0U);
}

TEST_F(WaylandCapture, WhatMovesIsSeenAndWhatStandsStillKeepsItsLabel) {
    ASSERT_NO_FATAL_FAILURE(serve());
    const std::string id = idOf(red);
    const std::string target = frameTarget(id);
    const auto label = [&] { return HTTPClient::get(target).header("X-Velmora-Frame"); };
    const auto first = label();
    EXPECT_EQ(label(), first);
    desktop_.painter(0).move({0, 0, 426, 240});
    EXPECT_TRUE(eventually([&] { return label() != first; }));
    desktop_.painter(0).rest();
    desktop_.painter(0).fill(0x404080);

    EXPECT_TRUE(eventually([&] { return shows(id, 0x404080); }));
    const auto last = label();
    EXPECT_EQ(label(), last);
}

/// Sizes of which none is a usual one: one larger, one upright, one small and odd.
std::vector<DesktopOutput> unusualMonitors() {
    std::vector<DesktopOutput> monitors(3);
    monitors[0].width = 3840;
    monitors[0].height = 2160;
    monitors[0].colour = red;
    monitors[1].width = 900;
    monitors[1].height = 1440;
    monitors[1].colour = green;
    monitors[2].width = 481;
    monitors[2].height = 361;
    monitors[2].colour = 0x2040c0;
    return monitors;
}

/// Whatever size a monitor has, and whatever size is asked for first.
class WaylandSize : public MutterHostTest {
  protected:
    WaylandSize() : MutterHostTest(unusualMonitors()) {}
};

TEST_F(WaylandSize, OfAnyMonitorIsServedWholeAndLeavesTheCompositorAlive) {
    ASSERT_NO_FATAL_FAILURE(serve());
    for (const DesktopOutput& monitor : unusualMonitors()) {
        const std::string id = idOf(monitor.colour);
        const auto displays = listDisplays();
        ASSERT_TRUE(displays.has_value());
        const auto found = std::ranges::find(*displays, id, &ViewerHostDisplay::id);
        ASSERT_NE(found, displays->end()) << monitor.width;
        EXPECT_EQ(found->width, monitor.width);
        EXPECT_EQ(found->height, monitor.height);
    }
    // It still paints, and hands on what it has painted.
    desktop_.painter(0).fill(0x808080);
    EXPECT_NE(idOf(0x808080), "");
}

}  // namespace

}  // namespace velmora
