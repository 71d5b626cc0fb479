#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "app/ViewerAlertCatalogue.h"
#include "tests/acceptance/alerts/AlertX11Test.h"
#include "tests/support/host/HostTest.h"
#include "tests/support/x11/XInput.h"

namespace velmora {

namespace {

/// An alert on a small screen with large letters, where most of its text is out of sight, and
/// someone who has no mouse.
class AlertKeyboard : public AlertX11Test {
  protected:
    AlertKeyboard() {
        useScreen(480, 220);
        useFontSize(20);
        seen_ = show(alert_);
        input_ = std::make_unique<XInput>(*server_);
    }

    SeenAlert look() const { return session_.await(alert_.buttons.front()).value_or(SeenAlert()); }
    /// How far the text is scrolled, in pixels.
    std::int64_t scrolled() const { return seen_.textPlaces.at(0).y - look().textPlaces.at(0).y; }
    /// Presses the key until the text is scrolled so far.
    bool scrolls(xcb_keysym_t key, const std::function<bool(std::int64_t scrolled)>& isFarEnough) {
        return eventually([&] {
            input_->press(key);
            return isFarEnough(scrolled());
        });
    }
    /// Below what is seen of the text when it is scrolled to its beginning.
    std::int64_t endOfView() const { return seen_.buttonPlaces.at(0).y; }
    bool isEndSeen() const {
        const ViewerRectangle text = look().textPlaces.at(1);
        return text.y + text.height <= endOfView();
    }

    const ViewerAlert alert_ =
        ViewerAlertCatalogue("ru", ViewerAlertWording::linuxDesktop).consent();
    SeenAlert seen_;
    std::unique_ptr<XInput> input_;
};

TEST_F(AlertKeyboard, TheArrowsScrollByALine) {
    EXPECT_FALSE(isEndSeen());
    input_->press(XInput::downKey);
    ASSERT_TRUE(eventually([&] { return scrolled() > 0; }));
    const std::int64_t line = scrolled();
    EXPECT_LT(line, seen_.textPlaces.at(0).height);
    input_->press(XInput::downKey);
    EXPECT_TRUE(eventually([&] { return scrolled() == 2 * line; }));
    input_->press(XInput::upKey);
    EXPECT_TRUE(eventually([&] { return scrolled() == line; }));
}

TEST_F(AlertKeyboard, NoLineIsPassedOverByPageDown) {
    const std::int64_t view = endOfView() - seen_.textPlaces.at(0).y;
    input_->press(XInput::pageDownKey);
    ASSERT_TRUE(eventually([&] { return scrolled() > 0; }));
    EXPECT_LT(scrolled(), view);
    EXPECT_TRUE(scrolls(XInput::pageDownKey, [&](auto) { return isEndSeen(); }));
    EXPECT_TRUE(scrolls(XInput::pageUpKey, [](auto scrolled) { return scrolled == 0; }));
}

TEST_F(AlertKeyboard, EndAndHomeShowEndAndBeginning) {
    input_->press(XInput::endKey);
    EXPECT_TRUE(eventually([&] { return isEndSeen(); }));
    input_->press(XInput::homeKey);
    EXPECT_TRUE(eventually([&] { return scrolled() == 0; }));
}

TEST_F(AlertKeyboard, ScrollingLeavesTheKeysOfTheButtonsAsTheyAre) {
    input_->press(XInput::endKey);
    ASSERT_TRUE(eventually([&] { return isEndSeen(); }));
    EXPECT_EQ(look().focused, alert_.buttons.at(0));
    EXPECT_EQ(answerTo(XInput::returnKey), true);
}

TEST_F(AlertKeyboard, EscapeIsNotTheFirstButtonAfterScrollingEither) {
    input_->press(XInput::pageDownKey);
    ASSERT_TRUE(eventually([&] { return scrolled() > 0; }));
    EXPECT_EQ(answerTo(XInput::escapeKey), false);
}

TEST_F(AlertKeyboard, TabGoesFromButtonToButtonAndShowsWhereItIs) {
    const XPainter painter(*server_);
    const auto before = painter.read(seen_.buttonPlaces.at(1));
    EXPECT_EQ(look().focused, alert_.buttons.at(0));
    ASSERT_TRUE(eventually([&] {
        input_->press(XInput::tabKey);
        return look().focused == alert_.buttons.at(1);
    }));
    EXPECT_TRUE(eventually([&] { return painter.read(seen_.buttonPlaces.at(1)) != before; }));
    EXPECT_EQ(answerTo(XInput::returnKey), false);
}

}  // namespace

}  // namespace velmora
