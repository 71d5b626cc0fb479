#include "core/runtime/ViewerIsolation.h"

#include <gtest/gtest.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

/// An actor that notes what happens inside it.
class Counter final : public std::enable_shared_from_this<Counter> {
  public:
    Counter(ViewerExecutor executor, ViewerContinuousClock& clock)
        : isolation_(std::move(executor)), clock_(clock) {}

    ViewerTask<int> increment() { return isolation_.run(incrementIsolated(shared_from_this())); }
    ViewerTask<bool> rest() { return isolation_.run(restIsolated(shared_from_this())); }

    int most() const { return most_; }
    int value() const { return value_; }

  private:
    static ViewerTask<int> incrementIsolated(std::shared_ptr<Counter> self) {
        const ViewerExecutor current = co_await boost::asio::this_coro::executor;
        EXPECT_TRUE(current == self->isolation_.executor());
        self->most_ = std::max(self->most_, ++self->inside_);
        (void)co_await self->clock_.sleep(10ms);
        --self->inside_;
        co_return ++self->value_;
    }
    static ViewerTask<bool> restIsolated(std::shared_ptr<Counter> self) {
        const bool passed = co_await self->clock_.sleep(1h);
        (void)co_await self->clock_.sleep(0ms);  // a wait after a cancellation does not throw
        co_return passed;
    }

    ViewerIsolation isolation_;
    ViewerContinuousClock& clock_;
    int inside_ = 0;
    int most_ = 0;
    int value_ = 0;
};

/// An actor that has nothing to wait for.
class Bystander final {
  public:
    explicit Bystander(ViewerExecutor executor) : isolation_(std::move(executor)) {}

    ViewerTask<void> enter() const { return isolation_.run(enterIsolated()); }

  private:
    static ViewerTask<void> enterIsolated() { co_return; }

    ViewerIsolation isolation_;
};

ViewerTask<void> incrementAndNote(std::shared_ptr<Counter> counter, std::vector<int>* values) {
    const ViewerExecutor before = co_await boost::asio::this_coro::executor;
    const int value = co_await counter->increment();
    const ViewerExecutor after = co_await boost::asio::this_coro::executor;
    EXPECT_TRUE(before == after) << "the caller goes on where it was";
    values->push_back(value);
}

TEST(ViewerIsolation, OperationsRunInsideAndTheCallerGoesOnWhereItWas) {
    SimulatedWorld world;
    const auto counter = std::make_shared<Counter>(world.makeSerialExecutor("counter"), world);
    std::vector<int> values;
    world.spawn(incrementAndNote(counter, &values));
    world.runToEnd();
    EXPECT_EQ(values, std::vector<int>({1}));
}

ViewerTask<void> enterAndNote(std::shared_ptr<Bystander> bystander, int* entries) {
    co_await bystander->enter();
    ++*entries;
}

TEST(ViewerIsolation, ACallerThatIsAlreadyInsideGoesOnWithoutAPause) {
    boost::asio::io_context loop;
    const auto bystander = std::make_shared<Bystander>(loop.get_executor());
    int entries = 0;
    (void)startTask(loop.get_executor(), enterAndNote(bystander, &entries));
    EXPECT_EQ(loop.poll_one(), 1U);
    EXPECT_EQ(entries, 1);
}

TEST(ViewerIsolation, OthersEnterWhileAnOperationWaits) {
    SimulatedWorld world;
    const auto counter = std::make_shared<Counter>(world.makeSerialExecutor("counter"), world);
    std::vector<int> values;
    for (int caller = 0; caller < 5; ++caller) {
        world.spawn(incrementAndNote(counter, &values));
    }
    world.runToEnd();
    EXPECT_EQ(values.size(), 5U);
    EXPECT_EQ(counter->most(), 5);
    EXPECT_EQ(counter->value(), 5);
}

ViewerTask<void> restAndNote(std::shared_ptr<Counter> counter, std::string* outcome) {
    const bool passed = co_await counter->rest();
    const auto state = co_await boost::asio::this_coro::cancellation_state;
    *outcome = std::string(passed ? "passed" : "woken") + (isCancelled(state) ? " cancelled" : "");
}

TEST(ViewerIsolation, ACancellationReachesTheOperationInside) {
    for (std::uint64_t seed = 1; seed <= 100; ++seed) {
        SCOPED_TRACE(seed);
        SimulatedWorld world(seed);
        const auto counter = std::make_shared<Counter>(world.makeSerialExecutor("counter"), world);
        std::string outcome;
        const auto task = startTask(world.taskExecutor(), restAndNote(counter, &outcome));
        if (world.choose(2) == 0) {
            world.advance(1s);
        }
        task->cancel();
        world.settle();
        EXPECT_EQ(outcome, "woken cancelled");
        EXPECT_EQ(world.pendingTimers(), 0U);
    }
}

TEST(ViewerIsolation, ACallerThatNobodyCanCancelEntersToo) {
    SimulatedWorld world;
    const auto counter = std::make_shared<Counter>(world.makeSerialExecutor("counter"), world);
    std::vector<int> values;
    boost::asio::co_spawn(world.taskExecutor(), incrementAndNote(counter, &values),
                          boost::asio::detached);
    world.runToEnd();
    EXPECT_EQ(values, std::vector<int>({1}));
}

ViewerTask<void> enterAfterCancellation(std::shared_ptr<Counter> counter,
                                        ViewerContinuousClock* clock, std::string* outcome) {
    (void)co_await clock->sleep(1h);
    co_await restAndNote(counter, outcome);
}

TEST(ViewerIsolation, AnOperationEnteredAfterTheCancellationSeesIt) {
    SimulatedWorld world;
    const auto counter = std::make_shared<Counter>(world.makeSerialExecutor("counter"), world);
    std::string outcome;
    const auto task =
        startTask(world.taskExecutor(), enterAfterCancellation(counter, &world, &outcome));
    world.settle();
    task->cancel();
    world.settle();
    EXPECT_EQ(outcome, "woken cancelled");
}

}  // namespace
}  // namespace velmora
