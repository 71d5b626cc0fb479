#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>

#include "tests/capture/linux/x11/CapturedMonitor.h"

// Whatever happens to the monitors, no picture of one is ever delivered for another: each is
// painted in a colour of its own, and never when the other could be in its place.

namespace velmora {
namespace {

constexpr std::uint32_t red = 0xff0000;
constexpr std::uint32_t blue = 0x0000ff;
constexpr ViewerRectangle screen{0, 0, 1280, 720};

bool hasNoBlue(const StreamRecorder::Picture& picture) {
    return std::ranges::all_of(picture.colours,
                               [](std::uint32_t each) { return (each & blue) == 0; });
}

bool hasNoRed(const StreamRecorder::Picture& picture) {
    return std::ranges::all_of(picture.colours,
                               [](std::uint32_t each) { return (each & red) == 0; });
}

/// A monitor that is captured for as long as a test runs: after each stop notice by a new stream.
class AlwaysCaptured final {
  public:
    AlwaysCaptured(XServer& server, std::string name, std::uint32_t colour)
        : server_(server), name_(std::move(name)), colour_(colour) {}

    const std::string& name() const { return name_; }
    std::uint32_t colour() const { return colour_; }

    /// Goes on with a new stream where the old one has ended.
    void renew() {
        if (!monitor_ || monitor_->recorder().stops() > 0) {
            isClean_ = isClean();
            monitor_ = std::make_unique<CapturedMonitor>(server_, name_,
                                                         colour_ == red ? hasNoBlue : hasNoRed);
            (void)monitor_->start();  // It may have moved on meanwhile.
        }
    }
    bool isClean() const {
        return isClean_ &&
               (!monitor_ || (monitor_->recorder().isClean() && monitor_->recorder().stops() <= 1));
    }
    /// Whether a picture that is all of the monitor's colour comes in the end.
    bool settles() {
        const auto end = std::chrono::steady_clock::now() + StreamRecorder::patience;
        while (!monitor_->recorder().latest().isAll(colour_)) {
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            renew();
            std::this_thread::yield();
        }
        return true;
    }

  private:
    XServer& server_;
    const std::string name_;
    const std::uint32_t colour_;
    std::unique_ptr<CapturedMonitor> monitor_;
    bool isClean_ = true;
};

/// Puts the two monitors next to each other in one of many ways. While it does, nothing is painted.
void rearrange(XServer& server, XPainter& painter, std::mt19937& engine) {
    const std::int64_t edge = 200 + 80 * static_cast<std::int64_t>(engine() % 12);
    const std::int64_t height = 400 + 80 * static_cast<std::int64_t>(engine() % 5);
    const ViewerRectangle left{0, 0, edge, height};
    const ViewerRectangle right{edge, 720 - height, 1280 - edge, height};
    const bool isSwapped = engine() % 2 == 0;
    const ViewerRectangle& placeOfA = isSwapped ? right : left;
    const ViewerRectangle& placeOfB = isSwapped ? left : right;
    painter.fill(screen, 0);
    if (engine() % 4 == 0) {
        server.deleteMonitor("b");
    }
    server.setMonitor("a", placeOfA);
    server.setMonitor("b", placeOfB);
    painter.fill(placeOfA, red);
    painter.fill(placeOfB, blue);
}

TEST(ViewerX11StreamColour, SwappedMonitorsKeepTheirColours) {
    for (std::uint32_t seed = 1; seed <= 15; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 engine(seed);
        XServer server;
        XPainter painter(server);
        server.setMonitor("a", {0, 0, 640, 720});
        server.setMonitor("b", {640, 0, 640, 720});
        rearrange(server, painter, engine);
        AlwaysCaptured a(server, "a", red);
        AlwaysCaptured b(server, "b", blue);
        a.renew();
        b.renew();

        for (int change = 0; change < 10; ++change) {
            rearrange(server, painter, engine);
            a.renew();
            b.renew();
        }

        EXPECT_TRUE(a.settles());
        EXPECT_TRUE(b.settles());
        EXPECT_TRUE(a.isClean());
        EXPECT_TRUE(b.isClean());
    }
}

TEST(ViewerX11StreamColour, OutputsThatChangePlacesKeepTheirColours) {
    XServer::Options options;
    options.kind = XServer::Kind::xorg;
    XServer server(options);
    server.showOutput("DUMMY1", {1280, 0, 1280, 720});
    XPainter painter(server);
    AlwaysCaptured a(server, "DUMMY0", red);
    AlwaysCaptured b(server, "DUMMY1", blue);

    for (int change = 0; change < 6; ++change) {
        const std::int64_t placeOfA = change % 2 == 0 ? 0 : 1280;
        painter.fill({0, 0, 2560, 720}, 0);
        server.xrandr({"--output", "DUMMY0", "--pos", std::to_string(placeOfA) + "x0", "--output",
                       "DUMMY1", "--pos", std::to_string(1280 - placeOfA) + "x0"});
        painter.fill({placeOfA, 0, 1280, 720}, red);
        painter.fill({1280 - placeOfA, 0, 1280, 720}, blue);
        a.renew();
        b.renew();
        EXPECT_TRUE(a.settles());
        EXPECT_TRUE(b.settles());
    }

    EXPECT_TRUE(a.isClean());
    EXPECT_TRUE(b.isClean());
}

}  // namespace
}  // namespace velmora
