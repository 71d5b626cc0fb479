#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include "tests/acceptance/alerts/AlertX11Test.h"
#include "tests/support/desktop/WindowManager.h"
#include "tests/support/host/HostTest.h"
#include "tests/support/x11/XWindow.h"

namespace velmora {

namespace {

constexpr ViewerRectangle whole{0, 0, 1280, 720};

/// Alerts under a window manager that leaves the focus to the window that someone works in, which
/// covers the screen.
class AlertManaged : public AlertX11Test {
  protected:
    AlertManaged() {
        EXPECT_TRUE(eventually([&] {
            window_.beChosen();
            return active() == window_.id();
        }));
        environment_.set("DESKTOP_STARTUP_ID", std::nullopt);
        environment_.set("XDG_ACTIVATION_TOKEN", std::nullopt);
    }

    /// The window that the window manager gives the keys.
    xcb_window_t active() const { return first("_NET_ACTIVE_WINDOW"); }
    /// The window that lies above all others.
    xcb_window_t topmost() const {
        const auto windows = XWindow::numbers(*server_, "_NET_CLIENT_LIST_STACKING");
        return windows.empty() ? XCB_NONE : windows.back();
    }
    bool isInState(xcb_window_t window, const std::string& state) const {
        const auto states = XWindow::atoms(*server_, window, "_NET_WM_STATE");
        return std::ranges::find(states, state) != states.end();
    }

    const WindowManager manager_{*server_};
    XWindow window_{*server_, whole};

  private:
    std::uint32_t first(const std::string& property) const {
        const auto values = XWindow::numbers(*server_, property);
        return values.empty() ? XCB_NONE : values.front();
    }
};

TEST_F(AlertManaged, WhatDoesNotGetTheFocusIsSeenAndAsksForAttention) {
    show(twoButtons());
    const xcb_window_t alert = topmost();

    EXPECT_EQ(active(), window_.id());
    ASSERT_NE(alert, window_.id());
    EXPECT_TRUE(isInState(alert, "_NET_WM_STATE_ABOVE"));
    EXPECT_TRUE(eventually([&] { return isInState(alert, "_NET_WM_STATE_DEMANDS_ATTENTION"); }));
}

TEST_F(AlertManaged, WhatItsUserHasJustStartedAsksForTheFocus) {
    for (const char* const token : {"DESKTOP_STARTUP_ID", "XDG_ACTIVATION_TOKEN"}) {
        environment_.set(token, "viewer-1-test_TIME1");
        show(twoButtons());
        EXPECT_TRUE(eventually([&] { return active() == topmost(); })) << token;
        environment_.set(token, std::nullopt);
        session_.press("Second");
        EXPECT_EQ(answer(), false);
    }
}

}  // namespace

}  // namespace velmora
