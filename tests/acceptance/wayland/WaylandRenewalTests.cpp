#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <string>

#include "tests/acceptance/Watcher.h"
#include "tests/acceptance/wayland/WaylandHostTest.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;
using LockOrder = PortalBackend::LockOrder;

/// A grant that its desktop ends, while clients poll both displays.
class WaylandRenewal : public MutterHostTest {
  protected:
    void serveAndWatch() {
        ASSERT_NO_FATAL_FAILURE(serve());
        left_ = idOf(red);
        right_ = idOf(green);
        ASSERT_NE(left_, "");
        ASSERT_NE(right_, "");
        ASSERT_TRUE(backend_.await("asked").has_value());
        watch();
    }
    void watch() {
        leftWatcher_ = std::make_unique<Watcher>(left_, red);
        rightWatcher_ = std::make_unique<Watcher>(right_, green);
    }
    /// Both displays are served anew, without a question and in their own colours.
    void expectRenewed() {
        EXPECT_TRUE(backend_.await("renewed").has_value());
        expectFrames();
        expectNoQuestion();
    }
    void expectNoQuestion() {
        EXPECT_EQ(backend_.count("asked"), 0U);
        EXPECT_EQ(backend_.count("renewed"), 0U);
    }
    void expectFrames() {
        for (const auto* watcher : {leftWatcher_.get(), rightWatcher_.get()}) {
            const std::size_t before = watcher->frames();
            EXPECT_TRUE(eventually([&] { return watcher->frames() > before; }));
        }
        expectNothingStrange();
    }
    void expectNothingStrange() {
        for (const auto* watcher : {leftWatcher_.get(), rightWatcher_.get()}) {
            EXPECT_EQ(watcher->strangeFrames(), 0U);
            EXPECT_EQ(watcher->strangeAnswers(), 0U);
        }
    }
    /// The person has ended it: nothing is served any more, and nobody is asked.
    void expectStopped() {
        EXPECT_TRUE(eventually(nothingIsListed));
        EXPECT_NE(HTTPClient::get(frameTarget(left_)).status(), 200);
        expectNothingStrange();
        EXPECT_EQ(host_.end(SIGTERM), endedInOrder);
    }

    std::string left_;
    std::string right_;
    std::unique_ptr<Watcher> leftWatcher_;
    std::unique_ptr<Watcher> rightWatcher_;
};

class WaylandLock : public WaylandRenewal, public testing::WithParamInterface<LockOrder> {};

TEST_P(WaylandLock, EndsTheFramesAndTheUnlockedScreenIsServedAgainWithoutAQuestion) {
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    for (int round = 0; round < 2; ++round) {
        backend_.lock(GetParam(), 200ms);
        EXPECT_TRUE(eventually([&] { return isRefused(left_) && isRefused(right_); }));
        EXPECT_EQ(backend_.count("created"), 1U);
        backend_.unlock();
        expectRenewed();
        ASSERT_TRUE(backend_.await("created").has_value());
    }
}

INSTANTIATE_TEST_SUITE_P(Orders, WaylandLock,
                         testing::Values(LockOrder::closedFirst, LockOrder::activeFirst),
                         [](const auto& order) {
                             return order.param == LockOrder::closedFirst ? "ClosedFirst"
                                                                          : "ActiveFirst";
                         });

TEST_F(WaylandRenewal, AChangeOfTheLayoutIsFollowedWithoutAQuestion) {
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    for (const std::string layout : {"swap", "two"}) {
        backend_.arrange(layout);
        EXPECT_TRUE(backend_.await("renewed").has_value());
        // The compositor has moved the windows; those who paint the monitors put them back.
        EXPECT_TRUE(eventually([&] { return shows(left_, red) && shows(right_, green); }));
        EXPECT_EQ(leftWatcher_->strangeAnswers(), 0U);
        EXPECT_EQ(rightWatcher_->strangeAnswers(), 0U);
        watch();
        expectFrames();
        expectNoQuestion();
    }
}

TEST_F(WaylandRenewal, WhoStopsSharingIsNotAskedAgain) {
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    backend_.close();
    expectStopped();
    EXPECT_EQ(backend_.count("created"), 1U);
}

TEST_F(WaylandRenewal, WithoutATokenALockIsTheEndOfTheGrant) {
    backend_.giveNoToken();
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    backend_.lock(LockOrder::closedFirst, 100ms);
    backend_.unlock();
    expectStopped();
    EXPECT_EQ(backend_.count("asked"), 0U);
}

TEST_F(WaylandRenewal, ADesktopThatAsksInsteadOfRenewingIsNotAnsweredByAnybody) {
    backend_.askBeforeRenewing();
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    backend_.answer(PortalBackend::Answer::hold);
    backend_.lock(LockOrder::closedFirst, 100ms);
    backend_.unlock();
    EXPECT_TRUE(backend_.await("asked").has_value());
    expectStopped();
    EXPECT_TRUE(backend_.await("dismissed").has_value());
    EXPECT_EQ(backend_.count("asked"), 0U);
}

TEST_F(WaylandRenewal, OneStreamThatEndsTakesItsDisplayAndLeavesTheOther) {
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    backend_.drop(0);

    EXPECT_TRUE(eventually([&] { return isRefused(left_); }));
    const std::size_t before = rightWatcher_->frames();
    EXPECT_TRUE(eventually([&] { return rightWatcher_->frames() >= before + 20; }));
    EXPECT_TRUE(isRefused(left_));
    expectNothingStrange();
}

}  // namespace

}  // namespace velmora
