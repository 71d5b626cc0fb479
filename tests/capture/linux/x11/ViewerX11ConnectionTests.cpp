#include "core/capture/linux/x11/ViewerX11Connection.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/support/system/BorrowedEnvironment.h"
#include "tests/support/x11/XServer.h"

namespace velmora {
namespace {

TEST(ViewerX11Connection, IsToTheScreenThatTheDisplayNames) {
    XServer::Options options;
    options.arguments = {"-screen", "1", "320x240x24"};
    const XServer server(options);

    const auto first = ViewerX11Connection::connect(server.displayName() + ".0");
    const auto second = ViewerX11Connection::connect(server.displayName() + ".1");

    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(first->screen().width_in_pixels, options.width);
    EXPECT_EQ(second->screen().width_in_pixels, 320);
}

TEST(ViewerX11Connection, ThereIsNoneToAServerWithoutAName) {
    const XServer server;
    BorrowedEnvironment environment;
    environment.set("DISPLAY", server.displayName());
    EXPECT_EQ(ViewerX11Connection::connect(""), nullptr);
}

TEST(ViewerX11Connection, TheEnvironmentNamesTheDisplayOrNone) {
    BorrowedEnvironment environment;
    environment.set("DISPLAY", ":7.1");
    EXPECT_EQ(ViewerX11Connection::displayNameFromEnvironment(), ":7.1");
    environment.set("DISPLAY", std::nullopt);
    EXPECT_EQ(ViewerX11Connection::displayNameFromEnvironment(), "");
}

TEST(ViewerX11Connection, ThereIsNoneToAScreenThatTheServerLacks) {
    const XServer server;
    EXPECT_EQ(ViewerX11Connection::connect(server.displayName() + ".1"), nullptr);
}

}  // namespace
}  // namespace velmora
