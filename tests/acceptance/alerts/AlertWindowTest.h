#pragma once

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <memory>
#include <optional>
#include <string>

#include "app/linux/ViewerAlertProcess.h"
#include "tests/support/desktop/AccessibleSession.h"
#include "tests/support/system/BorrowedEnvironment.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

/// The program that shows alerts, alone, in a session of its own.
class AlertWindowTest : public testing::Test {
  protected:
    AlertWindowTest() {
        environment_.set("DISPLAY", std::nullopt);
        environment_.set("WAYLAND_DISPLAY", std::nullopt);
        environment_.set("XDG_RUNTIME_DIR", runtimeFolder_.path());
        for (const auto& [name, value] : session_.environment()) {
            environment_.set(name, value);
        }
    }

    /// Starts the program and waits until its window is there.
    SeenAlert show(const ViewerAlert& alert) {
        process_ = ViewerAlertProcess::start(loop_, ViewerAlertProcess::program(), alert);
        EXPECT_NE(process_, nullptr);
        const auto seen = session_.await(alert.buttons.front());
        EXPECT_TRUE(seen.has_value()) << "no alert \"" << alert.title << '"';
        return seen.value_or(SeenAlert());
    }
    /// By which button the alert that shows is closed; nothing when it is by none.
    std::optional<bool> answer() {
        std::optional<bool> answer;
        bool hasEnded = false;
        process_->awaitEnd([&](std::optional<bool> isFirstButton) {
            answer = isFirstButton;
            hasEnded = true;
        });
        loop_.restart();
        loop_.run_for(std::chrono::seconds(20));
        EXPECT_TRUE(hasEnded);
        return answer;
    }

    AccessibleSession session_;
    TemporaryFolder runtimeFolder_;
    BorrowedEnvironment environment_;
    boost::asio::io_context loop_{1};
    std::shared_ptr<ViewerAlertProcess> process_;
};

inline ViewerAlert twoButtons(ViewerAlertStyle style = ViewerAlertStyle::informational) {
    return {style, "Title", "Informative text.", {"First", "Second"}};
}

}  // namespace velmora
