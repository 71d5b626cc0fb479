#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "core/http/ViewerConnectionHandler.h"
#include "tests/http/HandledConnection.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

TEST(ViewerConnectionHandler, APeerThatClosesAfterHalfAHeadGetsNothing) {
    HandledConnection served;
    served.handler->start();
    served.peer->send("GET /viewer");
    served.world.settle();
    served.peer->end();
    served.world.settle();
    EXPECT_TRUE(served.peer->messages().empty());
    EXPECT_EQ(served.peer->cancellations(), 0U);
    EXPECT_EQ(served.finishes, 1);
    EXPECT_EQ(served.world.pendingTimers(), 0U);
    served.handler.reset();
    EXPECT_TRUE(served.peer->isDropped());
}

TEST(ViewerConnectionHandler, APeerThatBreaksOffBeforeAWholeHeadGetsNothing) {
    HandledConnection served;
    served.handler->start();
    served.peer->send("GET /viewer");
    served.peer->breakOff();
    served.world.settle();
    EXPECT_TRUE(served.peer->messages().empty());
    EXPECT_EQ(served.peer->cancellations(), 0U);
    EXPECT_EQ(served.finishes, 1);
}

TEST(ViewerConnectionHandler, ASilentPeerIsCutOffAfterFiveSeconds) {
    HandledConnection served;
    served.handler->start();
    served.world.advance(5s - 1ns);
    EXPECT_EQ(served.peer->cancellations(), 0U);
    EXPECT_EQ(served.finishes, 0);
    served.world.advance(1ns);
    EXPECT_GE(served.peer->cancellations(), 1U);
    EXPECT_EQ(served.finishes, 1);
    EXPECT_TRUE(served.peer->messages().empty());
}

TEST(ViewerConnectionHandler, TheDeadlineCountsFromTheStartWhateverArrives) {
    HandledConnection served;
    served.handler->start();
    for (int second = 0; second < 4; ++second) {
        served.world.advance(1s);
        served.peer->send("GET");
    }
    served.world.advance(1s);
    EXPECT_EQ(served.finishes, 1);
}

TEST(ViewerConnectionHandler, AConnectionThatNeverBecomesReadyIsCutOff) {
    HandledConnection served({.becomesReady = false});
    served.handler->start();
    served.world.advance(5s);
    EXPECT_GE(served.peer->cancellations(), 1U);
    EXPECT_EQ(served.finishes, 1);
}

TEST(ViewerConnectionHandler, AtTheDeadlineARoutedRequestIsDroppedWhenTheRouterReturns) {
    HandledConnection served;
    served.gate.close();
    served.handler->start();
    served.peer->send(HandledConnection::frameRequest);
    served.world.advance(5s);
    EXPECT_GE(served.peer->cancellations(), 1U);
    EXPECT_EQ(served.finishes, 0);
    served.gate.open();
    served.world.settle();
    EXPECT_EQ(served.finishes, 1);
    EXPECT_TRUE(served.peer->messages().empty());
    EXPECT_EQ(served.peer->sendsAfterCancel(), 0U);
}

TEST(ViewerConnectionHandler, ACancelDuringRoutingSendsNothingAndWaitsForTheRouter) {
    HandledConnection served;
    served.gate.close();
    served.handler->start();
    served.peer->send(HandledConnection::frameRequest);
    served.world.settle();
    served.handler->cancel();
    served.world.settle();
    EXPECT_EQ(served.peer->cancellations(), 2U) << "by the call and by the connection's event";
    EXPECT_EQ(served.finishes, 0);
    served.gate.open();
    served.world.settle();
    EXPECT_EQ(served.finishes, 1);
    EXPECT_TRUE(served.peer->messages().empty());
    EXPECT_EQ(served.peer->sendsAfterCancel(), 0U);
    EXPECT_EQ(served.world.pendingTimers(), 0U);
}

TEST(ViewerConnectionHandler, ACancelThatMeetsTheRoutersAnswerStillSendsNothing) {
    HandledConnection served;
    served.gate.close();
    served.handler->start();
    served.peer->send(HandledConnection::frameRequest);
    served.world.settle();
    served.gate.letOneOn();
    served.world.settle();
    // The answer is on its way to the task when the cancellation comes.
    served.gate.open();
    served.handler->cancel();
    served.world.settle();
    EXPECT_EQ(served.finishes, 1);
    EXPECT_TRUE(served.peer->messages().empty());
    EXPECT_EQ(served.peer->sendsAfterCancel(), 0U);
}

ViewerTask<void> rest(ViewerContinuousClock* clock) {
    (void)co_await clock->sleep(1h);
}

TEST(ViewerConnectionHandler, ACancelWakesARouterThatSleeps) {
    HandledConnection served;
    served.pause = [&served] { return rest(&served.world); };
    served.handler->start();
    served.peer->send(HandledConnection::frameRequest);
    served.world.settle();
    served.handler->cancel();
    served.world.settle();
    EXPECT_EQ(served.finishes, 1);
    EXPECT_EQ(served.world.pendingTimers(), 0U);
}

TEST(ViewerConnectionHandler, SeveralCancelsWithoutRoutingFinishOnce) {
    HandledConnection served;
    served.handler->start();
    served.world.settle();
    served.handler->cancel();
    EXPECT_EQ(served.finishes, 1) << "at once";
    served.handler->cancel();
    served.peer->change(ViewerConnectionState::cancelled);
    served.world.advance(10s);
    EXPECT_EQ(served.finishes, 1);
    EXPECT_TRUE(served.peer->messages().empty());
}

TEST(ViewerConnectionHandler, AFailedOrCancelledConnectionEndsTheHandler) {
    for (const auto state : {ViewerConnectionState::failed, ViewerConnectionState::cancelled}) {
        HandledConnection served;
        served.handler->start();
        served.peer->change(state);
        served.world.settle();
        EXPECT_GE(served.peer->cancellations(), 1U);
        EXPECT_EQ(served.finishes, 1);
    }
}

TEST(ViewerConnectionHandler, WhatArrivesAfterACancelIsNotAnswered) {
    HandledConnection served;
    served.handler->start();
    served.world.settle();
    served.peer->send("POST / HTTP/1.1\r\n\r\n");
    served.handler->cancel();
    served.world.settle();
    EXPECT_TRUE(served.peer->messages().empty());
    EXPECT_EQ(served.peer->sendsAfterCancel(), 0U);
    EXPECT_EQ(served.finishes, 1);
}

TEST(ViewerConnectionHandler, ACancelWhileAFixedResponseLeavesFinishesAtOnceAndOnce) {
    HandledConnection served({.completesSends = false});
    served.handler->start();
    served.peer->send("POST / HTTP/1.1\r\n\r\n");
    served.world.settle();
    EXPECT_EQ(served.peer->messages().size(), 1U);
    served.handler->cancel();
    EXPECT_EQ(served.finishes, 1);
    served.world.settle();
    EXPECT_EQ(served.finishes, 1);
}

TEST(ViewerConnectionHandler, ACancelWhileARoutedResponseLeavesFinishesWithTheSend) {
    HandledConnection served({.completesSends = false});
    served.handler->start();
    served.peer->send(HandledConnection::frameRequest);
    served.world.settle();
    EXPECT_EQ(served.peer->messages().size(), 1U);
    served.handler->cancel();
    EXPECT_EQ(served.finishes, 0);
    served.world.settle();
    EXPECT_EQ(served.finishes, 1);
}

TEST(ViewerConnectionHandler, ACancelBeforeTheStartLeavesNothingBehind) {
    HandledConnection served;
    served.peer->send(HandledConnection::frameRequest);
    served.handler->cancel();
    EXPECT_EQ(served.finishes, 1);
    served.handler->start();
    EXPECT_EQ(served.world.pendingTimers(), 0U);
    served.world.settle();
    EXPECT_EQ(served.finishes, 1);
    EXPECT_TRUE(served.peer->messages().empty());
}

TEST(ViewerConnectionHandler, ADroppedHandlerAnswersNothingAndLeavesNoTimer) {
    HandledConnection served;
    served.gate.close();
    served.handler->start();
    served.peer->send(HandledConnection::frameRequest);
    served.world.settle();
    served.handler.reset();
    EXPECT_TRUE(served.peer->isDropped());
    EXPECT_EQ(served.world.pendingTimers(), 0U);
    served.gate.open();
    served.world.settle();
    EXPECT_EQ(served.finishes, 0);
    EXPECT_TRUE(served.peer->messages().empty());
}

TEST(ViewerConnectionHandler, EventsThatWereQueuedFindADroppedHandlerGone) {
    HandledConnection served;
    served.handler->start();
    served.world.settle();
    served.peer->send(HandledConnection::frameRequest);
    served.peer->change(ViewerConnectionState::failed);
    served.handler.reset();
    served.world.settle();
    EXPECT_EQ(served.finishes, 0);
    EXPECT_TRUE(served.provider->calls.empty());
}

}  // namespace
}  // namespace velmora
