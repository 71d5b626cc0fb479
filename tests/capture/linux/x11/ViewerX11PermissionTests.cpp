#include "core/capture/linux/x11/ViewerX11Permission.h"

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/runtime/ViewerBoundedCall.h"
#include "core/runtime/ViewerTaskHandle.h"
#include "core/runtime/linux/ViewerBoottimeClock.h"
#include "tests/capture/linux/x11/CapturedMonitor.h"
#include "tests/capture/linux/x11/DisplayListOnLoop.h"
#include "tests/capture/linux/x11/X11Waiting.h"
#include "tests/support/desktop/HeadlessCompositor.h"
#include "tests/support/x11/XAuthority.h"
#include "tests/support/x11/XServer.h"

namespace velmora {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Access = ViewerCaptureAccess;

constexpr seconds generous{30};

XServer::Options guarded() {
    XServer::Options options;
    options.isAuthorityRequired = true;
    options.arguments = {"+extension", "SECURITY"};
    return options;
}

/// A server that is reached over TCP alone, also by a name without a host.
XServer::Options overTCP() {
    XServer::Options options;
    options.arguments = {"-listen", "tcp", "-nolisten", "unix", "-nolisten", "local"};
    return options;
}

/// What a look finds; nothing when it finds nothing in time.
std::optional<Access> seen(const std::string& displayName) {
    const auto answer = std::make_shared<std::promise<Access>>();
    std::future<Access> result = answer->get_future();
    ViewerX11Permission::look(displayName, [answer](Access access) { answer->set_value(access); });
    return result.wait_for(generous) == std::future_status::ready ? std::optional(result.get())
                                                                  : std::nullopt;
}

ViewerTask<void> lookInto(std::shared_ptr<ViewerContinuousClock> clock, milliseconds limit,
                          std::string displayName, std::vector<std::optional<Access>>* answers) {
    const auto look = [&](std::function<void(Access)> completion) {
        ViewerX11Permission::look(displayName, std::move(completion));
    };
    const auto answer = co_await ViewerBoundedCall<Access>::answer(clock, limit, look);
    answers->push_back(answer);
}

/// Nothing of it is listed, and the monitor with the UUID not captured.
void expectHidden(const std::string& displayName, const std::string& uuidText) {
    DisplayListOnLoop displays(displayName);
    EXPECT_EQ(displays.get(), nullptr);
    EXPECT_FALSE(displays.list().hasAccess());
    CapturedMonitor monitor(displayName, uuidText);
    EXPECT_FALSE(monitor.begin());
}

TEST(ViewerX11Permission, AServerWhoseScreenCanBeReadGrantsIt) {
    const XServer server;
    EXPECT_EQ(seen(server.displayName()), Access::granted);
}

TEST(ViewerX11Permission, AScreenWhosePixelsCannotBeReadDoesNotGrantIt) {
    const auto seenAtDepth = [](int depth) {
        XServer::Options options;
        options.depth = depth;
        const XServer server(options);
        return seen(server.displayName());
    };
    EXPECT_EQ(seenAtDepth(8), Access::sessionRefuses);
    EXPECT_EQ(seenAtDepth(16), Access::granted);
    EXPECT_EQ(seenAtDepth(30), Access::granted);
}

TEST(ViewerX11Permission, ATrustedClientIsGrantedIt) {
    const XServer server(guarded());
    XAuthority::use(server.authorityFile());
    EXPECT_EQ(seen(server.displayName()), Access::granted);
}

TEST(ViewerX11Permission, AnUntrustedClientIsNot) {
    const XServer server(guarded());
    XAuthority::use(XAuthority::makeUntrusted(server));
    EXPECT_NE(ViewerX11Connection::connect(server.displayName()), nullptr);
    EXPECT_EQ(seen(server.displayName()), Access::sessionRefuses);
}

TEST(ViewerX11Permission, AClientThatIsNotLetInIsNot) {
    const XServer server(guarded());
    XAuthority::use("/dev/null");
    EXPECT_EQ(seen(server.displayName()), Access::sessionRefuses);
}

TEST(ViewerX11Permission, AServerThatIsNotThereDoesNotAnswer) {
    EXPECT_EQ(seen("no display at all"), Access::noAnswer);
    EXPECT_EQ(seen("no.such.host.invalid:0"), Access::noAnswer);
    XServer server;
    server.kill();
    EXPECT_EQ(seen(server.displayName()), Access::noAnswer);
}

TEST(ViewerX11Permission, WithoutADisplayThereIsNothingToRead) {
    EXPECT_EQ(seen(""), Access::sessionRefuses);
}

TEST(ViewerX11Permission, ADisplayOverTCPIsRemoteWhateverItsNameSays) {
    XServer server(overTCP());
    server.setMonitor("left", {0, 0, 640, 720}, "screen");
    const auto connection = ViewerX11Connection::connect(server.displayName());
    ASSERT_NE(connection, nullptr);
    const auto monitors = readMonitors(*connection);
    ASSERT_TRUE(monitors && !monitors->empty());
    for (const std::string& name : {server.displayName(), "127.0.0.1" + server.displayName(),
                                    "localhost" + server.displayName()}) {
        EXPECT_EQ(seen(name), Access::remoteDisplay) << name;
        expectHidden(name, monitors->front().uuidText);
    }
}

TEST(ViewerX11Permission, AnXwaylandIsAWaylandSession) {
    const HeadlessCompositor compositor(HeadlessCompositor::X11::xwayland);
    const std::string& name = compositor.xwaylandName();
    const auto connection = ViewerX11Connection::connect(name);
    ASSERT_NE(connection, nullptr);
    const auto monitors = readMonitors(*connection);
    ASSERT_TRUE(monitors && !monitors->empty());
    EXPECT_EQ(seen(name), Access::waylandSession);
    expectHidden(name, monitors->front().uuidText);
}

TEST(ViewerX11Permission, ABrokenConnectionHasNoAnswer) {
    XServer server;
    const auto connection = ViewerX11Connection::connect(server.displayName());
    ASSERT_NE(connection, nullptr);
    EXPECT_EQ(ViewerX11Permission::accessTo(*connection), Access::granted);
    server.kill();
    EXPECT_EQ(ViewerX11Permission::accessTo(*connection), Access::noAnswer);
}

TEST(ViewerX11Permission, ALookAnswersATaskAndHoldsItNoLongerThanItsLimit) {
    XServer server;
    boost::asio::io_context loop;
    std::vector<std::optional<Access>> answers;
    const auto ask = [&](milliseconds limit) {
        (void)startTask(loop.get_executor(), lookInto(std::make_shared<ViewerBoottimeClock>(loop),
                                                      limit, server.displayName(), &answers));
        loop.restart();
        loop.run();
    };
    ask(generous);
    server.freeze();
    ask(milliseconds(50));
    EXPECT_EQ(answers, std::vector<std::optional<Access>>({Access::granted, std::nullopt}));
    EXPECT_TRUE(X11Waiting::until([] { return X11Waiting::threadsNamed("x11-permission") == 1; }));
    server.thaw();
    EXPECT_TRUE(X11Waiting::until([] { return X11Waiting::threadsNamed("x11-permission") == 0; }));
    loop.restart();
    EXPECT_GT(loop.run(), 0U) << "the late answer has come";
    EXPECT_EQ(answers.size(), 2U);
}

}  // namespace
}  // namespace velmora
