#include <gmock/gmock.h>

#include <csignal>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/app/mac/ApplicationTest.h"
#include "tests/mac/frameworks/FrameworkCalls.h"
#include "tests/mac/frameworks/dispatch/DispatchSources.h"

// The application on AppKit: run loop, signals, and what is asked of the system.

namespace velmora {
namespace {

using testing::ElementsAre;

using ViewerAppKitApplicationShell = ApplicationTest;

/// Keeps the process at its full speed and lets the machine sleep.
constexpr const char* whileAwake = "beginActivity 15728639";

/// How a signal is dealt with now.
void (*disposition(int signal))(int) {
    struct sigaction action{};
    EXPECT_EQ(sigaction(signal, nullptr, &action), 0);
    return action.sa_handler;
}

/// Answers as the test says, and notes what it was asked.
class AnsweringDelegate final : public ViewerApplicationDelegate {
  public:
    void applicationDidFinishLaunching() override {
        ++launches;
        if (onLaunch) {
            onLaunch();
        }
    }
    ViewerTerminateReply applicationShouldTerminate() override {
        ++questions;
        return reply;
    }

    int launches = 0;
    int questions = 0;
    ViewerTerminateReply reply = ViewerTerminateReply::now;
    std::function<void()> onLaunch;
};

TEST_F(ViewerAppKitApplicationShell, ASignalIsIgnoredOnRequestAndABrokenPipeAlways) {
    EXPECT_EQ(disposition(SIGPIPE), SIG_IGN);
    EXPECT_EQ(disposition(SIGTERM), SIG_DFL);
    services_.shell->ignoreSignal(SIGTERM);
    EXPECT_EQ(disposition(SIGTERM), SIG_IGN);
}

TEST_F(ViewerAppKitApplicationShell, ASignalSourceTellsEachArrivalOfItsSignal) {
    int arrivals = 0;
    const auto source = services_.shell->makeSignalSource(SIGTERM, [&] { ++arrivals; });
    FakeDispatchSources::raise(SIGTERM);
    EXPECT_EQ(arrivals, 0);
    world_.settle();
    EXPECT_EQ(arrivals, 1);
    FakeDispatchSources::raise(SIGINT);
    FakeDispatchSources::raise(SIGTERM);
    world_.settle();
    EXPECT_EQ(arrivals, 2);
}

TEST_F(ViewerAppKitApplicationShell, ACancelledSignalSourceIsSilentAlsoForWhatHasArrived) {
    int arrivals = 0;
    const auto source = services_.shell->makeSignalSource(SIGTERM, [&] { ++arrivals; });
    FakeDispatchSources::raise(SIGTERM);
    source->cancel();
    source->cancel();
    world_.settle();
    EXPECT_EQ(arrivals, 0);
    EXPECT_EQ(FakeDispatchSources::watching(SIGTERM), 0U);
}

TEST_F(ViewerAppKitApplicationShell, ASignalSourceMayBeCancelledAndDroppedByItsHandler) {
    int arrivals = 0;
    std::shared_ptr<ViewerSignalSource> source;
    source = services_.shell->makeSignalSource(SIGTERM, [&] {
        source->cancel();
        source = nullptr;
        ++arrivals;
    });
    FakeDispatchSources::raise(SIGTERM);
    FakeDispatchSources::raise(SIGTERM);
    world_.settle();
    EXPECT_EQ(arrivals, 1);
}

TEST_F(ViewerAppKitApplicationShell, ADroppedSignalSourceWatchesNoMore) {
    const std::size_t before = FakeDispatchSources::droppedWhileSuspended();
    (void)services_.shell->makeSignalSource(SIGTERM, [] {});
    world_.settle();
    EXPECT_EQ(FakeDispatchSources::watching(SIGTERM), 0U);
    EXPECT_EQ(FakeDispatchSources::droppedWhileSuspended(), before);
}

TEST_F(ViewerAppKitApplicationShell, ItRunsAsAnAccessoryAndTellsItsDelegateOnce) {
    const auto delegate = std::make_shared<AnsweringDelegate>();
    delegate->onLaunch = [this] { services_.shell->terminate(); };
    EXPECT_EQ(services_.shell->run(delegate), 0);
    EXPECT_EQ(delegate->launches, 1);
    EXPECT_EQ(delegate->questions, 1);
    EXPECT_THAT(FrameworkCalls::take(),
                ElementsAre("setActivationPolicy 1", whileAwake, "run", "terminate now"));
}

TEST_F(ViewerAppKitApplicationShell, ItRunsOnUntilItsDelegateAgreesToTerminate) {
    const auto delegate = std::make_shared<AnsweringDelegate>();
    delegate->reply = ViewerTerminateReply::cancel;
    bool goesOn = false;
    script_.whenIdle = {[&] { services_.shell->terminate(); },
                        [&] {
                            goesOn = true;
                            delegate->reply = ViewerTerminateReply::now;
                            services_.shell->terminate();
                        }};
    EXPECT_EQ(services_.shell->run(delegate), 0);
    EXPECT_TRUE(goesOn);
    EXPECT_EQ(delegate->questions, 2);
}

TEST_F(ViewerAppKitApplicationShell, ItKeepsItsDelegateWhichAppKitDoesNot) {
    auto delegate = std::make_shared<AnsweringDelegate>();
    const std::weak_ptr<AnsweringDelegate> weak = delegate;
    script_.whenIdle = {[&] {
        EXPECT_FALSE(weak.expired());
        services_.shell->terminate();
    }};
    services_.shell->run(std::move(delegate));
    EXPECT_FALSE(weak.expired());
    services_.shell = nullptr;
    EXPECT_TRUE(weak.expired());
}

TEST_F(ViewerAppKitApplicationShell, TheMachinesNameIsTheOneForPeople) {
    EXPECT_EQ(services_.shell->machineName(), std::nullopt);
    script_.hostName = "Студия";
    EXPECT_EQ(services_.shell->machineName(), "Студия");
}

TEST_F(ViewerAppKitApplicationShell, ALineIsWrittenAtOnce) {
    testing::internal::CaptureStdout();
    services_.shell->printLine("one line");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "one line\n");
}

TEST_F(ViewerAppKitApplicationShell, ItEndsTheProcessAsItStands) {
    EXPECT_EXIT(services_.shell->exit(2), testing::ExitedWithCode(2), "");
}

}  // namespace
}  // namespace velmora
