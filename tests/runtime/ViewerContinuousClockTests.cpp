#include "core/runtime/ViewerContinuousClock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "core/runtime/ViewerTaskHandle.h"
#include "core/runtime/linux/ViewerBoottimeClock.h"
#include "tests/support/runtime/ManualClock.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace {

/// The clocks that were read, in order. One thread.
std::vector<clockid_t> clocksAsked;

}  // namespace

// The linker puts this before every call of clock_gettime in the program's own code, and it asks
// for these names. NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" int __real_clock_gettime(clockid_t clock, timespec* time);
extern "C" int __wrap_clock_gettime(clockid_t clock, timespec* time) {
    clocksAsked.push_back(clock);
    return __real_clock_gettime(clock, time);
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace velmora {
namespace {

using namespace std::chrono_literals;
using Instant = ViewerContinuousClock::Instant;

/// A clock and a way to let everything happen on it.
struct ClockUnderTest {
    virtual ~ClockUnderTest() = default;
    virtual ViewerContinuousClock& clock() = 0;
    virtual ViewerExecutor executor() = 0;
    /// Lets things happen until nothing is left to happen, or `isDone`.
    virtual void run(const std::function<bool()>& isDone) = 0;
};

struct SimulatedClockUnderTest final : ClockUnderTest {
    ViewerContinuousClock& clock() override { return world; }
    ViewerExecutor executor() override { return world.mainExecutor(); }
    void run(const std::function<bool()>&) override { world.runToEnd(); }
    SimulatedWorld world;
};

struct BoottimeClockUnderTest final : ClockUnderTest {
    ViewerContinuousClock& clock() override { return *boottime; }
    ViewerExecutor executor() override { return loop.get_executor(); }
    void run(const std::function<bool()>& isDone) override {
        while (!isDone() && loop.run_one_for(10s) > 0) {
        }
    }
    boost::asio::io_context loop{1};
    std::shared_ptr<ViewerBoottimeClock> boottime = std::make_shared<ViewerBoottimeClock>(loop);
};

using MakeClock = std::function<std::unique_ptr<ClockUnderTest>()>;

/// The real clock and the simulated one must agree on all of this.
class ViewerContinuousClockConformance : public testing::TestWithParam<MakeClock> {};

TEST_P(ViewerContinuousClockConformance, ActionsRunInTheOrderOfTheirDeadlinesAndNotBefore) {
    const auto under = GetParam()();
    const Instant start = under->clock().now();
    std::vector<int> order;
    const auto note = [&](int which, std::chrono::milliseconds delay) {
        under->clock().schedule(start + delay, under->executor(), [&, which, delay] {
            EXPECT_GE(under->clock().now(), start + delay);
            order.push_back(which);
        });
    };
    note(3, 30ms);
    note(1, 10ms);
    note(2, 20ms);
    note(0, -5ms);
    under->run([&] { return order.size() == 4; });
    EXPECT_EQ(order, std::vector<int>({0, 1, 2, 3}));
}

TEST_P(ViewerContinuousClockConformance, ADeadlineAtTheClocksOriginOrBeforeItIsDueAtOnce) {
    for (const Instant deadline : {Instant(), Instant(-1h), Instant::min()}) {
        const auto under = GetParam()();
        bool hasRun = false;
        under->clock().schedule(deadline, under->executor(), [&] { hasRun = true; });
        under->run([&] { return hasRun; });
        EXPECT_TRUE(hasRun);
    }
}

TEST_P(ViewerContinuousClockConformance, AWithdrawnActionNeverRuns) {
    const auto under = GetParam()();
    const Instant start = under->clock().now();
    std::vector<int> order;
    const auto first =
        under->clock().schedule(start + 5ms, under->executor(), [&] { order.push_back(1); });
    under->clock().schedule(start + 10ms, under->executor(), [&] { order.push_back(2); });
    under->clock().withdraw(first);
    under->clock().withdraw(first);
    under->clock().withdraw({start, 12345});
    under->run([&] { return order.size() == 2; });
    EXPECT_EQ(order, std::vector<int>({2}));
}

TEST_P(ViewerContinuousClockConformance, AnActionMayScheduleTheNext) {
    const auto under = GetParam()();
    int runs = 0;
    std::function<void()> again = [&] {
        if (++runs < 5) {
            under->clock().schedule(under->clock().now() + 1ms, under->executor(), again);
        }
    };
    under->clock().schedule(under->clock().now(), under->executor(), again);
    under->run([&] { return runs == 6; });
    EXPECT_EQ(runs, 5);
}

TEST_P(ViewerContinuousClockConformance, AnEarlierDeadlineOvertakesOneThatIsAlreadyArmed) {
    const auto under = GetParam()();
    const Instant start = under->clock().now();
    std::vector<int> order;
    const auto late =
        under->clock().schedule(start + 1h, under->executor(), [&] { order.push_back(2); });
    under->clock().schedule(start + 5ms, under->executor(), [&, late] {
        order.push_back(1);
        under->clock().withdraw(late);
    });
    under->clock().schedule(start + 6ms, under->executor(), [&] { order.push_back(3); });
    under->run([&] { return order.size() == 2; });
    EXPECT_EQ(order, std::vector<int>({1, 3}));
}

TEST_P(ViewerContinuousClockConformance, RandomSchedulesRunEachKeptActionOnceInOrder) {
    for (unsigned seed = 1; seed <= 10; ++seed) {
        SCOPED_TRACE(seed);
        const auto under = GetParam()();
        std::mt19937 random(seed);
        const Instant start = under->clock().now();
        std::vector<std::pair<Instant, ViewerContinuousClock::TimerId>> kept;
        std::vector<Instant> fired;
        for (int count = 0; count < 200; ++count) {
            const Instant deadline = start + std::chrono::microseconds(random() % 20'000);
            const auto timer = under->clock().schedule(
                deadline, under->executor(), [&, deadline] { fired.push_back(deadline); });
            if (random() % 3 == 0) {
                under->clock().withdraw(timer);
            } else {
                kept.emplace_back(deadline, timer);
            }
        }
        under->run([&] { return fired.size() > kept.size(); });
        EXPECT_EQ(fired.size(), kept.size());
        EXPECT_TRUE(std::is_sorted(fired.begin(), fired.end()));
    }
}

ViewerTask<void> sleepAndNote(ViewerContinuousClock* clock,
                              ViewerContinuousClock::Duration duration,
                              std::vector<bool>* outcomes) {
    const bool passed = co_await clock->sleep(duration);
    outcomes->push_back(passed);
}

TEST_P(ViewerContinuousClockConformance, ASleepPassesOrIsEndedByACancellation) {
    const auto under = GetParam()();
    std::vector<bool> outcomes;
    (void)startTask(under->executor(), sleepAndNote(&under->clock(), 5ms, &outcomes));
    const auto cancelled =
        startTask(under->executor(), sleepAndNote(&under->clock(), 1h, &outcomes));
    under->clock().schedule(under->clock().now() + 20ms, under->executor(),
                            [cancelled] { cancelled->cancel(); });
    under->run([&] { return outcomes.size() == 2; });
    EXPECT_EQ(outcomes, std::vector<bool>({true, false}));
}

ViewerTask<void> sleepTwice(ViewerContinuousClock* clock, std::vector<bool>* outcomes) {
    co_await sleepAndNote(clock, 1h, outcomes);
    co_await sleepAndNote(clock, 5ms, outcomes);
}

TEST_P(ViewerContinuousClockConformance, ATaskThatIsCancelledAlreadyDoesNotSleep) {
    const auto under = GetParam()();
    std::vector<bool> outcomes;
    const auto task = startTask(under->executor(), sleepTwice(&under->clock(), &outcomes));
    under->clock().schedule(under->clock().now() + 1ms, under->executor(),
                            [task] { task->cancel(); });
    under->run([&] { return outcomes.size() == 2; });
    EXPECT_EQ(outcomes, std::vector<bool>({false, false}));
}

ViewerTask<void> sleepHolding(ViewerContinuousClock* clock, std::shared_ptr<int> held) {
    (void)co_await clock->sleep(1h);
    ++*held;
}

TEST_P(ViewerContinuousClockConformance, ATaskThatNobodyCanCancelSleepsToo) {
    const auto under = GetParam()();
    std::vector<bool> outcomes;
    boost::asio::co_spawn(under->executor(), sleepAndNote(&under->clock(), 5ms, &outcomes),
                          boost::asio::detached);
    under->run([&] { return !outcomes.empty(); });
    EXPECT_EQ(outcomes, std::vector<bool>({true}));
}

TEST(ViewerContinuousClock, ASleepThatIsCancelledInTheMomentThatItPassesEndsOnce) {
    for (const bool isCancelledFirst : {true, false}) {
        SCOPED_TRACE(isCancelledFirst);
        boost::asio::io_context loop;
        ManualClock clock;
        std::vector<bool> outcomes;
        const auto task = startTask(loop.get_executor(), sleepAndNote(&clock, 1h, &outcomes));
        (void)loop.poll();
        if (!isCancelledFirst) {
            clock.advance(1h);
        }
        task->cancel();
        if (isCancelledFirst) {
            clock.advance(1h);
        }
        (void)loop.poll();
        EXPECT_EQ(outcomes, std::vector<bool>({!isCancelledFirst}));
    }
}

TEST(ViewerContinuousClock, ATaskThatStillSleepsGoesWithItsClock) {
    auto world = std::make_unique<SimulatedWorld>();
    const auto held = std::make_shared<int>(0);
    world->spawn(sleepHolding(world.get(), held));
    world->advance(1s);
    EXPECT_EQ(held.use_count(), 2);
    world.reset();
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_EQ(*held, 0);
}

/// The clocks that this process's timers run on, as the kernel numbers them.
std::vector<int> clocksOfTimers() {
    constexpr const char* key = "clockid:";
    std::vector<int> clocks;
    for (const auto& file : std::filesystem::directory_iterator("/proc/self/fdinfo")) {
        std::ifstream info(file.path());
        for (std::string line; std::getline(info, line);) {
            if (line.starts_with(key)) {
                clocks.push_back(std::stoi(line.substr(std::string(key).size())));
            }
        }
    }
    return clocks;
}

TEST(ViewerBoottimeClock, GoesOnWhileTheMachineSleeps) {
    // On a machine that has never slept all clocks tell the same, so it counts which one is asked.
    clocksAsked.clear();
    BoottimeClockUnderTest under;
    (void)under.clock().now();
    EXPECT_THAT(clocksAsked, testing::ElementsAre(CLOCK_BOOTTIME));
    EXPECT_THAT(clocksOfTimers(), testing::Contains(CLOCK_BOOTTIME));
}

TEST(ViewerBoottimeClock, IsUsedByTheThreadOfItsLoopAlone) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    BoottimeClockUnderTest under;
    const auto timer = under.clock().schedule(Instant(1h), under.executor(), [] {});
    under.clock().withdraw(timer);
    EXPECT_DEATH(std::thread([&] { under.clock().withdraw(timer); }).join(),
                 "one thread runs the loop");
    EXPECT_DEATH(
        std::thread([&] { under.clock().schedule(Instant(1h), under.executor(), [] {}); }).join(),
        "one thread runs the loop");
}

INSTANTIATE_TEST_SUITE_P(Simulated, ViewerContinuousClockConformance, testing::Values([] {
                             return std::make_unique<SimulatedClockUnderTest>();
                         }));
INSTANTIATE_TEST_SUITE_P(Boottime, ViewerContinuousClockConformance, testing::Values([] {
                             return std::make_unique<BoottimeClockUnderTest>();
                         }));

}  // namespace
}  // namespace velmora
