#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/acceptance/Watcher.h"
#include "tests/support/host/HostTest.h"

namespace velmora {

namespace {

struct PaintedMonitor final {
    std::string name;
    ViewerRectangle place;
    std::uint32_t colour;
    /// One that has the server's output replaces the monitor that is there by itself.
    std::string output;
};

class DisplayChange : public HostTest {
  protected:
    void show(const PaintedMonitor& monitor) {
        painter_.fill(monitor.place, monitor.colour);
        server_.setMonitor(monitor.name, monitor.place, monitor.output);
    }
    bool isListed(const std::string& name) { return !idOf(name).empty(); }

    const PaintedMonitor red_{"Red", {0, 0, 400, 720}, 0xd01818, "screen"};
    const PaintedMonitor green_{"Green", {400, 0, 400, 720}, 0x18d018, ""};
    const PaintedMonitor blue_{"Blue", {800, 0, 480, 720}, 0x1818d0, ""};
};

TEST_F(DisplayChange, MonitorsComeAndGoAndNoneEverShowsAnothersColour) {
    for (const auto& monitor : {red_, green_, blue_}) {
        show(monitor);
    }
    serve();
    const Watcher red(idOf("Red"), red_.colour);
    const Watcher green(idOf("Green"), green_.colour);
    const Watcher blue(idOf("Blue"), blue_.colour);
    for (int round = 0; round < 10; ++round) {
        const auto& leaving = round % 2 == 0 ? green_ : blue_;
        server_.deleteMonitor(leaving.name);
        ASSERT_TRUE(eventually([&] { return !isListed(leaving.name); }));
        show(leaving);
        ASSERT_TRUE(eventually([&] { return frameOf(idOf(leaving.name)).has_value(); }));
    }

    for (const Watcher* watcher : {&red, &green, &blue}) {
        const std::size_t before = watcher->frames();
        EXPECT_TRUE(eventually([&] { return watcher->frames() > before; }));
        EXPECT_EQ(watcher->strangeFrames(), 0U);
        EXPECT_EQ(watcher->strangeAnswers(), 0U);
    }
}

TEST_F(DisplayChange, AMonitorThatMovedShowsItsNewPlaceOnly) {
    show(red_);
    show(green_);
    serve();
    const std::string id = idOf("Green");
    ASSERT_TRUE(frameOf(id).has_value());
    PaintedMonitor moved = green_;
    moved.place = blue_.place;
    server_.deleteMonitor(moved.name);
    show(moved);
    ASSERT_TRUE(eventually([&] {
        const auto picture = frameOf(id);
        return picture && picture->width == 240;
    }));
    painter_.fill(green_.place, 0x000000);

    const Watcher watcher(id, green_.colour);
    EXPECT_TRUE(eventually([&] { return watcher.frames() >= 50; }));
    EXPECT_EQ(watcher.strangeFrames(), 0U);
}

TEST_F(DisplayChange, ADisplayThatChangesItsSizeIsCapturedInTheNewOne) {
    painter_.fill({0, 0, 1280, 720}, 0x40a0d0);
    serve();
    const std::string id = idOf("screen");
    ASSERT_TRUE(frameOf(id).has_value());
    for (int round = 0; round < 3; ++round) {
        server_.setMode("screen", 800, 600);
        EXPECT_TRUE(eventually([&] {
            const auto picture = frameOf(id);
            return picture && picture->width == 480 && picture->height == 360;
        }));
        const auto displays = listDisplays();
        ASSERT_TRUE(displays && displays->size() == 1);
        EXPECT_EQ(displays->front(), ViewerHostDisplay(id, "screen", 800, 600));
        server_.setMode("screen", 1280, 720);
        EXPECT_TRUE(eventually([&] {
            const auto picture = frameOf(id);
            return picture && picture->width == 640 && picture->height == 360;
        }));
    }
}

TEST_F(DisplayChange, ADisplayThatIsGoneIsNotFound) {
    show(red_);
    show(green_);
    serve();
    const std::string id = idOf("Green");
    ASSERT_TRUE(frameOf(id).has_value());
    server_.deleteMonitor("Green");

    EXPECT_TRUE(eventually([&] { return HTTPClient::get(frameTarget(id)).status() == 404; }));
    EXPECT_TRUE(frameOf(idOf("Red")).has_value());
}

TEST_F(DisplayChange, ADisplayWhoseTerminalIsSwitchedAwayIsListedAndHasNoFrames) {
    serve();
    const std::string id = idOf("screen");
    ASSERT_TRUE(frameOf(id).has_value());
    const auto client = server_.connect();
    for (int round = 0; round < 2; ++round) {
        client->setRootProperty("XFree86_has_VT", 0);
        EXPECT_TRUE(eventually([&] { return HTTPClient::get(frameTarget(id)).status() == 503; }));
        EXPECT_TRUE(isListed("screen"));
        EXPECT_EQ(HTTPClient::get(frameTarget(id)).status(), 503);
        client->setRootProperty("XFree86_has_VT", 1);
        EXPECT_TRUE(eventually([&] { return frameOf(id).has_value(); }));
    }
}

TEST_F(DisplayChange, AFifthDisplayHasToWaitUntilACaptureHasStopped) {
    for (std::int64_t i = 0; i < 5; ++i) {
        show({"Strip " + std::to_string(i),
              {i * 256, 0, 256, 720},
              static_cast<std::uint32_t>(0x202020 * (1 + i)),
              i == 0 ? "screen" : ""});
    }
    serve();
    const auto displays = listDisplays();
    ASSERT_TRUE(displays && displays->size() == 5);
    for (std::size_t i = 0; i < 4; ++i) {
        ASSERT_EQ(HTTPClient::get(frameTarget(displays->at(i).id)).status(), 200);
    }
    const std::string fifth = frameTarget(displays->at(4).id);

    EXPECT_EQ(HTTPClient::get(fifth).status(), 503);
    EXPECT_TRUE(eventually([&] { return HTTPClient::get(fifth).status() == 200; }));
}

}  // namespace

}  // namespace velmora
