#include "core/runtime/ViewerBoundedCall.h"

#include <gtest/gtest.h>

#include <boost/asio/post.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "core/runtime/ViewerTaskHandle.h"
#include "tests/support/runtime/BorrowedClock.h"
#include "tests/support/runtime/ManualClock.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using Completion = ViewerBoundedCall<int>::Completion;
using Call = std::function<void(Completion)>;

/// One call on a queue of its own, and what came of it.
struct CallUnderTest final {
    explicit CallUnderTest(SimulatedWorld& simulated)
        : world(simulated), executor(simulated.makeSerialExecutor("task")) {}

    /// Makes the call and keeps its completion for the test.
    void begin() {
        begin([this](Completion given) { completion = std::move(given); });
    }
    void begin(Call call) {
        task = startTask(executor, run(this, std::move(call)));
        world.settle();
    }
    /// Completes the call on another queue, as a platform's thread would.
    void completeElsewhere(int value) {
        boost::asio::post(world.makeSerialExecutor("platform"),
                          [value, given = std::exchange(completion, nullptr)] { given(value); });
    }

    static ViewerTask<void> run(CallUnderTest* self, Call call) {
        const Completion late = [self](int value) { self->late = value; };
        const auto clock = borrowedClock(self->world);
        self->answer = co_await ViewerBoundedCall<int>::answer(clock, 4s, call, late);
        const ViewerExecutor current = co_await boost::asio::this_coro::executor;
        EXPECT_TRUE(current == self->executor);
        self->isAnswered = true;
    }

    SimulatedWorld& world;
    const ViewerExecutor executor;
    Completion completion;
    std::shared_ptr<ViewerTaskHandle> task;
    bool isAnswered = false;
    std::optional<int> answer;
    std::optional<int> late;
};

TEST(ViewerBoundedCall, AnAnswerBeforeTheCallReturnsCostsNoTimerAndNoWait) {
    SimulatedWorld world;
    CallUnderTest under(world);
    bool isAnsweredInTime = false;
    under.begin([&](Completion completion) {
        boost::asio::post(under.executor, [&] { isAnsweredInTime = under.isAnswered; });
        completion(7);
        EXPECT_EQ(world.pendingTimers(), 0U);
    });
    EXPECT_TRUE(isAnsweredInTime) << "the task went on before its queue came to anything else";
    EXPECT_EQ(under.answer, 7);
    EXPECT_EQ(world.pendingTimers(), 0U);
}

TEST(ViewerBoundedCall, AnAnswerFromElsewhereEndsTheWaitAndTheTimer) {
    SimulatedWorld world;
    CallUnderTest under(world);
    under.begin();
    EXPECT_FALSE(under.isAnswered);
    EXPECT_EQ(world.pendingTimers(), 1U);

    under.completeElsewhere(8);
    world.settle();

    EXPECT_EQ(under.answer, 8);
    EXPECT_EQ(under.late, std::nullopt);
    EXPECT_EQ(world.pendingTimers(), 0U);
}

TEST(ViewerBoundedCall, WithoutAnAnswerTheWaitEndsWithTheLimit) {
    SimulatedWorld world;
    CallUnderTest under(world);
    under.begin();
    world.advance(3999ms);
    EXPECT_FALSE(under.isAnswered);

    world.advance(1ms);

    EXPECT_TRUE(under.isAnswered);
    EXPECT_EQ(under.answer, std::nullopt);
}

TEST(ViewerBoundedCall, ALateAnswerGoesToItsOwnReceiverAndNowhereElse) {
    SimulatedWorld world;
    CallUnderTest under(world);
    under.begin();
    world.advance(5s);
    ASSERT_TRUE(under.isAnswered);

    under.completeElsewhere(9);
    world.settle();

    EXPECT_EQ(under.answer, std::nullopt);
    EXPECT_EQ(under.late, 9);
    EXPECT_EQ(world.pendingTimers(), 0U);
}

TEST(ViewerBoundedCall, ACallWhoseCompletionIsDroppedEndsWithTheLimit) {
    SimulatedWorld world;
    CallUnderTest under(world);
    under.begin([](const Completion&) {});
    world.advance(4s);
    EXPECT_TRUE(under.isAnswered);
    EXPECT_EQ(under.answer, std::nullopt);
}

TEST(ViewerBoundedCall, ACancelledTaskStillLearnsTheOutcome) {
    SimulatedWorld world;
    CallUnderTest under(world);
    under.begin();
    under.task->cancel();
    world.advance(1s);
    EXPECT_FALSE(under.isAnswered);

    under.completeElsewhere(10);
    world.settle();

    EXPECT_EQ(under.answer, 10);
}

ViewerTask<void> holdUntilLate(SimulatedWorld* world, std::shared_ptr<int> held, Call call) {
    const Completion late = [held](int) {};
    const auto clock = borrowedClock(*world);
    (void)co_await ViewerBoundedCall<int>::answer(clock, 4s, call, late);
}

ViewerTask<void> wait(std::shared_ptr<ViewerContinuousClock> clock, Call call) {
    (void)co_await ViewerBoundedCall<int>::answer(std::move(clock), 4s, call);
}

ViewerTask<void> waitAndNote(std::shared_ptr<ViewerContinuousClock> clock, Call call,
                             std::vector<std::optional<int>>* answers) {
    const auto answer = co_await ViewerBoundedCall<int>::answer(std::move(clock), 4s, call);
    answers->push_back(answer);
}

TEST(ViewerBoundedCall, AnAnsweredCallHoldsNothingThoughThePlatformKeepsTheCompletion) {
    for (const bool isImmediate : {true, false}) {
        SCOPED_TRACE(isImmediate);
        SimulatedWorld world;
        Completion kept;
        auto held = std::make_shared<int>(0);
        world.spawn(holdUntilLate(&world, held, [&](Completion completion) {
            kept = std::move(completion);
            if (isImmediate) {
                kept(1);
            }
        }));
        world.settle();
        if (!isImmediate) {
            EXPECT_GT(held.use_count(), 1);
            kept(1);
        }
        world.settle();
        EXPECT_EQ(held.use_count(), 1);
    }
}

TEST(ViewerBoundedCall, ACallThatIsOverDoesNotHoldTheClockThoughThePlatformKeepsTheCompletion) {
    for (const bool isAnswered : {true, false}) {
        SCOPED_TRACE(isAnswered);
        SimulatedWorld world;
        Completion kept;
        auto clock = std::shared_ptr<ViewerContinuousClock>(std::make_shared<int>(), &world);
        const std::weak_ptr<ViewerContinuousClock> held = clock;
        world.spawn(wait(std::move(clock), [&](Completion given) { kept = std::move(given); }));
        world.settle();
        EXPECT_FALSE(held.expired());
        if (isAnswered) {
            kept(1);
        }
        world.runToEnd();
        EXPECT_TRUE(held.expired());
    }
}

TEST(ViewerBoundedCall, AnAnswerAroundTheLimitIsEitherInTimeOrLate) {
    int inTime = 0;
    int late = 0;
    for (std::uint64_t seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE(seed);
        SimulatedWorld world(seed);
        CallUnderTest under(world);
        under.begin();
        const auto delay = 4s - 1ns + std::chrono::nanoseconds(world.choose(3));
        world.schedule(world.now() + delay, world.makeSerialExecutor("platform"),
                       [&] { under.completion(11); });
        world.runToEnd();
        EXPECT_TRUE(under.isAnswered);
        EXPECT_NE(under.answer.has_value(), under.late.has_value());
        EXPECT_EQ(world.pendingTimers(), 0U);
        inTime += under.answer.has_value() ? 1 : 0;
        late += under.late.has_value() ? 1 : 0;
    }
    EXPECT_GT(inTime, 0);
    EXPECT_GT(late, 0);
}

TEST(ViewerBoundedCall, AnAnswerThatComesRightBeforeTheLimitEndsTheWaitOnce) {
    SimulatedWorld world;
    const auto clock = std::make_shared<ManualClock>();
    Completion completion;
    std::vector<std::optional<int>> answers;
    world.spawn(
        waitAndNote(clock, [&](Completion given) { completion = std::move(given); }, &answers));
    world.settle();
    completion(12);
    clock->advance(4s);  // the limit is behind the answer in the task's queue
    world.settle();
    EXPECT_EQ(answers, std::vector<std::optional<int>>{std::optional(12)});
}

}  // namespace
}  // namespace velmora
