#include "core/coordination/ViewerCaptureCoordinator.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "tests/coordination/CoordinatedWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

TEST(ViewerCaptureCoordinator, TheListIsTheSourcesList) {
    CoordinatedWorld host;
    const SpawnedAnswer answer(host.world, host.coordinator->displays());
    host.world.settle();
    EXPECT_EQ(answer.value(), CoordinatedWorld::displays());
    EXPECT_EQ(host.source->makeCalls, 0);
}

TEST(ViewerCaptureCoordinator, TheFirstRequestStartsACaptureAndLaterOnesShareIt) {
    CoordinatedWorld host;
    EXPECT_EQ(host.ask("1").value(), frameOf("1"));
    EXPECT_EQ(host.ask("1").value(), frameOf("1"));
    EXPECT_EQ(host.source->sessions.size(), 1U);
    EXPECT_EQ(host.session(0).frameCalls, 2);
}

TEST(ViewerCaptureCoordinator, EachDisplayHasItsOwnCapture) {
    CoordinatedWorld host;
    EXPECT_EQ(host.ask("2").value(), frameOf("2"));
    EXPECT_EQ(host.ask("1").value(), frameOf("1"));
    EXPECT_EQ(host.source->running("1"), 1);
    EXPECT_EQ(host.source->running("2"), 1);
}

TEST(ViewerCaptureCoordinator, RequestsForOneDisplayWaitSideBySide) {
    CoordinatedWorld host;
    host.delayFrames(1s);
    const auto first = host.ask("1");
    const auto second = host.ask("1");
    EXPECT_EQ(host.session(0).waiting, 2);
    host.world.advance(1s);
    EXPECT_EQ(first.value(), frameOf("1"));
    EXPECT_EQ(second.value(), frameOf("1"));
}

TEST(ViewerCaptureCoordinator, AWaitingRequestDoesNotHoldUpAnotherDisplay) {
    CoordinatedWorld host;
    host.delayFrames(1h);
    const auto slow = host.ask("1");
    host.delayFrames(0s);
    EXPECT_EQ(host.ask("2").value(), frameOf("2"));
    EXPECT_FALSE(slow.isThere());
}

TEST(ViewerCaptureCoordinator, ACaptureWithoutAFrameAnswersNothingAndGoesOn) {
    CoordinatedWorld host;
    host.source->prepare = [](ScriptedCaptureSession& session) { session.frame.reset(); };
    EXPECT_EQ(host.ask("1").value(), std::nullopt);
    EXPECT_EQ(host.source->running("1"), 1);
    host.session(0).frame = frameOf("1");
    EXPECT_EQ(host.ask("1").value(), frameOf("1"));
    EXPECT_EQ(host.source->makeCalls, 1);
}

TEST(ViewerCaptureCoordinator, AnUnknownDisplayTakesNoPlace) {
    CoordinatedWorld host;
    for (int request = 0; request < 10; ++request) {
        EXPECT_EQ(host.ask("unknown").value(), std::nullopt);
    }
    EXPECT_EQ(host.source->makeCalls, 10);
    EXPECT_EQ(host.world.pendingTimers(), 0U);
    for (const char* id : {"1", "2", "3", "4"}) {
        EXPECT_EQ(host.ask(id).value(), frameOf(id));
    }
}

TEST(ViewerCaptureCoordinator, AFifthDisplayGetsNothingAtOnceEvenIfOneOfFourIsIdle) {
    CoordinatedWorld host;
    host.delayFrames(1h);
    for (const char* id : {"1", "2", "3"}) {
        (void)host.ask(id);  // goes on waiting
    }
    host.delayFrames(0s);
    EXPECT_EQ(host.ask("4").value(), frameOf("4"));
    EXPECT_EQ(host.ask("5").value(), std::nullopt);
    EXPECT_EQ(host.source->makeCalls, 4) << "no capture is even made";
    EXPECT_FALSE(host.session(3).isAskedToStop()) << "the idle one does not give way";
}

TEST(ViewerCaptureCoordinator, AFifthDisplayStartsOnceOneOfFourWasIdleForFiveSeconds) {
    CoordinatedWorld host;
    for (const char* id : {"1", "2", "3", "4"}) {
        EXPECT_EQ(host.ask(id).value(), frameOf(id));
    }
    host.world.advance(4s);
    for (const char* id : {"1", "2", "4"}) {
        EXPECT_EQ(host.ask(id).value(), frameOf(id));
    }
    host.world.advance(1s - 1ns);
    EXPECT_EQ(host.ask("5").value(), std::nullopt);
    host.world.advance(1ns);
    EXPECT_EQ(host.ask("5").value(), frameOf("5"));
    EXPECT_EQ(host.ask("3").value(), std::nullopt);
}

TEST(ViewerCaptureCoordinator, ARunningCaptureNeverCountsAgainstTheLimit) {
    CoordinatedWorld host;
    for (const char* id : {"1", "2", "3", "4"}) {
        EXPECT_EQ(host.ask(id).value(), frameOf(id));
    }
    for (const char* id : {"4", "3", "2", "1"}) {
        EXPECT_EQ(host.ask(id).value(), frameOf(id));
    }
    EXPECT_EQ(host.source->makeCalls, 4);
}

TEST(ViewerCaptureCoordinator, EverythingHappensOnOneExecutor) {
    CoordinatedWorld host;
    (void)host.ask("1");
    const ViewerExecutor executor = host.session(0).caller;
    const SpawnedAnswer displays(host.world, host.coordinator->displays());
    host.world.settle();
    EXPECT_TRUE(host.source->caller == executor);
    (void)host.ask("2");
    host.world.advance(CoordinatedWorld::idleTimeout);
    ASSERT_TRUE(host.session(0).isAskedToStop());
    EXPECT_TRUE(host.session(0).caller == executor);
    (void)host.ask("3");
    host.world.spawn(host.coordinator->shutdown());
    host.world.settle();
    ASSERT_TRUE(host.session(2).isAskedToStop());
    EXPECT_TRUE(host.session(2).caller == executor);
}

TEST(ViewerCaptureCoordinator, WithALimitOfNoneNothingIsCaptured) {
    CoordinatedWorld host;
    host.coordinator = std::make_shared<ViewerCaptureCoordinator>(
        host.source, 0, CoordinatedWorld::idleTimeout, host.world, borrowedClock(host.world));
    EXPECT_EQ(host.ask("1").value(), std::nullopt);
    EXPECT_EQ(host.source->makeCalls, 0);
}

}  // namespace
}  // namespace velmora
