#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <functional>
#include <optional>
#include <string>

#include "tests/acceptance/Watcher.h"
#include "tests/acceptance/wayland/WaylandHostTest.h"

namespace velmora {

namespace {

constexpr std::uint32_t yellow = 0xd0d020;

std::optional<ViewerHostDisplay> listed(const std::string& id) {
    const auto displays = listDisplays().value_or(std::vector<ViewerHostDisplay>{});
    const auto found = std::ranges::find(displays, id, &ViewerHostDisplay::id);
    return found != displays.end() ? std::optional(*found) : std::nullopt;
}

bool isListedAs(const std::string& id, int width, int height) {
    const auto display = listed(id);
    return display && display->width == width && display->height == height;
}

/// Outputs that change while clients poll both displays.
class WaylandOutput : public SwayHostTest {
  protected:
    void serveAndWatch() {
        ASSERT_NO_FATAL_FAILURE(serve());
        left_ = idOf(red);
        right_ = idOf(green);
        ASSERT_NE(left_, "");
        ASSERT_NE(right_, "");
        // What the left one shows while it changes is the compositor's affair.
        leftWatcher_.emplace(left_, red);
        rightWatcher_.emplace(right_, green);
    }
    /// A frame of the left display has this size, and its first corner another colour than the
    /// rest.
    bool showsMarked(int width, int height) const {
        const auto picture = frameOf(left_);
        return picture && picture->width == width && picture->height == height &&
               isNear(picture->at(10, 10), yellow, jpegTolerance) &&
               isNear(picture->at(width - 10, 10), red, jpegTolerance) &&
               isNear(picture->at(10, height - 10), red, jpegTolerance) &&
               isNear(picture->at(width - 10, height - 10), red, jpegTolerance);
    }
    void mark() {
        desktop_.painter(0).fill(red);
        desktop_.painter(0).fill({0, 0, 300, 300}, yellow);
    }
    /// Marks it until that is shown: PipeWire may lose the picture after which a screen stands
    /// still.
    bool comesToShow(const std::function<bool()>& isShown) {
        return eventually([&] {
            mark();
            return eventually(isShown, std::chrono::seconds(2));
        });
    }
    void expectOthersAlone() {
        EXPECT_EQ(leftWatcher_->strangeAnswers(), 0U);
        const std::size_t before = rightWatcher_->frames();
        EXPECT_TRUE(eventually([&] { return rightWatcher_->frames() > before; }));
        EXPECT_EQ(rightWatcher_->strangeFrames(), 0U);
        EXPECT_EQ(rightWatcher_->strangeAnswers(), 0U);
        EXPECT_EQ(backend_.count("asked"), 1U);
    }

    std::string left_;
    std::string right_;
    std::optional<Watcher> leftWatcher_;
    std::optional<Watcher> rightWatcher_;
};

TEST_F(WaylandOutput, ThatChangesItsModeIsFollowedUnderTheSameId) {
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    ASSERT_TRUE(desktop_.command("output HEADLESS-1 mode --custom 1000x1000"));
    EXPECT_TRUE(eventually([&] { return isListedAs(left_, 1000, 1000); }));
    EXPECT_TRUE(comesToShow([&] { return showsMarked(360, 360); }));
    ASSERT_TRUE(desktop_.command("output HEADLESS-1 mode --custom 1280x720"));
    EXPECT_TRUE(comesToShow([&] { return showsMarked(640, 360); }));

    EXPECT_TRUE(isListedAs(left_, 1280, 720));
    expectOthersAlone();
}

TEST_F(WaylandOutput, ThatIsTurnedIsFollowedUnderTheSameId) {
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    ASSERT_TRUE(desktop_.command("output HEADLESS-1 transform 90"));
    EXPECT_TRUE(eventually([&] { return isListedAs(left_, 720, 1280); }));
    EXPECT_TRUE(comesToShow([&] { return showsMarked(203, 360) || showsMarked(202, 360); }));
    ASSERT_TRUE(desktop_.command("output HEADLESS-1 transform 180"));
    EXPECT_TRUE(comesToShow([&] { return showsMarked(640, 360); }));

    EXPECT_TRUE(isListedAs(left_, 1280, 720));
    expectOthersAlone();
}

TEST_F(WaylandOutput, ThatIsPluggedInLaterIsServedOnlyAfterANewGrant) {
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    ASSERT_TRUE(desktop_.command("create_output"));
    ASSERT_TRUE(desktop_.command("output HEADLESS-3 mode --custom 800x600 position 2560 0"));
    const WaylandPainter painter(desktop_.session(), "HEADLESS-3", yellow);
    EXPECT_EQ(listDisplays().value_or(std::vector<ViewerHostDisplay>{}).size(), 2U);
    expectOthersAlone();
    leftWatcher_.reset();
    rightWatcher_.reset();
    EXPECT_EQ(host_.end(SIGTERM), endedInOrder);
    ASSERT_NO_FATAL_FAILURE(serve());

    EXPECT_EQ(listDisplays().value_or(std::vector<ViewerHostDisplay>{}).size(), 3U);
    EXPECT_TRUE(isListedAs(idOf(yellow), 800, 600));
    EXPECT_EQ(idOf(red), left_);
    EXPECT_EQ(idOf(green), right_);
}

TEST_F(WaylandOutput, ThatWasAwayIsServedOnlyAfterANewGrantUnderTheSameId) {
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    rightWatcher_.reset();
    desktop_.disable(1);
    EXPECT_TRUE(eventually([&] { return !listed(right_); }));
    desktop_.enable(1);
    desktop_.painter(1).fill(green);
    EXPECT_FALSE(listed(right_));
    EXPECT_NE(HTTPClient::get(frameTarget(right_)).status(), 200);
    leftWatcher_.reset();
    EXPECT_EQ(host_.end(SIGTERM), endedInOrder);
    // Sway's backend does not always live through the loss of an output that it casts.
    desktop_.session().killPortal();
    desktop_.session().kill("backend");
    desktop_.startPortal();
    ASSERT_NO_FATAL_FAILURE(serve());

    EXPECT_EQ(idOf(green), right_);
}

}  // namespace

}  // namespace velmora
