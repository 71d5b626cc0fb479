#include "core/capture/linux/x11/ViewerX11Permission.h"

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/runtime/ViewerBoundedCall.h"
#include "core/runtime/ViewerTaskHandle.h"
#include "core/runtime/linux/ViewerBoottimeClock.h"
#include "tests/capture/linux/x11/X11Waiting.h"
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

ViewerTask<void> lookInto(std::shared_ptr<ViewerContinuousClock> clock, milliseconds limit,
                          std::string displayName, std::vector<std::optional<bool>>* answers) {
    const auto look = [&](std::function<void(bool)> completion) {
        ViewerX11Permission::look(displayName, std::move(completion));
    };
    const auto answer = co_await ViewerBoundedCall<bool>::answer(clock, limit, look);
    answers->push_back(answer);
}

TEST(ViewerX11Permission, AServerWhoseScreenCanBeReadGrantsIt) {
    const XServer server;
    EXPECT_TRUE(ViewerX11Permission::canReadScreen(server.displayName(), generous));
}

TEST(ViewerX11Permission, AScreenWhosePixelsCannotBeReadDoesNotGrantIt) {
    const auto isGrantedAtDepth = [](int depth) {
        XServer::Options options;
        options.depth = depth;
        const XServer server(options);
        return ViewerX11Permission::canReadScreen(server.displayName(), generous);
    };
    EXPECT_FALSE(isGrantedAtDepth(8));
    EXPECT_TRUE(isGrantedAtDepth(16));
    EXPECT_TRUE(isGrantedAtDepth(30));
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

TEST(ViewerX11Permission, ALookAnswersATaskAndHoldsItNoLongerThanItsLimit) {
    XServer server;
    boost::asio::io_context loop;
    std::vector<std::optional<bool>> answers;
    const auto ask = [&](milliseconds limit) {
        (void)startTask(loop.get_executor(), lookInto(std::make_shared<ViewerBoottimeClock>(loop),
                                                      limit, server.displayName(), &answers));
        loop.restart();
        loop.run();
    };
    ask(generous);
    server.freeze();
    ask(milliseconds(50));
    EXPECT_EQ(answers, std::vector<std::optional<bool>>({true, std::nullopt}));
    EXPECT_TRUE(X11Waiting::until([] { return X11Waiting::threadsNamed("x11-permission") == 1; }));
    server.thaw();
    EXPECT_TRUE(X11Waiting::until([] { return X11Waiting::threadsNamed("x11-permission") == 0; }));
    loop.restart();
    EXPECT_GT(loop.run(), 0U) << "the late answer has come";
    EXPECT_EQ(answers.size(), 2U);
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
