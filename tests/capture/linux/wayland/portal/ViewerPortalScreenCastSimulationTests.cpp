#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "tests/capture/linux/wayland/portal/ConsentWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using State = ViewerScreenCast::State;
using Access = ViewerCaptureAccess;
using Instant = ViewerContinuousClock::Instant;

/// A person, a desktop and a portal that do anything at any time, and what must hold meanwhile.
class ConsentCourse final {
  public:
    explicit ConsentCourse(std::uint64_t seed) : at_(seed) {
        at_.portal->onOpen = [this] { sessionIsAskedFor(); };
        at_.request();
    }

    void happen() {
        constexpr std::size_t events = 14;
        switch (at_.world.choose(events)) {
            case 0:
                close(ViewerScreenCastPortal::Ending::closed);
                break;
            case 1:
                lock();
                break;
            case 2:
                at_.unlock();
                break;
            case 3:
                changeOutputs();
                break;
            case 4:
                loseRemote();
                break;
            case 5:
                answer();
                break;
            case 6:
                at_.portal->tokenIsSent = at_.portal->isOpening();
                break;
            case 7:
                at_.sessionLock->isSlow = !at_.sessionLock->isSlow;
                break;
            case 8:
                at_.sessionLock->answerAll();
                break;
            default:
                at_.pass(std::chrono::milliseconds(at_.world.choose(1500)));
                break;
        }
        at_.world.settle();
        expectSense();
    }
    /// Everybody does what is to be expected, and nothing new happens.
    void calmDown() {
        at_.sessionLock->isSlow = false;
        at_.sessionLock->answerAll();
        at_.unlock();
        for (int i = 0; i < 10; ++i) {
            at_.pass(10s);
            if (at_.portal->isOpening()) {
                at_.portal->grant("last");
            }
        }
        EXPECT_NE(at_.state(), State::interrupted);
        EXPECT_EQ(at_.world.pendingTimers(), 0U);
        expectSense();
    }
    void leave() {
        at_.consent.reset();
        at_.sessionLock->answerAll();
        at_.world.settle();
        EXPECT_TRUE(at_.portal->hasEnded);
        EXPECT_FALSE(at_.portal->isOpen());
        EXPECT_EQ(at_.world.pendingTimers(), 0U);
    }
    std::size_t renewals() const { return at_.renewals(); }

  private:
    void close(ViewerScreenCastPortal::Ending ending) {
        if (at_.state() == State::granted) {
            disturbedAt_ = at_.world.now();
            at_.portal->endSession(ending);
        }
    }
    void lock() {
        causes_ += at_.sessionLock->state == ViewerSessionLock::State::locked ? 0U : 1U;
        at_.lock();
    }
    void unlock() {
        if (at_.sessionLock->state == ViewerSessionLock::State::locked) {
            disturbedAt_ = at_.world.now();
        }
        at_.unlock();
    }
    void changeOutputs() {
        ++causes_;
        at_.changeOutputs();
    }
    void loseRemote() {
        ++causes_;
        at_.loseRemote();
    }
    void answer() {
        if (!at_.portal->isOpening()) {
            return;
        }
        switch (at_.world.choose(5)) {
            case 0:
                at_.portal->refuse(Access::declined);
                break;
            case 1:
                at_.portal->grant("");
                break;
            default:
                at_.portal->grant("token");
                break;
        }
    }
    void sessionIsAskedFor() {
        if (at_.portal->opened.size() == 1) {
            return;
        }
        EXPECT_EQ(at_.sessionLock->state, ViewerSessionLock::State::unlocked);
        EXPECT_GE(at_.world.now() - disturbedAt_, ViewerPortalScreenCast::unlockedTime);
        EXPECT_FALSE(at_.portal->opened.back().empty()) << "the person would be asked again";
        EXPECT_LE(at_.renewals(), causes_) << "asked twice for one cause";
        EXPECT_EQ(at_.state(), State::interrupted);
        EXPECT_FALSE(wasStopped_);
    }
    void expectSense() {
        wasStopped_ = wasStopped_ || at_.state() == State::stopped;
        EXPECT_TRUE(!wasStopped_ || at_.state() == State::stopped) << "a stop is for good";
        EXPECT_EQ(at_.consent->grant() != nullptr, at_.state() == State::granted);
        EXPECT_LE(at_.answers.size(), 1U);
        EXPECT_TRUE(at_.state() == State::interrupted || at_.world.pendingTimers() == 0);
        EXPECT_TRUE(at_.state() != State::stopped || !at_.portal->isOpen());
    }

    ConsentWorld at_;
    std::size_t causes_ = 0;
    /// When a session was closed or unlocked last.
    Instant disturbedAt_;
    bool wasStopped_ = false;
};

TEST(ViewerPortalScreenCastSimulation, NothingIsAskedWhileLockedOrTwiceForOneCauseWhateverHappens) {
    std::size_t renewals = 0;
    for (std::uint64_t seed = 1; seed <= 2000; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        ConsentCourse course(seed);
        for (int event = 0; event < 80; ++event) {
            course.happen();
        }
        course.calmDown();
        renewals += course.renewals();
        if (testing::Test::HasFailure()) {
            return;
        }
    }
    EXPECT_GT(renewals, 500U) << "the courses hardly renew anything";
}

TEST(ViewerPortalScreenCastSimulation, TheEndOfTheProcessLeavesNothingBehindAtAnyTime) {
    for (std::uint64_t seed = 1; seed <= 500; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        ConsentCourse course(seed);
        for (std::uint64_t event = 0; event < seed % 60; ++event) {
            course.happen();
        }
        course.leave();
        if (testing::Test::HasFailure()) {
            return;
        }
    }
}

}  // namespace
}  // namespace velmora
