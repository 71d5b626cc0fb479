#include "core/http/ViewerConnectionHandler.h"

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/http/HandledConnection.h"
#include "tests/support/runtime/OneLoop.h"

namespace velmora {
namespace {

using Messages = std::vector<std::string>;

TEST(ViewerConnectionHandler, ARequestIsAnsweredAndTheConnectionEnded) {
    HandledConnection served;
    served.handler->start();
    served.peer->send(HandledConnection::frameRequest);
    served.world.settle();
    EXPECT_EQ(served.peer->messages(), Messages({HandledConnection::frameResponse}));
    EXPECT_GE(served.peer->cancellations(), 1U);
    EXPECT_EQ(served.finishes, 1);
    EXPECT_EQ(served.world.pendingTimers(), 0U);
}

TEST(ViewerConnectionHandler, AnAnswerThatIsAtHandTakesNoTask) {
    HandledConnection served;
    served.provider->areAtHand = true;
    served.provider->framesAtHand = served.provider->frames;
    OneLoop loop(served.world.mainExecutor());
    int tasks = 0;
    loop.onTask = [&] { ++tasks; };
    const auto peer = std::make_shared<ScriptedPeer>();
    int finishes = 0;
    const auto handler = std::make_shared<ViewerConnectionHandler>(
        peer->makeConnection(), std::make_shared<ViewerHostRouter>(served.provider, "machine"),
        loop.mainExecutor(), [&] { ++finishes; }, loop, borrowedClock(served.world));
    handler->start();
    peer->send(HandledConnection::frameRequest);
    served.world.settle();
    EXPECT_EQ(peer->messages(), Messages({HandledConnection::frameResponse}));
    EXPECT_EQ(finishes, 1);
    EXPECT_EQ(tasks, 0);
    EXPECT_EQ(served.world.pendingTimers(), 0U);
}

TEST(ViewerConnectionHandler, ARequestOfOneBytePerDeliveryIsAnsweredOnceItsHeadIsComplete) {
    HandledConnection served;
    served.handler->start();
    for (const char byte : HandledConnection::frameRequest) {
        EXPECT_TRUE(served.peer->messages().empty());
        served.peer->send(std::string_view(&byte, 1));
        served.world.settle();
    }
    EXPECT_EQ(served.peer->messages(), Messages({HandledConnection::frameResponse}));
    EXPECT_EQ(served.peer->receiveLimits().size(), HandledConnection::frameRequest.size());
    EXPECT_EQ(served.finishes, 1);
}

TEST(ViewerConnectionHandler, EachReceiveAsksForAtMost1024Bytes) {
    HandledConnection served;
    served.handler->start();
    served.peer->send("GET /x HTTP/1.1\r\nA: " + std::string(3000, 'a'));
    served.world.settle();
    EXPECT_EQ(served.peer->receiveLimits(), std::vector<std::size_t>({1024, 1024, 1024, 1024}));
}

TEST(ViewerConnectionHandler, NothingIsReceivedBeforeTheConnectionIsReady) {
    HandledConnection served({.becomesReady = false});
    served.handler->start();
    served.peer->change(ViewerConnectionState::setup);
    served.peer->change(ViewerConnectionState::waiting);
    served.peer->change(ViewerConnectionState::preparing);
    served.world.settle();
    EXPECT_FALSE(served.peer->isReceiving());
    EXPECT_EQ(served.finishes, 0);
    served.peer->change(ViewerConnectionState::ready);
    served.world.settle();
    EXPECT_TRUE(served.peer->isReceiving());
}

TEST(ViewerConnectionHandler, AHeadThatComesTogetherWithTheEndOfTheStreamIsAnswered) {
    HandledConnection served;
    served.peer->send(HandledConnection::frameRequest);
    served.peer->end();
    served.handler->start();
    served.world.settle();
    EXPECT_EQ(served.peer->messages(), Messages({HandledConnection::frameResponse}));
    EXPECT_EQ(served.peer->receiveLimits().size(), 1U);
    EXPECT_EQ(served.finishes, 1);
}

TEST(ViewerConnectionHandler, AHeadThatComesTogetherWithAnErrorIsAnswered) {
    HandledConnection served;
    served.peer->send(HandledConnection::frameRequest);
    served.peer->breakOff();
    served.handler->start();
    served.world.settle();
    EXPECT_EQ(served.peer->messages(), Messages({HandledConnection::frameResponse}));
    EXPECT_EQ(served.peer->receiveLimits().size(), 1U);
    EXPECT_EQ(served.finishes, 1);
}

TEST(ViewerConnectionHandler, WhatFollowsTheFirstRequestIsNeverASecondOne) {
    HandledConnection served;
    served.handler->start();
    const std::string request(HandledConnection::frameRequest);
    served.peer->send(request + request);
    served.world.settle();
    served.peer->send(request);
    served.world.settle();
    EXPECT_EQ(served.peer->messages(), Messages({HandledConnection::frameResponse}));
    EXPECT_EQ(served.peer->receiveLimits().size(), 1U);
    EXPECT_EQ(served.provider->calls, Messages({"displays", "frame one"}));
}

/// Whether a client that sends this is expected to have more to send.
bool isMoreExpected(std::string_view sent) {
    HandledConnection served;
    served.handler->start();
    served.peer->send(sent);
    served.world.settle();
    EXPECT_EQ(served.peer->messages().size(), 1U);
    return served.peer->expectsMore();
}

TEST(ViewerConnectionHandler, MoreIsExpectedOfAClientThatAnnouncesOrSentItOrWasRefused) {
    const std::string request(HandledConnection::frameRequest);
    EXPECT_FALSE(isMoreExpected(request));
    EXPECT_TRUE(isMoreExpected(request + "G"));
    EXPECT_TRUE(isMoreExpected("GET /x HTTP/1.1\r\nContent-Length: 1\r\n\r\n"));
    EXPECT_TRUE(isMoreExpected("POST /x HTTP/1.1\r\n\r\n"));
    EXPECT_TRUE(isMoreExpected(std::string(8192, 'a')));
}

TEST(ViewerConnectionHandler, AMethodOtherThanGETGetsOne405WithoutRouting) {
    HandledConnection served;
    served.handler->start();
    served.peer->send("POST /viewer/v1/displays HTTP/1.1\r\n\r\n");
    served.world.settle();
    EXPECT_EQ(served.peer->messages(), Messages({HandledConnection::methodNotAllowedResponse}));
    EXPECT_GE(served.peer->cancellations(), 1U);
    EXPECT_EQ(served.finishes, 1);
    EXPECT_TRUE(served.provider->calls.empty());
}

TEST(ViewerConnectionHandler, AHeadWithoutAnEndGetsOne431After8192Bytes) {
    HandledConnection served;
    served.handler->start();
    served.peer->send(std::string(8191, 'a'));
    served.world.settle();
    EXPECT_TRUE(served.peer->messages().empty());
    served.peer->send(std::string(3, 'a'));
    served.world.settle();
    EXPECT_EQ(served.peer->messages(), Messages({HandledConnection::headersTooLargeResponse}));
    EXPECT_GE(served.peer->cancellations(), 1U);
    EXPECT_EQ(served.finishes, 1);
    EXPECT_FALSE(served.peer->isReceiving());
}

TEST(ViewerConnectionHandler, TheConnectionEndsOnlyWhenTheResponseHasLeft) {
    HandledConnection served({.completesSends = false});
    served.handler->start();
    served.peer->send(HandledConnection::frameRequest);
    served.world.settle();
    EXPECT_EQ(served.peer->messages().size(), 1U);
    EXPECT_EQ(served.peer->cancellations(), 0U);
    EXPECT_EQ(served.finishes, 0);
    served.peer->completeSend();
    served.world.settle();
    EXPECT_GE(served.peer->cancellations(), 1U);
    EXPECT_EQ(served.finishes, 1);
}

TEST(ViewerConnectionHandler, OnOneLoopARequestIsAnsweredInTheStepThatReceivesIt) {
    boost::asio::io_context loop;
    OneLoop executors(loop.get_executor());
    const auto clock = std::make_shared<SimulatedWorld>();
    const auto peer = std::make_shared<ScriptedPeer>();
    int finishes = 0;
    const auto handler = std::make_shared<ViewerConnectionHandler>(
        peer->makeConnection(),
        std::make_shared<ViewerHostRouter>(std::make_shared<FakeFrameProvider>(), "machine"),
        loop.get_executor(), [&finishes] { ++finishes; }, executors, clock);
    handler->start();
    (void)loop.poll();
    loop.restart();
    peer->send("GET /viewer/v1/displays HTTP/1.1\r\n\r\n");
    EXPECT_EQ(loop.poll_one(), 1U);
    EXPECT_EQ(peer->messages().size(), 1U);
    EXPECT_EQ(finishes, 0);
    (void)loop.poll();
    EXPECT_EQ(finishes, 1);
    EXPECT_EQ(clock->pendingTimers(), 0U);
}

TEST(ViewerConnectionHandler, OnOneLoopACancelFromWithinTheRoutingFindsItsTask) {
    boost::asio::io_context loop;
    OneLoop executors(loop.get_executor());
    const auto peer = std::make_shared<ScriptedPeer>();
    std::shared_ptr<ViewerConnectionHandler> handler;
    int finishes = 0;
    ScriptedGate gate;
    gate.close();
    const auto provider =
        std::make_shared<PausingFrameProvider>(std::make_shared<FakeFrameProvider>(), [&] {
            handler->cancel();
            return gate.pass();
        });
    handler = std::make_shared<ViewerConnectionHandler>(
        peer->makeConnection(), std::make_shared<ViewerHostRouter>(provider, "machine"),
        loop.get_executor(), [&finishes] { ++finishes; }, executors,
        std::make_shared<SimulatedWorld>());
    handler->start();
    peer->send("GET /viewer/v1/displays HTTP/1.1\r\n\r\n");
    (void)loop.poll();
    EXPECT_EQ(finishes, 0);
    gate.open();
    loop.restart();
    (void)loop.poll();
    EXPECT_EQ(finishes, 1);
    EXPECT_TRUE(peer->messages().empty());
    EXPECT_EQ(peer->sendsAfterCancel(), 0U);
}

TEST(ViewerConnectionHandler, ACancelThatComesBetweenARequestAndItsTaskLeavesNothingToRoute) {
    boost::asio::io_context loop;
    OneLoop executors(loop.get_executor());
    const auto peer = std::make_shared<ScriptedPeer>();
    const auto provider = std::make_shared<FakeFrameProvider>();
    int finishes = 0;
    const auto handler = std::make_shared<ViewerConnectionHandler>(
        peer->makeConnection(), std::make_shared<ViewerHostRouter>(provider, "machine"),
        loop.get_executor(), [&finishes] { ++finishes; }, executors,
        std::make_shared<SimulatedWorld>());
    // Another thread stops the server in that moment.
    executors.onTask = [&handler] { handler->cancel(); };
    handler->start();
    peer->send("GET /viewer/v1/displays HTTP/1.1\r\n\r\n");
    (void)loop.poll();
    EXPECT_EQ(finishes, 1);
    EXPECT_TRUE(provider->calls.empty());
    EXPECT_TRUE(peer->messages().empty());
    EXPECT_EQ(peer->sendsAfterCancel(), 0U);
}

}  // namespace
}  // namespace velmora
