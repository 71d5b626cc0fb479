#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <string>
#include <utility>

#include "core/capture/ViewerCaptureAccess.h"
#include "tests/acceptance/alerts/AlertTest.h"
#include "tests/support/desktop/HeadlessCompositor.h"
#include "tests/support/system/PortSquatter.h"

namespace velmora {

namespace {

constexpr const char* settings =
    "open x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture\n";

using AlertButtons = AlertTestIn;

TEST_P(AlertButtons, ASessionThatRefusesIsToldOfAndTheButtonEndsTheHost) {
    launch(withoutPermission());
    press(catalogue_.permissionMissing(ViewerCaptureAccess::sessionRefuses), 0);

    expectEnd();
}

TEST_P(AlertButtons, ADisplayOfTheNetworkIsToldOfAndTheButtonEndsTheHost) {
    HostLaunch launched = withPermission();
    launched.environment["DISPLAY"].insert(0, "127.0.0.1");
    launch(launched);
    press(catalogue_.permissionMissing(ViewerCaptureAccess::remoteDisplay), 0);

    expectEnd();
}

TEST_P(AlertButtons, AnXwaylandWhoseCompositorCannotBeReachedIsToldOfAndTheButtonEndsTheHost) {
    const HeadlessCompositor compositor(HeadlessCompositor::X11::xwayland);
    HostLaunch launched = withPermission();
    launched.environment["DISPLAY"] = compositor.xwaylandName();
    launch(launched);
    press(catalogue_.permissionMissing(ViewerCaptureAccess::waylandSession), 0);

    expectEnd();
}

TEST_P(AlertButtons, AnXServerThatDoesNotAnswerIsToldOfAndTheButtonEndsTheHost) {
    const HeadlessCompositor compositor;
    server_.freeze();
    HostLaunch launched = withPermission();
    launched.environment["XDG_SESSION_TYPE"] = "x11";
    launched.environment["WAYLAND_DISPLAY"] = compositor.displayName();
    launch(launched);
    press(catalogue_.permissionMissing(ViewerCaptureAccess::noAnswer), 0);

    expectEnd();
    server_.thaw();
}

TEST_P(AlertButtons, CancelEndsTheHostAndTheSystemIsNotAsked) {
    launch(scripted("n", "y", "linux"));
    press(catalogue_.consent(), 1);

    expectEnd();
}

TEST_P(AlertButtons, ContinueWithoutAGrantLeadsToTheSecondAlertWhoseButtonEndsTheHost) {
    launch(scripted("n", "n", "linux"));
    press(catalogue_.consent(), 0);
    press(catalogue_.permissionMissing(ViewerCaptureAccess::requestable), 0);

    expectEnd("request\n");
}

/// What the desktop's own request may come to, by its letter.
constexpr std::array reasons{std::pair("nd", ViewerCaptureAccess::declined),
                             std::pair("nm", ViewerCaptureAccess::portalMissing),
                             std::pair("nb", ViewerCaptureAccess::portalWithoutScreens),
                             std::pair("ns", ViewerCaptureAccess::portalSilent),
                             std::pair("nw", ViewerCaptureAccess::noWholeScreen)};

TEST_P(AlertButtons, WhatBecameOfTheRequestIsToldInTheWordsOfTheDesktop) {
    const ViewerAlertCatalogue ofKDE(language_, ViewerAlertWording::kde);
    for (const auto& [looks, reason] : reasons) {
        HostLaunch launched = scripted(looks, "n", "linux");
        launched.environment["XDG_CURRENT_DESKTOP"] = "other:KDE";
        launch(launched);
        press(ofKDE.consent(), 0);
        press(ofKDE.permissionMissing(reason), 0);

        expectEnd("request\n");
    }
}

TEST_P(AlertButtons, ATakenPortIsToldOfAndOKEndsTheHost) {
    const PortSquatter squatter(HTTPClient::hostPort);
    launch(withPermission());
    press(catalogue_.didNotStart(
              "Viewer Host could not start: TCP port 9090: Address already in use"),
          0);

    expectEnd();
}

/// The same application where the permission's answers are given and there is a settings page.
class AlertButtonsOnAMac : public AlertTestIn {
  protected:
    const ViewerAlertCatalogue macCatalogue_{language_, ViewerAlertWording::mac};
};

TEST_P(AlertButtonsOnAMac, AGrantAfterContinueBringsTheServerUp) {
    launch(scripted("n", "y", "mac"));
    press(macCatalogue_.consent(), 0);
    EXPECT_EQ(host_->readLine(), "request");
    EXPECT_EQ(host_->readLine(), listeningLine);
    EXPECT_TRUE(HTTPClient().isConnected());
    host_->signal(SIGTERM);

    expectEnd();
}

TEST_P(AlertButtonsOnAMac, AGrantThatOnlyTheSecondLookSeesBringsTheServerUp) {
    launch(scripted("ny", "n", "mac"));
    press(macCatalogue_.consent(), 0);
    EXPECT_EQ(host_->readLine(), "request");
    EXPECT_EQ(host_->readLine(), listeningLine);
    host_->signal(SIGTERM);

    expectEnd();
}

TEST_P(AlertButtonsOnAMac, TheSettingsPageIsOpenedForWhoWantsIt) {
    launch(scripted("n", "n", "mac"));
    press(macCatalogue_.consent(), 0);
    press(macCatalogue_.permissionMissing(ViewerCaptureAccess::requestable), 0);

    expectEnd(std::string("request\n") + settings);
}

TEST_P(AlertButtonsOnAMac, CloseOpensNothing) {
    launch(scripted("n", "n", "mac"));
    press(macCatalogue_.consent(), 0);
    press(macCatalogue_.permissionMissing(ViewerCaptureAccess::requestable), 1);

    expectEnd("request\n");
}

INSTANTIATE_TEST_SUITE_P(Languages, AlertButtons, testing::Values("en", "ru"));
INSTANTIATE_TEST_SUITE_P(Languages, AlertButtonsOnAMac, testing::Values("en", "ru"));

}  // namespace

}  // namespace velmora
