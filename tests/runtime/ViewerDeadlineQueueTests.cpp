#include "core/runtime/ViewerDeadlineQueue.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {
namespace {

using Instant = ViewerDeadlineQueue::Instant;
using namespace std::chrono_literals;

class ViewerDeadlineQueueTest : public testing::Test {
  protected:
    ViewerDeadlineQueue::TimerId add(std::chrono::seconds deadline, const char* name) {
        return queue_.add(Instant(deadline), world_.mainExecutor(),
                          [this, name] { ran_.emplace_back(name); });
    }

    std::vector<std::string> runDue(std::chrono::seconds now) {
        ran_.clear();
        while (const auto due = queue_.takeDue(Instant(now))) {
            EXPECT_EQ(due->executor, world_.mainExecutor());
            due->action();
        }
        return ran_;
    }

    SimulatedWorld world_;
    ViewerDeadlineQueue queue_;
    std::vector<std::string> ran_;
};

TEST_F(ViewerDeadlineQueueTest, GivesWhatIsDueInTheOrderOfTheDeadlines) {
    add(3s, "third");
    add(1s, "first");
    add(2s, "second");
    EXPECT_EQ(runDue(2s), (std::vector<std::string>{"first", "second"}));
    EXPECT_EQ(runDue(2s), std::vector<std::string>());
    EXPECT_EQ(runDue(3s), std::vector<std::string>{"third"});
}

TEST_F(ViewerDeadlineQueueTest, ActionsOfOneDeadlineKeepTheirOrder) {
    add(1s, "a");
    add(1s, "b");
    add(1s, "c");
    EXPECT_EQ(runDue(1s), (std::vector<std::string>{"a", "b", "c"}));
}

TEST_F(ViewerDeadlineQueueTest, WhatIsAddedAfterOthersHaveGoneIsDueAsTheyWere) {
    for (int round = 0; round < 2; ++round) {
        add(3s, "third");
        const auto withdrawn = add(2s, "second");
        add(1s, "first");
        (void)queue_.withdraw(withdrawn);
        EXPECT_EQ(runDue(3s), (std::vector<std::string>{"first", "third"})) << round;
    }
}

TEST_F(ViewerDeadlineQueueTest, TellsTheEarliestDeadline) {
    EXPECT_EQ(queue_.next(), Instant::max());
    add(2s, "late");
    const auto early = add(1s, "early");
    EXPECT_EQ(queue_.next(), Instant(1s));
    (void)queue_.withdraw(early);
    EXPECT_EQ(queue_.next(), Instant(2s));
    (void)runDue(2s);
    EXPECT_EQ(queue_.next(), Instant::max());
}

TEST_F(ViewerDeadlineQueueTest, AWithdrawnActionIsGivenBackAndNeverDue) {
    const auto kept = std::make_shared<int>(0);
    const auto timer = queue_.add(Instant(1s), world_.mainExecutor(), [kept] { ++*kept; });
    {
        const auto action = queue_.withdraw(timer);
        ASSERT_TRUE(action);
        EXPECT_EQ(kept.use_count(), 2) << "the queue has let go of it, its taker has it";
    }
    EXPECT_EQ(kept.use_count(), 1);
    EXPECT_FALSE(queue_.takeDue(Instant(1s)).has_value());
    EXPECT_FALSE(queue_.withdraw(timer));
}

TEST_F(ViewerDeadlineQueueTest, NoIdIsGivenTwiceAndNoneIsEmpty) {
    const auto first = add(1s, "a");
    (void)runDue(1s);
    const auto second = add(1s, "b");
    EXPECT_NE(first, ViewerDeadlineQueue::TimerId());
    EXPECT_NE(first, second);
    EXPECT_FALSE(queue_.withdraw(first));
    EXPECT_EQ(runDue(1s), std::vector<std::string>{"b"});
}

}  // namespace
}  // namespace velmora
