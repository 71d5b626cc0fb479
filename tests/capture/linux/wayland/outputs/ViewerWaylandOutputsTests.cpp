#include "core/capture/linux/wayland/outputs/ViewerWaylandOutputs.h"

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>

#include "tests/capture/linux/wayland/outputs/OutputsOnLoop.h"
#include "tests/http/linux/RefusedRegistration.h"
#include "tests/support/desktop/HeadlessCompositor.h"
#include "tests/support/runtime/ManualClock.h"
#include "tests/support/system/TemporaryFolder.h"
#include "tests/support/wayland/MuteSocket.h"
#include "tests/support/wayland/NestedCompositor.h"
#include "tests/support/wayland/ScriptedCompositor.h"
#include "tests/support/wayland/SwayControl.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using Snapshot = ViewerOutputs::Snapshot;

bool hasOne(const Snapshot& snapshot) {
    return snapshot.outputs.size() == 1;
}

TEST(ViewerWaylandOutputs, ARealCompositorsOutputIsToldInFull) {
    const HeadlessCompositor sway;
    const SwayControl control(sway);
    control.run("output HEADLESS-1 mode 1280x720 position 100 50 scale 1");
    OutputsOnLoop loop(sway.displayName());
    EXPECT_EQ(loop.current(), nullptr);
    ASSERT_TRUE(loop.untilTold(hasOne));
    const ViewerWaylandOutput output = loop.current()->outputs.front();
    EXPECT_EQ(output.connector, "HEADLESS-1");
    EXPECT_EQ(output.make, "headless");
    EXPECT_EQ(output.seenSize(), (ViewerWaylandOutput::PixelSize{1280, 720}));
    EXPECT_EQ(output.position, (ViewerLogicalPosition{100, 50}));
    EXPECT_EQ(output.logicalSize, (ViewerLogicalSize{1280, 720}));
    EXPECT_TRUE(loop.current()->offersScreenCopy);
}

TEST(ViewerWaylandOutputs, ARotationAndAScaleAreToldByThemselves) {
    const HeadlessCompositor sway;
    const SwayControl control(sway);
    control.run("output HEADLESS-1 mode 1280x720");
    OutputsOnLoop loop(sway.displayName());
    ASSERT_TRUE(loop.untilTold(hasOne));
    const int changesBefore = loop.changes();
    control.run("output HEADLESS-1 transform 90");
    control.run("output HEADLESS-1 scale 2");
    EXPECT_TRUE(loop.untilTold([](const Snapshot& snapshot) {
        return snapshot.outputs.front().seenSize() == ViewerWaylandOutput::PixelSize{720, 1280} &&
               snapshot.outputs.front().logicalSize == ViewerLogicalSize{360, 640};
    }));
    EXPECT_GT(loop.changes(), changesBefore);
}

TEST(ViewerWaylandOutputs, OutputsComeAndGo) {
    const NestedCompositor sway(2);
    OutputsOnLoop loop(sway.displayName());
    const auto hasTwo = [](const Snapshot& snapshot) { return snapshot.outputs.size() == 2; };
    ASSERT_TRUE(loop.untilTold(hasTwo));
    const std::uint32_t first = loop.current()->outputs.front().global;
    sway.unplug("WL-1");
    ASSERT_TRUE(loop.untilTold(hasOne));
    EXPECT_EQ(loop.current()->outputs.front().connector, "WL-2");
    EXPECT_NE(loop.current()->outputs.front().global, first);
    sway.run("create_output");
    ASSERT_TRUE(loop.untilTold(hasTwo));
    EXPECT_NE(loop.current()->outputs.back().global, first);
}

TEST(ViewerWaylandOutputs, WhatDoesNotChangeIsTheSameObjectAndIsToldOnce) {
    const HeadlessCompositor sway;
    OutputsOnLoop loop(sway.displayName());
    ASSERT_TRUE(loop.untilTold(hasOne));
    loop.settle();
    const ViewerOutputs::Current current = loop.current();
    loop.settle();
    EXPECT_EQ(loop.current(), current);
    EXPECT_EQ(loop.changes(), 1);
}

TEST(ViewerWaylandOutputs, ACompositorThatStaysNeverEndsAndNeedsNoTimer) {
    const HeadlessCompositor sway;
    OutputsOnLoop loop(sway.displayName());
    ASSERT_TRUE(loop.untilTold(hasOne));
    loop.pass(200s);
    EXPECT_EQ(loop.ends(), 0);
    EXPECT_EQ(loop.pendingTimers(), 0U);
    EXPECT_NE(loop.current(), nullptr);
}

TEST(ViewerWaylandOutputs, ACompositorThatIsGoneForAMinuteIsTheEnd) {
    HeadlessCompositor sway;
    OutputsOnLoop loop(sway.displayName());
    ASSERT_TRUE(loop.untilTold(hasOne));
    sway.kill();
    ASSERT_TRUE(loop.until([&] { return loop.pendingTimers() > 0; }));
    EXPECT_EQ(loop.current(), nullptr);
    EXPECT_EQ(loop.changes(), 2);
    loop.pass(59s);
    EXPECT_EQ(loop.ends(), 0);
    loop.pass(1s);
    EXPECT_EQ(loop.ends(), 1);
    loop.pass(200s);
    EXPECT_EQ(loop.ends(), 1);
}

TEST(ViewerWaylandOutputs, ACompositorThatWasNeverThereIsGone) {
    const TemporaryFolder folder;
    OutputsOnLoop loop(folder.path() / "nobody");
    loop.pass(60s);
    EXPECT_EQ(loop.ends(), 1);
}

TEST(ViewerWaylandOutputs, ACompositorThatComesBackIsTheSameSession) {
    const TemporaryFolder folder;
    const std::string path = folder.path() / "wayland";
    auto compositor = std::make_unique<ScriptedCompositor>(ScriptedCompositor::Versions{});
    std::filesystem::create_symlink(compositor->socketPath(), path);
    OutputsOnLoop loop(path, [&] {
        if (compositor) {
            compositor->pump();
        }
    });
    ASSERT_TRUE(loop.until([&] { return loop.current() != nullptr; }));
    for (int round = 0; round < 3; ++round) {
        compositor.reset();
        ASSERT_TRUE(loop.until([&] { return loop.current() == nullptr; }));
        loop.pass(50s);
        std::filesystem::remove(path);
        compositor = std::make_unique<ScriptedCompositor>(ScriptedCompositor::Versions{});
        std::filesystem::create_symlink(compositor->socketPath(), path);
        loop.pass(4s);
        ASSERT_TRUE(loop.until([&] { return loop.current() != nullptr; }));
    }
    EXPECT_EQ(loop.ends(), 0);
}

TEST(ViewerWaylandOutputs, ACompositorThatDoesNotAnswerIsNotGone) {
    const MuteSocket mute;
    OutputsOnLoop loop(mute.path());
    loop.pass(200s);
    EXPECT_EQ(loop.ends(), 0);
    EXPECT_EQ(loop.current(), nullptr);
}

TEST(ViewerWaylandOutputs, WhoIsToldOfAChangeFindsIt) {
    ScriptedCompositor compositor({4, 0});
    boost::asio::io_context loop;
    auto outputs = std::make_unique<ViewerWaylandOutputs>(
        loop.get_executor(), std::make_shared<ManualClock>(), compositor.socketPath());
    bool isTold = false;
    outputs->start([&] {
        isTold = true;
        EXPECT_NE(outputs->current(), nullptr);
    });
    const auto end = std::chrono::steady_clock::now() + OutputsOnLoop::patience;
    while (!isTold && std::chrono::steady_clock::now() < end) {
        compositor.pump();
        loop.poll();
    }
    EXPECT_TRUE(isTold);
    outputs.reset();
    loop.poll();  // what it ran ends
}

TEST(ViewerWaylandOutputs, ACompositorThatIsSilentInBetweenBeginsTheMinuteAnew) {
    const TemporaryFolder folder;
    const std::string path = folder.path() / "wayland";
    OutputsOnLoop loop(path);
    loop.pass(50s);
    const MuteSocket mute;
    std::filesystem::create_symlink(mute.path(), path);
    loop.pass(20s);
    std::filesystem::remove(path);
    loop.pass(50s);
    EXPECT_EQ(loop.ends(), 0);
    loop.pass(60s);
    EXPECT_EQ(loop.ends(), 1);
}

TEST(ViewerWaylandOutputs, ACompositorThatIsFoundGoneIsToldSoAtOnceAndConnectedToAgain) {
    ScriptedCompositor compositor({4, 0});
    compositor.addOutput();
    OutputsOnLoop loop(compositor.socketPath(), [&] { compositor.pump(); });
    ASSERT_TRUE(loop.until([&] { return loop.current() && compositor.isBound(); }));
    EXPECT_FALSE(loop.current()->offersScreenCopy);
    EXPECT_FALSE(loop.current()->offersImageCopy);
    loop.settle();
    const int changes = loop.changes();
    compositor.hangUp();
    EXPECT_EQ(loop.current(), nullptr);
    EXPECT_EQ(loop.changes(), changes + 1);
    loop.pass(4s);
    EXPECT_TRUE(loop.until([&] { return loop.current() != nullptr; }));
}

TEST(ViewerWaylandOutputs, ACompositorThatTurnsEverybodyAwayIsGone) {
    const MuteSocket mute;
    OutputsOnLoop loop(mute.path(), [&] { mute.turnAway(); });
    loop.pass(59s);
    EXPECT_EQ(loop.ends(), 0);
    loop.pass(1s);
    EXPECT_EQ(loop.ends(), 1);
}

TEST(ViewerWaylandOutputs, ACompositorThatObjectsIsLeftAndTriedAgain) {
    ScriptedCompositor compositor({4, 0});
    compositor.addOutput();
    OutputsOnLoop loop(compositor.socketPath(), [&] { compositor.pump(); });
    ASSERT_TRUE(loop.until([&] { return loop.current() != nullptr; }));
    compositor.objectToClient();
    ASSERT_TRUE(loop.until([&] { return loop.current() == nullptr; }));
    loop.pass(ViewerWaylandOutputs::interval);
    EXPECT_TRUE(loop.until([&] { return loop.current() != nullptr; }));
}

TEST(ViewerWaylandOutputs, AConnectionThatTheLoopRefusesIsGivenUpAndTriedAgain) {
    ScriptedCompositor compositor({4, 0});
    compositor.addOutput();
    OutputsOnLoop loop(compositor.socketPath(), [&] { compositor.pump(); });
    ASSERT_TRUE(loop.until([&] { return loop.current() != nullptr; }));
    compositor.objectToClient();
    ASSERT_TRUE(loop.until([&] { return !compositor.isBound(); }));
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto before = descriptors();
    refuseRegistrations(1);
    loop.pass(ViewerWaylandOutputs::interval);
    EXPECT_EQ(registrationsToRefuse(), 0);
    EXPECT_TRUE(loop.until([&] { return descriptors() == before; }));
    EXPECT_EQ(loop.current(), nullptr);
    loop.pass(ViewerWaylandOutputs::interval);
    EXPECT_TRUE(loop.until([&] { return loop.current() != nullptr; }));
}

TEST(ViewerWaylandOutputs, AnEndThatNobodyWatchedIsToldToWhoWatchesLater) {
    const TemporaryFolder folder;
    boost::asio::io_context loop;
    const auto clock = std::make_shared<ManualClock>();
    ViewerWaylandOutputs outputs(loop.get_executor(), clock, folder.path() / "nobody");
    outputs.start([] {});
    loop.poll();
    while (clock->pendingTimers() != 0) {
        clock->advance(ViewerWaylandOutputs::interval);
        loop.poll();
    }
    int ends = 0;
    outputs.watchSession([&] { ++ends; });
    EXPECT_EQ(ends, 1);
}

TEST(ViewerWaylandOutputs, OutputsThatNobodyStartedAreNone) {
    const ScriptedCompositor compositor(ScriptedCompositor::Versions{});
    boost::asio::io_context loop;
    ViewerWaylandOutputs outputs(loop.get_executor(), std::make_shared<ManualClock>(),
                                 compositor.socketPath());
    EXPECT_EQ(outputs.current(), nullptr);
    EXPECT_EQ(loop.poll(), 0U);
}

TEST(ViewerWaylandOutputs, ASilentSocketIsGivenUpForTheCompositorThatTakesItsPlace) {
    const TemporaryFolder folder;
    const std::string path = folder.path() / "wayland";
    const MuteSocket mute;
    std::filesystem::create_symlink(mute.path(), path);
    ScriptedCompositor compositor(ScriptedCompositor::Versions{});
    OutputsOnLoop loop(path, [&] { compositor.pump(); });
    loop.settle();
    std::filesystem::remove(path);
    std::filesystem::create_symlink(compositor.socketPath(), path);
    loop.pass(8s);
    EXPECT_TRUE(loop.until([&] { return loop.current() != nullptr; }));
}

TEST(ViewerWaylandOutputs, ACompositorThatTakesInNobodyIsNotGoneAndHoldsNobodyUp) {
    const MuteSocket mute(0);
    const OutputsOnLoop first(mute.path());
    OutputsOnLoop loop(mute.path());
    loop.pass(200s);
    EXPECT_EQ(loop.ends(), 0);
}

TEST(ViewerWaylandOutputs, NothingIsToldAfterItsEnd) {
    HeadlessCompositor sway;
    OutputsOnLoop loop(sway.displayName());
    ASSERT_TRUE(loop.untilTold(hasOne));
    loop.drop();
    sway.kill();
    loop.pass(100s);
    EXPECT_EQ(loop.ends(), 0);
    EXPECT_EQ(loop.changes(), 1);
    EXPECT_EQ(loop.pendingTimers(), 0U);
}

}  // namespace
}  // namespace velmora
