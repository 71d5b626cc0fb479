#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

#include "app/ViewerHostApplicationDelegate.h"
#include "tests/support/app/ScriptedPlatform.h"

namespace velmora {

/// The application in a simulated world, launched by the test. One thread.
struct LaunchedHost final : ScriptedPlatform {
    explicit LaunchedHost(std::uint64_t seed = 1)
        : ScriptedPlatform(seed),
          delegate(std::make_shared<ViewerHostApplicationDelegate>(services())) {}
    ~LaunchedHost() {
        // A task that still waits holds the application, which holds what the task waits for.
        if (delegate) {
            (void)delegate->applicationShouldTerminate();
        }
        capture->seenAccess = ViewerCaptureAccess::requestable;
        capture->answerLooks(ViewerCaptureAccess::requestable);
        capture->answerRequests(false);
        world.settle();
        alerts->close();
        world.runToEnd();
    }

    void launch() {
        shell->launch(delegate);
        world.settle();
    }
    /// Launches with the permission granted and lets the listener become ready.
    void serve(std::uint16_t port = 9090) {
        launch();
        listener().becomeReady(port);
        world.settle();
    }
    /// Launches without the permission, up to the consent alert.
    void ask() {
        capture->seenAccess = ViewerCaptureAccess::requestable;
        launch();
        EXPECT_TRUE(alerts->isShowing());
    }
    /// Launches with the permission granted, up to the alert that tells why the server failed.
    void fail() {
        launch();
        listener().change(ViewerListenerState::failed, "TCP port 9090: Address already in use");
        world.settle();
        EXPECT_TRUE(alerts->isShowing());
    }
    /// A client asks for the list of displays, whose answer hangs.
    void requestThatHangs() {
        listener().connect()->send("GET /viewer/v1/displays HTTP/1.1\r\n\r\n");
        world.settle();
    }
    ScriptedListener& listener() { return *transport->listeners.at(0); }

    std::shared_ptr<ViewerHostApplicationDelegate> delegate;
};

}  // namespace velmora
