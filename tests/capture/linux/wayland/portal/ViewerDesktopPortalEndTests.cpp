#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/capture/linux/wayland/portal/ViewerDesktopPortal.h"
#include "tests/capture/linux/wayland/portal/PortalOnBus.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

/// Portals and buses that do not answer in time, or end, and hosts that end.
class ViewerDesktopPortalEndTest : public PortalOnBus {};

/// A portal whose sessions end without anybody who watches.
class UnwatchedDesktopPortalTest : public PortalOnBus {
  public:
    ~UnwatchedDesktopPortalTest() override { desktop_->end(); }

  protected:
    void open() {
        desktop_->open("", [this](const ViewerScreenCastPortal::Answer& answer) {
            answers_.push_back(answer.access);
        });
        EXPECT_TRUE(until([this] { return !answers_.empty(); }));
        EXPECT_THAT(answers_, ElementsAre(Access::granted));
        settle();
    }
    int descriptor() {
        std::optional<int> received;
        desktop_->openRemote([&](int descriptor) { received = descriptor; });
        EXPECT_TRUE(until([&] { return received.has_value(); }));
        return received.value_or(0);
    }

    const std::shared_ptr<ViewerDesktopPortal> desktop_ = std::make_shared<ViewerDesktopPortal>(
        std::make_shared<ViewerLazyBus>(ViewerBusConnection::Bus::session, loop_.get_executor(),
                                        clock_),
        loop_.get_executor(), clock_);
};

TEST_F(UnwatchedDesktopPortalTest, ASessionThatIsClosedHasNoDescriptor) {
    EXPECT_FALSE(desktop_->hasSentToken());
    open();
    portal_->closeSession();
    settle();
    EXPECT_EQ(descriptor(), -1);
    EXPECT_FALSE(wasAsked("OpenPipeWireRemote"));
}

TEST_F(UnwatchedDesktopPortalTest, ASessionWhosePortalGoesHasNoDescriptor) {
    open();
    portal_->leave();
    portal_->comeBack();
    settle();
    EXPECT_EQ(descriptor(), -1);
    EXPECT_FALSE(wasAsked("OpenPipeWireRemote"));
}

TEST_F(ViewerDesktopPortalEndTest, WithoutABusThePortalIsMissing) {
    for (const char* const address : {"unix:path=/nonexistent", "nonsense", ""}) {
        environment_.set("DBUS_SESSION_BUS_ADDRESS", address);
        environment_.set("XDG_RUNTIME_DIR", std::nullopt);
        makeConsent();
        EXPECT_EQ(answerToRequest(), Access::portalMissing) << address;
    }
}

TEST_F(ViewerDesktopPortalEndTest, ABusWithoutAPortalHasNone) {
    portal_->leave();
    EXPECT_EQ(answerToRequest(), Access::portalMissing);
}

TEST_F(ViewerDesktopPortalEndTest, TheFirstCallHasAMinuteForItMayStartThePortal) {
    portal_->mute.insert("Register");
    request();
    EXPECT_TRUE(until([this] { return wasAsked("Register"); }));
    pass(59s);
    EXPECT_THAT(answers_, IsEmpty());
    pass(1s);
    EXPECT_THAT(answers_, ElementsAre(Access::portalSilent));
    EXPECT_FALSE(wasAsked("GetAll"));
}

TEST_F(ViewerDesktopPortalEndTest, EveryOtherCallHasFourSeconds) {
    for (const char* const call : {"GetAll", "CreateSession", "SelectSources", "Start"}) {
        SCOPED_TRACE(call);
        portal_->mute = {call};
        portal_->calls.clear();
        makeConsent();
        request();
        EXPECT_TRUE(until([&] { return wasAsked(call); }));
        pass(3999ms);
        EXPECT_THAT(answers_, IsEmpty());
        pass(1ms);
        EXPECT_THAT(answers_, ElementsAre(Access::portalSilent));
    }
}

TEST_F(ViewerDesktopPortalEndTest, AnOutcomeThatWaitsForNobodyHasFourSeconds) {
    portal_->undecided = {"CreateSession"};
    request();
    EXPECT_TRUE(until([&] { return wasAsked("CreateSession"); }));
    pass(3999ms);
    EXPECT_THAT(answers_, IsEmpty());
    pass(1ms);
    EXPECT_THAT(answers_, ElementsAre(Access::portalSilent));
    EXPECT_THAT(portal_->closed, Contains(portal_->request));
}

TEST_F(ViewerDesktopPortalEndTest, ThePersonHasAnyTimeAtEitherStep) {
    for (const char* const call : {"SelectSources", "Start"}) {
        SCOPED_TRACE(call);
        portal_->undecided = {call};
        portal_->calls.clear();
        answers_.clear();
        makeConsent();
        request();
        EXPECT_TRUE(until([&] { return wasAsked(call); }));
        pass(24h);
        EXPECT_THAT(answers_, IsEmpty());
        portal_->decide(call, ScriptedPortal::granted);
        EXPECT_TRUE(until([this] { return !answers_.empty(); }));
        EXPECT_THAT(answers_, ElementsAre(Access::granted));
    }
}

TEST_F(ViewerDesktopPortalEndTest, WhoCancelsTheSelectionIsNotAskedToStart) {
    portal_->undecided = {"SelectSources"};
    request();
    EXPECT_TRUE(until([this] { return wasAsked("SelectSources"); }));
    settle();
    portal_->decide("SelectSources", ScriptedPortal::cancelled);
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    EXPECT_THAT(answers_, ElementsAre(Access::declined));
    EXPECT_FALSE(wasAsked("Start"));
}

TEST_F(ViewerDesktopPortalEndTest, ARenewalThatAsksAtEitherStepIsLeftAfterFourSeconds) {
    for (const char* const call : {"SelectSources", "Start"}) {
        SCOPED_TRACE(call);
        portal_->undecided.clear();
        answers_.clear();
        makeConsent();
        grant();
        interrupt();
        portal_->undecided = {call};
        portal_->calls.clear();
        for (int second = 0; second < 10 && !wasAsked(call); ++second) {
            pass(1s);
        }
        ASSERT_TRUE(wasAsked(call));
        const std::string asked = portal_->request;
        pass(4s);
        EXPECT_EQ(consent_->state(), State::stopped);
        EXPECT_THAT(portal_->closed, Contains(asked));
    }
}

TEST_F(ViewerDesktopPortalEndTest, TheEndOfTheHostClosesASelectionToo) {
    portal_->undecided = {"SelectSources"};
    request();
    EXPECT_TRUE(until([this] { return wasAsked("SelectSources"); }));
    settle();
    consent_.reset();
    EXPECT_TRUE(until([this] { return portal_->closed.size() == 2; }));
    EXPECT_THAT(portal_->closed, ElementsAre(portal_->request, portal_->session));
}

TEST_F(ViewerDesktopPortalEndTest, ABusThatHasFrozenIsGivenUpAfterAMinute) {
    bus_.freeze();
    portal_.reset();  // it would wait for the bus as well
    request();
    loop_.poll();
    EXPECT_THAT(answers_, IsEmpty());
    clock_->advance(60s);
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    EXPECT_THAT(answers_, ElementsAre(Access::portalSilent));
}

TEST_F(ViewerDesktopPortalEndTest, ABusThatEndsTakesThePortalWithIt) {
    portal_->mute.insert("GetAll");
    request();
    EXPECT_TRUE(until([this] { return wasAsked("GetAll"); }));
    bus_.kill();
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    EXPECT_THAT(answers_, ElementsAre(Access::portalSilent));
}

TEST_F(ViewerDesktopPortalEndTest, ABusThatEndsRightAfterAnAnswerTakesThePortalWithIt) {
    for (const char* const call : {"Register", "GetAll", "CreateSession", "SelectSources"}) {
        SCOPED_TRACE(call);
        PrivateBus bus;
        environment_.set("DBUS_SESSION_BUS_ADDRESS", bus.address());
        portal_.emplace(bus);
        makeConsent();
        request();
        EXPECT_TRUE(until([&] { return wasAsked(call); }));
        // The answer and the end of the bus are there when the loop looks next.
        portal_->ping();
        portal_->ping();
        bus.kill();
        portal_.reset();
        EXPECT_TRUE(until([this] { return !answers_.empty(); }));
        EXPECT_THAT(answers_, ElementsAre(Access::portalMissing));
    }
}

TEST_F(ViewerDesktopPortalEndTest, ABusThatEndsDuringTheDialogEndsTheWait) {
    openDialog();
    bus_.kill();
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    EXPECT_THAT(answers_, ElementsAre(Access::portalMissing));
}

TEST_F(ViewerDesktopPortalEndTest, TheEndOfTheHostClosesTheDialog) {
    openDialog();
    consent_.reset();
    EXPECT_TRUE(until([this] { return portal_->closed.size() == 2; }));
    EXPECT_THAT(portal_->closed, ElementsAre(portal_->request, portal_->session));
    EXPECT_THAT(answers_, IsEmpty());
}

TEST_F(ViewerDesktopPortalEndTest, TheEndOfTheHostEndsTheSessionAndTheConnection) {
    const auto before = namesOnBus().size();
    grant();
    EXPECT_EQ(namesOnBus().size(), before + 1);
    consent_.reset();
    EXPECT_TRUE(until([this] { return !portal_->closed.empty(); }));
    EXPECT_THAT(portal_->closed, ElementsAre(portal_->session));
    EXPECT_EQ(namesOnBus().size(), before);
}

TEST_F(ViewerDesktopPortalEndTest, ABusThatTakesNothingDoesNotHoldUpTheEndOfTheHost) {
    grant();
    bus_.freeze();
    portal_.reset();  // it would wait for the bus as well
    constexpr int moreThanASocketTakes = 20'000;
    for (int i = 0; i < moreThanASocketTakes; ++i) {
        consent_->openRemote([](int descriptor) { EXPECT_EQ(descriptor, -1); });
    }
    loop_.restart();
    loop_.poll();
    consent_.reset();
}

TEST_F(ViewerDesktopPortalEndTest, TheEndOfTheHostLeavesNothingBehindAtAnyStep) {
    for (const char* const call :
         {"Register", "GetAll", "CreateSession", "SelectSources", "Start", "OpenPipeWireRemote"}) {
        SCOPED_TRACE(call);
        portal_->mute = {call};
        portal_->calls.clear();
        makeConsent();
        request();
        if (std::string_view(call) == "OpenPipeWireRemote") {
            EXPECT_TRUE(until([this] { return !answers_.empty(); }));
            consent_->openRemote([](int descriptor) { EXPECT_EQ(descriptor, -1); });
        }
        EXPECT_TRUE(until([&] { return wasAsked(call); }));
        consent_.reset();
        settle();
        EXPECT_EQ(clock_->pendingTimers(), 0U);
    }
}

TEST_F(ViewerDesktopPortalEndTest, ASessionThatIsClosedDuringTheDialogIsDeclined) {
    openDialog();
    portal_->closeSession();
    pass(999ms);
    EXPECT_THAT(answers_, IsEmpty());
    pass(1ms);
    EXPECT_THAT(answers_, ElementsAre(Access::declined));
}

TEST_F(ViewerDesktopPortalEndTest, ASessionThatIsClosedJustBeforeItsOutcomeHasThatOutcome) {
    openDialog();
    portal_->closeSession();
    portal_->answerDialog(ScriptedPortal::failed);
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    EXPECT_THAT(answers_, ElementsAre(Access::portalSilent));
}

TEST_F(ViewerDesktopPortalEndTest, WhatIsGrantedInAClosedSessionIsDeclined) {
    openDialog();
    portal_->closeSession();
    settle();
    portal_->answerDialog(ScriptedPortal::granted);
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    EXPECT_THAT(answers_, ElementsAre(Access::declined));
    EXPECT_EQ(consent_->state(), State::none);
}

TEST_F(ViewerDesktopPortalEndTest, ASessionThatIsClosedAsSoonAsItIsGrantedIsDeclined) {
    openDialog();
    // Both are there when the loop looks next.
    portal_->answerDialog(ScriptedPortal::granted);
    portal_->closeSession();
    portal_->ping();
    portal_->ping();
    pass(1s);
    EXPECT_THAT(answers_, ElementsAre(Access::declined));
    EXPECT_EQ(consent_->state(), State::none);
}

TEST_F(ViewerDesktopPortalEndTest, APortalThatGoesDuringTheDialogHasToBeRestarted) {
    openDialog();
    portal_->leave();
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    EXPECT_THAT(answers_, ElementsAre(Access::portalSilent));
    portal_->comeBack();
    portal_->calls.clear();
    EXPECT_TRUE(until([this] { return !portal_->calls.empty(); }));
    EXPECT_THAT(portal_->calls, ElementsAre("Register"));
}

TEST_F(ViewerDesktopPortalEndTest, ASessionThatIsMadeWhenItsPortalGoesIsClosed) {
    portal_->undecided = {"CreateSession"};
    request();
    EXPECT_TRUE(until([this] { return wasAsked("CreateSession"); }));
    settle();
    portal_->decide("CreateSession", ScriptedPortal::granted);
    portal_->leave();
    portal_->comeBack();
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    settle();
    EXPECT_THAT(answers_, ElementsAre(Access::portalSilent));
    EXPECT_THAT(portal_->closed, ElementsAre(portal_->session));
    EXPECT_FALSE(wasAsked("SelectSources"));
}

TEST_F(ViewerDesktopPortalEndTest, APortalThatGoesTwiceAtOnceHasItsSessionClosedOnce) {
    openDialog();
    for (int i = 0; i < 2; ++i) {
        portal_->leave();
        portal_->comeBack();
    }
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    settle();
    EXPECT_THAT(portal_->closed, ElementsAre(portal_->request, portal_->session));
}

TEST_F(ViewerDesktopPortalEndTest, AnotherSessionsEndIsNotThisOnes) {
    grant();
    const std::string session = std::exchange(portal_->session, portal_->session + "x");
    portal_->closeSession();
    settle();
    EXPECT_EQ(consent_->state(), State::granted);
    portal_->session = session;
    portal_->closeSession();
    EXPECT_TRUE(until([this] { return consent_->state() == State::interrupted; }));
}

TEST_F(ViewerDesktopPortalEndTest, APortalThatGoesAfterTheGrantTakesItWithIt) {
    grant();
    portal_->leave();
    EXPECT_TRUE(until([this] { return consent_->state() == State::stopped; }));
    EXPECT_THAT(told_, ElementsAre(State::interrupted, State::stopped));
    consent_->outputsHaveChanged();
    portal_->calls.clear();
    pass(100s);
    EXPECT_THAT(portal_->calls, IsEmpty());
}

TEST_F(ViewerDesktopPortalEndTest, ABusThatEndsAfterTheGrantTakesItWithIt) {
    grant();
    bus_.kill();
    EXPECT_TRUE(until([this] { return consent_->state() == State::stopped; }));
}

TEST_F(ViewerDesktopPortalEndTest, AnAnswerThatIsTooLateChangesNothing) {
    portal_->undecided.insert("CreateSession");
    request();
    EXPECT_TRUE(until([this] { return wasAsked("CreateSession"); }));
    pass(4s);
    EXPECT_THAT(answers_, ElementsAre(Access::portalSilent));
    portal_->decide("CreateSession", ScriptedPortal::granted);
    settle();
    EXPECT_FALSE(wasAsked("SelectSources"));
}

}  // namespace
}  // namespace velmora
