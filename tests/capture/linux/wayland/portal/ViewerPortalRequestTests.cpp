#include "core/capture/linux/wayland/portal/ViewerPortalRequest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>

#include "tests/capture/linux/wayland/portal/PortalOnBus.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

/// Requests whose calls are answered late.
class ViewerPortalRequestTest : public PortalOnBus {
  protected:
    /// Asks, and waits until the call for the dialog is there, whose answer is held back.
    void startWithoutAnAnswer() {
        portal_->held.insert("Start");
        request();
        EXPECT_TRUE(until([this] { return wasAsked("Start"); }));
    }
    /// The same of a session that is asked for anew, after one that was granted.
    void renewWithoutAnAnswer() {
        grant();
        interrupt();
        portal_->held.insert("Start");
        pass(1s);
        EXPECT_TRUE(until([this] { return timesAsked("Start") == 2; }));
    }
    /// The portal goes and comes back, which ends a request.
    void restartPortal() {
        portal_->leave();
        portal_->comeBack();
        settle();
    }
};

TEST_F(ViewerPortalRequestTest, AnotherRequestsOutcomeBeforeTheAnswerIsNotThisOnes) {
    startWithoutAnAnswer();
    const std::string request = std::exchange(portal_->request, portal_->request + "x");
    portal_->answerDialog(ScriptedPortal::cancelled);
    portal_->request = request;
    portal_->answerHeld();
    settle();
    EXPECT_THAT(answers_, IsEmpty());
    portal_->answerDialog(ScriptedPortal::granted);
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    EXPECT_THAT(answers_, ElementsAre(Access::granted));
}

TEST_F(ViewerPortalRequestTest, OnlyThePortalAnswersForThePersonBeforeTheAnswerToo) {
    startWithoutAnAnswer();
    BusPeer stranger(bus_.address(), {}, nullptr);
    portal_->tellOutcome(stranger, ScriptedPortal::granted, ScriptedPortal::streamsOfGnome());
    settle();
    portal_->answerHeld();
    settle();
    EXPECT_THAT(answers_, IsEmpty());
    portal_->answerDialog(ScriptedPortal::cancelled);
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    EXPECT_THAT(answers_, ElementsAre(Access::declined));
}

TEST_F(ViewerPortalRequestTest, OfTwoOutcomesTheFirstCounts) {
    startWithoutAnAnswer();
    portal_->answerDialog(ScriptedPortal::cancelled);
    portal_->answerDialog(ScriptedPortal::granted);
    settle();
    portal_->answerHeld();
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    EXPECT_THAT(answers_, ElementsAre(Access::declined));
}

TEST_F(ViewerPortalRequestTest, WhatIsGrantedWhenThePortalGoesIsNoGrant) {
    openDialog();
    // Both are there when the loop looks next.
    portal_->answerDialog(ScriptedPortal::granted);
    portal_->leave();
    portal_->comeBack();
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    settle();
    EXPECT_THAT(answers_, ElementsAre(Access::portalSilent));
    EXPECT_EQ(consent_->state(), State::none);
}

TEST_F(ViewerPortalRequestTest, ARequestThatIsOverBeforeItsAnswerIsClosedOnce) {
    startWithoutAnAnswer();
    restartPortal();
    portal_->answerHeld();
    settle();
    EXPECT_THAT(portal_->closed, ElementsAre(portal_->request, portal_->session));
}

TEST_F(ViewerPortalRequestTest, ARequestThatIsOverBeforeAnOlderPortalNamesItIsClosedByThatNameToo) {
    portal_->usesOldPaths = true;
    startWithoutAnAnswer();
    restartPortal();
    portal_->closed.clear();
    portal_->answerHeld();
    settle();
    EXPECT_THAT(portal_->closed, ElementsAre(portal_->request));
}

TEST_F(ViewerPortalRequestTest, AnAnswerGivesAClosedSessionNoMoreTimeForItsOutcome) {
    renewWithoutAnAnswer();
    portal_->closeSession();
    settle();
    portal_->answerHeld();
    pass(999ms);
    EXPECT_EQ(consent_->state(), State::interrupted);
    pass(1ms);
    EXPECT_EQ(consent_->state(), State::stopped);
}

TEST_F(ViewerPortalRequestTest, ARenewalWhoseSessionIsClosedHasOneSecondInsteadOfFour) {
    renewWithoutAnAnswer();
    portal_->answerHeld();
    settle();
    portal_->closeSession();
    pass(999ms);
    EXPECT_EQ(consent_->state(), State::interrupted);
    EXPECT_EQ(clock_->pendingTimers(), 1U);
    pass(1ms);
    EXPECT_EQ(consent_->state(), State::stopped);
}

}  // namespace
}  // namespace velmora
