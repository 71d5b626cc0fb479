#include "app/linux/ViewerLinuxApplicationShell.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <csignal>
#include <functional>
#include <future>
#include <memory>
#include <thread>

#include "tests/support/system/BorrowedEnvironment.h"

namespace velmora {

namespace {

/// A delegate whose answers a test scripts.
class ScriptedDelegate final : public ViewerApplicationDelegate {
  public:
    void applicationDidFinishLaunching() override { onLaunch(); }
    ViewerTerminateReply applicationShouldTerminate() override {
        ++requests;
        return requests < agreesAt ? ViewerTerminateReply::cancel : ViewerTerminateReply::now;
    }

    std::function<void()> onLaunch;
    int agreesAt = 1;
    int requests = 0;
};

class ViewerLinuxApplicationShellTest : public testing::Test {
  protected:
    const std::shared_ptr<boost::asio::io_context> loop_ =
        std::make_shared<boost::asio::io_context>();
    const std::shared_ptr<ViewerProcessAlertPresenter> alerts_ =
        std::make_shared<ViewerProcessAlertPresenter>(loop_, SCRIPTED_ALERT_PATH);
    const std::shared_ptr<ViewerLinuxApplicationShell> shell_ =
        std::make_shared<ViewerLinuxApplicationShell>(loop_, alerts_);
};

TEST_F(ViewerLinuxApplicationShellTest, TheLoopRunsUntilTheDelegateAgreesToTerminate) {
    const auto delegate = std::make_shared<ScriptedDelegate>();
    delegate->agreesAt = 2;
    delegate->onLaunch = [&] {
        shell_->terminate();
        boost::asio::post(*loop_, [&] { shell_->terminate(); });
    };

    EXPECT_EQ(shell_->run(delegate), 0);
    EXPECT_EQ(delegate->requests, 2);
}

TEST_F(ViewerLinuxApplicationShellTest, TheLoopGoesOnWhenNothingIsLeftToDo) {
    const auto delegate = std::make_shared<ScriptedDelegate>();
    std::promise<void> isLaunched;
    delegate->onLaunch = [&] { isLaunched.set_value(); };
    std::thread other([&] {
        isLaunched.get_future().wait();
        boost::asio::post(*loop_, [&] { shell_->terminate(); });
    });

    EXPECT_EQ(shell_->run(delegate), 0);
    EXPECT_EQ(delegate->requests, 1);
    other.join();
}

TEST_F(ViewerLinuxApplicationShellTest, ASignalReachesItsSourceInTheLoop) {
    const auto delegate = std::make_shared<ScriptedDelegate>();
    std::shared_ptr<ViewerSignalSource> source;
    delegate->onLaunch = [&] {
        source = shell_->makeSignalSource(SIGUSR2, [&] { shell_->terminate(); });
        ::kill(::getpid(), SIGUSR2);
    };
    shell_->ignoreSignal(SIGUSR2);

    EXPECT_EQ(shell_->run(delegate), 0);
    EXPECT_EQ(delegate->requests, 1);
}

TEST_F(ViewerLinuxApplicationShellTest, ASignalThatIsIgnoredDoesNotEndTheProcess) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        {
            (void)std::signal(SIGUSR1, SIG_DFL);
            shell_->ignoreSignal(SIGUSR1);
            (void)::kill(::getpid(), SIGUSR1);
            shell_->exit(7);
        },
        testing::ExitedWithCode(7), "");
}

TEST_F(ViewerLinuxApplicationShellTest, AQuitDuringAnAlertIsPutOffUntilItHasClosed) {
    BorrowedEnvironment environment;
    environment.set("DISPLAY", ":7");
    const auto delegate = std::make_shared<ScriptedDelegate>();
    delegate->onLaunch = [&] {
        const ViewerAlert alert(ViewerAlertStyle::critical, "exit", "10", {"OK"});
        alerts_->show(alert, [&](bool isFirstButton) {
            EXPECT_TRUE(isFirstButton);
            EXPECT_EQ(delegate->requests, 0);
        });
        shell_->terminate();
        shell_->terminate();
        EXPECT_EQ(delegate->requests, 0);
    };

    EXPECT_EQ(shell_->run(delegate), 0);
    EXPECT_EQ(delegate->requests, 1);
}

TEST_F(ViewerLinuxApplicationShellTest, TheProcessLeavesWithItsStatusWhileAThreadHangs) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        {
            std::thread([] { ::pause(); }).detach();
            shell_->exit(7);
        },
        testing::ExitedWithCode(7), "");
}

}  // namespace

}  // namespace velmora
