#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <random>
#include <thread>
#include <vector>

#include "core/runtime/mac/ViewerDispatchClock.h"
#include "core/runtime/mac/ViewerDispatchExecutors.h"
#include "tests/mac/MacTest.h"
#include "tests/mac/objc/AutoreleasePool.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class ViewerDispatchClockTest : public MacTest {
  protected:
    /// Schedules a note of `which` that long after now.
    ViewerContinuousClock::TimerId note(ViewerDispatchClock& clock, int which,
                                        std::chrono::milliseconds delay) {
        return clock.schedule(clock.now() + delay, executors_.mainExecutor(),
                              [this, which] { noted_.push_back(which); });
    }

    ViewerDispatchExecutors executors_;
    std::vector<int> noted_;
};

TEST_F(ViewerDispatchClockTest, TheClockRunsActionsInTheOrderOfTheirDeadlines) {
    const auto clock = ViewerDispatchClock::make();
    note(*clock, 3, 30ms);
    note(*clock, 1, 10ms);
    const auto withdrawn = note(*clock, 9, 15ms);
    note(*clock, 2, 20ms);
    note(*clock, 0, -5ms);
    clock->withdraw(withdrawn);
    world_.settle();
    EXPECT_THAT(noted_, ElementsAre(0));
    world_.advance(19ms);
    EXPECT_THAT(noted_, ElementsAre(0, 1));
    world_.advance(11ms);
    EXPECT_THAT(noted_, ElementsAre(0, 1, 2, 3));
}

TEST_F(ViewerDispatchClockTest, AnEarlierDeadlineOvertakesOneThatIsArmed) {
    const auto clock = ViewerDispatchClock::make();
    note(*clock, 2, 1h);
    world_.settle();
    note(*clock, 1, 5ms);
    world_.advance(5ms);
    EXPECT_THAT(noted_, ElementsAre(1));
    world_.advance(1h);
    EXPECT_THAT(noted_, ElementsAre(1, 2));
}

TEST_F(ViewerDispatchClockTest, ADeadlineThatPassesDuringSleepFiresAtTheWakeUp) {
    const auto clock = ViewerDispatchClock::make();
    note(*clock, 1, 5s);
    note(*clock, 2, 90s);
    world_.settle();
    world_.sleep(1min);
    EXPECT_THAT(noted_, ElementsAre(1));
    world_.advance(30s);
    EXPECT_THAT(noted_, ElementsAre(1, 2));
}

TEST_F(ViewerDispatchClockTest, AWallClockThatIsSetMovesNoDeadline) {
    const auto clock = ViewerDispatchClock::make();
    note(*clock, 1, 5s);
    world_.settle();
    world_.setWallClock(1h);
    EXPECT_THAT(noted_, testing::IsEmpty());
    world_.setWallClock(-2h);
    world_.advance(4999ms);
    EXPECT_THAT(noted_, testing::IsEmpty());
    world_.advance(1ms);
    EXPECT_THAT(noted_, ElementsAre(1));
}

TEST_F(ViewerDispatchClockTest, ADestroyedClockRunsNothing) {
    note(*ViewerDispatchClock::make(), 1, 5ms);
    world_.advance(1s);
    EXPECT_THAT(noted_, testing::IsEmpty());
    EXPECT_EQ(world_.pendingTimers(), 0U);
}

TEST_F(ViewerDispatchClockTest, RandomSchedulesRunEachKeptActionOnceInOrder) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(seed);
        world_.seed(seed);
        noted_.clear();
        const auto clock = ViewerDispatchClock::make();
        std::mt19937 random(seed);
        std::size_t kept = 0;
        for (int count = 0; count < 100; ++count) {
            const int delay = static_cast<int>(random() % 50);
            const auto timer = note(*clock, delay, std::chrono::milliseconds(delay));
            if (random() % 3 == 0) {
                clock->withdraw(timer);
            } else {
                ++kept;
            }
        }
        world_.advance(1s);
        EXPECT_EQ(noted_.size(), kept);
        EXPECT_TRUE(std::ranges::is_sorted(noted_));
    }
}

TEST_F(ViewerDispatchClockTest, ManyThreadsScheduleAndNothingIsLostOrRunsTwice) {
    const auto clock = ViewerDispatchClock::make();
    constexpr int perThread = 200;
    constexpr int threadCount = 3;
    std::atomic<int> runs{0};
    {
        const DispatchThreads dispatch;
        std::vector<std::thread> threads;
        threads.reserve(threadCount);
        for (int thread = 0; thread < threadCount; ++thread) {
            threads.emplace_back([&] {
                const bridge::AutoreleasePool pool;
                for (int i = 0; i < perThread; ++i) {
                    clock->schedule(clock->now() + std::chrono::milliseconds(i % 7),
                                    executors_.taskExecutor(), [&runs] { ++runs; });
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        world_.advance(1s);
    }
    EXPECT_EQ(runs, perThread * threadCount);
}

}  // namespace
}  // namespace velmora
