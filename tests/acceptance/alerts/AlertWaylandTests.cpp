#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "app/ViewerAlertCatalogue.h"
#include "tests/acceptance/alerts/AlertWindowTest.h"
#include "tests/support/desktop/HeadlessCompositor.h"

namespace velmora {

namespace {

/// The windows of alerts on a Wayland compositor, where there is no X11.
class AlertOnWayland : public AlertWindowTest {
  protected:
    AlertOnWayland() { environment_.set("WAYLAND_DISPLAY", compositor_.displayName()); }

    HeadlessCompositor compositor_;
};

class AlertOnWaylandIn : public AlertOnWayland, public testing::WithParamInterface<const char*> {};

TEST_P(AlertOnWaylandIn, EachButtonOfEachAlertIsPressedByItsName) {
    const ViewerAlertCatalogue catalogue(GetParam(), ViewerAlertWording::linuxDesktop);
    for (const ViewerAlert& alert :
         {catalogue.consent(), catalogue.permissionMissing(ViewerCaptureAccess::requestable),
          catalogue.didNotStart("Reason")}) {
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

}  // namespace

}  // namespace velmora
