#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "core/coordination/ViewerCaptureCoordinator.h"
#include "tests/coordination/CoordinatedWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using Instants = std::vector<ViewerContinuousClock::Instant>;

TEST(ViewerCaptureCoordinatorIdle, ACaptureStopsExactlyFiveSecondsAfterItsLastRequest) {
    CoordinatedWorld host;
    (void)host.ask("1");
    host.world.advance(5s - 1ns);
    EXPECT_FALSE(host.session(0).isAskedToStop());
    host.world.advance(1ns);
    EXPECT_EQ(host.session(0).stopCalls, Instants({host.world.now()}));
}

TEST(ViewerCaptureCoordinatorIdle, TheTimeCountsFromTheEndOfARequest) {
    CoordinatedWorld host;
    host.delayFrames(2s);
    const auto begin = host.world.now();
    (void)host.ask("1");
    host.world.runToEnd();
    EXPECT_EQ(host.session(0).stopCalls, Instants({begin + 7s}));
}

TEST(ViewerCaptureCoordinatorIdle, ASecondRequestPutsTheStopOff) {
    CoordinatedWorld host;
    const auto begin = host.world.now();
    (void)host.ask("1");
    host.world.advance(3s);
    (void)host.ask("1");
    host.world.runToEnd();
    EXPECT_EQ(host.source->makeCalls, 1);
    EXPECT_EQ(host.session(0).stopCalls, Instants({begin + 8s}));
}

TEST(ViewerCaptureCoordinatorIdle, ARequestWithoutAFramePutsTheStopOffToo) {
    CoordinatedWorld host;
    host.source->prepare = [](ScriptedCaptureSession& session) { session.frame.reset(); };
    const auto begin = host.world.now();
    (void)host.ask("1");
    host.world.advance(3s);
    (void)host.ask("1");
    host.world.runToEnd();
    EXPECT_EQ(host.session(0).stopCalls, Instants({begin + 8s}));
}

TEST(ViewerCaptureCoordinatorIdle, ATimerDoesNothingWhileARequestWaits) {
    CoordinatedWorld host;
    const auto begin = host.world.now();
    const auto first = host.ask("1");
    host.session(0).frameDelay = [] { return 20s; };
    const auto second = host.ask("1");
    host.session(0).frameDelay = [] { return 1s; };
    const auto third = host.ask("1");
    host.world.advance(1s);
    ASSERT_TRUE(third.isThere()) << "its end sets a timer while the second still waits";
    EXPECT_EQ(host.world.pendingTimers(), 2U);
    host.world.advance(18s);
    EXPECT_FALSE(host.session(0).isAskedToStop());
    EXPECT_FALSE(second.isThere());
    host.world.runToEnd();
    EXPECT_EQ(second.value(), frameOf("1"));
    EXPECT_EQ(host.session(0).stopCalls, Instants({begin + 25s}));
}

TEST(ViewerCaptureCoordinatorIdle, OneTimerIsLeftOfManyRequests) {
    CoordinatedWorld host;
    for (int request = 0; request < 100; ++request) {
        (void)host.ask("1");
        (void)host.ask("2");
    }
    EXPECT_EQ(host.world.pendingTimers(), 2U);
}

TEST(ViewerCaptureCoordinatorIdle, OneTimerIsLeftOfRequestsThatEndTogether) {
    CoordinatedWorld host;
    host.delayFrames(1s);
    for (int request = 0; request < 16; ++request) {
        (void)host.request("1");
    }
    host.world.advance(1s);
    EXPECT_EQ(host.session(0).frameCalls, 16);
    EXPECT_EQ(host.world.pendingTimers(), 1U);
}

TEST(ViewerCaptureCoordinatorIdle, ARequestTakesTheTimerOut) {
    CoordinatedWorld host;
    (void)host.ask("1");
    EXPECT_EQ(host.world.pendingTimers(), 1U);
    host.session(0).frameDelay = [] { return 1s; };
    (void)host.ask("1");
    EXPECT_EQ(host.world.pendingTimers(), 1U) << "only the request's own wait";
    host.world.advance(1s);
    EXPECT_EQ(host.world.pendingTimers(), 1U);
}

TEST(ViewerCaptureCoordinatorIdle, ADisplayIsCapturedAnewAfterItsStop) {
    CoordinatedWorld host;
    (void)host.ask("1");
    host.world.runToEnd();
    EXPECT_EQ(host.ask("1").value(), frameOf("1"));
    EXPECT_EQ(host.source->makeCalls, 2);
    EXPECT_EQ(host.source->running("1"), 1);
    host.world.runToEnd();
    EXPECT_EQ(host.source->running(), 0);
    EXPECT_EQ(host.session(0).stopCalls.size(), 1U);
}

TEST(ViewerCaptureCoordinatorIdle, ADisplayIsCapturedAnewWhileItsLastCaptureStillStops) {
    CoordinatedWorld host;
    host.source->prepare = [](ScriptedCaptureSession& session) { session.stopDelay = 10s; };
    (void)host.ask("1");
    host.world.advance(5s);
    EXPECT_TRUE(host.session(0).isAskedToStop());
    EXPECT_EQ(host.ask("1").value(), frameOf("1"));
    EXPECT_FALSE(host.session(0).hasStopped);
    EXPECT_EQ(host.source->makeCalls, 2);
}

TEST(ViewerCaptureCoordinatorIdle, ASlowStopHoldsUpNoOtherDisplay) {
    CoordinatedWorld host;
    host.source->prepare = [](ScriptedCaptureSession& session) { session.stopDelay = 1h; };
    (void)host.ask("1");
    (void)host.ask("2");
    host.world.advance(5s);
    EXPECT_TRUE(host.session(0).isAskedToStop());
    EXPECT_TRUE(host.session(1).isAskedToStop());
    EXPECT_EQ(host.ask("3").value(), frameOf("3"));
}

TEST(ViewerCaptureCoordinatorIdle, ATimerDoesNotKeepTheCoordinatorAlive) {
    CoordinatedWorld host;
    (void)host.ask("1");
    const std::weak_ptr<ViewerCaptureCoordinator> weak = host.coordinator;
    host.coordinator.reset();
    EXPECT_TRUE(weak.expired());
    host.world.runToEnd();
    EXPECT_FALSE(host.session(0).isAskedToStop());
}

TEST(ViewerCaptureCoordinatorIdle, ARequestInTheInstantOfTheTimerKeepsOrReplacesTheCapture) {
    int kept = 0;
    int replaced = 0;
    for (std::uint64_t seed = 1; seed <= 100; ++seed) {
        SCOPED_TRACE(seed);
        CoordinatedWorld host(seed);
        (void)host.ask("1");
        host.delayFrames(3s);
        host.session(0).frameDelay = [] { return 3s; };
        // The other timer of the instant starts the request.
        const auto deadline = host.world.now() + 5s;
        std::optional<CoordinatedWorld::Answer> answer;
        (void)host.world.schedule(deadline, host.world.taskExecutor(),
                                  [&] { answer.emplace(host.request("1")); });
        host.world.advance(6s);
        EXPECT_EQ(host.source->running("1"), 1);
        host.world.runToEnd();
        EXPECT_EQ(answer->value(), frameOf("1"));
        const bool isKept = host.source->makeCalls == 1;
        EXPECT_EQ(host.session(0).stopCalls, Instants({isKept ? deadline + 8s : deadline}));
        ++(isKept ? kept : replaced);
    }
    EXPECT_GT(kept, 0);
    EXPECT_GT(replaced, 0);
}

}  // namespace
}  // namespace velmora
