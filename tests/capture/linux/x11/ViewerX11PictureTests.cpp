#include "core/capture/linux/x11/ViewerX11Picture.h"

#include <gtest/gtest.h>

#include "core/capture/linux/x11/ViewerX11Connection.h"
#include "core/capture/linux/x11/ViewerX11PixelForm.h"
#include "tests/support/x11/XServer.h"

namespace velmora {
namespace {

/// Where a part of the root window is in the picture of a monitor.
ViewerRectangle placeIn(const XServer& server, const ViewerRectangle& monitor,
                        const ViewerRectangle& onRoot) {
    const auto connection = ViewerX11Connection::connect(server.displayName());
    const auto form = ViewerX11PixelForm::of(*connection);
    return ViewerX11Picture(connection, *form, monitor).targetFor(onRoot);
}

TEST(ViewerX11Picture, APartOfTheRootWindowHasItsPlaceInThePictureOfItsMonitor) {
    constexpr ViewerRectangle small{600, 100, 640, 360};
    constexpr ViewerRectangle whole{0, 0, 1280, 720};
    const XServer server;

    EXPECT_EQ(placeIn(server, small, {700, 250, 20, 10}), (ViewerRectangle{100, 150, 20, 10}));
    EXPECT_EQ(placeIn(server, small, {590, 95, 20, 20}), (ViewerRectangle{0, 0, 10, 15}));
    EXPECT_TRUE(placeIn(server, small, {0, 0, 600, 720}).isEmpty());
    EXPECT_EQ(placeIn(server, whole, {700, 250, 20, 10}), (ViewerRectangle{350, 125, 10, 5}));
}

}  // namespace
}  // namespace velmora
