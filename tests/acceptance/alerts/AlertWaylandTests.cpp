#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <string>

#include "app/ViewerAlertCatalogue.h"
#include "tests/acceptance/alerts/AlertWindowTest.h"
#include "tests/support/desktop/HeadlessCompositor.h"
#include "tests/support/desktop/WaylandRelay.h"
#include "tests/support/host/HostTest.h"

namespace velmora {

namespace {

using Access = ViewerCaptureAccess;

/// The windows of alerts on a Wayland compositor, where there is no X11.
class AlertOnWayland : public AlertWindowTest {
  protected:
    AlertOnWayland() { environment_.set("WAYLAND_DISPLAY", compositor_.displayName()); }

    HeadlessCompositor compositor_;
};

class AlertOnWaylandIn : public AlertOnWayland, public testing::WithParamInterface<const char*> {};

TEST_P(AlertOnWaylandIn, EachButtonOfEachAlertIsPressedByItsName) {
    const ViewerAlertCatalogue catalogue(GetParam(), ViewerAlertWording::gnome);
    for (const ViewerAlert& alert :
         {catalogue.consent(), catalogue.permissionMissing(Access::requestable),
          catalogue.permissionMissing(Access::portalMissing),
          catalogue.permissionMissing(Access::portalWithoutScreens),
          catalogue.permissionMissing(Access::portalSilent),
          catalogue.permissionMissing(Access::noWholeScreen), catalogue.didNotStart("Reason")}) {
        for (std::size_t button = 0; button < alert.buttons.size(); ++button) {
            const SeenAlert seen = show(alert);
            EXPECT_TRUE(seen.shows(alert)) << seen;
            session_.press(alert.buttons[button]);
            EXPECT_EQ(answer(), button == 0);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Languages, AlertOnWaylandIn, testing::Values("en", "ru"));

TEST_F(AlertOnWayland, ACompositorThatDiesIsNotTheFirstButton) {
    show(twoButtons());
    compositor_.kill();
    EXPECT_EQ(answer(), std::nullopt);
}

TEST_F(AlertOnWayland, WhatItsUserHasJustStartedShowsTheCompositorTheDesktopsToken) {
    for (const char* const name : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"}) {
        WaylandRelay relay(compositor_.displayName());
        environment_.set("WAYLAND_DISPLAY", relay.displayName());
        const std::string token = std::string("token-of-") + name;
        environment_.set(name, token);
        show(twoButtons());
        EXPECT_TRUE(eventually([&] { return relay.hasHeard(token); })) << name;
        // Else it would be passed over.
        EXPECT_TRUE(relay.hasHeardAfterPicture(token)) << name;
        environment_.set(name, std::nullopt);
        session_.press("Second");
        EXPECT_EQ(answer(), false);
    }
}

}  // namespace

}  // namespace velmora
