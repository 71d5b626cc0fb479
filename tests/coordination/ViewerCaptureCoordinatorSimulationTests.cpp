#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "core/coordination/ViewerCaptureCoordinator.h"
#include "tests/coordination/CoordinatedWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using Clock = ViewerContinuousClock;

constexpr std::uint64_t seeds = 300;
constexpr std::size_t viewers = 8;
constexpr std::size_t requestsPerViewer = 25;

/// Viewers that ask at random for random displays, captures that answer and stop when they like,
/// and in most runs a shutdown at a random time. Checks, whenever something happens to a capture,
/// what must always hold.
class Course final {
  public:
    explicit Course(std::uint64_t seed) : host_(seed) {
        host_.source->prepare = [this](ScriptedCaptureSession& session) {
            session.frameDelay = [this] { return anyDuration(); };
            session.stopDelay = anyDuration();
            session.onStop = [this](const ScriptedCaptureSession& stopping) {
                checkStop(stopping);
            };
            if (host_.world.choose(8) == 0) {
                session.frame.reset();
            }
        };
        host_.source->onMake = [this](const ScriptedCaptureSession& made) { checkMade(made); };
    }

    void run() {
        for (std::size_t viewer = 0; viewer < viewers; ++viewer) {
            host_.world.spawn(view(this));
        }
        const bool hasShutdown = host_.world.choose(4) != 0;
        if (hasShutdown) {
            host_.world.spawn(shutDown(this));
            host_.world.spawn(shutDown(this));
        }
        host_.world.runToEnd();
        EXPECT_EQ(answers_, viewers * requestsPerViewer);
        EXPECT_EQ(shutdowns_, hasShutdown ? 2 : 0);
        EXPECT_EQ(host_.world.pendingTimers(), 0U);
        for (const auto& session : host_.source->sessions) {
            EXPECT_EQ(session->stopCalls.size(), 1U);
            EXPECT_TRUE(session->hasStopped);
            EXPECT_EQ(session->waiting, 0);
        }
    }

    bool hasServed() const { return frames_ > 0; }
    bool hasExpired() const { return expiries_ > 0; }
    bool hasRefused() const { return refusals_ > 0; }

  private:
    /// Often a time at which something else happens too.
    Clock::Duration anyDuration() {
        constexpr std::array<Clock::Duration, 8> durations{0s,     0s,       1ms, 1s,
                                                           2500ms, 5s - 1ns, 5s,  7s};
        return durations.at(host_.world.choose(durations.size()));
    }

    static ViewerTask<void> view(Course* course) {
        constexpr std::array ids{"1", "2", "3", "4", "5", "6", "unknown"};
        SimulatedWorld& world = course->host_.world;
        for (std::size_t request = 0; request < requestsPerViewer; ++request) {
            (void)co_await world.sleep(course->anyDuration());
            std::string id = ids.at(world.choose(ids.size()));
            const bool isShutDown = course->isShutDown_;
            const auto frame = co_await course->host_.coordinator->frame(id);
            course->checkAnswer(id, frame, isShutDown);
        }
    }

    static ViewerTask<void> shutDown(Course* course) {
        for (std::size_t wait = course->host_.world.choose(30); wait > 0; --wait) {
            (void)co_await course->host_.world.sleep(course->anyDuration());
        }
        course->isShuttingDown_ = true;
        co_await course->host_.coordinator->shutdown();
        course->isShutDown_ = true;
        // One of the two calls has waited for the captures.
        if (++course->shutdowns_ == 2) {
            EXPECT_EQ(course->host_.source->running(), 0);
        }
    }

    void checkAnswer(const std::string& id, const std::optional<ViewerHostFrame>& frame,
                     bool wasShutDown) {
        ++answers_;
        if (!frame) {
            ++refusals_;
            return;
        }
        ++frames_;
        EXPECT_EQ(frame, frameOf(id)) << "never a frame of one display for another";
        EXPECT_FALSE(wasShutDown);
    }

    void checkMade(const ScriptedCaptureSession& made) {
        EXPECT_LE(host_.source->running(), CoordinatedWorld::sessionLimit);
        EXPECT_EQ(host_.source->running(made.displayID), 1);
        EXPECT_FALSE(isShutDown_);
    }

    void checkStop(const ScriptedCaptureSession& stopping) {
        EXPECT_EQ(stopping.stopCalls.size(), 1U);
        if (isShuttingDown_) {
            return;
        }
        ++expiries_;
        EXPECT_EQ(stopping.waiting, 0);
        EXPECT_EQ(host_.world.now(), stopping.lastAnswer + CoordinatedWorld::idleTimeout);
    }

    CoordinatedWorld host_;
    /// A shutdown may have begun, and one has ended.
    bool isShuttingDown_ = false;
    bool isShutDown_ = false;
    int shutdowns_ = 0;
    int expiries_ = 0;
    std::size_t answers_ = 0;
    std::size_t frames_ = 0;
    std::size_t refusals_ = 0;
};

TEST(ViewerCaptureCoordinatorSimulation, WhatMustHoldHoldsUnderManySeeds) {
    std::uint64_t served = 0;
    std::uint64_t expired = 0;
    std::uint64_t refused = 0;
    for (std::uint64_t seed = 1; seed <= seeds && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Course course(seed);
        course.run();
        served += course.hasServed() ? 1U : 0U;
        expired += course.hasExpired() ? 1U : 0U;
        refused += course.hasRefused() ? 1U : 0U;
    }
    // The courses are worth something only if all of this happens in them.
    EXPECT_GT(served, seeds * 9 / 10);
    EXPECT_GT(expired, seeds / 2);
    EXPECT_GT(refused, seeds * 9 / 10);
}

}  // namespace
}  // namespace velmora
