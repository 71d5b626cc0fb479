#include "core/capture/linux/wayland/portal/ViewerPortalScreenCast.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/capture/linux/wayland/portal/ConsentWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using State = ViewerScreenCast::State;
using Access = ViewerCaptureAccess;

TEST(ViewerPortalScreenCast, AsksNobodyBeforeTheRequest) {
    ConsentWorld at;
    at.lock();
    at.unlock();
    at.changeOutputs();
    at.loseRemote();
    at.pass(10s);
    EXPECT_THAT(at.portal->opened, IsEmpty());
    EXPECT_FALSE(at.sessionLock->isWatched());
    EXPECT_EQ(at.state(), State::none);
    EXPECT_THAT(at.told, IsEmpty());
}

TEST(ViewerPortalScreenCast, AsksThePersonWithoutATokenAndWaitsWithoutALimit) {
    ConsentWorld at;
    at.request();
    EXPECT_THAT(at.portal->opened, ElementsAre(""));
    at.pass(48h);
    EXPECT_TRUE(at.portal->isOpening());
    EXPECT_THAT(at.answers, IsEmpty());
}

TEST(ViewerPortalScreenCast, TellsTheGrantToWhoAsked) {
    ConsentWorld at;
    at.grantWith("a");
    EXPECT_THAT(at.answers, ElementsAre(Access::granted));
    EXPECT_EQ(at.state(), State::granted);
    ASSERT_NE(at.consent->grant(), nullptr);
    EXPECT_EQ(at.consent->grant()->streams.size(), 1U);
    EXPECT_THAT(at.told, IsEmpty());
    EXPECT_TRUE(at.sessionLock->isWatched());
}

TEST(ViewerPortalScreenCast, TellsWhyThereIsNoGrant) {
    for (const Access reason : {Access::declined, Access::portalMissing,
                                Access::portalWithoutScreens, Access::portalSilent}) {
        ConsentWorld at;
        at.request();
        at.portal->refuse(reason);
        at.pass(100s);
        EXPECT_THAT(at.answers, ElementsAre(reason));
        EXPECT_EQ(at.state(), State::none);
        EXPECT_EQ(at.consent->grant(), nullptr);
        EXPECT_EQ(at.renewals(), 0U);
    }
}

TEST(ViewerPortalScreenCast, ASessionEndsAsWellWhereNobodyWatches) {
    ConsentWorld at;
    at.consent->watch(nullptr);
    at.grantWith("a");
    at.close();
    EXPECT_EQ(at.state(), State::interrupted);
}

TEST(ViewerPortalScreenCast, ASessionClosedWithoutACauseIsStoppedByThePersonAfterThreeSeconds) {
    ConsentWorld at;
    at.grantWith("a");
    at.pass(10s);
    at.close();
    EXPECT_EQ(at.state(), State::interrupted);
    EXPECT_EQ(at.consent->grant(), nullptr);
    at.pass(3s);
    EXPECT_EQ(at.state(), State::interrupted);
    at.pass(1ms);
    EXPECT_EQ(at.state(), State::stopped);
    EXPECT_THAT(at.told, ElementsAre(State::interrupted, State::stopped));
    at.lock();
    at.unlock();
    at.changeOutputs();
    at.loseRemote();
    at.pass(100s);
    EXPECT_EQ(at.renewals(), 0U);
    EXPECT_EQ(at.state(), State::stopped);
}

TEST(ViewerPortalScreenCast, ALockSoonAfterTheCloseIsFollowedByARenewalAfterTheUnlock) {
    for (const auto delay : {0ms, 20ms, 300ms, 2999ms, 3000ms}) {
        SCOPED_TRACE(delay.count());
        ConsentWorld at;
        at.grantWith("a");
        at.close();
        at.pass(delay);
        at.lock();
        at.pass(8h);
        EXPECT_EQ(at.renewals(), 0U) << "nothing is asked behind the lock screen";
        EXPECT_EQ(at.state(), State::interrupted);
        at.unlock();
        at.pass(999ms);
        EXPECT_EQ(at.renewals(), 0U);
        at.pass(1ms);
        EXPECT_THAT(at.portal->opened, ElementsAre("", "a"));
        at.portal->grant("b");
        EXPECT_EQ(at.state(), State::granted);
        EXPECT_EQ(at.consent->grant()->streams.front().node, 2U);
        EXPECT_THAT(at.told, ElementsAre(State::interrupted, State::granted));
    }
}

TEST(ViewerPortalScreenCast, ALockSoonBeforeTheCloseIsItsCause) {
    for (const auto before : {0ms, 300ms, 3000ms}) {
        ConsentWorld at;
        at.grantWith("a");
        at.lock();
        at.pass(before);
        at.close();
        at.pass(1h);
        EXPECT_EQ(at.renewals(), 0U);
        at.unlock();
        at.pass(1s);
        EXPECT_EQ(at.renewals(), 1U);
    }
}

TEST(ViewerPortalScreenCast, ALockLongBeforeOrAfterTheCloseIsNotItsCause) {
    ConsentWorld before;
    before.grantWith("a");
    before.lock();
    before.pass(3001ms);
    before.close();
    before.unlock();
    before.pass(3001ms);
    EXPECT_EQ(before.state(), State::stopped);
    EXPECT_EQ(before.renewals(), 0U);

    ConsentWorld after;
    after.grantWith("a");
    after.close();
    after.pass(3001ms);
    after.lock();
    after.unlock();
    after.pass(100s);
    EXPECT_EQ(after.state(), State::stopped);
    EXPECT_EQ(after.renewals(), 0U);
}

TEST(ViewerPortalScreenCast, AChangeOfTheOutputsBesideTheCloseIsFollowedByARenewalASecondLater) {
    ConsentWorld before;
    before.grantWith("a");
    before.changeOutputs();
    before.pass(3s);
    before.close();
    before.pass(999ms);
    EXPECT_EQ(before.renewals(), 0U);
    before.pass(1ms);
    EXPECT_EQ(before.renewals(), 1U);

    ConsentWorld after;
    after.grantWith("a");
    after.close();
    after.pass(2s);
    after.changeOutputs();
    after.changeOutputs();
    after.pass(1s);
    EXPECT_EQ(after.renewals(), 1U);
}

TEST(ViewerPortalScreenCast, OutputsThatChangeWhileTheSessionGoesOnMeanNothing) {
    ConsentWorld at;
    at.grantWith("a");
    at.changeOutputs();
    at.pass(100s);
    EXPECT_EQ(at.state(), State::granted);
    at.close();
    at.pass(4s);
    EXPECT_EQ(at.state(), State::stopped);
}

TEST(ViewerPortalScreenCast, WithoutATokenAnyCloseIsThePersonsStop) {
    ConsentWorld at;
    at.grantWith("");
    at.changeOutputs();
    at.close();
    EXPECT_EQ(at.state(), State::stopped);
    at.pass(100s);
    EXPECT_EQ(at.renewals(), 0U);
}

TEST(ViewerPortalScreenCast, ARenewalThatIsRefusedIsThePersonsStop) {
    for (const Access reason : {Access::declined, Access::portalSilent, Access::portalMissing}) {
        ConsentWorld at;
        at.grantWith("a");
        at.changeOutputs();
        at.close();
        at.pass(1s);
        ASSERT_EQ(at.renewals(), 1U);
        at.portal->refuse(reason);
        EXPECT_EQ(at.state(), State::stopped);
        at.changeOutputs();
        at.lock();
        at.unlock();
        at.pass(100s);
        EXPECT_EQ(at.renewals(), 1U);
    }
}

TEST(ViewerPortalScreenCast, ASessionThatIsClosedTwiceIsRenewedOnce) {
    ConsentWorld at;
    at.grantWith("a");
    at.close();
    at.close();
    at.changeOutputs();
    at.close();
    at.pass(1s);
    at.portal->grant("b");
    at.pass(100s);
    EXPECT_EQ(at.renewals(), 1U);
    EXPECT_EQ(at.state(), State::granted);
}

TEST(ViewerPortalScreenCast, ASecondCloseGivesNoMoreTimeForACause) {
    ConsentWorld at;
    at.grantWith("a");
    at.close();
    at.pass(2s);
    at.close();
    at.pass(1001ms);
    EXPECT_EQ(at.state(), State::stopped);
}

TEST(ViewerPortalScreenCast, OneCauseIsGoodForOneRenewal) {
    ConsentWorld at;
    at.grantWith("a");
    at.changeOutputs();
    at.close();
    at.pass(1s);
    at.portal->grant("b");
    at.close();
    at.pass(100s);
    EXPECT_EQ(at.renewals(), 1U);
    EXPECT_EQ(at.state(), State::stopped);
}

TEST(ViewerPortalScreenCast, ANewCauseIsFollowedByARenewalWithTheNewToken) {
    ConsentWorld at;
    at.grantWith("a");
    at.changeOutputs();
    at.close();
    at.pass(1s);
    at.changeOutputs();
    at.portal->grant("b");
    at.close();
    at.pass(1s);
    EXPECT_THAT(at.portal->opened, ElementsAre("", "a", "b"));
}

TEST(ViewerPortalScreenCast, ARenewalThatGivesNoTokenIsTheLast) {
    ConsentWorld at;
    at.grantWith("a");
    at.changeOutputs();
    at.close();
    at.pass(1s);
    at.portal->grant("");
    at.changeOutputs();
    at.close();
    EXPECT_EQ(at.state(), State::stopped);
}

TEST(ViewerPortalScreenCast, ALostPipeWireConnectionIsFollowedByOneRenewal) {
    ConsentWorld at;
    at.grantWith("a");
    at.loseRemote();
    EXPECT_EQ(at.state(), State::interrupted);
    EXPECT_EQ(at.portal->closings, 1U);
    at.loseRemote();
    at.pass(999ms);
    EXPECT_EQ(at.renewals(), 0U);
    at.pass(1ms);
    EXPECT_THAT(at.portal->opened, ElementsAre("", "a"));
    at.loseRemote();
    at.portal->grant("b");
    at.pass(100s);
    EXPECT_EQ(at.renewals(), 1U);
    EXPECT_EQ(at.state(), State::granted);
}

TEST(ViewerPortalScreenCast, ALostPipeWireConnectionIsNotRenewedWhileTheSessionIsLocked) {
    ConsentWorld at;
    at.grantWith("a");
    at.lock();
    at.loseRemote();
    at.pass(1h);
    EXPECT_EQ(at.renewals(), 0U);
    at.unlock();
    at.pass(1s);
    EXPECT_EQ(at.renewals(), 1U);
}

TEST(ViewerPortalScreenCast, APipeWireConnectionThatIsLostAgainAtOnceIsTheEnd) {
    ConsentWorld at;
    at.grantWith("a");
    at.loseRemote();
    at.pass(1s);
    at.portal->grant("b");
    at.pass(3s);
    at.loseRemote();
    EXPECT_EQ(at.state(), State::stopped);
    at.pass(100s);
    EXPECT_EQ(at.renewals(), 1U);
}

TEST(ViewerPortalScreenCast, APipeWireConnectionThatIsLostAgainLaterIsRenewedAgain) {
    ConsentWorld at;
    at.grantWith("a");
    at.loseRemote();
    at.pass(1s);
    at.portal->grant("b");
    at.pass(3001ms);
    at.loseRemote();
    at.pass(1s);
    EXPECT_THAT(at.portal->opened, ElementsAre("", "a", "b"));
}

TEST(ViewerPortalScreenCast, ALostPipeWireConnectionExplainsAClosedSession) {
    ConsentWorld at;
    at.grantWith("a");
    at.close();
    at.pass(10ms);
    at.loseRemote();
    at.pass(1s);
    EXPECT_EQ(at.renewals(), 1U);
}

TEST(ViewerPortalScreenCast, OneThatExplainedAClosedSessionAndIsLostAgainAtOnceIsTheEnd) {
    ConsentWorld at;
    at.grantWith("a");
    at.close();
    at.loseRemote();
    at.pass(1s);
    at.portal->grant("b");
    at.loseRemote();
    EXPECT_EQ(at.state(), State::stopped);
}

TEST(ViewerPortalScreenCast, ALossAfterARenewalForAnotherReasonIsANewOne) {
    ConsentWorld at;
    at.grantWith("a");
    at.loseRemote();
    at.pass(1s);
    at.portal->grant("b");
    at.changeOutputs();
    at.close();
    at.pass(1s);
    at.portal->grant("c");
    at.loseRemote();
    at.pass(1s);
    EXPECT_THAT(at.portal->opened, ElementsAre("", "a", "b", "c"));
}

TEST(ViewerPortalScreenCast, WithTheConsentTheWatchOverTheLockEnds) {
    ConsentWorld at;
    at.grantWith("a");
    at.consent.reset();
    EXPECT_FALSE(at.sessionLock->isWatched());
}

TEST(ViewerPortalScreenCast, WithThePortalTheTokenIsGone) {
    ConsentWorld at;
    at.grantWith("a");
    at.changeOutputs();
    at.portal->endSession(ViewerScreenCastPortal::Ending::portalLost);
    EXPECT_EQ(at.state(), State::stopped);
    at.pass(100s);
    EXPECT_EQ(at.renewals(), 0U);
}

}  // namespace
}  // namespace velmora
