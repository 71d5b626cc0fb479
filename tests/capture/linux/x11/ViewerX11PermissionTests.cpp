#include "core/capture/linux/x11/ViewerX11Permission.h"

#include <gtest/gtest.h>

#include <chrono>

#include "tests/support/x11/XAuthority.h"
#include "tests/support/x11/XServer.h"

namespace velmora {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr seconds generous{30};

XServer::Options guarded() {
    XServer::Options options;
    options.isAuthorityRequired = true;
    options.arguments = {"+extension", "SECURITY"};
    return options;
}

TEST(ViewerX11Permission, AServerWhoseScreenCanBeReadGrantsIt) {
    const XServer server;
    EXPECT_TRUE(ViewerX11Permission::canReadScreen(server.displayName(), generous));
}

TEST(ViewerX11Permission, ATrustedClientIsGrantedIt) {
    const XServer server(guarded());
    XAuthority::use(server.authorityFile());
    EXPECT_TRUE(ViewerX11Permission::canReadScreen(server.displayName(), generous));
}

TEST(ViewerX11Permission, AnUntrustedClientIsNot) {
    const XServer server(guarded());
    XAuthority::use(XAuthority::makeUntrusted(server));
    EXPECT_NE(ViewerX11Connection::connect(server.displayName()), nullptr);
    EXPECT_FALSE(ViewerX11Permission::canReadScreen(server.displayName(), generous));
}

TEST(ViewerX11Permission, AClientThatIsNotLetInIsNot) {
    const XServer server(guarded());
    XAuthority::use("/dev/null");
    EXPECT_FALSE(ViewerX11Permission::canReadScreen(server.displayName(), generous));
}

TEST(ViewerX11Permission, WithoutADisplayItIsNotGranted) {
    EXPECT_FALSE(ViewerX11Permission::canReadScreen("", generous));
    EXPECT_FALSE(ViewerX11Permission::canReadScreen("no display at all", generous));
    XServer server;
    server.kill();
    EXPECT_FALSE(ViewerX11Permission::canReadScreen(server.displayName(), generous));
}

TEST(ViewerX11Permission, AFrozenServerIsANoWithinTheLimit) {
    XServer server;
    server.freeze();
    const auto start = steady_clock::now();
    EXPECT_FALSE(ViewerX11Permission::canReadScreen(server.displayName(), milliseconds(500)));
    const auto taken = steady_clock::now() - start;
    EXPECT_GE(taken, milliseconds(500));
    EXPECT_LT(taken, milliseconds(2000));
}

}  // namespace
}  // namespace velmora
