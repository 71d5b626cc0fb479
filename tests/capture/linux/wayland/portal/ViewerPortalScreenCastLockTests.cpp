#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/capture/linux/wayland/portal/ConsentWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using State = ViewerScreenCast::State;
using Access = ViewerCaptureAccess;

TEST(ViewerPortalScreenCastLock, ALockedSessionHasToBeUnlockedForAWholeSecond) {
    ConsentWorld at;
    at.grantWith("a");
    at.close();
    at.lock();
    for (int i = 0; i < 5; ++i) {
        at.unlock();
        at.pass(900ms);
        at.lock();
        at.pass(900ms);
    }
    EXPECT_EQ(at.renewals(), 0U);
    at.unlock();
    at.pass(1s);
    EXPECT_EQ(at.renewals(), 1U);
}

TEST(ViewerPortalScreenCastLock, ALockAfterAChangeOfTheOutputsHoldsTheRenewalBack) {
    ConsentWorld at;
    at.grantWith("a");
    at.changeOutputs();
    at.close();
    at.pass(999ms);
    at.lock();
    at.pass(1h);
    EXPECT_EQ(at.renewals(), 0U);
    at.unlock();
    at.pass(1s);
    EXPECT_EQ(at.renewals(), 1U);
}

TEST(ViewerPortalScreenCastLock, ALockThatIsFoundOnlyByAskingHoldsTheRenewalBack) {
    ConsentWorld at;
    at.grantWith("a");
    at.sessionLock->state = ViewerSessionLock::State::locked;
    at.changeOutputs();
    at.close();
    at.pass(1h);
    EXPECT_EQ(at.renewals(), 0U);
    at.sessionLock->state = ViewerSessionLock::State::unlocked;
    at.pass(ViewerPortalScreenCast::lockInterval);
    EXPECT_EQ(at.renewals(), 0U);
    at.pass(1s);
    EXPECT_EQ(at.renewals(), 1U);
}

TEST(ViewerPortalScreenCastLock, NothingIsAskedWhileNobodyKnowsWhetherTheSessionIsLocked) {
    ConsentWorld at;
    at.grantWith("a");
    at.sessionLock->state = ViewerSessionLock::State::unknown;
    at.changeOutputs();
    at.close();
    at.pass(1h);
    EXPECT_EQ(at.renewals(), 0U);
    at.sessionLock->state = ViewerSessionLock::State::unlocked;
    at.pass(ViewerPortalScreenCast::lockInterval + 1s);
    EXPECT_EQ(at.renewals(), 1U);
}

TEST(ViewerPortalScreenCastLock, AnUnlockOfLongAgoDoesNotCount) {
    ConsentWorld at;
    at.grantWith("a");
    at.lock();
    at.unlock();
    at.pass(1h);
    at.changeOutputs();
    at.close();
    at.pass(999ms);
    EXPECT_EQ(at.renewals(), 0U);
    at.pass(1ms);
    EXPECT_EQ(at.renewals(), 1U);
}

TEST(ViewerPortalScreenCastLock, AnUnlockThatNobodyToldIsLookedForAtOnceAfterTheClose) {
    ConsentWorld at;
    at.grantWith("a");
    at.lock();
    at.sessionLock->state = ViewerSessionLock::State::unlocked;
    at.close();
    at.pass(1s);
    EXPECT_EQ(at.renewals(), 1U);
}

TEST(ViewerPortalScreenCastLock, AnAnswerRightAfterTheUnlockIsNotYetASecond) {
    ConsentWorld at;
    at.grantWith("a");
    at.changeOutputs();
    at.sessionLock->isSlow = true;
    at.close();
    at.unlock();
    at.sessionLock->isSlow = false;
    at.sessionLock->answerAll();
    at.pass(999ms);
    EXPECT_EQ(at.renewals(), 0U);
    at.pass(1ms);
    EXPECT_EQ(at.renewals(), 1U);
}

TEST(ViewerPortalScreenCastLock, AnAnswerFromBeforeTheLockCountsForNothing) {
    ConsentWorld at;
    at.grantWith("a");
    at.changeOutputs();
    at.close();
    at.sessionLock->isSlow = true;
    at.pass(1s);
    at.lock();
    at.sessionLock->answerAll();
    at.pass(4s);
    EXPECT_EQ(at.renewals(), 0U);
}

TEST(ViewerPortalScreenCastLock, ALockBeforeTheTokenIsSentTakesTheRenewalBack) {
    ConsentWorld at;
    at.grantWith("a");
    at.changeOutputs();
    at.close();
    at.pass(1s);
    ASSERT_TRUE(at.portal->isOpening());
    at.lock();
    EXPECT_FALSE(at.portal->isOpening());
    at.pass(1h);
    EXPECT_EQ(at.renewals(), 1U);
    at.unlock();
    at.pass(1s);
    EXPECT_THAT(at.portal->opened, ElementsAre("", "a", "a"));
    at.portal->grant("b");
    EXPECT_EQ(at.state(), State::granted);
}

TEST(ViewerPortalScreenCastLock, ALockAfterTheTokenWasSentLeavesTheRenewalToItsOwnLimit) {
    ConsentWorld at;
    at.grantWith("a");
    at.changeOutputs();
    at.close();
    at.pass(1s);
    at.portal->tokenIsSent = true;
    at.lock();
    EXPECT_TRUE(at.portal->isOpening());
    at.portal->refuse(Access::portalSilent);
    EXPECT_EQ(at.state(), State::stopped);
    at.unlock();
    at.pass(100s);
    EXPECT_EQ(at.renewals(), 1U);
}

TEST(ViewerPortalScreenCastLock, WhatHappenedWhileTheMachineSleptIsStillHeard) {
    ConsentWorld at;
    at.grantWith("a");
    at.close();
    at.sessionLock->isSlow = true;
    at.pass(8h);  // the notice of the lock has waited in the bus, ahead of the answer
    EXPECT_EQ(at.state(), State::interrupted);
    at.lock();
    at.sessionLock->answerAll();
    EXPECT_EQ(at.state(), State::interrupted);
    at.sessionLock->isSlow = false;
    at.unlock();
    at.pass(1s);
    EXPECT_EQ(at.renewals(), 1U);
}

}  // namespace
}  // namespace velmora
