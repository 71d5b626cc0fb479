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

TEST(ViewerLinuxApplicationShell, TheLoopRunsUntilTheDelegateAgreesToTerminate) {
    const auto loop = std::make_shared<boost::asio::io_context>();
    ViewerLinuxApplicationShell shell(loop);
    const auto delegate = std::make_shared<ScriptedDelegate>();
    delegate->agreesAt = 2;
    delegate->onLaunch = [&] {
        shell.terminate();
        boost::asio::post(*loop, [&] { shell.terminate(); });
    };

    EXPECT_EQ(shell.run(delegate), 0);
    EXPECT_EQ(delegate->requests, 2);
}

TEST(ViewerLinuxApplicationShell, TheLoopGoesOnWhenNothingIsLeftToDo) {
    const auto loop = std::make_shared<boost::asio::io_context>();
    ViewerLinuxApplicationShell shell(loop);
    const auto delegate = std::make_shared<ScriptedDelegate>();
    std::promise<void> isLaunched;
    delegate->onLaunch = [&] { isLaunched.set_value(); };
    std::thread other([&] {
        isLaunched.get_future().wait();
        boost::asio::post(*loop, [&] { shell.terminate(); });
    });

    EXPECT_EQ(shell.run(delegate), 0);
    EXPECT_EQ(delegate->requests, 1);
    other.join();
}

TEST(ViewerLinuxApplicationShell, ASignalReachesItsSourceInTheLoop) {
    const auto loop = std::make_shared<boost::asio::io_context>();
    ViewerLinuxApplicationShell shell(loop);
    const auto delegate = std::make_shared<ScriptedDelegate>();
    std::shared_ptr<ViewerSignalSource> source;
    delegate->onLaunch = [&] {
        source = shell.makeSignalSource(SIGUSR2, [&] { shell.terminate(); });
        ::kill(::getpid(), SIGUSR2);
    };
    shell.ignoreSignal(SIGUSR2);

    EXPECT_EQ(shell.run(delegate), 0);
    EXPECT_EQ(delegate->requests, 1);
}

TEST(ViewerLinuxApplicationShell, TheProcessLeavesWithItsStatusWhileAThreadHangs) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        {
            const auto loop = std::make_shared<boost::asio::io_context>();
            ViewerLinuxApplicationShell shell(loop);
            std::thread([] { ::pause(); }).detach();
            shell.exit(7);
        },
        testing::ExitedWithCode(7), "");
}

}  // namespace

}  // namespace velmora
