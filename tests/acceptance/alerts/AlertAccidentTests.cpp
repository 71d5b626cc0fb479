#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <thread>

#include "tests/acceptance/alerts/AlertX11Test.h"
#include "tests/support/host/HostTest.h"
#include "tests/support/x11/XInput.h"
#include "tests/support/x11/XPainter.h"
#include "tests/support/x11/XWindow.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto halfSecond = 500ms;
/// Between two keys of someone who types without looking.
constexpr auto betweenKeys = 10ms;
/// The program does not notice that it has lost the focus until it has been away so long.
constexpr auto unnoticedAbsence = 200ms;

/// Alerts that come up while someone types into another window.
class AlertAccident : public AlertX11Test {
  protected:
    AlertAccident() : typedInto_(*server_, {0, 0, 200, 100}), input_(*server_) {
        typedInto_.takeFocus();
    }

    /// Shows an alert that counts presses from now on.
    void start() {
        process_ = ViewerAlertProcess::start(loop_, ViewerAlertProcess::program(), twoButtons());
        ASSERT_NE(process_, nullptr);
        process_->awaitEnd([this](std::optional<bool> isFirst) {
            EXPECT_TRUE(isFirst.has_value()) << "it could not be shown";
            isFirstButton_ = isFirst.value_or(false);
        });
    }
    /// Whether it was closed; waits a moment for that.
    bool hasEnded(std::chrono::milliseconds moment = betweenKeys) {
        loop_.restart();
        loop_.run_for(moment);
        return isFirstButton_.has_value();
    }
    bool endsWhile(const std::function<void()>& type) {
        return eventually([&] {
            type();
            return hasEnded();
        });
    }
    /// The alert's window, which has the focus.
    xcb_window_t awaitFocus() {
        EXPECT_TRUE(eventually([&] { return XWindow::focused(*server_) != typedInto_.id(); }));
        return XWindow::focused(*server_);
    }
    /// Returns when keys count, with the focus on the first button.
    void awaitReaction() {
        const XPainter painter(*server_);
        const auto before = painter.read({0, 0, 1280, 720});
        EXPECT_TRUE(eventually([&] {
            input_.press(XInput::tabKey);
            return hasEnded() || painter.read({0, 0, 1280, 720}) != before;
        }));
        EXPECT_TRUE(eventually([&] {
            const auto seen = session_.await("First");
            if (seen && seen->focused != "First") {
                input_.press(XInput::tabKey);
            }
            return seen && seen->focused == "First";
        }));
    }
    /// When that began. What is away for a moment only, the program does not notice.
    Clock::time_point giveFocusAnew(xcb_window_t alert) {
        typedInto_.takeFocus();
        EXPECT_TRUE(eventually([&] {
            const auto seen = session_.await("First");
            return seen && seen->focused.empty();
        }));
        const auto begin = Clock::now();
        typedInto_.giveFocusTo(alert);
        return begin;
    }
    pid_t program() const { return XWindow::owner(*server_, XWindow::focused(*server_)); }

    XWindow typedInto_;
    XInput input_;
    std::optional<bool> isFirstButton_;
};

TEST_F(AlertAccident, KeysInTheHalfSecondAfterItGotTheFocusPressNothing) {
    auto lastElsewhere = Clock::now();
    start();
    EXPECT_TRUE(endsWhile([&] {
        const auto now = Clock::now();
        if (XWindow::focused(*server_) == typedInto_.id()) {
            lastElsewhere = now;
        }
        input_.press(XInput::returnKey);
    }));

    EXPECT_EQ(isFirstButton_, true);
    EXPECT_GE(Clock::now() - lastElsewhere, halfSecond);
}

TEST_F(AlertAccident, TheHalfSecondBeginsAnewWithEachFocus) {
    start();
    const xcb_window_t alert = awaitFocus();
    awaitReaction();
    ASSERT_EQ(isFirstButton_, std::nullopt);
    const auto begin = giveFocusAnew(alert);
    EXPECT_TRUE(endsWhile([&] { input_.press(XInput::escapeKey); }));

    EXPECT_EQ(isFirstButton_, false);
    EXPECT_GE(Clock::now() - begin, halfSecond);
}

TEST_F(AlertAccident, AKeyOfThatHalfSecondPressesNothingThoughItIsSeenLate) {
    start();
    const xcb_window_t alert = awaitFocus();
    awaitReaction();
    giveFocusAnew(alert);
    // It sees that it has the focus, and then nothing for a while.
    EXPECT_FALSE(hasEnded(100ms));
    const pid_t busy = program();
    ::kill(busy, SIGSTOP);
    input_.press(XInput::returnKey);
    EXPECT_FALSE(hasEnded(halfSecond + 100ms));
    ::kill(busy, SIGCONT);

    EXPECT_TRUE(endsWhile([&] { input_.press(XInput::escapeKey); }));
    EXPECT_EQ(isFirstButton_, false);
}

TEST_F(AlertAccident, AKeyThatIsHeldDownAllTheTimePressesNothing) {
    input_.hold(XInput::returnKey);
    start();
    awaitFocus();
    // Long enough for it to be repeated.
    EXPECT_FALSE(hasEnded(2s));
    input_.release(XInput::returnKey);

    EXPECT_TRUE(endsWhile([&] { input_.press(XInput::returnKey); }));
    EXPECT_EQ(isFirstButton_, true);
}

TEST_F(AlertAccident, ARequestToCloseActsAtOnce) {
    start();
    const xcb_window_t alert = awaitFocus();
    input_.press(XInput::returnKey);
    typedInto_.requestClose(alert);

    EXPECT_TRUE(hasEnded(20s));
    EXPECT_EQ(isFirstButton_, false);
}

TEST_F(AlertAccident, AnAccessiblePressActsAtOnce) {
    start();
    const xcb_window_t alert = awaitFocus();
    std::atomic<bool> isOver{false};
    // The half second never ends.
    std::thread busyHands([&] {
        while (!isOver) {
            typedInto_.takeFocus();
            std::this_thread::sleep_for(unnoticedAbsence);
            typedInto_.giveFocusTo(alert);
            input_.press(XInput::returnKey);
        }
    });
    session_.press("Second");
    EXPECT_TRUE(hasEnded(20s));
    isOver = true;
    busyHands.join();

    EXPECT_EQ(isFirstButton_, false);
}

TEST_F(AlertAccident, ClicksInTheHalfSecondAfterItCameUpPressNothing) {
    const ViewerRectangle button = show(twoButtons()).buttonPlaces.at(0);
    session_.press("Second");
    EXPECT_EQ(answer(), false);
    auto lastWithout = Clock::now();
    bool isThere = false;
    start();
    EXPECT_TRUE(endsWhile([&] {
        const auto now = Clock::now();
        isThere = isThere || XWindow::isAnyAt(*server_, button);
        if (!isThere) {
            lastWithout = now;
        }
        input_.click(button.x + button.width / 2, button.y + button.height / 2);
    }));

    EXPECT_EQ(isFirstButton_, true);
    EXPECT_GE(Clock::now() - lastWithout, halfSecond);
}

TEST_F(AlertAccident, AClickOnAnAlertThatHasWaitedNeedsNoFocusBefore) {
    start();
    const ViewerRectangle button = session_.await("First")->buttonPlaces.at(0);
    const xcb_window_t alert = awaitFocus();
    awaitReaction();
    giveFocusAnew(alert);
    input_.click(button.x + button.width / 2, button.y + button.height / 2);

    EXPECT_TRUE(hasEnded(20s));
    EXPECT_EQ(isFirstButton_, true);
}

}  // namespace

}  // namespace velmora
