#include <gmock/gmock.h>

#include <boost/asio/post.hpp>
#include <memory>
#include <vector>

#include "core/runtime/mac/ViewerDispatchExecutor.h"
#include "core/runtime/mac/ViewerDispatchExecutors.h"
#include "tests/mac/MacTest.h"

namespace velmora {
namespace {

using testing::ElementsAre;

constexpr unsigned userInitiated = 0x19;
constexpr unsigned defaultQuality = 0x15;

class ViewerDispatchExecutorsTest : public MacTest {
  protected:
    ViewerDispatchExecutors executors_;
    std::vector<int> noted_;
};

TEST_F(ViewerDispatchExecutorsTest, QueuesHaveTheirLabelsAndQualityOfService) {
    (void)executors_.makeSerialExecutor("com.quilmer.velmora.viewer-host.http");
    (void)executors_.taskExecutor();
    EXPECT_THAT(
        world_.queuesMade(),
        ElementsAre(
            DispatchWorld::QueueFacts{"com.quilmer.velmora.viewer-host.http", userInitiated},
            DispatchWorld::QueueFacts{"com.quilmer.velmora.viewer-host.task", defaultQuality}));
}

TEST_F(ViewerDispatchExecutorsTest, ExecutorsAreEqualWhenTheyAreTheSameQueue) {
    const ViewerExecutor one = executors_.makeSerialExecutor("one");
    EXPECT_EQ(ViewerExecutor(ViewerDispatchExecutor(queueOf(one))), one);
    EXPECT_NE(executors_.makeSerialExecutor("one"), one);
    EXPECT_EQ(executors_.mainExecutor(), executors_.mainExecutor());
}

TEST_F(ViewerDispatchExecutorsTest, AQueueRunsItsFunctionsInOrderAndNeverInsideThePost) {
    const ViewerExecutor queue = executors_.makeSerialExecutor("queue");
    for (int i = 0; i < 5; ++i) {
        boost::asio::post(queue, [this, i] { noted_.push_back(i); });
    }
    EXPECT_THAT(noted_, testing::IsEmpty());
    world_.settle();
    EXPECT_THAT(noted_, ElementsAre(0, 1, 2, 3, 4));
}

TEST_F(ViewerDispatchExecutorsTest, AFunctionGoesOnceItHasRun) {
    const auto held = std::make_shared<int>(1);
    boost::asio::post(executors_.makeSerialExecutor("queue"), [held] {});
    EXPECT_EQ(held.use_count(), 2);
    world_.settle();
    EXPECT_EQ(held.use_count(), 1);
}

}  // namespace
}  // namespace velmora
