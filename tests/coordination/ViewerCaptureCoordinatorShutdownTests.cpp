#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "core/coordination/ViewerCaptureCoordinator.h"
#include "tests/coordination/CoordinatedWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

ViewerTask<std::monostate> shutDown(std::shared_ptr<ViewerCaptureCoordinator> coordinator) {
    co_await coordinator->shutdown();
    co_return std::monostate();
}

SpawnedAnswer<std::monostate> spawnShutdown(CoordinatedWorld& host) {
    SpawnedAnswer answer(host.world, shutDown(host.coordinator));
    host.world.settle();
    return answer;
}

TEST(ViewerCaptureCoordinatorShutdown, AnswersAreEmptyAfterIt) {
    CoordinatedWorld host;
    EXPECT_TRUE(spawnShutdown(host).isThere());
    const SpawnedAnswer displays(host.world, host.coordinator->displays());
    EXPECT_EQ(host.ask("1").value(), std::nullopt);
    EXPECT_EQ(displays.value(), std::vector<ViewerHostDisplay>());
    EXPECT_EQ(host.source->makeCalls, 0);
}

TEST(ViewerCaptureCoordinatorShutdown, ARunningCaptureAnswersNoMoreRequests) {
    CoordinatedWorld host;
    host.source->prepare = [](ScriptedCaptureSession& session) { session.stopDelay = 1s; };
    (void)host.ask("1");
    const auto shutdown = spawnShutdown(host);
    EXPECT_EQ(host.ask("1").value(), std::nullopt);
    EXPECT_FALSE(shutdown.isThere());
    EXPECT_EQ(host.session(0).frameCalls, 1);
}

TEST(ViewerCaptureCoordinatorShutdown, EveryCaptureIsStoppedOnceAndNoTimerIsLeft) {
    CoordinatedWorld host;
    for (const char* id : {"1", "2", "3", "4"}) {
        (void)host.ask(id);
    }
    EXPECT_EQ(host.world.pendingTimers(), 4U);
    EXPECT_TRUE(spawnShutdown(host).isThere());
    EXPECT_EQ(host.world.pendingTimers(), 0U);
    host.world.advance(10s);
    for (const auto& session : host.source->sessions) {
        EXPECT_EQ(session->stopCalls.size(), 1U);
    }
}

TEST(ViewerCaptureCoordinatorShutdown, CapturesStopOneAfterAnotherInTheOrderOfTheirIds) {
    CoordinatedWorld host;
    using Stop = std::pair<std::string, ViewerContinuousClock::Instant>;
    std::vector<Stop> stops;
    host.source->prepare = [&](ScriptedCaptureSession& session) {
        session.stopDelay = 2s;
        session.onStop = [&](const ScriptedCaptureSession& stopping) {
            stops.emplace_back(stopping.displayID, host.world.now());
        };
    };
    for (const char* id : {"3", "1", "2"}) {
        (void)host.ask(id);
    }
    const auto begin = host.world.now();
    const auto shutdown = spawnShutdown(host);
    host.world.advance(6s - 1ns);
    EXPECT_FALSE(shutdown.isThere());
    host.world.advance(1ns);
    EXPECT_TRUE(shutdown.isThere());
    EXPECT_EQ(stops, std::vector<Stop>({{"1", begin}, {"2", begin + 2s}, {"3", begin + 4s}}));
}

TEST(ViewerCaptureCoordinatorShutdown, ASecondCallReturnsAtOnce) {
    CoordinatedWorld host;
    host.source->prepare = [](ScriptedCaptureSession& session) { session.stopDelay = 1s; };
    (void)host.ask("1");
    const auto first = spawnShutdown(host);
    const auto second = spawnShutdown(host);
    EXPECT_TRUE(second.isThere());
    EXPECT_FALSE(first.isThere());
    host.world.runToEnd();
    EXPECT_TRUE(first.isThere());
    EXPECT_EQ(host.session(0).stopCalls.size(), 1U);
}

TEST(ViewerCaptureCoordinatorShutdown, ARequestThatWaitsStillReturnsItsFrame) {
    CoordinatedWorld host;
    host.delayFrames(3s);
    const auto answer = host.ask("1");
    host.world.advance(1s);
    EXPECT_TRUE(spawnShutdown(host).isThere()) << "it does not wait for the request";
    EXPECT_EQ(host.session(0).stopCalls.size(), 1U);
    host.world.advance(2s);
    EXPECT_EQ(answer.value(), frameOf("1"));
    EXPECT_EQ(host.world.pendingTimers(), 0U) << "no entry is left to expire";
    EXPECT_EQ(host.session(0).stopCalls.size(), 1U);
}

TEST(ViewerCaptureCoordinatorShutdown, AListingThatWaitsStillReturnsItsDisplays) {
    CoordinatedWorld host;
    host.source->listDelay = 1s;
    const SpawnedAnswer displays(host.world, host.coordinator->displays());
    host.world.settle();
    EXPECT_TRUE(spawnShutdown(host).isThere());
    EXPECT_FALSE(displays.isThere());
    host.world.advance(1s);
    EXPECT_EQ(displays.value(), CoordinatedWorld::displays());
}

TEST(ViewerCaptureCoordinatorShutdown, ACaptureThatStopsAlreadyIsNotStoppedAgain) {
    CoordinatedWorld host;
    host.source->prepare = [](ScriptedCaptureSession& session) { session.stopDelay = 1h; };
    (void)host.ask("1");
    host.world.advance(5s);
    ASSERT_TRUE(host.session(0).isAskedToStop());
    EXPECT_TRUE(spawnShutdown(host).isThere());
    EXPECT_EQ(host.session(0).stopCalls.size(), 1U);
}

}  // namespace
}  // namespace velmora
