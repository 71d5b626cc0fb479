#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "tests/acceptance/alerts/AlertTest.h"
#include "tests/support/system/PortSquatter.h"

namespace velmora {

namespace {

constexpr const char* settings =
    "open x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture\n";

using AlertButtons = AlertTestIn;

TEST_P(AlertButtons, CancelEndsTheHostAndTheSystemIsNotAsked) {
    launch(withoutPermission());
    press(catalogue_.consent(), 1);

    expectEnd();
}

TEST_P(AlertButtons, ContinueWithoutAGrantLeadsToTheSecondAlertWhoseButtonEndsTheHost) {
    launch(withoutPermission());
    press(catalogue_.consent(), 0);
    press(catalogue_.permissionMissing(), 0);

    expectEnd();
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
    HostLaunch scripted(const std::string& preflights, const std::string& request) const {
        HostLaunch launch = withPermission();
        launch.program = SCRIPTED_HOST_PATH;
        launch.arguments = {preflights, request, "mac"};
        return launch;
    }

    const ViewerAlertCatalogue macCatalogue_{language_, ViewerAlertWording::mac};
};

TEST_P(AlertButtonsOnAMac, AGrantAfterContinueBringsTheServerUp) {
    launch(scripted("n", "y"));
    press(macCatalogue_.consent(), 0);
    EXPECT_EQ(host_->readLine(), "request");
    EXPECT_EQ(host_->readLine(), listeningLine);
    EXPECT_TRUE(HTTPClient().isConnected());
    host_->signal(SIGTERM);

    expectEnd();
}

TEST_P(AlertButtonsOnAMac, AGrantThatOnlyTheSecondLookSeesBringsTheServerUp) {
    launch(scripted("ny", "n"));
    press(macCatalogue_.consent(), 0);
    EXPECT_EQ(host_->readLine(), "request");
    EXPECT_EQ(host_->readLine(), listeningLine);
    host_->signal(SIGTERM);

    expectEnd();
}

TEST_P(AlertButtonsOnAMac, TheSettingsPageIsOpenedForWhoWantsIt) {
    launch(scripted("n", "n"));
    press(macCatalogue_.consent(), 0);
    press(macCatalogue_.permissionMissing(), 0);

    expectEnd(std::string("request\n") + settings);
}

TEST_P(AlertButtonsOnAMac, CloseOpensNothing) {
    launch(scripted("n", "n"));
    press(macCatalogue_.consent(), 0);
    press(macCatalogue_.permissionMissing(), 1);

    expectEnd("request\n");
}

INSTANTIATE_TEST_SUITE_P(Languages, AlertButtons, testing::Values("en", "ru"));
INSTANTIATE_TEST_SUITE_P(Languages, AlertButtonsOnAMac, testing::Values("en", "ru"));

}  // namespace

}  // namespace velmora
