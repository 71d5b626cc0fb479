#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include "core/capture/ViewerScreenCapture.h"
#include "tests/acceptance/wayland/WaylandHostTest.h"

namespace velmora {

namespace {

using Answer = PortalBackend::Answer;

/// What a person does in the desktop's own dialog.
class WaylandDialog : public MutterHostTest {
  protected:
    /// The alert that this leads to ends the host, which has served nobody.
    void expectMissing(ViewerCaptureAccess access) {
        const ViewerAlertCatalogue catalogue("en", ViewerAlertWording::gnome);
        EXPECT_TRUE(host_.press(catalogue.permissionMissing(access)));
        EXPECT_EQ(host_.process().readToEnd(), "");
        EXPECT_EQ(host_.process().awaitEnd(), endedInOrder);
    }
};

TEST_F(WaylandDialog, IsAskedForMonitorsWithoutACursorAndForAGrantThatCanBeRenewed) {
    ASSERT_NO_FATAL_FAILURE(serve());
    EXPECT_EQ(backend_.await("selected"),
              R"({"types": 1, "multiple": true, "cursor_mode": 1, "persist_mode": 1, )"
              R"("renews": false})");
}

TEST_F(WaylandDialog, OneMonitorOfTwoIsServedAlone) {
    backend_.pick("1");
    ASSERT_NO_FATAL_FAILURE(serve());
    const auto displays = listDisplays();

    ASSERT_TRUE(displays.has_value());
    ASSERT_EQ(displays->size(), 1U);
    EXPECT_EQ(displays->front().id, idOf(green));
}

TEST_F(WaylandDialog, WhoCancelsIsToldWhatIsMissingAndIsNotAskedAgain) {
    backend_.answer(Answer::cancel);
    host_.start();
    expectMissing(ViewerCaptureAccess::declined);
    EXPECT_EQ(backend_.count("asked"), 1U);
}

TEST_F(WaylandDialog, AWindowIsNoDisplayAndWhoChoseItIsToldSo) {
    backend_.pick("window");
    host_.start();
    expectMissing(ViewerCaptureAccess::noWholeScreen);
}

TEST_F(WaylandDialog, AWindowAsLargeAsAMonitorIsNoDisplayEither) {
    backend_.speak(PortalBackend::Dialect::hyprland);
    host_.start();
    expectMissing(ViewerCaptureAccess::noWholeScreen);
}

TEST_F(WaylandDialog, AWorkspaceOfSeveralMonitorsIsNoDisplay) {
    backend_.pick("workspace");
    host_.start();
    expectMissing(ViewerCaptureAccess::noWholeScreen);
}

TEST_F(WaylandDialog, StaysOpenUntilItIsAnswered) {
    backend_.answer(Answer::hold);
    host_.start();
    ASSERT_TRUE(backend_.await("asked").has_value());
    EXPECT_FALSE(HTTPClient().isConnected());
    backend_.decide(Answer::grant);

    EXPECT_EQ(host_.process().readLine(), listeningLine);
}

TEST_F(WaylandDialog, GoesWithAHostThatIsToldToEnd) {
    backend_.answer(Answer::hold);
    host_.start();
    ASSERT_TRUE(backend_.await("asked").has_value());

    EXPECT_EQ(host_.end(SIGTERM), endedInOrder);
    EXPECT_TRUE(backend_.await("dismissed").has_value());
}

TEST_F(WaylandDialog, GoesWithAHostThatIsKilled) {
    backend_.answer(Answer::hold);
    host_.start();
    ASSERT_TRUE(backend_.await("asked").has_value());

    EXPECT_EQ(host_.end(SIGKILL), (HostEnd{std::nullopt, SIGKILL}));
    EXPECT_TRUE(backend_.await("dismissed").has_value());
}

TEST_F(WaylandDialog, ThatFailsIsNotTakenForAGrant) {
    backend_.answer(Answer::fail);
    host_.start();
    expectMissing(ViewerCaptureAccess::portalSilent);
}

TEST_F(WaylandDialog, CannotBeAskedForWithoutAPortal) {
    desktop_.session().killPortal();
    host_.start();
    expectMissing(ViewerCaptureAccess::portalMissing);
}

TEST_F(WaylandDialog, CannotBeAskedForOfAPortalWithoutAPartForScreens) {
    desktop_.session().killPortal();
    desktop_.session().kill("script");
    desktop_.session().restart("portal");
    desktop_.session().awaitOwner("org.freedesktop.portal.Desktop");
    host_.start();
    expectMissing(ViewerCaptureAccess::portalWithoutScreens);
}

TEST_F(WaylandDialog, IsNotWaitedForWhereThePartForScreensHangs) {
    desktop_.session().freeze("script");
    host_.start();
    expectMissing(ViewerCaptureAccess::portalSilent);
}

TEST_F(WaylandDialog, IsNotShownForALookAtThePermission) {
    HostLaunch look;
    look.environment = desktop_.session().environment();
    look.arguments = {"--check-permission"};
    HostProcess host(look);

    EXPECT_EQ(host.readToEnd(), "Screen Recording: not granted\n");
    EXPECT_EQ(host.awaitEnd(), (HostEnd{2, 0}));
    EXPECT_EQ(backend_.count("created"), 0U);
}

TEST_F(WaylandDialog, IsShownAgainToTheNextRunBecauseNothingIsKept) {
    ASSERT_NO_FATAL_FAILURE(serve());
    EXPECT_EQ(host_.end(SIGTERM), endedInOrder);
    EXPECT_TRUE(backend_.await("closed").has_value());
    ASSERT_NO_FATAL_FAILURE(serve());

    EXPECT_EQ(backend_.count("asked"), 2U);
    EXPECT_EQ(backend_.count("renewed"), 0U);
}

TEST(WaylandChooser, OfSwaysOwnPortalStaysOpenForHowLongItTakes) {
    // It asks before it has answered the choice of sources.
    SwayDesktop desktop(equalMonitors());
    desktop.thinkItOver();
    WaylandHost host(desktop.session());
    host.start();
    std::this_thread::sleep_for(ViewerScreenCapture::answerLimit + std::chrono::seconds(1));
    desktop.choose(SwayDesktop::connector(1));

    EXPECT_EQ(host.process().readLine(), listeningLine);
    const auto displays = listDisplays();
    ASSERT_TRUE(displays && displays->size() == 1);
    EXPECT_TRUE(shows(displays->front().id, green));
    EXPECT_EQ(host.end(SIGTERM), endedInOrder);
}

}  // namespace

}  // namespace velmora
