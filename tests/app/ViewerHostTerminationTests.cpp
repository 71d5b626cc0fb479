#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <string>

#include "tests/app/LaunchedHost.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class ViewerHostTerminationBy : public testing::TestWithParam<int> {};

TEST_P(ViewerHostTerminationBy, ASignalStopsTheServerAndEndsTheApplication) {
    LaunchedHost host;
    host.serve();
    host.shell->raise(GetParam());
    host.world.settle();

    EXPECT_EQ(host.listener().cancellations(), 1U);
    EXPECT_THAT(host.shell->ends(), ElementsAre(host.world.now()));
}

TEST_P(ViewerHostTerminationBy, ASecondSignalDoesNothing) {
    LaunchedHost host;
    host.serve();
    host.requestThatHangs();
    host.shell->raise(GetParam());
    host.shell->raise(GetParam());
    host.world.settle();
    EXPECT_EQ(host.shell->liveSignalSources(), 0U);
    host.shell->raise(GetParam());
    host.world.runToEnd();

    EXPECT_EQ(host.listener().cancellations(), 1U);
    EXPECT_EQ(host.shell->terminationRequests(), 1U);
    EXPECT_EQ(host.shell->ends().size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Signals, ViewerHostTerminationBy, testing::Values(SIGINT, SIGTERM));

TEST(ViewerHostTermination, AQuitRequestIsPutOffUntilTheServerHasStopped) {
    LaunchedHost host;
    host.serve();
    EXPECT_EQ(host.delegate->applicationShouldTerminate(), ViewerTerminateReply::cancel);
    EXPECT_EQ(host.delegate->applicationShouldTerminate(), ViewerTerminateReply::cancel);
    host.world.settle();

    EXPECT_EQ(host.listener().cancellations(), 1U);
    EXPECT_EQ(host.shell->terminationRequests(), 1U);
    EXPECT_EQ(host.delegate->applicationShouldTerminate(), ViewerTerminateReply::now);
}

TEST(ViewerHostTermination, ASecondQuitRequestStartsNothingAgain) {
    LaunchedHost host;
    host.serve();
    host.requestThatHangs();
    EXPECT_EQ(host.delegate->applicationShouldTerminate(), ViewerTerminateReply::cancel);
    host.world.settle();
    const std::size_t timers = host.world.pendingTimers();
    EXPECT_EQ(host.delegate->applicationShouldTerminate(), ViewerTerminateReply::cancel);
    host.world.settle();

    EXPECT_EQ(host.world.pendingTimers(), timers);
}

TEST(ViewerHostTermination, AQuitRequestAndASignalTogetherAreOneShutdown) {
    LaunchedHost host;
    host.serve();
    host.shell->quit();
    host.shell->raise(SIGINT);
    host.shell->quit();
    host.shell->raise(SIGTERM);
    host.world.runToEnd();

    EXPECT_EQ(host.listener().cancellations(), 1U);
    EXPECT_EQ(host.shell->ends().size(), 1U);
}

TEST(ViewerHostTermination, TheSignalSourcesAreCancelledAtOnce) {
    LaunchedHost host;
    host.serve();
    EXPECT_EQ(host.shell->liveSignalSources(), 2U);
    EXPECT_EQ(host.delegate->applicationShouldTerminate(), ViewerTerminateReply::cancel);

    EXPECT_EQ(host.shell->liveSignalSources(), 0U);
}

TEST(ViewerHostTermination, TheEndOfTheSessionIsAnOrderlyEnd) {
    LaunchedHost host;
    host.serve();
    const auto begin = host.world.now();
    host.capture->endSession();
    EXPECT_EQ(host.shell->liveSignalSources(), 0U);
    host.shell->raise(SIGTERM);
    host.world.runToEnd();

    EXPECT_EQ(host.listener().cancellations(), 1U);
    EXPECT_EQ(host.shell->terminationRequests(), 1U);
    EXPECT_THAT(host.shell->ends(), ElementsAre(begin));
}

TEST(ViewerHostTermination, TheEndOfTheSessionAfterASignalDoesNothingMore) {
    LaunchedHost host;
    host.serve();
    host.requestThatHangs();
    const auto begin = host.world.now();
    host.shell->raise(SIGTERM);
    host.world.settle();
    const std::size_t timers = host.world.pendingTimers();
    host.capture->endSession();
    host.world.settle();
    EXPECT_EQ(host.world.pendingTimers(), timers);
    host.world.runToEnd();

    EXPECT_THAT(host.shell->ends(), ElementsAre(begin + 3s));
}

TEST(ViewerHostTermination, TheEndOfTheSessionClosesTheAlertThatTellsWhyTheServerFailed) {
    LaunchedHost host;
    host.fail();
    host.capture->endSession();
    host.world.runToEnd();

    EXPECT_FALSE(host.alerts->isShowing());
    EXPECT_EQ(host.shell->ends().size(), 1U);
}

TEST(ViewerHostTermination, TheSessionIsNotWatchedWithoutThePermission) {
    LaunchedHost host;
    host.ask();
    EXPECT_THAT(host.calls(), Not(Contains("watch session")));
    host.capture->requestedAccess = true;
    host.capture->seenAccess = ViewerCaptureAccess::granted;
    host.alerts->press(0);
    host.world.settle();

    EXPECT_THAT(host.calls(), Contains("watch session"));
}

TEST(ViewerHostTermination, TheEndOfTheSessionOfAnApplicationThatIsGoneDoesNothing) {
    LaunchedHost host;
    host.serve();
    host.delegate.reset();
    host.capture->endSession();
    host.world.runToEnd();

    EXPECT_EQ(host.listener().cancellations(), 0U);
}

TEST(ViewerHostTermination, AStopThatHangsDelaysTheEndByThreeSeconds) {
    LaunchedHost host;
    host.serve();
    host.requestThatHangs();
    const auto begin = host.world.now();
    host.shell->raise(SIGTERM);
    host.world.advance(2999ms);
    EXPECT_THAT(host.shell->ends(), IsEmpty());
    host.world.runToEnd();

    EXPECT_THAT(host.shell->ends(), ElementsAre(begin + 3s));
}

TEST(ViewerHostTermination, TheGraceThatEndsAfterTheStopDoesNothing) {
    LaunchedHost host;
    host.serve();
    const auto begin = host.world.now();
    host.shell->raise(SIGTERM);
    host.world.advance(10s);

    EXPECT_THAT(host.shell->ends(), ElementsAre(begin));
    EXPECT_EQ(host.shell->terminationRequests(), 1U);
}

TEST(ViewerHostTermination, ASignalWhileThePermissionIsUnknownEndsTheApplicationAtOnce) {
    LaunchedHost host;
    host.capture->seenAccess.reset();
    host.launch();
    const auto begin = host.world.now();
    host.shell->raise(SIGTERM);
    host.world.settle();

    EXPECT_THAT(host.shell->ends(), ElementsAre(begin));
    EXPECT_THAT(host.transport->requestedPorts, IsEmpty());
}

TEST(ViewerHostTermination, ASignalWhileTheSystemsRequestWaitsTakesItBackAndEndsTheApplication) {
    LaunchedHost host;
    host.capture->seenAccess = ViewerCaptureAccess::requestable;
    host.alerts->presses = {0};
    host.capture->requestedAccess.reset();
    host.launch();
    ASSERT_EQ(host.capture->heldRequests.size(), 1U);
    EXPECT_EQ(host.calls().back(), "request");
    const auto begin = host.world.now();
    host.shell->raise(SIGTERM);
    host.world.settle();

    EXPECT_THAT(host.calls(), Contains("withdraw"));
    EXPECT_THAT(host.shell->ends(), ElementsAre(begin));
}

TEST(ViewerHostTermination, APermissionThatComesAfterTheSignalStartsNothing) {
    LaunchedHost host;
    host.capture->seenAccess.reset();
    host.launch();
    host.shell->raise(SIGTERM);
    host.capture->answerLooks(ViewerCaptureAccess::granted);
    host.world.runToEnd();

    EXPECT_THAT(host.transport->requestedPorts, IsEmpty());
    EXPECT_THAT(host.shell->lines(), IsEmpty());
    EXPECT_THAT(host.calls(), Not(Contains("watch session")));
    EXPECT_EQ(host.shell->terminationRequests(), 1U);
}

TEST(ViewerHostTermination, ARefusalThatComesAfterTheSignalAsksForNothingMore) {
    LaunchedHost host;
    host.capture->seenAccess.reset();
    host.launch();
    host.shell->raise(SIGTERM);
    host.world.settle();
    host.capture->answerLooks(ViewerCaptureAccess::requestable);
    host.world.runToEnd();

    EXPECT_EQ(host.shell->terminationRequests(), 1U);
    EXPECT_EQ(host.shell->ends().size(), 1U);
}

TEST(ViewerHostTermination, ASignalDuringTheStartEndsItWithoutALine) {
    LaunchedHost host;
    host.launch();
    host.shell->raise(SIGTERM);
    host.world.settle();

    EXPECT_EQ(host.listener().cancellations(), 1U);
    EXPECT_THAT(host.shell->lines(), IsEmpty());
    EXPECT_EQ(host.shell->terminationRequests(), 1U);
    EXPECT_EQ(host.shell->ends().size(), 1U);
}

TEST(ViewerHostTermination, AStartThatFailsAfterTheSignalAsksForNothingMore) {
    LaunchedHost host;
    host.launch();
    EXPECT_EQ(host.delegate->applicationShouldTerminate(), ViewerTerminateReply::cancel);
    host.listener().change(ViewerListenerState::failed, "Address already in use");
    host.world.runToEnd();

    EXPECT_EQ(host.shell->terminationRequests(), 1U);
    EXPECT_EQ(host.shell->ends().size(), 1U);
}

TEST(ViewerHostTermination, AnApplicationThatNeverServedStillStopsItsServer) {
    LaunchedHost host;
    EXPECT_EQ(host.delegate->applicationShouldTerminate(), ViewerTerminateReply::cancel);
    EXPECT_THAT(host.calls(), ElementsAre("close alert", "withdraw", "machine name"));
    host.shell->launch(host.delegate);
    host.world.runToEnd();

    EXPECT_THAT(host.transport->requestedPorts, IsEmpty());
}

TEST(ViewerHostTermination, AnApplicationThatIsGoneIsNotAskedAnyMore) {
    LaunchedHost host;
    host.serve();
    host.requestThatHangs();
    EXPECT_EQ(host.delegate->applicationShouldTerminate(), ViewerTerminateReply::cancel);
    host.delegate.reset();
    host.world.runToEnd();

    EXPECT_EQ(host.shell->terminationRequests(), 0U);
}

TEST(ViewerHostTermination, ASignalForAnApplicationThatIsGoneDoesNothing) {
    LaunchedHost host;
    host.serve();
    host.shell->raise(SIGTERM);
    host.delegate.reset();
    host.world.runToEnd();

    EXPECT_EQ(host.listener().cancellations(), 0U);
}

/// Plays one course of the application's life by chance and returns when termination began.
class ByChance final {
  public:
    explicit ByChance(LaunchedHost& host) : host_(host) {}

    void live() {
        host_.capture->seenAccess = one(3) ? std::nullopt : std::optional(access());
        host_.capture->requestedAccess = one(3) ? std::nullopt : std::optional(one(2));
        host_.shell->launch(host_.delegate);
        for (int step = 0; step < 12; ++step) {
            act();
            host_.world.advance(std::chrono::milliseconds(host_.world.choose(400)));
        }
        host_.capture->answerLooks(access());
        host_.shell->raise(SIGTERM);
        host_.world.advance(3s);
    }

  private:
    /// True in one of `count` cases.
    bool one(std::size_t count) { return host_.world.choose(count) == 0; }
    ViewerCaptureAccess access() {
        return one(4)   ? ViewerCaptureAccess::sessionRefuses
               : one(3) ? ViewerCaptureAccess::requestable
                        : ViewerCaptureAccess::granted;
    }

    void act() {
        switch (host_.world.choose(9)) {
            case 0:
                host_.capture->answerLooks(access());
                break;
            case 1:
                onListener([](ScriptedListener& listener) { listener.becomeReady(9090); });
                break;
            case 2:
                onListener([](ScriptedListener& listener) {
                    listener.change(ViewerListenerState::failed, "broken");
                });
                break;
            case 3:
                onListener([](ScriptedListener& listener) {
                    listener.connect()->send("GET /viewer/v1/displays HTTP/1.1\r\n\r\n");
                });
                break;
            case 4:
                host_.alerts->press(host_.world.choose(2));
                break;
            case 5:
                host_.capture->answerRequests(one(2));
                break;
            case 6:
                if (one(4)) {
                    host_.shell->raise(one(2) ? SIGINT : SIGTERM);
                }
                break;
            case 7:
                if (one(6)) {
                    host_.capture->endSession();
                }
                break;
            default:
                if (one(6)) {
                    host_.shell->quit();
                }
        }
    }

    template <typename Action>
    void onListener(Action action) {
        if (!host_.transport->listeners.empty()) {
            action(host_.listener());
        }
    }

    LaunchedHost& host_;
};

/// Alerts, requests and watches that came after the application had alerts closed, for its end.
std::ptrdiff_t askedAfterClosing(const LaunchedHost& host) {
    const auto closing = std::ranges::find(host.calls(), "close alert");
    return std::count_if(closing, host.calls().end(), [](const std::string& call) {
        return call == "request" || call == "watch session" || call.starts_with("alert ");
    });
}

TEST(ViewerHostTermination, WhateverHappensTheApplicationEndsExactlyOnceWithinTheGrace) {
    for (std::uint64_t seed = 1; seed <= 2000; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        LaunchedHost host(seed);
        ByChance(host).live();

        ASSERT_EQ(host.shell->ends().size(), 1U);
        ASSERT_LE(host.shell->lines().size(), 1U);
        ASSERT_FALSE(host.alerts->isShowing());
        ASSERT_EQ(askedAfterClosing(host), 0);
        ASSERT_EQ(host.shell->liveSignalSources(), 0U);
        ASSERT_LE(host.transport->listeners.size(), 1U);
        for (const auto& listener : host.transport->listeners) {
            ASSERT_EQ(listener->cancellations(), 1U);
        }
        host.world.runToEnd();
        ASSERT_EQ(host.shell->ends().size(), 1U);
    }
}

}  // namespace
}  // namespace velmora
