#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>

#include "tests/capture/linux/login/LoginSessionOnBus.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;

/// Buses that end, and watches that are destroyed.
class ViewerLoginSessionWatchEndTest : public LoginSessionOnBus {};

TEST_F(ViewerLoginSessionWatchEndTest, ABusThatEndsIsNoEndAndIsLookedForAgain) {
    watch();
    manager_.reset();
    bus_->kill();
    bus_.reset();
    for (int i = 0; i < 5; ++i) {
        pass(ViewerLoginSessionWatch::interval);
    }
    expectNoEnd();
    EXPECT_EQ(clock_->pendingTimers(), 1U);

    const PrivateBus next;
    environment_.set("DBUS_SYSTEM_BUS_ADDRESS", next.address());
    manager_.emplace(next.address());
    clock_->advance(2999ms);
    loop_.restart();
    EXPECT_EQ(loop_.poll(), 0U) << "it is looked for every three seconds";
    pass(1ms);
    EXPECT_TRUE(until([this] { return timesAsked("State") != 0; }));
    expectNoEnd();
    manager_->state = "closing";
    manager_->tellChange();
    expectTheEnd();
}

TEST_F(ViewerLoginSessionWatchEndTest, WhatABusSaidThatEndedAtOnceCountsForNothing) {
    manager_->refusal = "org.freedesktop.login1.NoSessionForPID";
    makeWatch();
    clock_->advance(ViewerLoginSessionWatch::delay);
    EXPECT_TRUE(until([this] { return timesAsked("GetSession auto") != 0; }));
    // The answer and the end of the bus are there when the loop looks next.
    ping();
    ping();
    manager_.reset();
    bus_->kill();
    bus_.reset();
    EXPECT_TRUE(until([this] { return clock_->pendingTimers() == 1; }));

    const PrivateBus next;
    environment_.set("DBUS_SYSTEM_BUS_ADDRESS", next.address());
    manager_.emplace(next.address());
    pass(ViewerLoginSessionWatch::interval);
    EXPECT_TRUE(until([this] { return timesAsked("State") != 0; }));
}

TEST_F(ViewerLoginSessionWatchEndTest, WhereThereIsNoSystemBusNothingIsWaitedFor) {
    environment_.set("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent");
    watch();
    EXPECT_EQ(clock_->pendingTimers(), 0U);
    expectNoEnd();
}

TEST_F(ViewerLoginSessionWatchEndTest, ADestroyedWatchTellsNothingMore) {
    watch();
    manager_->state = "closing";
    manager_->isMute = true;
    manager_->announceNewSession();
    settle();
    EXPECT_EQ(clock_->pendingTimers(), 1U) << "an answer is waited for";
    watch_.reset();
    manager_->isMute = false;
    manager_->endSession();
    expectNoEnd();
}

TEST_F(ViewerLoginSessionWatchEndTest, AWatchThatIsDestroyedAtAnyStepLeavesNothingBehind) {
    settle();
    const std::size_t before = connections();
    bool isDone = false;
    for (int steps = 0; !isDone; ++steps) {
        SCOPED_TRACE(steps);
        manager_->asked.clear();
        makeWatch();
        clock_->advance(ViewerLoginSessionWatch::delay);
        for (int step = 0; step < steps; ++step) {
            loop_.restart();
            (void)loop_.poll_one();
            (void)manager_->process();
            ping();
            ping();
        }
        isDone = timesAsked("State") != 0;
        watch_.reset();
        expectNoEnd();
        EXPECT_EQ(clock_->pendingTimers(), 0U);
        EXPECT_EQ(connections(), before);
    }
}

TEST_F(ViewerLoginSessionWatchEndTest, AWatchThatIsDestroyedWhenItLooksForABusAgainFindsNone) {
    manager_->isMute = true;
    makeWatch();
    clock_->advance(ViewerLoginSessionWatch::delay);
    EXPECT_TRUE(until([this] { return timesAsked("GetSession auto") != 0; }));
    manager_.reset();
    bus_->kill();
    bus_.reset();
    // The look goes on only afterwards, and keeps what it works with until then.
    const auto isLost = [this] {
        loop_.restart();
        (void)loop_.poll_one();
        return clock_->pendingTimers() == 2;
    };
    while (!isLost()) {
    }
    const PrivateBus next;
    environment_.set("DBUS_SYSTEM_BUS_ADDRESS", next.address());
    manager_.emplace(next.address());
    clock_->advance(ViewerLoginSessionWatch::interval);
    watch_.reset();
    for (int round = 0; round < 10; ++round) {
        (void)work();
    }
    EXPECT_THAT(manager_->asked, IsEmpty());
}

TEST_F(ViewerLoginSessionWatchEndTest, AWatchThatIsDestroyedDuringTheStartAsksNobody) {
    makeWatch();
    watch_.reset();
    pass(1min);
    EXPECT_THAT(manager_->asked, IsEmpty());
}

}  // namespace
}  // namespace velmora
