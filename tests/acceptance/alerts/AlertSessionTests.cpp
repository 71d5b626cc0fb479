#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "tests/acceptance/alerts/AlertTest.h"
#include "tests/support/desktop/HeadlessCompositor.h"
#include "tests/support/desktop/WaylandRelay.h"
#include "tests/support/system/PortSquatter.h"

namespace velmora {

namespace {

/// The host where there is a compositor, beside an X server or alone.
class AlertSession : public AlertTest {
  protected:
    HostLaunch withoutX11() const {
        HostLaunch launched = withPermission();
        launched.environment.erase("DISPLAY");
        return launched;
    }
    HostLaunch onCompositor(const std::string& displayName) const {
        HostLaunch launched = withoutX11();
        launched.environment["WAYLAND_DISPLAY"] = displayName;
        return launched;
    }
    /// A host that is told of no display, of a user in whose runtime folder the compositor is.
    HostLaunch besideCompositor() const {
        HostLaunch launched = withoutX11();
        launched.environment["XDG_RUNTIME_DIR"] = runtimeFolder_.path();
        return launched;
    }
    /// A host that only tells whether it has the permission.
    void expectNotGranted(HostLaunch launched) const {
        launched.arguments = {"--check-permission"};
        HostProcess host(launched);
        EXPECT_EQ(host.readToEnd(), "Screen Recording: not granted\n");
        EXPECT_EQ(host.awaitEnd(), (HostEnd{2, 0}));
    }

    HeadlessCompositor compositor_;

  private:
    void SetUp() override {
        // Its own one may be another user's.
        std::filesystem::create_symlink(compositor_.displayName(),
                                        runtimeFolder_.path() / "wayland-7");
    }

    const TemporaryFolder runtimeFolder_;
};

TEST_F(AlertSession, InAWaylandSessionConsentIsAskedForAndCancelEndsTheHost) {
    launch(onCompositor(compositor_.displayName()));
    press(catalogue_.consent(), 1);

    expectEnd();
}

TEST_F(AlertSession, AWaylandSessionIsFoundWithoutItsNameAndAskedForConsentThere) {
    launch(besideCompositor());
    press(catalogue_.consent(), 1);

    expectEnd();
}

TEST_F(AlertSession, TheCompositorComesBeforeAnXServerOfAnotherSession) {
    HostLaunch launched = withPermission();
    launched.environment["WAYLAND_DISPLAY"] = compositor_.displayName();
    launch(launched);
    press(catalogue_.consent(), 1);

    expectEnd();
}

TEST_F(AlertSession, InAWaylandSessionThePermissionIsNeverGrantedBeforeThePersonWasAsked) {
    expectNotGranted(onCompositor(compositor_.displayName()));
    expectNotGranted(besideCompositor());
}

TEST_F(AlertSession, AnX11SessionIsServedBesideANestedCompositor) {
    HostLaunch launched = withPermission();
    launched.environment["XDG_SESSION_TYPE"] = "x11";
    launched.environment["WAYLAND_DISPLAY"] = compositor_.displayName();
    launch(launched);
    EXPECT_EQ(host_->readLine(), listeningLine);
    host_->signal(SIGTERM);

    expectEnd();
}

TEST_F(AlertSession, AnAlertOfAnX11SessionComesUpThereAndNotInANestedCompositor) {
    const PortSquatter squatter(HTTPClient::hostPort);
    const ViewerAlert alert = catalogue_.didNotStart(
        "Viewer Host could not start: TCP port 9090: Address already in use");
    HostLaunch launched = withPermission();
    launched.environment["XDG_SESSION_TYPE"] = "x11";
    launched.environment["WAYLAND_DISPLAY"] = compositor_.displayName();
    launch(launched);
    expectShown(alert);
    // With it all of its windows go.
    compositor_.kill();
    press(alert, 0);

    expectEnd();
}

TEST_F(AlertSession, TheDesktopsTokenReachesTheHostsAlert) {
    WaylandRelay relay(compositor_.displayName());
    HostLaunch launched = onCompositor(relay.displayName());
    launched.environment["XDG_ACTIVATION_TOKEN"] = "token-of-the-desktop";
    launch(launched);
    expectShown(catalogue_.consent());
    EXPECT_TRUE(eventually([&] { return relay.hasHeard("token-of-the-desktop"); }));
    press(catalogue_.consent(), 1);

    expectEnd();
}

}  // namespace

}  // namespace velmora
