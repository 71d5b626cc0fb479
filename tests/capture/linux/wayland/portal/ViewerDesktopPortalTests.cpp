#include "core/capture/linux/wayland/portal/ViewerDesktopPortal.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string_view>

#include "tests/capture/linux/wayland/portal/PortalOnBus.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Key;
using testing::Not;
using testing::Pair;

class ViewerDesktopPortalTest : public PortalOnBus {
  protected:
    BusPeer& addScreenSaver() {
        return *others_.emplace_back(std::make_unique<BusPeer>(
            bus_.address(), std::vector<std::string>{"org.gnome.ScreenSaver"},
            [](sd_bus_message* call) { sd_bus_reply_method_return(call, "b", 0); }));
    }
    static void lock(BusPeer& saver) { tellActive(saver, 1); }
    static void unlock(BusPeer& saver) { tellActive(saver, 0); }

  private:
    static void tellActive(BusPeer& saver, int isActive) {
        saver.emit(
            "", "/org/gnome/ScreenSaver", "org.gnome.ScreenSaver", "ActiveChanged",
            [isActive](sd_bus_message* signal) { sd_bus_message_append(signal, "b", isActive); });
    }
};

ViewerGrantedStream stream(std::uint32_t node, std::optional<ViewerLogicalPosition> position,
                           ViewerLogicalSize size, std::uint32_t type) {
    ViewerGrantedStream granted;
    granted.node = node;
    granted.position = position;
    granted.size = size;
    granted.sourceType = type;
    return granted;
}

TEST_F(ViewerDesktopPortalTest, NobodyIsOnTheBusBeforeTheRequest) {
    const auto before = namesOnBus().size();
    consent_->outputsHaveChanged();
    consent_->remoteIsLost();
    settle();
    EXPECT_EQ(namesOnBus().size(), before);
    EXPECT_THAT(portal_->calls, IsEmpty());
}

TEST_F(ViewerDesktopPortalTest, IntroducesTheProgramBeforeItAsksForMonitorsWithoutACursor) {
    grant();
    EXPECT_THAT(portal_->calls,
                ElementsAre("Register", "GetAll", "CreateSession", "SelectSources", "Start"));
    EXPECT_EQ(portal_->applicationId, "com.quilmer.velmora.viewer_host");
    EXPECT_THAT(portal_->options["SelectSources"],
                IsSupersetOf({Pair("types", "1"), Pair("multiple", "true"),
                              Pair("persist_mode", "1"), Pair("cursor_mode", "1")}));
    EXPECT_THAT(portal_->options["SelectSources"], Not(Contains(Key("restore_token"))));
}

TEST_F(ViewerDesktopPortalTest, AsksForNoHiddenCursorWhereThereIsNone) {
    for (const std::optional<std::uint32_t> modes :
         {std::optional(2U), std::optional<unsigned>()}) {
        portal_->cursorModes = modes;
        makeConsent();
        grant();
        EXPECT_THAT(portal_->options["SelectSources"], Not(Contains(Key("cursor_mode"))));
    }
}

TEST_F(ViewerDesktopPortalTest, TellsWhatGnomeTells) {
    grant();
    ViewerGrantedStream second = stream(47, ViewerLogicalPosition{0, 0}, {1920, 1080}, 1);
    second.mappingId = "region";
    second.serial = 99;
    EXPECT_THAT(consent_->grant()->streams,
                ElementsAre(stream(51, ViewerLogicalPosition{1920, 0}, {1280, 720}, 1), second));
}

TEST_F(ViewerDesktopPortalTest, TellsWhatKdeTells) {
    portal_->streams = ScriptedPortal::streamsOfKde();
    grant();
    EXPECT_THAT(consent_->grant()->streams, ElementsAre(stream(60, std::nullopt, {960, 540}, 1)));
}

TEST_F(ViewerDesktopPortalTest, TellsWhatThePortalOfWlrootsTells) {
    portal_->streams = ScriptedPortal::streamsOfWlroots();
    grant();
    EXPECT_THAT(consent_->grant()->streams,
                ElementsAre(stream(33, ViewerLogicalPosition{0, 0}, {1280, 720}, 2)));
}

TEST_F(ViewerDesktopPortalTest, OfAPortalWithoutWindowsOnlyAWindowIsAMonitorAfterAll) {
    constexpr std::uint32_t virtualScreen = 4;
    portal_->sourceTypes = 1;
    portal_->streams = [](sd_bus_message* results) {
        sd_bus_message_append(results, "{sv}", "streams", "a(ua{sv})", 2,  //
                              33, 1, "source_type", "u", 2,                //
                              34, 1, "source_type", "u", virtualScreen);
    };
    grant();
    ASSERT_EQ(consent_->grant()->streams.size(), 2U);
    EXPECT_EQ(consent_->grant()->streams[0].sourceType, ViewerGrantedStream::monitor);
    EXPECT_EQ(consent_->grant()->streams[1].sourceType, virtualScreen);
}

TEST_F(ViewerDesktopPortalTest, APortalThatKnowsNoRegistryOrNoDesktopFileIsAskedAllTheSame) {
    portal_->errors["Register"] = "org.freedesktop.DBus.Error.UnknownMethod";
    grant();
}

TEST_F(ViewerDesktopPortalTest, APortalThatFindsNoDesktopFileIsAskedAllTheSame) {
    portal_->errors["Register"] = "org.freedesktop.portal.Error.Failed";
    grant();
}

TEST_F(ViewerDesktopPortalTest, APortalThatIsStartedForTheRequestIsToldOnceWhoAsks) {
    const TemporaryFolder folder;
    const PrivateBus bus(
        PrivateBus::Services{{"org.freedesktop.portal.Desktop",
                              "/usr/bin/touch " + (folder.path() / "started").string()}});
    environment_.set("DBUS_SESSION_BUS_ADDRESS", bus.address());
    portal_.emplace(bus);
    portal_->leave();
    makeConsent();
    request();
    EXPECT_TRUE(until([&] { return folder.entries() == 1; }));
    portal_->comeBack();
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    settle();
    EXPECT_THAT(answers_, ElementsAre(Access::granted));
    EXPECT_EQ(timesAsked("Register"), 1U);
}

TEST_F(ViewerDesktopPortalTest, TheDialogMayStayOpenAsLongAsThePersonLikes) {
    openDialog();
    pass(48h);
    EXPECT_THAT(answers_, IsEmpty());
    portal_->answerDialog(ScriptedPortal::granted);
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    EXPECT_THAT(answers_, ElementsAre(Access::granted));
    EXPECT_THAT(portal_->closed, IsEmpty());
}

TEST_F(ViewerDesktopPortalTest, WhatThePersonCancelsIsDeclined) {
    portal_->outcomes["Start"] = ScriptedPortal::cancelled;
    EXPECT_EQ(answerToRequest(), Access::declined);
    settle();
    EXPECT_THAT(portal_->closed, ElementsAre(portal_->session));
    EXPECT_EQ(consent_->state(), State::none);
}

TEST_F(ViewerDesktopPortalTest, APortalThatFailsAnywhereDoesNotWork) {
    for (const char* const call : {"CreateSession", "SelectSources", "Start"}) {
        portal_->outcomes = {{call, ScriptedPortal::failed}};
        makeConsent();
        EXPECT_EQ(answerToRequest(), Access::portalSilent) << call;
    }
}

TEST_F(ViewerDesktopPortalTest, APortalWithoutItsInterfaceForScreensHasNoScreens) {
    for (const char* const error :
         {"org.freedesktop.DBus.Error.InvalidArgs", "org.freedesktop.DBus.Error.UnknownInterface",
          "org.freedesktop.DBus.Error.UnknownMethod"}) {
        portal_->errors["GetAll"] = error;
        makeConsent();
        EXPECT_EQ(answerToRequest(), Access::portalWithoutScreens) << error;
    }
    EXPECT_FALSE(wasAsked("CreateSession"));
}

TEST_F(ViewerDesktopPortalTest, APortalThatOffersNoMonitorsHasNoScreens) {
    portal_->sourceTypes = 6;
    EXPECT_EQ(answerToRequest(), Access::portalWithoutScreens);
    portal_->sourceTypes.reset();
    makeConsent();
    EXPECT_EQ(answerToRequest(), Access::portalWithoutScreens);
}

TEST_F(ViewerDesktopPortalTest, AnOlderPortalNamesItsRequestsAsItLikes) {
    portal_->usesOldPaths = true;
    grant();
}

TEST_F(ViewerDesktopPortalTest, AnOutcomeMayComeBeforeTheAnswer) {
    portal_->tellsOutcomeFirst = true;
    grant();
}

TEST_F(ViewerDesktopPortalTest, AnOlderPortalMayTellTheOutcomeBeforeTheAnswerToo) {
    portal_->usesOldPaths = true;
    portal_->tellsOutcomeFirst = true;
    grant();
}

TEST_F(ViewerDesktopPortalTest, OnlyThePortalAnswersForThePerson) {
    openDialog();
    BusPeer stranger(bus_.address(), {}, nullptr);
    portal_->tellOutcome(stranger, ScriptedPortal::granted, ScriptedPortal::streamsOfGnome());
    settle();
    EXPECT_THAT(answers_, IsEmpty());
    portal_->answerDialog(ScriptedPortal::cancelled);
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    EXPECT_THAT(answers_, ElementsAre(Access::declined));
}

TEST_F(ViewerDesktopPortalTest, AnotherRequestsOutcomeIsNotThisOnes) {
    openDialog();
    const std::string request = std::exchange(portal_->request, portal_->request + "x");
    portal_->answerDialog(ScriptedPortal::cancelled);
    settle();
    EXPECT_THAT(answers_, IsEmpty());
    portal_->request = request;
    portal_->answerDialog(ScriptedPortal::granted);
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    EXPECT_THAT(answers_, ElementsAre(Access::granted));
}

TEST_F(ViewerDesktopPortalTest, AnInterruptedSessionIsRenewedByItsToken) {
    grant();
    interrupt();
    portal_->token = "second";
    portal_->streams = ScriptedPortal::streamsOfKde();
    pass(1s);
    EXPECT_TRUE(until([this] { return consent_->state() == State::granted; }));
    EXPECT_THAT(portal_->options["SelectSources"], Contains(Pair("restore_token", "token")));
    EXPECT_EQ(consent_->grant()->streams.size(), 1U);
    EXPECT_EQ(timesAsked("Register"), 1U);
    EXPECT_EQ(timesAsked("Start"), 2U);
    interrupt();
    pass(1s);
    EXPECT_TRUE(until([this] { return consent_->state() == State::granted; }));
    EXPECT_THAT(portal_->options["SelectSources"], Contains(Pair("restore_token", "second")));
}

TEST_F(ViewerDesktopPortalTest, ADialogWhereNoneWasExpectedGoesAndIsThePersonsStop) {
    grant();
    interrupt();
    portal_->undecided.insert("Start");
    pass(1s);
    EXPECT_TRUE(until([this] { return timesAsked("Start") == 2; }));
    pass(3999ms);
    EXPECT_EQ(consent_->state(), State::interrupted);
    portal_->closed.clear();
    pass(1ms);
    EXPECT_TRUE(until([this] { return consent_->state() == State::stopped; }));
    settle();
    EXPECT_THAT(portal_->closed, ElementsAre(portal_->request, portal_->session));
}

TEST_F(ViewerDesktopPortalTest, ALockBeforeTheTokenIsSentSendsNone) {
    BusPeer& saver = addScreenSaver();
    grant();
    interrupt();
    portal_->mute.insert("CreateSession");
    pass(1s);
    EXPECT_TRUE(until([this] { return timesAsked("CreateSession") == 2; }));
    lock(saver);
    pass(1h);
    EXPECT_EQ(consent_->state(), State::interrupted);
    EXPECT_EQ(timesAsked("SelectSources"), 1U);
}

TEST_F(ViewerDesktopPortalTest, ALockBeforeARenewalHasASessionSendsNoToken) {
    BusPeer& saver = addScreenSaver();
    grant();
    interrupt();
    portal_->mute.insert("GetAll");
    pass(1s);
    EXPECT_TRUE(until([this] { return timesAsked("GetAll") == 2; }));
    lock(saver);
    pass(1h);
    EXPECT_EQ(consent_->state(), State::interrupted);
    EXPECT_EQ(timesAsked("CreateSession"), 1U);
}

TEST_F(ViewerDesktopPortalTest, ALockBeforeASecondRenewalHasASessionSendsNoTokenEither) {
    BusPeer& saver = addScreenSaver();
    grant();
    interrupt();
    pass(1s);
    EXPECT_TRUE(until([this] { return consent_->state() == State::granted; }));
    interrupt();
    portal_->mute.insert("GetAll");
    pass(1s);
    EXPECT_TRUE(until([this] { return timesAsked("GetAll") == 3; }));
    lock(saver);
    pass(1h);
    EXPECT_EQ(consent_->state(), State::interrupted);
    EXPECT_EQ(timesAsked("CreateSession"), 2U);
}

TEST_F(ViewerDesktopPortalTest, ARenewalThatALockTookBackSaysNothingOfTheNext) {
    BusPeer& saver = addScreenSaver();
    grant();
    interrupt();
    portal_->mute.insert("GetAll");
    pass(1s);
    EXPECT_TRUE(until([this] { return timesAsked("GetAll") == 2; }));
    lock(saver);
    settle();
    portal_->mute.clear();
    unlock(saver);
    pass(1s);
    EXPECT_TRUE(until([this] { return consent_->state() == State::granted; }));
    pass(4s);
    EXPECT_EQ(consent_->state(), State::granted);
}

TEST_F(ViewerDesktopPortalTest, ALockAfterTheTokenIsSentLeavesTheRenewalItsFourSeconds) {
    BusPeer& saver = addScreenSaver();
    grant();
    interrupt();
    portal_->undecided.insert("Start");
    pass(1s);
    EXPECT_TRUE(until([this] { return timesAsked("Start") == 2; }));
    portal_->closed.clear();
    lock(saver);
    pass(3999ms);
    EXPECT_THAT(portal_->closed, IsEmpty());
    pass(1ms);
    EXPECT_TRUE(until([this] { return consent_->state() == State::stopped; }));
}

TEST_F(ViewerDesktopPortalTest, HandsOutADescriptorOfItsOwn) {
    grant();
    const std::optional<int> descriptor = remote();
    ASSERT_TRUE(descriptor && *descriptor >= 0);
    std::array<char, 16> text{};
    const auto count = ::read(*descriptor, text.data(), text.size());
    EXPECT_EQ(std::string_view(text.data(), static_cast<std::size_t>(count)),
              ScriptedPortal::greeting);
    EXPECT_NE(::fcntl(*descriptor, F_GETFD) & FD_CLOEXEC, 0);
    ::close(*descriptor);
}

TEST_F(ViewerDesktopPortalTest, HandsOutNoDescriptorWithoutASession) {
    EXPECT_EQ(remote(), -1);
    grant();
    portal_->errors["OpenPipeWireRemote"] = "org.freedesktop.portal.Error.Failed";
    EXPECT_EQ(remote(), -1);
    interrupt();
    EXPECT_EQ(remote(), -1);
}

TEST_F(ViewerDesktopPortalTest, HandsOutNoDescriptorDuringTheDialog) {
    openDialog();
    EXPECT_EQ(remote(), -1);
    EXPECT_FALSE(wasAsked("OpenPipeWireRemote"));
}

TEST_F(ViewerDesktopPortalTest, ADescriptorHasFourSecondsToCome) {
    grant();
    portal_->mute.insert("OpenPipeWireRemote");
    std::optional<int> received;
    consent_->openRemote([&](int descriptor) { received = descriptor; });
    EXPECT_TRUE(until([this] { return wasAsked("OpenPipeWireRemote"); }));
    pass(3999ms);
    EXPECT_FALSE(received);
    pass(1ms);
    EXPECT_EQ(received, -1);
}

TEST_F(ViewerDesktopPortalTest, WhoAskedForADescriptorIsAnsweredThoughNobodyKeepsTheConsent) {
    grant();
    std::optional<int> received;
    consent_->openRemote([&](int descriptor) { received = descriptor; });
    consent_.reset();
    EXPECT_TRUE(until([&] { return received.has_value(); }));
    EXPECT_EQ(received, -1);
}

}  // namespace
}  // namespace velmora
