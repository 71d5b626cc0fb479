#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "app/ViewerHostApplicationDelegate.h"
#include "tests/support/app/ScriptedApplicationShell.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {

/// A screen capture whose list of displays never comes.
class SilentScreenCapture final : public ViewerScreenCapture {
  public:
    bool preflightAccess() override { return isGranted; }
    void shareableDisplays(DisplaysCompletion completion) override {
        waiting_.push_back(std::move(completion));
    }
    std::vector<ViewerNativeScreen> screens() override { return {}; }
    bool comesBefore(const std::string&, const std::string&) override { return false; }
    std::shared_ptr<ViewerDisplayStream> makeStream(const ViewerNativeDisplay&,
                                                    const ViewerStreamSettings&) override {
        return nullptr;
    }

    bool isGranted = true;

  private:
    std::vector<DisplaysCompletion> waiting_;
};

/// The application in a simulated world, launched by the test. One thread.
struct LaunchedHost final {
    explicit LaunchedHost(std::uint64_t seed = 1) : world(seed), shell(makeShell()) {
        shell->capture = capture;
        delegate = std::make_shared<ViewerHostApplicationDelegate>(shell);
    }
    ~LaunchedHost() {
        // A task that still waits holds the application, which holds what the task waits for.
        if (delegate) {
            (void)delegate->applicationShouldTerminate();
        }
        shell->access = false;
        shell->answerPreflight(false);
        shell->answerRequest(false);
        world.settle();
        shell->closeAlert();
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
        shell->access = false;
        launch();
        EXPECT_TRUE(shell->showsAlert());
    }
    /// Launches with the permission granted, up to the alert that tells why the server failed.
    void fail() {
        launch();
        listener().change(ViewerListenerState::failed, "TCP port 9090: Address already in use");
        world.settle();
        EXPECT_TRUE(shell->showsAlert());
    }
    /// A client asks for the list of displays, whose answer hangs.
    void requestThatHangs() {
        listener().connect()->send("GET /viewer/v1/displays HTTP/1.1\r\n\r\n");
        world.settle();
    }
    ScriptedListener& listener() { return *shell->transport->listeners.at(0); }

    SimulatedWorld world;
    std::shared_ptr<SilentScreenCapture> capture = std::make_shared<SilentScreenCapture>();
    std::shared_ptr<ScriptedApplicationShell> shell;
    std::shared_ptr<ViewerHostApplicationDelegate> delegate;

  private:
    std::shared_ptr<ScriptedApplicationShell> makeShell() {
        return std::make_shared<ScriptedApplicationShell>(world);
    }
};

}  // namespace velmora
