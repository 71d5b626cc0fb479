#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "tests/acceptance/mac/MacHostTest.h"
#include "tests/mac/frameworks/FrameworkCalls.h"
#include "tests/mac/frameworks/LiveObjects.h"
#include "tests/mac/frameworks/application/ApplicationScript.h"
#include "tests/mac/frameworks/dispatch/DispatchSources.h"
#include "tests/mac/frameworks/network/FakeListener.h"

// The whole host on the doubles: from its start to its end, and the person at the Mac.

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* settingsPage =
    "openURL x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture";

class MacHostLifecycle : public MacHostTest {
  protected:
    static ApplicationScript& application() { return ApplicationScript::shared(); }

    /// The host without the permission; its alerts are answered by these buttons.
    void startUnpermitted(const std::vector<long>& buttons) {
        script().isGranted = false;
        for (const long button : buttons) {
            application().answers.emplace_back([button] { return button; });
        }
        host_ = std::make_unique<MacHost>();
    }
    /// SIGTERM while the next alert shows; the host stops at once, so that it is ready to end
    /// before the alert has closed.
    void raiseWhileAlertShows() {
        application().answers.emplace_back([] {
            FakeDispatchSources::raise(SIGTERM);
            return ApplicationScript::noButton;
        });
    }
    void expectNoListener() { EXPECT_EQ(FakeListener::last(), nullptr); }
};

TEST_F(MacHostLifecycle, WithThePermissionItServesAndShowsNothing) {
    EXPECT_EQ(serve(), "Velmora Viewer Host protocol v1 listening on TCP 9090\n");
    EXPECT_THAT(application().alerts, IsEmpty());
    EXPECT_THAT(FrameworkCalls::take(),
                ElementsAre("setActivationPolicy 1", StartsWith("beginActivity"), "run"));
}

TEST_F(MacHostLifecycle, TheSystemMayNotSlowItDownWhileItRuns) {
    const auto activities = [] { return LiveObjects::counts()["FakeActivity"]; };
    serve();
    EXPECT_EQ(activities(), 1);
    EXPECT_EQ(frame().status(), 200);
    host_->advance(24h);
    EXPECT_EQ(activities(), 1);
}

TEST_F(MacHostLifecycle, ThePermissionCheckTellsAndEndsWithItsStatus) {
    for (const bool isGranted : {true, false}) {
        script().isGranted = isGranted;
        testing::internal::CaptureStdout();
        host_ = std::make_unique<MacHost>(
            std::vector<const char*>{"VelmoraViewerHost", "--check-permission"});
        EXPECT_EQ(host_->status(), isGranted ? 0 : 2);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  isGranted ? "Screen Recording: granted\n" : "Screen Recording: not granted\n");
        host_ = nullptr;
    }
    expectNoListener();
}

TEST_F(MacHostLifecycle, CancellingTheConsentEndsItAndTheSystemIsNeverAsked) {
    startUnpermitted({ApplicationScript::secondButton});
    EXPECT_EQ(host_->status(), 0);
    ASSERT_THAT(application().alerts, SizeIs(1));
    EXPECT_EQ(application().alerts[0].style, 1U);
    EXPECT_EQ(application().alerts[0].message, "Allow Viewer Host to Share Displays?");
    EXPECT_THAT(application().alerts[0].informativeText, HasSubstr("this Mac"));
    EXPECT_THAT(application().alerts[0].buttons, ElementsAre("Continue", "Cancel"));
    EXPECT_THAT(FrameworkCalls::take(),
                testing::AllOf(Contains("activateIgnoringOtherApps 1"),
                               Not(Contains("CGRequestScreenCaptureAccess"))));
}

TEST_F(MacHostLifecycle, AGrantAfterTheConsentLetsItServe) {
    script().grantsOnRequest = true;
    startUnpermitted({ApplicationScript::firstButton});
    EXPECT_EQ(host_->status(), std::nullopt);
    host_->perform([] { FakeListener::last()->becomeReady(9090); });
    EXPECT_EQ(get(ViewerHostProtocolV1::displaysPath).status(), 200);
    EXPECT_THAT(application().alerts, SizeIs(1));
}

TEST_F(MacHostLifecycle, WithoutAGrantTheSettingsAreOpenedOnRequestOnly) {
    for (const long button : {ApplicationScript::firstButton, ApplicationScript::secondButton}) {
        application().alerts.clear();
        startUnpermitted({ApplicationScript::firstButton, button});
        EXPECT_EQ(host_->status(), 0);
        ASSERT_THAT(application().alerts, SizeIs(2));
        EXPECT_EQ(application().alerts[1].style, 0U);
        EXPECT_THAT(application().alerts[1].buttons, ElementsAre("Open System Settings", "Close"));
        const auto calls = FrameworkCalls::take();
        const bool isOpened = std::ranges::count(calls, settingsPage) > 0;
        EXPECT_EQ(isOpened, button == ApplicationScript::firstButton);
        host_ = nullptr;
    }
}

TEST_F(MacHostLifecycle, ARussianUserIsAskedInRussian) {
    application().languageCode = "ru";
    startUnpermitted({ApplicationScript::secondButton});
    ASSERT_THAT(application().alerts, SizeIs(1));
    EXPECT_EQ(application().alerts[0].message, "Разрешить Viewer Host показывать дисплеи?");
    EXPECT_THAT(application().alerts[0].buttons, ElementsAre("Продолжить", "Отмена"));
}

TEST_F(MacHostLifecycle, AListenerThatFailsIsToldAndEndsIt) {
    application().answers.emplace_back([] { return ApplicationScript::firstButton; });
    host_ = std::make_unique<MacHost>();
    host_->perform([] {
        FakeListener::last()->deliverState(FakeListener::failed,
                                           FakeNetworkError{48, "Address already in use"});
    });
    EXPECT_EQ(host_->status(), 0);
    EXPECT_THAT(application().alerts, ElementsAre(ApplicationScript::Alert{
                                          2,
                                          "Viewer Host Did Not Start",
                                          "Viewer Host could not start: Address already in use",
                                          {"OK"}}));
}

TEST_F(MacHostLifecycle, AListenerThatCannotBeCreatedIsToldInThePlatformsWords) {
    FakeListener::setRefused(true);
    application().answers.emplace_back([] { return ApplicationScript::firstButton; });
    host_ = std::make_unique<MacHost>();
    EXPECT_EQ(host_->status(), 0);
    ASSERT_THAT(application().alerts, SizeIs(1));
    EXPECT_EQ(application().alerts[0].informativeText, "Invalid argument");
}

TEST_F(MacHostLifecycle, EachSignalEndsItInOrderHoweverOftenItComes) {
    for (const int signal : {SIGINT, SIGTERM}) {
        serve();
        host_->perform([signal] {
            FakeDispatchSources::raise(signal);
            FakeDispatchSources::raise(signal);
        });
        EXPECT_EQ(host_->status(), 0);
        host_ = nullptr;
    }
}

TEST_F(MacHostLifecycle, ASignalClosesTheConsentAlertAndEndsIt) {
    script().isGranted = false;
    raiseWhileAlertShows();
    host_ = std::make_unique<MacHost>();
    EXPECT_EQ(host_->status(), 0);
    EXPECT_THAT(application().alerts, SizeIs(1));
    EXPECT_THAT(FrameworkCalls::take(), Not(Contains("CGRequestScreenCaptureAccess")));
    expectNoListener();
}

TEST_F(MacHostLifecycle, ASignalClosesTheAlertAboutTheMissingPermissionAndEndsIt) {
    script().isGranted = false;
    application().answers.emplace_back([] { return ApplicationScript::firstButton; });
    raiseWhileAlertShows();
    host_ = std::make_unique<MacHost>();
    EXPECT_EQ(host_->status(), 0);
    EXPECT_THAT(application().alerts, SizeIs(2));
    EXPECT_THAT(FrameworkCalls::take(), Not(Contains(settingsPage)));
}

TEST_F(MacHostLifecycle, ASignalClosesTheAlertThatNothingStartedAndEndsIt) {
    FakeListener::setRefused(true);
    raiseWhileAlertShows();
    host_ = std::make_unique<MacHost>();
    EXPECT_EQ(host_->status(), 0);
    EXPECT_THAT(application().alerts, SizeIs(1));
}

TEST_F(MacHostLifecycle, AQuitRequestIsAnsweredOnceEverythingHasStopped) {
    serve();
    EXPECT_EQ(frame().status(), 200);
    const auto fake = stream();
    host_->perform([] { ApplicationScript::shared().quit(); });
    EXPECT_EQ(host_->status(), 0);
    EXPECT_EQ(fake->stops(), 1);
    EXPECT_EQ(std::ranges::count(FrameworkCalls::take(), "terminate cancelled"), 1);
}

TEST_F(MacHostLifecycle, AnEndUnderLoadLeavesNoConnectionAndNoCapture) {
    serve();
    EXPECT_EQ(frame().status(), 200);
    const auto fake = stream();
    std::vector<std::unique_ptr<MacClient>> clients;
    for (int i = 0; i < 30; ++i) {
        clients.push_back(std::make_unique<MacClient>(*host_));
        clients.back()->send("GET /viewer");
    }
    host_->raise(SIGTERM);
    EXPECT_EQ(host_->status(), 0);
    for (const auto& client : clients) {
        EXPECT_TRUE(client->isOver());
        EXPECT_EQ(client->received(), "");
    }
    EXPECT_EQ(fake->stops(), 1);
    EXPECT_TRUE(fake->isDropped());
}

TEST_F(MacHostLifecycle, AStopThatHangsEndsIt3SecondsLater) {
    serve();
    EXPECT_EQ(frame().status(), 200);
    script().stopping = ScreenScript::Answer::none;
    host_->raise(SIGTERM);
    EXPECT_EQ(host_->status(), std::nullopt);
    host_->advance(2999ms);
    EXPECT_EQ(host_->status(), std::nullopt);
    host_->advance(1ms);
    EXPECT_EQ(host_->status(), 0);
}

TEST_F(MacHostLifecycle, TheListingTellsTheMachinesName) {
    application().hostName = "Студия";
    serve();
    EXPECT_THAT(get(ViewerHostProtocolV1::displaysPath).body(),
                HasSubstr(R"("machineName":"Студия")"));
}

TEST_F(MacHostLifecycle, AMachineWithoutANameIsAMac) {
    serve();
    EXPECT_THAT(get(ViewerHostProtocolV1::displaysPath).body(),
                HasSubstr(R"("machineName":"Mac")"));
}

}  // namespace
}  // namespace velmora
