#include "core/capture/linux/x11/ViewerX11ScreenCapture.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>

#include "tests/capture/linux/x11/DisplayListOnLoop.h"
#include "tests/capture/linux/x11/StreamRecorder.h"
#include "tests/capture/linux/x11/X11Waiting.h"
#include "tests/support/x11/XPainter.h"
#include "tests/support/x11/XServer.h"

namespace velmora {
namespace {

/// The answer to one listing, null also when none comes in time.
std::shared_ptr<const ViewerScreenCapture::Displays> listed(ViewerScreenCapture& capture) {
    using Answer = std::shared_ptr<const ViewerScreenCapture::Displays>;
    const auto answer = std::make_shared<std::optional<Answer>>();
    capture.shareableDisplays([answer](Answer displays) { *answer = std::move(displays); });
    const auto end = std::chrono::steady_clock::now() + X11Waiting::patience;
    while (!answer->has_value() && std::chrono::steady_clock::now() < end) {
        DisplayListOnLoop::loop().run_one_until(end);
    }
    EXPECT_TRUE(answer->has_value()) << "no answer";
    return answer->value_or(nullptr);
}

/// Waits without running any loop.
ViewerCaptureAccess seenAccess(ViewerScreenCapture& capture) {
    std::promise<ViewerCaptureAccess> answer;
    capture.lookAtAccess([&](ViewerCaptureAccess access) { answer.set_value(access); });
    return answer.get_future().get();
}

bool requestedAccess(ViewerScreenCapture& capture) {
    std::promise<bool> answer;
    capture.requestAccess([&](bool isGranted) { answer.set_value(isGranted); });
    return answer.get_future().get();
}

TEST(ViewerX11ScreenCapture, ListsTheDisplaysWithTheirNames) {
    const XServer server;
    ViewerX11ScreenCapture capture(DisplayListOnLoop::loop().get_executor(),
                                   DisplayListOnLoop::clock(), server.displayName());
    EXPECT_TRUE(capture.preflightAccess());
    const auto displays = listed(capture);
    ASSERT_NE(displays, nullptr);
    ASSERT_EQ(displays->size(), 1U);
    EXPECT_EQ(displays->front().name, "screen");
}

TEST(ViewerX11ScreenCapture, ALookIsAnsweredWhereNoLoopRuns) {
    const XServer server;
    ViewerX11ScreenCapture capture(DisplayListOnLoop::loop().get_executor(),
                                   DisplayListOnLoop::clock(), server.displayName());
    EXPECT_EQ(seenAccess(capture), ViewerCaptureAccess::granted);
}

TEST(ViewerX11ScreenCapture, WithoutADisplayThePermissionIsMissing) {
    ViewerX11ScreenCapture capture(DisplayListOnLoop::loop().get_executor(),
                                   DisplayListOnLoop::clock(), "");
    EXPECT_NE(seenAccess(capture), ViewerCaptureAccess::granted);
}

TEST(ViewerX11ScreenCapture, ARequestAsksNobody) {
    const XServer server;
    ViewerX11ScreenCapture capture(DisplayListOnLoop::loop().get_executor(),
                                   DisplayListOnLoop::clock(), server.displayName());
    EXPECT_FALSE(requestedAccess(capture));
}

TEST(ViewerX11ScreenCapture, AStreamShowsTheDisplayThatItWasMadeFor) {
    XServer server;
    server.setMonitor("left", {0, 0, 640, 720}, "screen");
    server.setMonitor("right", {640, 0, 640, 720});
    constexpr std::uint32_t red = 0xff0000;
    constexpr std::uint32_t blue = 0x0000ff;
    XPainter painter(server);
    painter.fill({0, 0, 640, 720}, red);
    painter.fill({640, 0, 640, 720}, blue);
    ViewerX11ScreenCapture capture(DisplayListOnLoop::loop().get_executor(),
                                   DisplayListOnLoop::clock(), server.displayName());
    const auto displays = listed(capture);
    ASSERT_NE(displays, nullptr);
    ASSERT_EQ(displays->size(), 2U);
    for (const ViewerNativeDisplay& display : *displays) {
        ViewerStreamSettings settings;
        settings.frameIntervalValue = 1;
        settings.frameIntervalTimescale = 25;
        const auto stream = capture.makeStream(display, settings);
        const auto recorder = std::make_shared<StreamRecorder>();
        ASSERT_TRUE(stream->addOutput(recorder, "display"));
        stream->start([](bool) {});
        const std::uint32_t colour = display.isMain ? red : blue;
        EXPECT_TRUE(recorder->waitForPicture(
            [&](const StreamRecorder::Picture& picture) { return picture.isAll(colour); }));
        stream->stop([](bool) {});
    }
}

TEST(ViewerX11ScreenCapture, TheEnvironmentNamesTheServer) {
    const XServer server;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread runs yet.
    ASSERT_EQ(::setenv("DISPLAY", server.displayName().c_str(), 1), 0);
    const auto capture =
        makeScreenCapture(DisplayListOnLoop::loop().get_executor(), DisplayListOnLoop::clock());
    const auto displays = listed(*capture);
    ASSERT_NE(displays, nullptr);
    EXPECT_EQ(displays->front().width, 1280);
}

TEST(ViewerX11ScreenCapture, WithoutADisplayInTheEnvironmentThereIsNoList) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread runs yet.
    ASSERT_EQ(::unsetenv("DISPLAY"), 0);
    const auto capture =
        makeScreenCapture(DisplayListOnLoop::loop().get_executor(), DisplayListOnLoop::clock());
    EXPECT_EQ(listed(*capture), nullptr);
}

}  // namespace
}  // namespace velmora
