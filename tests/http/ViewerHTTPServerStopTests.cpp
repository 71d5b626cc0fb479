#include <gtest/gtest.h>

#include <boost/asio/execution.hpp>
#include <boost/asio/execution_context.hpp>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/http/ViewerHTTPServer.h"
#include "core/runtime/ViewerTaskHandle.h"
#include "tests/support/http/ServedWorld.h"

namespace velmora {
namespace {

using Log = std::vector<std::string>;

/// A queue that notes each time that something is put into it.
struct NotingQueue final {
    ViewerExecutor queue;
    Log* log;

    friend bool operator==(const NotingQueue&, const NotingQueue&) noexcept = default;

    template <typename Function>
    void execute(Function function) const {
        log->emplace_back("start");
        queue.execute(std::move(function));
    }
    boost::asio::execution_context& query(boost::asio::execution::context_t) const noexcept {
        return queue.context();
    }
    static constexpr boost::asio::execution::blocking_t query(
        boost::asio::execution::blocking_t) noexcept {
        return boost::asio::execution::blocking.never;
    }
    NotingQueue require(boost::asio::execution::blocking_t::never_t) const noexcept {
        return *this;
    }
};

ViewerTask<void> startOnly(std::shared_ptr<ViewerHTTPServer> server) {
    (void)co_await server->start();
}

TEST(ViewerHTTPServer, StopEndsTheListenerThenTheServedThenTheWaitingThenTheStart) {
    ServedWorld host;
    Log log;
    (void)startTask(NotingQueue{host.world.taskExecutor(), &log}, startOnly(host.server));
    host.world.settle();
    Log expected{"listener"};
    for (int i = 0; i < 18; ++i) {
        const auto peer = std::make_shared<ScriptedPeer>();
        expected.push_back(std::to_string(i));
        peer->onCancel = [&log, name = expected.back()] { log.push_back(name); };
        host.listener().connect(peer);
    }
    expected.emplace_back("start");
    host.listener().onCancel = [&log] { log.emplace_back("listener"); };
    host.world.settle();
    log.clear();
    const auto stop = host.stop();
    host.world.settle();
    ASSERT_TRUE(stop.isThere());
    // A connection whose end is told of is cancelled once more, later.
    log.resize(expected.size());
    EXPECT_EQ(log, expected);
}

TEST(ViewerHTTPServer, AStoppedServerKeepsNoListener) {
    ServedWorld host;
    host.listen();
    const auto stop = host.stop();
    host.world.settle();
    ASSERT_TRUE(stop.isThere());
    EXPECT_EQ(host.transport->listeners.back().use_count(), 1);
}

TEST(ViewerHTTPServer, AnUnknownHandlersEndChangesNothing) {
    ServedWorld host;
    host.listen();
    const auto peers = host.connect(18);
    host.world.settle();
    host.server->handlerFinished(makeRandomUUID());
    host.world.settle();
    EXPECT_EQ(startedCount(peers), 16U);
    // The two that wait may have changed places; neither is lost.
    peers[0]->end();
    peers[1]->end();
    host.world.settle();
    EXPECT_EQ(startedCount(peers), peers.size());
}

TEST(ViewerHTTPServer, AnUnknownHandlersEndReleasesNobodyWhoWaits) {
    ServedWorld host;
    host.listen();
    host.gate.close();
    const auto peer = host.listener().connect();
    peer->send(ServedWorld::frameRequest);
    host.world.settle();
    const auto wait = host.waitForHandlers();
    const auto stop = host.stop();
    host.world.settle();
    host.server->handlerFinished(makeRandomUUID());
    host.world.settle();
    EXPECT_FALSE(wait.isThere());
    host.gate.open();
    host.world.settle();
    EXPECT_TRUE(wait.isThere());
    EXPECT_TRUE(stop.isThere());
}

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

TEST(ViewerHTTPServer, AnEndWhileOthersAreServedCompletesNoWaitForHandlers) {
    ServedWorld host;
    host.listen();
    const auto peers = host.connect(2);
    host.world.settle();
    const auto wait = host.waitForHandlers();
    host.world.settle();
    peers.front()->end();
    host.world.settle();
    ASSERT_TRUE(peers.front()->isDropped());
    EXPECT_FALSE(wait.isThere());
    const auto stop = host.stop();
    host.world.settle();
    EXPECT_TRUE(wait.isThere());
}

TEST(ViewerHTTPServer, AWaitForHandlersThatEndedBeforeTheStopCompletesWithTheStop) {
    ServedWorld host;
    host.listen();
    const auto peer = host.listener().connect();
    host.world.settle();
    const auto wait = host.waitForHandlers();
    host.world.settle();
    peer->end();
    host.world.settle();
    ASSERT_TRUE(peer->isDropped());
    const auto stop = host.stop();
    host.world.settle();
    EXPECT_TRUE(stop.isThere());
    EXPECT_TRUE(wait.isThere());
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
