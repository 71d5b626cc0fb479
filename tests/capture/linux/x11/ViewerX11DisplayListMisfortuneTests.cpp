#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "core/capture/linux/x11/ViewerX11DisplayList.h"
#include "tests/capture/linux/x11/DisplayListOnLoop.h"
#include "tests/capture/linux/x11/X11Waiting.h"
#include "tests/support/x11/XAuthority.h"
#include "tests/support/x11/XServer.h"

namespace velmora {
namespace {

constexpr const char* readingThread = "x11-displays";
constexpr const char* connectingThread = "x11-connect";

/// Seconds from now on.
class Stopwatch final {
  public:
    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

  private:
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

TEST(ViewerX11DisplayList, WithoutADisplayThereIsNoList) {
    DisplayListOnLoop none("");
    EXPECT_EQ(none.get(), nullptr);
    EXPECT_EQ(none.get(), nullptr);
    DisplayListOnLoop nonsense("no display at all");
    EXPECT_EQ(nonsense.get(), nullptr);
}

TEST(ViewerX11DisplayList, AfterTheServersDeathThereIsNoListUntilItIsBack) {
    XServer server;
    DisplayListOnLoop on(server.displayName());
    const auto before = on.get();
    ASSERT_NE(before, nullptr);
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE(round);
        server.kill();
        EXPECT_EQ(on.get(), nullptr);
        EXPECT_EQ(on.get(), nullptr);
        server.restart();
        const auto after = on.get();
        ASSERT_NE(after, nullptr);
        EXPECT_EQ(after->at(0).uuidText, before->at(0).uuidText);
    }
}

TEST(ViewerX11DisplayList, AServerThatWasStartedAgainBetweenTwoCallsIsFoundByTheNextOne) {
    XServer server;
    DisplayListOnLoop on(server.displayName());
    ASSERT_NE(on.get(), nullptr);
    server.kill();
    server.restart();
    server.setMonitor("new", {0, 0, 100, 100});
    const auto after = on.get();
    ASSERT_NE(after, nullptr);
    EXPECT_EQ(after->size(), 2U);
}

TEST(ViewerX11DisplayList, ADeathDuringARefreshIsNoList) {
    XServer server;
    DisplayListOnLoop on(server.displayName());
    ASSERT_NE(on.get(), nullptr);
    server.setMonitor("new", {0, 0, 100, 100});
    X11Waiting::untilNoticesAreSent(server);
    server.freeze();
    const auto early = on.ask();
    const auto late = on.ask();
    EXPECT_FALSE(early->isThere);
    server.kill();
    ASSERT_TRUE(on.wait(*early));
    ASSERT_TRUE(on.wait(*late));
    EXPECT_EQ(early->displays, nullptr);
    EXPECT_EQ(late->displays, nullptr);
    server.restart();
    EXPECT_NE(on.get(), nullptr);
}

TEST(ViewerX11DisplayList, AServerThatIsFrozenFromTheStartIsGivenUpAndHoldsOneThread) {
    XServer server;
    server.freeze();
    DisplayListOnLoop on(server.displayName());
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        const Stopwatch watch;
        const auto first = on.ask();
        const auto second = on.ask();
        ASSERT_TRUE(on.wait(*first));
        ASSERT_TRUE(on.wait(*second));
        EXPECT_EQ(first->displays, nullptr);
        EXPECT_EQ(second->displays, nullptr);
        EXPECT_GT(watch.seconds(), 3.5);
        EXPECT_LT(watch.seconds(), 10.0);
        EXPECT_TRUE(
            X11Waiting::until([] { return X11Waiting::threadsNamed(connectingThread) == 1; }));
    }
    server.thaw();
    EXPECT_NE(on.get(), nullptr);
    EXPECT_TRUE(X11Waiting::until([] { return X11Waiting::threadsNamed(connectingThread) == 0; }));
}

TEST(ViewerX11DisplayList, AServerThatFreezesDuringARefreshIsGivenUpTogetherWithItsThread) {
    XServer server;
    DisplayListOnLoop on(server.displayName());
    ASSERT_NE(on.get(), nullptr);
    server.setMonitor("new", {0, 0, 100, 100});
    X11Waiting::untilNoticesAreSent(server);
    server.freeze();
    const Stopwatch watch;
    const auto early = on.ask();
    const auto late = on.ask();
    ASSERT_TRUE(on.wait(*early));
    EXPECT_TRUE(late->isThere);
    EXPECT_EQ(early->displays, nullptr);
    EXPECT_EQ(late->displays, nullptr);
    EXPECT_GT(watch.seconds(), 3.5);
    EXPECT_LT(watch.seconds(), 10.0);
    EXPECT_TRUE(X11Waiting::until([] { return X11Waiting::threadsNamed(readingThread) == 0; }));
    server.thaw();
    const auto after = on.get();
    ASSERT_NE(after, nullptr);
    EXPECT_EQ(after->size(), 2U);
}

TEST(ViewerX11DisplayList, AListThatIsGivenUpDuringARefreshStillAnswersInTime) {
    XServer server;
    DisplayListOnLoop on(server.displayName());
    ASSERT_NE(on.get(), nullptr);
    server.setMonitor("new", {0, 0, 100, 100});
    X11Waiting::untilNoticesAreSent(server);
    server.freeze();
    const auto early = on.ask();
    const auto late = on.ask();
    on.drop();
    ASSERT_TRUE(on.wait(*early));
    ASSERT_TRUE(on.wait(*late));
    EXPECT_EQ(early->displays, nullptr);
    EXPECT_TRUE(X11Waiting::until([] { return X11Waiting::threadsNamed(readingThread) == 0; }));
    DisplayListOnLoop::settle();
}

TEST(ViewerX11DisplayList, AnUntrustedClientHasNoAccessUntilTheServerIsAnotherOne) {
    XServer::Options options;
    options.isAuthorityRequired = true;
    options.arguments = {"+extension", "SECURITY"};
    XServer server(options);
    XAuthority::use(XAuthority::makeUntrusted(server));
    DisplayListOnLoop on(server.displayName());
    EXPECT_TRUE(on.list().hasAccess());
    EXPECT_EQ(on.get(), nullptr);
    EXPECT_FALSE(on.list().hasAccess());
    EXPECT_EQ(on.get(), nullptr);
    EXPECT_FALSE(on.list().hasAccess());

    server.kill();
    server.restart();
    XAuthority::use(server.authorityFile());
    EXPECT_TRUE(on.list().hasAccess());
    EXPECT_NE(on.get(), nullptr);
    EXPECT_TRUE(on.list().hasAccess());
}

}  // namespace
}  // namespace velmora
