#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>

#include "tests/acceptance/alerts/AlertTest.h"
#include "tests/support/system/PortSquatter.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr auto grace = 3s;

/// Also while nobody has taken note of its end.
bool isGone(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    std::string line;
    while (std::getline(status, line) && !line.starts_with("State:")) {
    }
    return line.empty() || line.find('Z') != std::string::npos;
}

/// Hosts whose alert closes by something else than a button.
class AlertEnd : public AlertTest {
  protected:
    void askForConsent() {
        launch(scripted("n", "y", "linux"));
        expectShown(catalogue_.consent());
    }
    void tellMissing() {
        launch(withoutPermission());
        expectShown(catalogue_.permissionMissing(ViewerCaptureAccess::sessionRefuses));
    }
    void failToStart() {
        launch(withPermission());
        expectShown(catalogue_.didNotStart(
            "Viewer Host could not start: TCP port 9090: Address already in use"));
    }
    pid_t alertProgram() const {
        const auto children = host_->children();
        EXPECT_EQ(children.size(), 1U);
        return children.empty() ? 0 : children.front();
    }
    /// The signals end the host in order within the grace, and its alert with it.
    void expectEndBy(std::initializer_list<int> signals) {
        const pid_t program = alertProgram();
        const auto begin = std::chrono::steady_clock::now();
        for (const int signal : signals) {
            host_->signal(signal);
        }
        expectEnd();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, grace);
        EXPECT_TRUE(isGone(program));
    }
};

TEST_F(AlertEnd, ASignalClosesTheConsentAlertAndEndsTheHost) {
    askForConsent();
    expectEndBy({SIGTERM});
}

TEST_F(AlertEnd, ASignalClosesTheMissingPermissionAlertAndEndsTheHost) {
    tellMissing();
    expectEndBy({SIGINT});
}

TEST_F(AlertEnd, ASignalClosesTheDidNotStartAlertAndEndsTheHost) {
    const PortSquatter squatter(HTTPClient::hostPort);
    failToStart();
    expectEndBy({SIGTERM});
}

TEST_F(AlertEnd, SignalsInARowAreOneOrderlyEnd) {
    askForConsent();
    expectEndBy({SIGTERM, SIGTERM, SIGINT, SIGTERM});
}

TEST_F(AlertEnd, ASignalTakesBackARequestThatWaitsAndEndsTheHost) {
    launch(scripted("n", "never", "linux"));
    press(catalogue_.consent(), 0);
    EXPECT_EQ(host_->readLine(), "request");
    const auto begin = std::chrono::steady_clock::now();
    host_->signal(SIGTERM);

    expectEnd("withdraw\n");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, grace);
}

TEST_F(AlertEnd, AQuitDuringAnAlertIsHandledWhenItHasClosed) {
    askForConsent();
    host_->signal(SIGUSR1);
    EXPECT_EQ(host_->readLine(), "quit");
    EXPECT_FALSE(isGone(alertProgram()));
    press(catalogue_.consent(), 0);

    // Continue was pressed, but the application ends: nothing is requested and nothing served.
    expectEnd();
}

TEST_F(AlertEnd, AnAlertThatDiesIsNotTheFirstButton) {
    for (const int signal : {SIGKILL, SIGTERM}) {
        askForConsent();
        ::kill(alertProgram(), signal);
        expectEnd();
    }
}

TEST_F(AlertEnd, ADisplayServerThatDiesIsNotTheFirstButton) {
    askForConsent();
    server_.kill();
    expectEnd();
}

TEST_F(AlertEnd, WithoutATerminalAHostWithoutItsAlertProgramEndsInSilence) {
    const TemporaryFolder folder;
    HostLaunch launched = withoutPermission();
    launched.program = folder.path() / "VelmoraViewerHost";
    std::filesystem::copy_file(VIEWER_HOST_PATH, *launched.program);
    launch(launched);
    expectEnd();
}

TEST_F(AlertEnd, WithoutATerminalAHostWhoseDisplayCannotBeReachedEndsInSilence) {
    HostLaunch launched = withoutPermission();
    launched.environment["DISPLAY"] = ":64999";
    launched.environment["WAYLAND_DISPLAY"] = "/nonexistent/wayland-0";
    launch(launched);
    expectEnd();
}

TEST_F(AlertEnd, AnAlertEndsWithAHostThatIsKilledAndLeavesNothingBehind) {
    askForConsent();
    const pid_t program = alertProgram();
    EXPECT_EQ(temporary_.entries(), 1U);
    host_->signal(SIGKILL);

    EXPECT_EQ(host_->awaitEnd(), (HostEnd{std::nullopt, SIGKILL}));
    EXPECT_TRUE(eventually([&] { return isGone(program) && temporary_.entries() == 0; }));
}

TEST_F(AlertEnd, AnAlertEndsWithAHostThatIsKilledAlsoWhileTheDisplayServerHangs) {
    tellMissing();
    const pid_t shown = alertProgram();
    server_.freeze();
    host_->signal(SIGKILL);
    EXPECT_TRUE(eventually([&] { return isGone(shown) && temporary_.entries() == 0; }));

    // One that has not even reached the server.
    launch(scripted("n", "y", "linux"));
    ASSERT_TRUE(eventually([&] { return !host_->children().empty(); }));
    const pid_t waiting = alertProgram();
    host_->signal(SIGKILL);
    EXPECT_TRUE(eventually([&] { return isGone(waiting) && temporary_.entries() == 0; }));
    server_.thaw();
}

TEST_F(AlertEnd, AnAlertThatCrashesLeavesNoDumpAndNothingElse) {
    const TemporaryFolder person;
    HostLaunch launched = scripted("n", "y", "linux");
    launched.environment["HOME"] = person.path();
    launch(leavingDumps(launched));
    expectShown(catalogue_.consent());
    ::kill(alertProgram(), SIGABRT);
    expectEnd();
    EXPECT_EQ(person.entries(), 0U);
}

TEST_F(AlertEnd, AnAlertThatLosesItsDisplayServerLeavesNothingToAHostThatCannotCleanUp) {
    askForConsent();
    const pid_t program = alertProgram();
    host_->signal(SIGSTOP);
    server_.kill();
    EXPECT_TRUE(eventually([&] { return isGone(program); }));
    EXPECT_EQ(temporary_.entries(), 0U);
    host_->signal(SIGKILL);
}

TEST_F(AlertEnd, ASecondHostTellsThatThePortIsTakenAndTheFirstGoesOn) {
    HostProcess first(withPermission());
    ASSERT_EQ(first.readLine(), listeningLine);
    failToStart();
    press(catalogue_.didNotStart(
              "Viewer Host could not start: TCP port 9090: Address already in use"),
          0);
    expectEnd();

    EXPECT_EQ(HTTPClient::get("/").status(), 404);
}

}  // namespace

}  // namespace velmora
