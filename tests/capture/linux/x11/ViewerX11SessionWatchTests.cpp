#include "core/capture/linux/x11/ViewerX11SessionWatch.h"

#include <gtest/gtest.h>
#include <xcb/xproto.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "tests/capture/linux/x11/DisplayListOnLoop.h"
#include "tests/capture/linux/x11/MuteXServer.h"
#include "tests/capture/linux/x11/X11Waiting.h"
#include "tests/support/runtime/ManualClock.h"
#include "tests/support/x11/XAuthority.h"
#include "tests/support/x11/XPainter.h"
#include "tests/support/x11/XServer.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

std::size_t entriesOf(const char* folder) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

XServer::Options guarded() {
    XServer::Options options;
    options.isAuthorityRequired = true;
    options.arguments = {"+extension", "SECURITY"};
    return options;
}

/// A watch on a real server, whose time passes a second at a time.
class ViewerX11SessionWatchTest : public testing::Test {
  public:
    explicit ViewerX11SessionWatchTest(const XServer::Options& options = XServer::Options())
        : server_(options), threadsBefore_(threadsAtRest()) {}
    ~ViewerX11SessionWatchTest() override {
        watch_.reset();
        pass(ViewerScreenCapture::answerLimit);  // The longest that it waits for a server.
    }

  protected:
    static std::size_t threads() { return entriesOf("/proc/self/task"); }
    static std::size_t threadsAtRest() {
        // A sanitizer has a thread of its own from the first one on that is started.
        std::thread([] {}).join();
        return threads();
    }
    static std::size_t descriptors() { return entriesOf("/proc/self/fd"); }

    void watch() {
        watch_ = std::make_unique<ViewerX11SessionWatch>(
            DisplayListOnLoop::loop().get_executor(), clock_,
            std::make_shared<ViewerX11Connector>(server_.displayName()), [this] { ++ends_; });
        settle();
    }
    /// Lets everything happen that waits neither for time nor for a server that hangs.
    void settle() const {
        EXPECT_TRUE(X11Waiting::until([&] {
            const bool isAlone = isHanging_ || threads() <= threadsBefore_;
            return DisplayListOnLoop::loop().poll() == 0 && isAlone;
        }));
    }
    void pass(std::chrono::seconds time) {
        settle();
        for (auto passed = 0s; passed < time; passed += 1s) {
            clock_->advance(1s);
            settle();
        }
    }
    /// While it has a connection there is no time that it waits for.
    bool isConnected() const { return clock_->pendingTimers() == 0; }
    void expectTheEndAfterAMinute() {
        pass(59s);
        EXPECT_EQ(ends_, 0);
        pass(1s);
        EXPECT_EQ(ends_, 1);
    }

    void expectTheEndAfterTwoRefusals() {
        pass(ViewerX11SessionWatch::interval);
        EXPECT_EQ(ends_, 0);
        pass(ViewerX11SessionWatch::interval);
        EXPECT_EQ(ends_, 1);
    }

    XServer server_;
    const std::size_t threadsBefore_;
    /// Whether a thread is stuck in the server.
    bool isHanging_ = false;
    const std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>();
    std::unique_ptr<ViewerX11SessionWatch> watch_;
    int ends_ = 0;
};

class ViewerX11SessionWatchOnAGuardedServer : public ViewerX11SessionWatchTest {
  protected:
    ViewerX11SessionWatchOnAGuardedServer() : ViewerX11SessionWatchTest(guarded()) {
        XAuthority::use(server_.authorityFile());
    }
};

TEST_F(ViewerX11SessionWatchTest, ASessionThatGoesOnNeverEnds) {
    watch();
    EXPECT_TRUE(isConnected());
    pass(200s);
    EXPECT_EQ(ends_, 0);
}

TEST_F(ViewerX11SessionWatchTest, AServerThatIsGoneForAMinuteIsTheEnd) {
    watch();
    server_.kill();
    expectTheEndAfterAMinute();
    pass(100s);
    EXPECT_EQ(ends_, 1);
}

TEST_F(ViewerX11SessionWatchTest, AServerThatIsGoneBeforeTheFirstConnectionIsGone) {
    server_.kill();
    watch();
    expectTheEndAfterAMinute();
}

TEST_F(ViewerX11SessionWatchTest, AServerThatIsBackInTimeIsWatchedAnew) {
    watch();
    for (const auto absence : {1s, 30s, 59s}) {
        server_.kill();
        pass(absence);
        EXPECT_FALSE(isConnected());
        server_.restart();
        pass(3s);
        EXPECT_TRUE(isConnected());
        pass(100s);
        EXPECT_EQ(ends_, 0);
    }
    server_.kill();
    expectTheEndAfterAMinute();
}

TEST_F(ViewerX11SessionWatchTest, AMinuteThatTheMachineSleptIsOneUnlessTheServerIsBack) {
    watch();
    server_.kill();
    settle();
    server_.restart();
    clock_->advance(1h);
    settle();
    EXPECT_TRUE(isConnected());
    EXPECT_EQ(ends_, 0);
    server_.kill();
    settle();
    clock_->advance(1h);
    settle();
    EXPECT_EQ(ends_, 1);
}

TEST_F(ViewerX11SessionWatchOnAGuardedServer, AServerThatCameBackForAnotherPersonIsTheEnd) {
    const std::string cookie = server_.authorityFile() + "-of-the-session";
    std::filesystem::copy_file(server_.authorityFile(), cookie);
    XAuthority::use(cookie);
    watch();
    EXPECT_TRUE(isConnected());
    server_.kill();
    settle();
    server_.restartForAnother();
    expectTheEndAfterTwoRefusals();
}

TEST_F(ViewerX11SessionWatchOnAGuardedServer, AServerThatCameBackWithAScreenNotToBeReadIsTheEnd) {
    watch();
    server_.kill();
    settle();
    server_.restart();
    XAuthority::use(XAuthority::makeUntrusted(server_));
    expectTheEndAfterTwoRefusals();
}

TEST_F(ViewerX11SessionWatchOnAGuardedServer, AServerThatRefusesLongAfterItWentIsTheEnd) {
    watch();
    server_.kill();
    pass(50s);
    server_.restart();
    XAuthority::use("/dev/null");
    expectTheEndAfterTwoRefusals();
}

TEST_F(ViewerX11SessionWatchOnAGuardedServer,
       AServerThatIsAnothersBeforeTheFirstConnectionIsTheEnd) {
    XAuthority::use("/dev/null");
    watch();
    EXPECT_EQ(ends_, 0);
    pass(ViewerX11SessionWatch::interval);
    EXPECT_EQ(ends_, 1);
}

TEST_F(ViewerX11SessionWatchOnAGuardedServer, ARefusalAloneIsNoEnd) {
    watch();
    for (int i = 0; i < 3; ++i) {
        server_.kill();
        settle();
        server_.restart();
        XAuthority::use("/dev/null");
        pass(ViewerX11SessionWatch::interval);
        XAuthority::use(server_.authorityFile());
        pass(ViewerX11SessionWatch::interval);
        EXPECT_TRUE(isConnected());
    }
    EXPECT_EQ(ends_, 0);
}

TEST_F(ViewerX11SessionWatchOnAGuardedServer, RefusalsWithAnAbsenceBetweenAreNoEnd) {
    watch();
    server_.kill();
    settle();
    XAuthority::use("/dev/null");
    for (int i = 0; i < 3; ++i) {
        server_.restart();
        pass(ViewerX11SessionWatch::interval);
        server_.kill();
        pass(ViewerX11SessionWatch::interval);
    }
    EXPECT_EQ(ends_, 0);
}

TEST_F(ViewerX11SessionWatchTest, AServerThatFreezesIsNotGone) {
    watch();
    server_.freeze();
    pass(200s);
    EXPECT_EQ(ends_, 0);
    server_.kill();
    expectTheEndAfterAMinute();
}

TEST_F(ViewerX11SessionWatchTest, AServerThatFreezesBeforeItLetsAnybodyInIsNotGone) {
    watch();
    server_.kill();
    pass(50s);
    server_.restart();
    server_.freeze();
    isHanging_ = true;
    pass(200s);
    EXPECT_EQ(ends_, 0);
    server_.kill();
    isHanging_ = false;
    pass(59s);
    EXPECT_EQ(ends_, 0) << "the time counts from when it was last there";
    pass(ViewerX11SessionWatch::interval + 1s);
    EXPECT_EQ(ends_, 1);
}

TEST_F(ViewerX11SessionWatchTest, AServerThatFallsSilentOnceItLetSomebodyInIsNotGone) {
    std::optional<MuteXServer> mute(server_);
    watch();
    server_.kill();
    pass(50s);
    mute->start();
    isHanging_ = true;
    bool hasAsked = false;
    for (int second = 0; second < 200; ++second) {
        pass(1s);
        EXPECT_TRUE(X11Waiting::until([] { return X11Waiting::threadsNamed("x11-connect") == 0; }));
        settle();
        hasAsked = hasAsked || X11Waiting::threadsNamed("x11-session") == 1;
    }
    EXPECT_TRUE(hasAsked);
    EXPECT_EQ(ends_, 0);
    EXPECT_TRUE(X11Waiting::until([] { return X11Waiting::threadsNamed("x11-session") <= 1; }))
        << "a try that is given up is broken off";
    mute.reset();
    isHanging_ = false;
    pass(59s);
    EXPECT_EQ(ends_, 0);
    pass(ViewerX11SessionWatch::interval + 1s);
    EXPECT_EQ(ends_, 1);
}

TEST_F(ViewerX11SessionWatchTest, AFrozenServerThatGoesOnIsThere) {
    watch();
    server_.kill();
    settle();
    server_.restart();
    server_.freeze();
    isHanging_ = true;
    pass(100s);
    server_.thaw();
    isHanging_ = false;
    pass(10s);
    EXPECT_TRUE(isConnected());
    pass(100s);
    EXPECT_EQ(ends_, 0);
}

TEST_F(ViewerX11SessionWatchTest, WhatHappensOnTheScreenWakesNobody) {
    watch();
    XPainter painter(server_);
    for (int i = 0; i < 100; ++i) {
        painter.fill({i, i, 100, 100}, 0x102030);
    }
    server_.setMonitor("new", {0, 0, 100, 100});
    const auto client = server_.connect();
    xcb_change_property(client->connection(), XCB_PROP_MODE_REPLACE, client->root(),
                        XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, 4, "name");
    client->finish();
    X11Waiting::untilNoticesAreSent(server_);
    EXPECT_EQ(DisplayListOnLoop::loop().poll(), 0U);
}

TEST_F(ViewerX11SessionWatchTest, AnotherKeyboardLayoutIsNoEnd) {
    watch();
    const auto client = server_.connect();
    constexpr xcb_keycode_t key = 100;
    for (const xcb_keysym_t symbol : {0x61U, 0x62U}) {
        xcb_change_keyboard_mapping(client->connection(), 1, key, 1, &symbol);
        client->finish();
        EXPECT_GT(DisplayListOnLoop::loop().poll(), 0U);
        settle();
        EXPECT_TRUE(isConnected());
    }
    server_.kill();
    expectTheEndAfterAMinute();
}

TEST_F(ViewerX11SessionWatchTest, ADestroyedWatchLetsGoOfItsConnection) {
    watch();
    settle();
    const std::size_t connected = descriptors();
    watch_.reset();
    settle();
    EXPECT_EQ(descriptors() + 2, connected);
    EXPECT_EQ(ends_, 0);
}

TEST_F(ViewerX11SessionWatchTest, AWatchThatIsDestroyedBetweenTwoTriesTellsNothingMore) {
    watch();
    server_.kill();
    pass(59s);
    watch_.reset();
    settle();
    EXPECT_EQ(clock_->pendingTimers(), 0U);
    pass(100s);
    EXPECT_EQ(ends_, 0);
}

TEST_F(ViewerX11SessionWatchTest, AWatchThatIsDestroyedDuringItsLastTryTellsNothingMore) {
    watch();
    server_.kill();
    pass(59s);
    clock_->advance(1s);
    watch_.reset();
    settle();
    EXPECT_EQ(ends_, 0);
    EXPECT_EQ(clock_->pendingTimers(), 0U);
}

TEST_F(ViewerX11SessionWatchTest, AWatchThatIsDestroyedDuringATryLeavesNothing) {
    (void)DisplayListOnLoop::clock();  // with it the loop has all the descriptors of its own
    const std::size_t before = descriptors();
    server_.freeze();
    isHanging_ = true;
    watch();
    watch_.reset();
    settle();
    server_.thaw();
    isHanging_ = false;
    settle();
    EXPECT_EQ(clock_->pendingTimers(), 0U);
    EXPECT_EQ(descriptors(), before);
    EXPECT_EQ(threads(), threadsBefore_);
}

}  // namespace
}  // namespace velmora
