#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/http/ViewerHTTPServer.h"
#include "tests/support/http/ServedWorld.h"

namespace velmora {
namespace {

TEST(ViewerHTTPServer, StopEndsServedAndWaitingConnectionsWithoutAResponse) {
    ServedWorld host;
    host.listen();
    const auto peers = host.connect(20);
    host.world.settle();
    const auto stop = host.stop();
    host.world.settle();
    EXPECT_TRUE(stop.isThere());
    EXPECT_EQ(host.listener().cancellations(), 1U);
    EXPECT_EQ(startedCount(peers), 16U);
    for (const auto& peer : peers) {
        EXPECT_GE(peer->cancellations(), 1U);
        EXPECT_TRUE(peer->isDropped());
        EXPECT_TRUE(peer->messages().empty());
    }
    EXPECT_EQ(host.world.pendingTimers(), 0U);
}

TEST(ViewerHTTPServer, AConnectionThatArrivesAfterAStopIsCancelledAtOnce) {
    ServedWorld host;
    host.listen();
    const auto stop = host.stop();
    host.world.settle();
    const auto peer = host.listener().connect();
    host.world.settle();
    EXPECT_FALSE(peer->isStarted());
    EXPECT_EQ(peer->cancellations(), 1U);
    EXPECT_TRUE(peer->isDropped());
}

TEST(ViewerHTTPServer, StopWaitsForARoutingTaskThatDoesNotReturn) {
    ServedWorld host;
    host.listen();
    host.gate.close();
    const auto peer = host.listener().connect();
    peer->send(ServedWorld::frameRequest);
    host.world.settle();
    const auto stop = host.stop();
    host.world.advance(std::chrono::hours(1));
    EXPECT_FALSE(stop.isThere());
    EXPECT_EQ(host.shutdowns(), 0U);

    host.gate.open();
    host.world.settle();
    EXPECT_TRUE(stop.isThere());
    EXPECT_EQ(host.shutdowns(), 1U);
    EXPECT_EQ(host.provider->calls.back(), "shutdown");
    EXPECT_TRUE(peer->messages().empty());
    EXPECT_EQ(peer->sendsAfterCancel(), 0U);
}

TEST(ViewerHTTPServer, AHandlerThatFinishesDuringAStopTakesUpNoWaitingConnection) {
    ServedWorld host;
    host.listen();
    host.gate.close();
    const auto peers = host.connect(17);
    for (const auto& peer : peers) {
        peer->send(ServedWorld::frameRequest);
    }
    host.world.settle();
    const auto stop = host.stop();
    host.gate.letOneOn();
    host.world.settle();
    EXPECT_FALSE(stop.isThere());
    EXPECT_FALSE(peers.back()->isStarted());
    EXPECT_TRUE(peers.back()->isDropped());
    host.gate.open();
    host.world.settle();
    EXPECT_TRUE(stop.isThere());
}

TEST(ViewerHTTPServer, EveryStopCompletesAfterTheLastHandlerAndOnlyTheFirstShutsDown) {
    ServedWorld host;
    host.listen();
    host.gate.close();
    for (const auto& peer : host.connect(2)) {
        peer->send(ServedWorld::frameRequest);
    }
    host.world.settle();
    const auto first = host.stop();
    const auto second = host.stop();
    host.world.settle();
    const auto third = host.stop();
    // Two lists of displays and one frame: one of the two handlers finishes.
    for (int answers = 0; answers < 3; ++answers) {
        host.gate.letOneOn();
        host.world.settle();
    }
    EXPECT_FALSE(first.isThere() || second.isThere() || third.isThere());

    host.gate.open();
    host.world.settle();
    EXPECT_TRUE(first.isThere() && second.isThere() && third.isThere());
    EXPECT_EQ(host.shutdowns(), 1U);
    EXPECT_EQ(host.listener().cancellations(), 1U);
}

TEST(ViewerHTTPServer, ALaterStopDoesNotWaitForTheProvidersShutdown) {
    ServedWorld host;
    host.listen();
    host.gate.close();
    const auto first = host.stop();
    host.world.settle();
    const auto second = host.stop();
    host.world.settle();
    EXPECT_FALSE(first.isThere());
    EXPECT_TRUE(second.isThere());
    host.gate.open();
    host.world.settle();
    EXPECT_TRUE(first.isThere());
}

TEST(ViewerHTTPServer, WaitForHandlersCompletesAtOnceWhenNothingIsServed) {
    ServedWorld host;
    host.listen();
    const auto wait = host.waitForHandlers();
    host.world.settle();
    EXPECT_TRUE(wait.isThere());
}

TEST(ViewerHTTPServer, WaitForHandlersCompletesWithTheLastHandlerOfAStop) {
    ServedWorld host;
    host.listen();
    host.gate.close();
    const auto peer = host.listener().connect();
    peer->send(ServedWorld::frameRequest);
    host.world.settle();
    const auto wait = host.waitForHandlers();
    const auto stop = host.stop();
    host.world.settle();
    EXPECT_FALSE(wait.isThere());
    host.gate.letOneOn();  // the list of displays
    host.world.settle();
    host.gate.letOneOn();  // the frame
    host.world.settle();
    EXPECT_TRUE(wait.isThere());
    EXPECT_FALSE(stop.isThere()) << "the provider is still shutting down";
    host.gate.open();
    host.world.settle();
}

TEST(ViewerHTTPServer, AServerWithoutOwnersStillCompletesItsStop) {
    ServedWorld host;
    host.listen();
    host.gate.close();
    const auto peer = host.listener().connect();
    peer->send(ServedWorld::frameRequest);
    host.world.settle();
    const auto stop = host.stop();
    host.world.settle();
    const std::weak_ptr<ViewerHTTPServer> server = host.server;
    host.server.reset();
    host.gate.open();
    host.world.settle();
    EXPECT_TRUE(stop.isThere());
    EXPECT_EQ(host.shutdowns(), 1U);
    EXPECT_TRUE(server.expired());
}

}  // namespace
}  // namespace velmora
