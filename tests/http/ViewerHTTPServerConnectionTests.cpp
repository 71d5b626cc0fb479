#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/http/ViewerHTTPServer.h"
#include "tests/support/http/ServedWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

using Peers = std::vector<std::shared_ptr<ScriptedPeer>>;

std::size_t droppedCount(const Peers& peers) {
    return static_cast<std::size_t>(
        std::ranges::count_if(peers, [](const auto& peer) { return peer->isDropped(); }));
}

TEST(ViewerHTTPServer, AConnectionIsAnsweredEndedAndDropped) {
    ServedWorld host;
    host.listen();
    const auto peer = host.listener().connect();
    peer->send(ServedWorld::frameRequest);
    host.world.settle();
    EXPECT_EQ(peer->messages(), std::vector<std::string>({ServedWorld::frameResponse}));
    EXPECT_GE(peer->cancellations(), 1U);
    EXPECT_TRUE(peer->isDropped());
    EXPECT_EQ(host.world.pendingTimers(), 0U);
}

TEST(ViewerHTTPServer, ListenerAndConnectionsShareOneQueue) {
    ServedWorld host;
    host.listen();
    const auto peers = host.connect(3);
    host.world.settle();
    for (const auto& peer : peers) {
        EXPECT_TRUE(peer->queue() == host.listener().queue());
    }
}

TEST(ViewerHTTPServer, The17thConnectionWaitsUntilAHandlerFinishes) {
    ServedWorld host;
    host.listen();
    const auto peers = host.connect(17);
    host.world.settle();
    EXPECT_EQ(startedCount(peers), 16U);
    EXPECT_FALSE(peers.back()->isStarted());

    peers[7]->end();
    host.world.settle();
    EXPECT_TRUE(peers.back()->isStarted());
    EXPECT_EQ(droppedCount(peers), 1U);
}

TEST(ViewerHTTPServer, AnAnsweredConnectionHasEndedWhenTheNextOneIsServed) {
    ServedWorld host;
    host.listen();
    std::vector<std::string> log;
    const auto answered = std::make_shared<ScriptedPeer>();
    answered->onCancel = [&log] { log.emplace_back("end"); };
    const auto next = std::make_shared<ScriptedPeer>();
    next->onStart = [&log] { log.emplace_back("start"); };
    host.listener().connect(answered);
    const auto others = host.connect(15);
    host.listener().connect(next);
    answered->send("POST / HTTP/1.1\r\n\r\n");
    host.world.settle();
    ASSERT_EQ(answered->messages().size(), 1U);
    ASSERT_TRUE(next->isStarted());
    EXPECT_EQ(log.front(), "end");
}

TEST(ViewerHTTPServer, WaitingConnectionsAreTakenUpInTheOrderOfTheirArrival) {
    ServedWorld host;
    host.listen();
    const auto peers = host.connect(40);
    for (std::size_t served = 16; served <= peers.size(); ++served) {
        host.world.settle();
        for (std::size_t i = 0; i < peers.size(); ++i) {
            EXPECT_EQ(peers[i]->isStarted(), i < served) << i << " of " << served;
        }
        peers[served - 1]->end();
    }
    for (const auto& peer : peers) {
        peer->end();
    }
    host.world.settle();
    EXPECT_EQ(droppedCount(peers), peers.size());
}

TEST(ViewerHTTPServer, AHandlerThatEndsInSeveralWaysAtOnceMovesTheWaitingOnByOne) {
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        SCOPED_TRACE(seed);
        ServedWorld host(seed);
        host.listen();
        const auto peers = host.connect(20);
        host.world.settle();
        peers.front()->send("POST / HTTP/1.1\r\n\r\n");
        peers.front()->end();
        peers.front()->change(ViewerConnectionState::failed);
        peers.front()->change(ViewerConnectionState::cancelled);
        for (std::size_t ended = 1; ended <= 4; ++ended) {
            host.world.settle();
            EXPECT_EQ(startedCount(peers), 16 + ended);
            EXPECT_TRUE(peers[15 + ended]->isStarted()) << "the next of those that wait";
            peers[ended]->end();
        }
    }
}

TEST(ViewerHTTPServer, WaitingDoesNotCountTowardsTheDeadline) {
    ServedWorld host;
    host.listen();
    const auto peers = host.connect(17);
    host.world.advance(4s);
    peers.front()->end();
    host.world.advance(4s);
    EXPECT_EQ(droppedCount(peers), 16U);
    EXPECT_FALSE(peers.back()->isDropped());
    host.world.advance(1s);
    EXPECT_TRUE(peers.back()->isDropped());
}

TEST(ViewerHTTPServer, AtMost16RequestsAreRoutedAtOnce) {
    ServedWorld host;
    host.listen();
    host.gate.close();
    const auto peers = host.connect(20);
    for (const auto& peer : peers) {
        peer->send(ServedWorld::frameRequest);
    }
    host.world.settle();
    EXPECT_EQ(host.gate.waiting(), 16U);
    host.gate.open();
    host.world.settle();
    for (const auto& peer : peers) {
        EXPECT_EQ(peer->messages(), std::vector<std::string>({ServedWorld::frameResponse}));
    }
}

TEST(ViewerHTTPServer, AClosedConnectionIsDroppedWithoutBeingCancelled) {
    ServedWorld host;
    host.listen();
    const auto peer = host.listener().connect();
    peer->send("GET /viewer/v1");
    peer->end();
    host.world.settle();
    EXPECT_TRUE(peer->messages().empty());
    EXPECT_EQ(peer->cancellations(), 0U);
    EXPECT_TRUE(peer->isDropped());
}

TEST(ViewerHTTPServer, AConnectionIsIgnoredOnceTheServerIsGone) {
    ServedWorld host;
    host.listen();
    host.server.reset();
    const auto peer = host.listener().connect();
    host.world.settle();
    EXPECT_FALSE(peer->isStarted());
    EXPECT_EQ(peer->cancellations(), 0U);
    EXPECT_TRUE(peer->isDropped());
}

TEST(ViewerHTTPServer, HandlersAndWaitingConnectionsGoWithTheServer) {
    ServedWorld host;
    host.listen();
    host.gate.close();
    const auto peers = host.connect(20);
    for (const auto& peer : peers) {
        peer->send(ServedWorld::frameRequest);
    }
    host.world.settle();
    host.server.reset();
    EXPECT_EQ(droppedCount(peers), peers.size());
    EXPECT_EQ(host.world.pendingTimers(), 0U);
    host.gate.open();
    host.world.settle();
    for (const auto& peer : peers) {
        EXPECT_TRUE(peer->messages().empty());
    }
}

}  // namespace
}  // namespace velmora
