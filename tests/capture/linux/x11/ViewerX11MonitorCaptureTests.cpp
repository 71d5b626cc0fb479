#include "core/capture/linux/x11/ViewerX11MonitorCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>

#include "tests/capture/linux/x11/RunningCapture.h"
#include "tests/support/x11/XPainter.h"

// What happens while a fetch is under way: another client holds the server, so that the fetch waits
// in it, changes everything, and lets go.

namespace velmora {
namespace {

using std::chrono::milliseconds;

constexpr std::uint32_t red = 0xff0000;
constexpr std::uint32_t blue = 0x0000ff;

bool hasNoBlue(const StreamRecorder::Picture& picture) {
    return std::ranges::all_of(picture.colours,
                               [](std::uint32_t each) { return (each & blue) == 0; });
}

XServer::Options sized(int width, int height) {
    XServer::Options options;
    options.width = width;
    options.height = height;
    return options;
}

/// How often a test tries what may not come about each time. Mostly once would do, so that a
/// sanitizer, which makes each attempt slow, need not see all.
class Attempts final {
  public:
    explicit Attempts(std::uint32_t most) : most_(most) {}

    bool has(std::uint32_t attempt) const {
        return attempt <= most_ && StreamRecorder::Clock::now() < end_;
    }

  private:
    const std::uint32_t most_;
    const StreamRecorder::Clock::time_point end_ =
        StreamRecorder::Clock::now() + std::chrono::seconds(10);
};

/// Two monitors side by side that may change places. Whatever is shown where "a" is is red, and
/// whatever is where "b" is blue, at any time when anybody but the test could look.
class TwoMonitors final {
  public:
    explicit TwoMonitors(const ViewerRectangle& left)
        : left_(left),
          right_{left.width, 0, left.width, left.height},
          server_(sized(static_cast<int>(2 * left.width), static_cast<int>(left.height))) {
        server_.setMonitor("b", right_);
        server_.setMonitor("a", left_, "screen");
        paint(red);
    }

    const XServer& server() const { return server_; }
    XClient& client() { return painter_.client(); }
    void paint(std::uint32_t colourOfA) {
        painter_.fill(isSwapped_ ? right_ : left_, colourOfA);
        painter_.fill(isSwapped_ ? left_ : right_, blue);
    }
    /// While the server is held.
    void swap() {
        isSwapped_ = !isSwapped_;
        paint(red);
        client().setMonitor("a", isSwapped_ ? right_ : left_, "screen");
        client().setMonitor("b", isSwapped_ ? left_ : right_, "");
    }

  private:
    const ViewerRectangle left_;
    const ViewerRectangle right_;
    XServer server_;
    XPainter painter_{server_};
    bool isSwapped_ = false;
};

/// Grabs the server until `capture` waits in it for a fetch, then lets the monitors change places.
/// (One that is slower sees the change before it fetches, which proves nothing and harms nothing.)
void swapDuringAFetch(TwoMonitors& monitors, RunningCapture& capture) {
    monitors.client().grab();
    monitors.paint(red);
    // The pause after its last fetch has to be over.
    const auto pause = std::chrono::duration_cast<milliseconds>(capture.pacing().nextFetch() -
                                                                StreamRecorder::Clock::now());
    EXPECT_TRUE(capture.recorder().staysStill(std::max(pause, milliseconds(0)) + milliseconds(50)));
    monitors.swap();
}

TEST(ViewerX11MonitorCapture, AMonitorThatLeavesWhileItIsFetchedShowsNothingOfItsSuccessor) {
    for (int attempt = 0; attempt < 5; ++attempt) {
        TwoMonitors monitors({0, 0, 640, 720});
        RunningCapture capture(monitors.server(), "a", hasNoBlue);
        ASSERT_TRUE(capture.recorder().waitForFrames(1));

        swapDuringAFetch(monitors, capture);
        monitors.client().ungrab();

        EXPECT_TRUE(capture.recorder().waitForStop());
        EXPECT_TRUE(capture.recorder().isClean());
    }
}

TEST(ViewerX11MonitorCapture, AMonitorThatIsBackBeforeItsFetchEndsShowsNothingOfTheOther) {
    // So large that a fetch has more than 60 answers: some come while the other monitor is there.
    TwoMonitors monitors({0, 0, 3840, 2160});
    auto capture = std::make_unique<RunningCapture>(monitors.server(), "a", hasNoBlue);
    ASSERT_TRUE(capture->recorder().waitForFrames(1));
    const Attempts attempts(30);
    for (std::uint32_t attempt = 1; attempts.has(attempt); ++attempt) {
        swapDuringAFetch(monitors, *capture);
        // Each time the request that waits is served, hardly more, and the next one comes to wait.
        for (int turn = 0; turn < 8; ++turn) {
            monitors.client().ungrab();
            monitors.client().grab();
            (void)capture->recorder().staysStill(milliseconds(1));
        }
        monitors.swap();
        monitors.client().ungrab();

        const std::uint32_t colour = red - attempt * 0x010000;
        monitors.paint(colour);
        ASSERT_TRUE(capture->recorder().waitForPictureOrStop(
            [&](const StreamRecorder::Picture& picture) { return picture.isAll(colour); }));
        ASSERT_TRUE(capture->recorder().isClean());
        if (capture->recorder().stops() > 0) {
            capture = std::make_unique<RunningCapture>(monitors.server(), "a", hasNoBlue);
            ASSERT_TRUE(capture->recorder().waitForFrames(1));
        }
    }
}

TEST(ViewerX11MonitorCapture, WhatIsDamagedDuringAFetchArrivesByItsNotice) {
    const XServer server(sized(3840, 2160));
    XPainter painter(server);
    RunningCapture capture(server, "screen");
    ASSERT_TRUE(capture.recorder().waitForFrames(1));
    const Attempts attempts(20);
    for (std::uint32_t attempt = 1; attempts.has(attempt); ++attempt) {
        const std::uint32_t below = attempt * 0x000500;
        const std::uint32_t above = attempt * 0x050000;
        painter.client().grab();
        painter.fill({0, 0, 3840, 2160}, below);
        painter.client().ungrab();
        for (std::uint32_t turn = 0; turn <= attempt; ++turn) {
            painter.client().finish();
        }

        painter.fill({0, 0, 3840, 216}, above);

        ASSERT_TRUE(capture.recorder().waitForPicture([&](const StreamRecorder::Picture& picture) {
            return picture.at(0, 0) == above && picture.at(639, 359) == below;
        }));
    }
}

TEST(ViewerX11MonitorCapture, AfterASlowFetchTheServerIsLeftAloneForAsLong) {
    const XServer server(sized(64, 48));
    XPainter painter(server);
    const auto pacing = std::make_shared<ViewerX11Pacing>();
    RunningCapture capture(server, "screen", {}, pacing);
    RunningCapture other(server, "screen", {}, pacing);
    ASSERT_TRUE(capture.recorder().waitForFrames(1));
    ASSERT_TRUE(other.recorder().waitForFrames(1));

    painter.client().grab();
    painter.fill({0, 0, 64, 48}, red);
    EXPECT_TRUE(capture.recorder().staysStill(milliseconds(300)));
    painter.client().ungrab();
    ASSERT_TRUE(capture.recorder().waitForFrames(2));
    ASSERT_TRUE(other.recorder().waitForFrames(2));
    const auto nextFetch = pacing->nextFetch();
    painter.fill({0, 0, 64, 48}, blue);

    for (RunningCapture* each : {&capture, &other}) {
        ASSERT_TRUE(each->recorder().waitForFrames(3));
        EXPECT_GE(StreamRecorder::Clock::now(), nextFetch);
        EXPECT_EQ(each->recorder().frames(), 3U);
    }
    EXPECT_GT(nextFetch, StreamRecorder::Clock::time_point());
}

}  // namespace
}  // namespace velmora
