#include "core/capture/linux/x11/ViewerX11Notices.h"

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include "core/capture/linux/x11/ViewerX11Connection.h"
#include "tests/support/x11/XServer.h"

namespace velmora {
namespace {

TEST(ViewerX11Notices, OfABrokenConnectionConcernDisplaysWhenTheRootWindowChanged) {
    const XServer server;
    const auto connection = ViewerX11Connection::connect(server.displayName());
    ASSERT_NE(connection, nullptr);
    connection->abort();
    const ViewerX11Notices notices(*connection);
    xcb_generic_event_t event{};
    event.response_type = XCB_CONFIGURE_NOTIFY;
    EXPECT_TRUE(notices.concernsDisplays(event));
    event.response_type = XCB_MAPPING_NOTIFY;
    EXPECT_FALSE(notices.concernsDisplays(event));
}

}  // namespace
}  // namespace velmora
