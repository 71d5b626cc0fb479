#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/capture/linux/x11/CapturedMonitor.h"
#include "tests/capture/linux/x11/X11Waiting.h"

namespace velmora {
namespace {

TEST(ViewerX11StreamRace, AConnectionThatComesWhileTheStreamIsBeingStoppedCapturesNothing) {
    XServer server;
    CapturedMonitor monitor(server);
    server.freeze();
    std::string order;
    // The stop fails the start, and meanwhile the server answers.
    monitor.stream().start([&](bool succeeded) {
        order += succeeded ? "started" : "failed ";
        server.thaw();
        EXPECT_TRUE(X11Waiting::until([] { return X11Waiting::threadsNamed("x11-connect") == 0; }));
    });
    ASSERT_TRUE(X11Waiting::until([] { return X11Waiting::threadsNamed("x11-connect") > 0; }));
    monitor.stream().stop([&](bool) { order += "stopped"; });

    EXPECT_EQ(order, "failed stopped");
    EXPECT_EQ(monitor.recorder().frames(), 0U);
    // A capture would keep its receiver for ever.
    const std::weak_ptr<StreamRecorder> receiver = monitor.drop();
    EXPECT_TRUE(X11Waiting::until([&] { return receiver.expired(); }));
}

}  // namespace
}  // namespace velmora
