#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "tests/acceptance/alerts/AlertTest.h"
#include "tests/support/system/PortSquatter.h"

namespace velmora {

namespace {

/// Hosts on a terminal whose alerts cannot be shown.
class AlertTerminal : public AlertTestIn {
  protected:
    /// The host tells on its terminal what the alert would, asks nothing, and ends in order.
    void expectTold(HostLaunch launched, const ViewerAlert& alert) {
        launched.isOnTerminal = true;
        launch(launched);
        expectEnd();
        EXPECT_EQ(host_->readTerminal(), alert.title + "\r\n" + alert.informativeText + "\r\n");
    }
    /// The same host beside another alert program, or beside none.
    HostLaunch besides(HostLaunch launched, const std::string& program) const {
        launched.program = folder_.path() / "VelmoraViewerHost";
        std::filesystem::copy_file(VIEWER_HOST_PATH, *launched.program);
        if (!program.empty()) {
            std::filesystem::create_symlink(program, folder_.path() / "VelmoraViewerHostAlert");
        }
        return launched;
    }
    ViewerAlert takenPort() const {
        return catalogue_.didNotStart(
            "Viewer Host could not start: TCP port 9090: Address already in use");
    }

    const TemporaryFolder folder_;
};

TEST_P(AlertTerminal, TellsOfADisplayThatIsNotThere) {
    HostLaunch launched = withPermission();
    launched.environment["DISPLAY"] = ":64999";
    expectTold(launched, catalogue_.permissionMissing(ViewerCaptureAccess::noAnswer));
}

TEST_P(AlertTerminal, TellsOfAWaylandDisplayThatIsNotThere) {
    HostLaunch launched = withPermission();
    launched.environment.erase("DISPLAY");
    launched.environment["WAYLAND_DISPLAY"] = "/nonexistent/wayland-0";
    expectTold(launched, catalogue_.permissionMissing(ViewerCaptureAccess::waylandSession));
}

TEST_P(AlertTerminal, TellsThatThereIsNoSession) {
    HostLaunch launched = withPermission();
    launched.environment.erase("DISPLAY");
    expectTold(launched, catalogue_.permissionMissing(ViewerCaptureAccess::sessionRefuses));
}

TEST_P(AlertTerminal, TellsWhatAnAlertProgramThatIsMissingWould) {
    expectTold(besides(withoutPermission(), ""),
               catalogue_.permissionMissing(ViewerCaptureAccess::sessionRefuses));
}

TEST_P(AlertTerminal, TellsOfATakenPortWhereTheAlertProgramFails) {
    const PortSquatter squatter(HTTPClient::hostPort);
    expectTold(besides(withPermission(), "/bin/false"), takenPort());
}

TEST_P(AlertTerminal, TellsOfATakenPortWhereTheDisplayServerDiesUnderTheAlert) {
    const PortSquatter squatter(HTTPClient::hostPort);
    HostLaunch launched = withPermission();
    launched.isOnTerminal = true;
    launch(launched);
    expectShown(takenPort());
    server_.kill();

    expectEnd();
    EXPECT_EQ(host_->readTerminal(),
              takenPort().title + "\r\n" + takenPort().informativeText + "\r\n");
}

TEST_P(AlertTerminal, HearsNothingOfAnAlertThatIsShown) {
    HostLaunch launched = withoutPermission();
    launched.isOnTerminal = true;
    launch(launched);
    press(catalogue_.permissionMissing(ViewerCaptureAccess::sessionRefuses), 0);

    expectEnd();
    EXPECT_EQ(host_->readTerminal(), "");
}

TEST_P(AlertTerminal, HearsNothingOfAnAlertThatASignalCloses) {
    HostLaunch launched = withoutPermission();
    launched.isOnTerminal = true;
    launch(launched);
    expectShown(catalogue_.permissionMissing(ViewerCaptureAccess::sessionRefuses));
    host_->signal(SIGTERM);

    expectEnd();
    EXPECT_EQ(host_->readTerminal(), "");
}

TEST_P(AlertTerminal, WithoutOneATakenPortWhereTheAlertProgramFailsIsToldNowhere) {
    const PortSquatter squatter(HTTPClient::hostPort);
    launch(besides(withPermission(), "/bin/false"));
    expectEnd();
}

INSTANTIATE_TEST_SUITE_P(Languages, AlertTerminal, testing::Values("en", "ru"));

}  // namespace

}  // namespace velmora
