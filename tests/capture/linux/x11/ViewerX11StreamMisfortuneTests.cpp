#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <string>

#include "core/capture/linux/x11/ViewerX11Stream.h"
#include "tests/capture/linux/x11/CapturedMonitor.h"
#include "tests/capture/linux/x11/LoopThread.h"
#include "tests/capture/linux/x11/X11Waiting.h"
#include "tests/support/capture/EDIDBlock.h"

namespace velmora {
namespace {

constexpr std::uint32_t red = 0xff0000;
constexpr std::uint32_t blue = 0x0000ff;

/// Two monitors side by side, "a" and "b", on a screen of 1280 × 720.
void showTwoMonitors(XServer& server) {
    server.setMonitor("a", {0, 0, 640, 720}, "screen");
    server.setMonitor("b", {640, 0, 640, 720});
}

XServer::Options xorg() {
    XServer::Options options;
    options.kind = XServer::Kind::xorg;
    return options;
}

TEST(ViewerX11StreamMisfortune, AKilledServerGivesOneStopNotice) {
    XServer server;
    CapturedMonitor monitor(server);
    ASSERT_TRUE(monitor.begin());

    server.kill();

    EXPECT_TRUE(monitor.endsOnce());
}

TEST(ViewerX11StreamMisfortune, AServerThatIsBackIsCapturedByANewStream) {
    XServer server;
    CapturedMonitor before(server);
    ASSERT_TRUE(before.begin());
    server.kill();
    ASSERT_TRUE(before.recorder().waitForStop());

    server.restart();
    XPainter(server).fill({0, 0, 1280, 720}, blue);

    CapturedMonitor after(server);
    ASSERT_TRUE(after.begin());
    EXPECT_TRUE(after.recorder().latest().isAll(blue));
}

TEST(ViewerX11StreamMisfortune, ARemovedMonitorGivesOneStopNotice) {
    XServer server;
    showTwoMonitors(server);
    CapturedMonitor monitor(server, "b");
    ASSERT_TRUE(monitor.begin());

    server.deleteMonitor("b");

    EXPECT_TRUE(monitor.endsOnce());
}

TEST(ViewerX11StreamMisfortune, AMovedMonitorGivesOneStopNotice) {
    XServer server;
    showTwoMonitors(server);
    CapturedMonitor monitor(server, "b");
    ASSERT_TRUE(monitor.begin());

    server.setMonitor("b", {639, 0, 640, 720});

    EXPECT_TRUE(monitor.endsOnce());
}

TEST(ViewerX11StreamMisfortune, AMonitorOfAnotherSizeGivesOneStopNotice) {
    XServer server;
    showTwoMonitors(server);
    CapturedMonitor monitor(server, "b");
    ASSERT_TRUE(monitor.begin());

    server.setMonitor("b", {640, 0, 640, 719});

    EXPECT_TRUE(monitor.endsOnce());
}

TEST(ViewerX11StreamMisfortune, AScreenOfAnotherSizeGivesOneStopNotice) {
    XServer server;
    CapturedMonitor monitor(server);
    ASSERT_TRUE(monitor.begin());

    server.setMode("screen", 800, 600);

    EXPECT_TRUE(monitor.endsOnce());
}

TEST(ViewerX11StreamMisfortune, AnotherMonitorsGoingChangesNothing) {
    XServer server;
    showTwoMonitors(server);
    XPainter painter(server);
    CapturedMonitor monitor(server, "a");
    ASSERT_TRUE(monitor.begin());

    server.deleteMonitor("b");
    server.setMonitor("c", {640, 0, 300, 300});
    painter.fill({0, 0, 640, 720}, blue);

    EXPECT_TRUE(monitor.recorder().waitForPicture(
        [](const StreamRecorder::Picture& picture) { return picture.isAll(blue); }));
    EXPECT_EQ(monitor.recorder().stops(), 0U);
}

TEST(ViewerX11StreamMisfortune, AnOutputThatIsSwitchedOffGivesOneStopNotice) {
    XServer server(xorg());
    server.showOutput("DUMMY1", {1280, 0, 1920, 1080});
    CapturedMonitor first(server, "DUMMY0");
    CapturedMonitor second(server, "DUMMY1");
    ASSERT_TRUE(first.begin());
    ASSERT_TRUE(second.begin());

    server.hideOutput("DUMMY1");

    EXPECT_TRUE(second.endsOnce());
    EXPECT_EQ(first.recorder().stops(), 0U);
}

TEST(ViewerX11StreamMisfortune, AnotherMonitorOnTheSameConnectorGivesOneStopNotice) {
    XServer server(xorg());
    server.setEDID("DUMMY0", EDIDBlock().serialNumber(1).bytes());
    CapturedMonitor monitor(server, "DUMMY0");
    ASSERT_TRUE(monitor.begin());

    server.setEDID("DUMMY0", EDIDBlock().serialNumber(2).bytes());

    EXPECT_TRUE(monitor.endsOnce());
}

TEST(ViewerX11StreamMisfortune, OfTwoMonitorsWithOneIdTheLastIsCaptured) {
    XServer server(xorg());
    server.showOutput("DUMMY1", {1280, 0, 800, 600});
    server.setEDID("DUMMY0", EDIDBlock().serialNumber(1).bytes());
    server.setEDID("DUMMY1", EDIDBlock().serialNumber(1).bytes());
    XPainter painter(server);
    painter.fill({0, 0, 1280, 720}, red);
    painter.fill({1280, 0, 800, 600}, blue);
    CapturedMonitor monitor(server, "DUMMY0");

    ASSERT_TRUE(monitor.begin());

    EXPECT_TRUE(monitor.recorder().latest().isAll(blue));
}

TEST(ViewerX11StreamMisfortune, AFrozenServerDoesNotHoldUpAStop) {
    XServer server;
    CapturedMonitor monitor(server);
    ASSERT_TRUE(monitor.begin());

    server.freeze();
    // Long enough for the stream to ask the server for rows to compare.
    EXPECT_TRUE(monitor.recorder().staysStill(std::chrono::milliseconds(1500)));

    EXPECT_TRUE(monitor.stop());
    EXPECT_EQ(monitor.recorder().stops(), 0U);
}

TEST(ViewerX11StreamMisfortune, AThawedServerIsCapturedOn) {
    XServer server;
    XPainter painter(server);
    CapturedMonitor monitor(server);
    ASSERT_TRUE(monitor.begin());

    server.freeze();
    EXPECT_TRUE(monitor.recorder().staysStill(std::chrono::milliseconds(1500)));
    server.thaw();
    painter.fill({0, 0, 1280, 720}, blue);

    EXPECT_TRUE(monitor.recorder().waitForPicture(
        [](const StreamRecorder::Picture& picture) { return picture.isAll(blue); }));
    EXPECT_EQ(monitor.recorder().stops(), 0U);
}

TEST(ViewerX11StreamMisfortune, AStartOnAFrozenServerIsOverBeforeItsFirstFrame) {
    XServer server;
    CapturedMonitor monitor(server);
    server.freeze();
    const auto begin = std::chrono::steady_clock::now();

    EXPECT_TRUE(monitor.start());

    const auto duration = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(duration, std::chrono::milliseconds(100));
    EXPECT_LT(duration, std::chrono::seconds(2)) << "a request waits so long for its frame";
    EXPECT_EQ(monitor.recorder().frames(), 0U);

    server.thaw();
    EXPECT_TRUE(monitor.recorder().waitForFrames(1));
}

TEST(ViewerX11StreamMisfortune, AStopDuringAStartFailsTheStartAtOnce) {
    XServer server;
    CapturedMonitor monitor(server);
    server.freeze();
    std::string order;
    monitor.stream().start([&](bool succeeded) { order += succeeded ? "started" : "failed "; });
    monitor.stream().stop([&](bool) { order += "stopped"; });

    EXPECT_EQ(order, "failed stopped");

    server.thaw();
    EXPECT_TRUE(X11Waiting::until([] { return X11Waiting::threadsNamed("x11-connect") == 0; }));
    EXPECT_EQ(monitor.recorder().frames(), 0U);
    EXPECT_EQ(monitor.recorder().stops(), 0U);
}

TEST(ViewerX11StreamMisfortune, StreamsThatAreStoppedWhileTheServerHangsLeaveRoomForOthers) {
    XServer server;
    const auto connector = std::make_shared<ViewerX11Connector>(server.displayName());
    server.freeze();
    const auto makeStream = [&] {
        return ViewerLinuxStream::handedOut(std::make_shared<ViewerX11Stream>(
            LoopThread::executor(), LoopThread::clock(), connector, ViewerNativeDisplay(),
            RecordedStream::settings()));
    };
    const auto start = [&](ViewerDisplayStream& stream) {
        const auto completed = std::make_shared<std::promise<bool>>();
        EXPECT_TRUE(stream.addOutput(std::make_shared<StreamRecorder>(), "display"));
        stream.start([completed](bool succeeded) { completed->set_value(succeeded); });
        return completed->get_future();
    };
    constexpr int manyMoreThanTheLineHolds = 200;
    for (int i = 0; i < manyMoreThanTheLineHolds; ++i) {
        const auto stopped = makeStream();
        (void)start(*stopped);  // Fails with the stop.
        stopped->stop([](bool) {});
    }

    const auto last = makeStream();
    EXPECT_TRUE(start(*last).get()) << "it waits in the line for its connection";
}

TEST(ViewerX11StreamMisfortune, AMonitorThatIsNotThereFailsTheStart) {
    const XServer server;
    CapturedMonitor monitor(server, "none such");

    EXPECT_FALSE(monitor.start());

    EXPECT_EQ(monitor.recorder().stops(), 0U);
    EXPECT_EQ(monitor.recorder().frames(), 0U);
}

TEST(ViewerX11StreamMisfortune, AServerThatIsNotThereFailsTheStart) {
    CapturedMonitor wrong(":59999", "any");
    CapturedMonitor none("", "any");

    EXPECT_FALSE(wrong.start());
    EXPECT_FALSE(none.start());

    EXPECT_EQ(wrong.recorder().stops() + none.recorder().stops(), 0U);
}

TEST(ViewerX11StreamMisfortune, AScreenWithAColourMapFailsTheStart) {
    XServer::Options options;
    options.depth = 8;
    const XServer server(options);
    CapturedMonitor monitor(server);

    EXPECT_FALSE(monitor.start());
}

TEST(ViewerX11StreamMisfortune, AServerWithoutMonitorsIsCapturedWhole) {
    XServer::Options options;
    options.arguments = {"-extension", "RANDR"};
    const XServer server(options);
    XPainter(server).fill({0, 0, 1280, 720}, blue);
    CapturedMonitor monitor(server, "Screen");

    ASSERT_TRUE(monitor.begin());

    EXPECT_TRUE(monitor.recorder().latest().isAll(blue));
}

TEST(ViewerX11StreamMisfortune, AStreamThatIsDroppedWhileItRunsLetsItsReceiverGo) {
    const XServer server;
    CapturedMonitor monitor(server);
    ASSERT_TRUE(monitor.begin());

    const std::weak_ptr<StreamRecorder> receiver = monitor.drop();

    EXPECT_TRUE(X11Waiting::until([&] { return receiver.expired(); }));
}

}  // namespace
}  // namespace velmora
