#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/capture/CapturedWorld.h"
#include "tests/capture/ListedWorld.h"
#include "tests/support/runtime/OneLoop.h"

namespace velmora {
namespace {

/// A session that works on the main thread's loop.
class MacDisplayCaptureSessionAtHand : public testing::Test {
  protected:
    MacDisplayCaptureSessionAtHand() {
        world.session = std::make_shared<MacDisplayCaptureSession>(
            world.display, world.capture, loop, borrowedClock(world.simulated));
    }

    std::optional<ViewerHostFrame> frame() {
        return world.session->frameAtHand(world.simulated.mainExecutor());
    }

    CapturedWorld world;
    OneLoop loop{world.simulated.mainExecutor()};
};

TEST_F(MacDisplayCaptureSessionAtHand, NoFrameIsBeforeTheFirstAndNoStreamIsMade) {
    EXPECT_FALSE(frame().has_value());
    world.simulated.runToEnd();
    EXPECT_TRUE(world.capture->streams.empty());
}

TEST_F(MacDisplayCaptureSessionAtHand, TheNewestFrameIs) {
    world.captureFirst(100);
    world.stream().deliverPicture(150);
    ASSERT_TRUE(frame().has_value());
    EXPECT_EQ(frame()->jpeg, PaintedPicture(150).jpeg());
    EXPECT_EQ(counterOf(frame()), "2");
}

TEST_F(MacDisplayCaptureSessionAtHand, NothingIsForOneWhoRunsElsewhere) {
    world.captureFirst(100);
    EXPECT_FALSE(world.session->frameAtHand(world.simulated.taskExecutor()).has_value());
}

TEST_F(MacDisplayCaptureSessionAtHand, NoFrameIsOfAStreamThatHasDied) {
    world.captureFirst(100);
    world.stream().die();
    EXPECT_FALSE(frame().has_value());
}

TEST_F(MacDisplayCaptureSessionAtHand, NoFrameIsOnceItWasStopped) {
    world.captureFirst(100);
    (void)world.stop();
    EXPECT_FALSE(frame().has_value());
}

ViewerNativeDisplay named(std::uint32_t number, const std::string& uuidText, std::string name) {
    ViewerNativeDisplay native = display(number, uuidText);
    native.name = std::move(name);
    return native;
}

class MacDisplayCaptureSourceAtHand : public testing::Test {
  protected:
    MacDisplayCaptureSourceAtHand() { world.capture->areAtHand = true; }

    ListedWorld world;
};

TEST_F(MacDisplayCaptureSourceAtHand, ANamedListIsAndCanBeCaptured) {
    world.capture->report({named(1, "B", "Right"), named(2, "A", "Left")});
    const auto displays = world.source->displaysAtHand();
    ASSERT_TRUE(displays.has_value());
    EXPECT_EQ(idsOf(*displays), std::vector<std::string>({"macos-display:a", "macos-display:b"}));
    EXPECT_NE(world.source->makeSession("macos-display:b"), nullptr);
    EXPECT_EQ(world.capture->listings, 0);
    EXPECT_EQ(world.listedIds(), idsOf(*displays)) << "it is what the task lists";
}

TEST_F(MacDisplayCaptureSourceAtHand, AListWhoseNamesTheScreensHaveIsNot) {
    world.capture->report({named(1, "B", "Right"), display(2, "A")});
    EXPECT_FALSE(world.source->displaysAtHand().has_value());
    EXPECT_EQ(world.source->makeSession("macos-display:b"), nullptr);
    EXPECT_EQ(world.capture->screenReadings, 0);
}

TEST_F(MacDisplayCaptureSourceAtHand, AListForWhichThePlatformHasToBeAskedIsNot) {
    world.capture->report({named(1, "B", "Right")});
    world.capture->areAtHand = false;
    EXPECT_FALSE(world.source->displaysAtHand().has_value());
}

TEST_F(MacDisplayCaptureSourceAtHand, WithoutThePermissionThereIsNoDisplay) {
    world.capture->report({named(1, "B", "Right")});
    (void)world.source->displaysAtHand();
    world.capture->isGranted = false;
    const auto displays = world.source->displaysAtHand();
    ASSERT_TRUE(displays.has_value());
    EXPECT_EQ(idsOf(*displays), std::vector<std::string>());
    EXPECT_EQ(world.source->makeSession("macos-display:b"), nullptr);
}

}  // namespace
}  // namespace velmora
