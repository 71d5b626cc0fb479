#include "tests/acceptance/mac/MacHost.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <utility>

#include "app/ViewerProcessEntry.h"
#include "core/runtime/ViewerCheck.h"
#include "tests/mac/frameworks/application/ApplicationScript.h"
#include "tests/mac/frameworks/dispatch/DispatchSources.h"
#include "tests/mac/frameworks/dispatch/DispatchWorld.h"
#include "tests/mac/objc/AutoreleasePool.h"

namespace velmora {

namespace {

/// Ends the run loop at once.
class LastDelegate final : public ViewerApplicationDelegate {
  public:
    explicit LastDelegate(ViewerApplicationShell& shell) : shell_(shell) {}
    void applicationDidFinishLaunching() override { shell_.terminate(); }
    ViewerTerminateReply applicationShouldTerminate() override { return ViewerTerminateReply::now; }

  private:
    ViewerApplicationShell& shell_;
};

}  // namespace

MacHost::MacHost(std::vector<const char*> arguments)
    : thread_([this, arguments = std::move(arguments)]() mutable { run(std::move(arguments)); }) {
    (void)status();  // until it is launched
}

MacHost::~MacHost() {
    if (!status()) {
        raise(SIGTERM);
        constexpr std::chrono::seconds longerThanTheGrace{10};
        advance(longerThanTheGrace);
        viewerCheck(status() == 0, "a signal ends the host");
    }
    thread_.join();
    for (const int signal : {SIGINT, SIGTERM, SIGPIPE}) {
        (void)std::signal(signal, SIG_DFL);  // fails for no signal that there is
    }
}

void MacHost::run(std::vector<const char*> arguments) {
    {
        const bridge::AutoreleasePool pool;
        ApplicationScript::shared().waitForMore = [this] { waitForAction(); };
        const auto services = makePlatformServices();
        const int status = ViewerProcessEntry::run(services, arguments);
        ApplicationScript::shared().waitForMore = nullptr;
        // The real process ends here, with all that it holds. Here everything ends by itself, once
        // the waits are over and the shell lets go of the delegate, which holds the shell.
        constexpr std::chrono::minutes longerThanAnyWait{1};
        DispatchWorld::shared().advance(longerThanAnyWait);
        services.shell->run(std::make_shared<LastDelegate>(*services.shell));
        const std::lock_guard guard(lock_);
        status_ = status;
    }
    const std::lock_guard guard(lock_);
    isIdle_ = true;
    changed_.notify_all();
}

void MacHost::waitForAction() {
    std::function<void()> action;
    {
        std::unique_lock guard(lock_);
        isIdle_ = true;
        changed_.notify_all();
        changed_.wait(guard, [this] { return action_ != nullptr; });
        action.swap(action_);
        isIdle_ = false;
    }
    action();
}

void MacHost::waitUntilIdle(std::unique_lock<std::mutex>& guard) {
    const bool isIdle = changed_.wait_for(guard, DispatchWorld::patience,
                                          [this] { return isIdle_ && action_ == nullptr; });
    EXPECT_TRUE(isIdle) << "the host's main thread hangs";
}

void MacHost::perform(std::function<void()> action) {
    std::unique_lock guard(lock_);
    waitUntilIdle(guard);
    if (!status_) {
        action_ = std::move(action);
        isIdle_ = false;
        changed_.notify_all();
        waitUntilIdle(guard);
    }
}

void MacHost::advance(std::chrono::nanoseconds duration) {
    perform([duration] { DispatchWorld::shared().advance(duration); });
}

void MacHost::raise(int signal) {
    perform([signal] { FakeDispatchSources::raise(signal); });
}

std::optional<int> MacHost::status() {
    std::unique_lock guard(lock_);
    waitUntilIdle(guard);
    return status_;
}

}  // namespace velmora
