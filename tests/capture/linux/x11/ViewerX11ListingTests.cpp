#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/capture/linux/x11/ViewerX11ScreenCapture.h"
#include "tests/capture/linux/x11/X11Waiting.h"
#include "tests/support/http/ServedLoop.h"
#include "tests/support/x11/XServer.h"

namespace velmora {
namespace {

using testing::HasSubstr;
using testing::Not;

ServedLoop::MakeCapture captureOf(const XServer& server) {
    return [&server](ViewerExecutor loop, std::shared_ptr<ViewerContinuousClock> clock) {
        return std::make_shared<ViewerX11ScreenCapture>(loop, clock, server.displayName());
    };
}

TEST(ViewerX11Listing, EveryAnswerOfATurnHasTheChangesThatWereToldBeforeIt) {
    constexpr int clients = 20;
    XServer server;
    ServedLoop served(captureOf(server));
    const std::string path = "/viewer/v1/displays";
    EXPECT_THAT(served.answerOf(served.ask(path)), HasSubstr("\"screen\""));
    for (int round = 0; round < 10; ++round) {
        SCOPED_TRACE(round);
        const std::string name = "round " + std::to_string(round);
        // The first half has come before the change, the other half after it.
        std::vector<int> asking;
        for (int i = 0; i < clients; ++i) {
            if (i == clients / 2) {
                server.setMonitor(name, {0, 0, 100, 100});
                X11Waiting::untilNoticesAreSent(server);
            }
            asking.push_back(served.ask(path));
        }
        for (const int client : asking) {
            EXPECT_THAT(served.answerOf(client), HasSubstr(name));
        }
        server.deleteMonitor(name);
        X11Waiting::untilNoticesAreSent(server);
        EXPECT_THAT(served.answerOf(served.ask(path)), Not(HasSubstr(name)));
    }
}

}  // namespace
}  // namespace velmora
