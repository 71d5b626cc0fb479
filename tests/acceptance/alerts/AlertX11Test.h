#pragma once

#include <chrono>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include "tests/acceptance/alerts/AlertWindowTest.h"
#include "tests/support/host/HostTest.h"
#include "tests/support/system/TemporaryFolder.h"
#include "tests/support/x11/XInput.h"
#include "tests/support/x11/XServer.h"

namespace velmora {

/// The program that shows alerts on an X server without a window manager.
class AlertX11Test : public AlertWindowTest {
  protected:
    AlertX11Test() { useServer({}); }

    void useServer(const XServer::Options& options) {
        server_ = std::make_unique<XServer>(options);
        environment_.set("DISPLAY", server_->displayName());
    }
    /// A screen of that size, in pixels.
    void useScreen(int width, int height) {
        XServer::Options options;
        options.width = width;
        options.height = height;
        useServer(options);
    }
    /// A desktop whose user has chosen that size of letters.
    void useFontSize(int points) {
        std::ofstream(settings_.path() / "kdeglobals")
            << "[General]\nfont=Sans," << points << ",-1,5,50,0,0,0,0,0\n";
        environment_.set("XDG_CONFIG_HOME", settings_.path());
        environment_.set("XDG_CURRENT_DESKTOP", "KDE");
        environment_.set("KDE_FULL_SESSION", "true");
        environment_.set("KDE_SESSION_VERSION", "5");
    }
    /// How the alert that shows is closed by someone who presses the key until it is.
    std::optional<bool> answerTo(xcb_keysym_t key) {
        std::optional<bool> isFirstButton;
        process_->awaitEnd([&](std::optional<bool> isFirst) {
            EXPECT_TRUE(isFirst.has_value()) << "it could not be shown";
            isFirstButton = isFirst.value_or(false);
        });
        XInput input(*server_);
        EXPECT_TRUE(eventually([&] {
            input.press(key);
            loop_.restart();
            loop_.run_for(std::chrono::milliseconds(20));
            return isFirstButton.has_value();
        }));
        return isFirstButton;
    }

    std::unique_ptr<XServer> server_;

  private:
    TemporaryFolder settings_;
};

}  // namespace velmora
