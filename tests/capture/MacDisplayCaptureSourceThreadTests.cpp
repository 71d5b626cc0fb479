#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "core/capture/MacDisplayCaptureSource.h"
#include "core/runtime/ViewerTaskHandle.h"
#include "tests/support/capture/FakeScreenCapture.h"
#include "tests/support/runtime/BorrowedClock.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {
namespace {

using Listed = std::optional<ViewerHostDisplays>;

/// A main thread and one for tasks, each run by the test.
class TwoLoops final : public ViewerExecutors {
  public:
    ViewerExecutor mainExecutor() override { return mainLoop.get_executor(); }
    ViewerExecutor taskExecutor() override { return taskLoop.get_executor(); }
    ViewerExecutor makeSerialExecutor(std::string_view) override { return taskExecutor(); }

    boost::asio::io_context mainLoop;
    boost::asio::io_context taskLoop;
};

ViewerTask<void> listInto(std::shared_ptr<MacDisplayCaptureSource> source, Listed* listed) {
    *listed = co_await source->displays();
}

struct ListingOnLoops final {
    ListingOnLoops() { capture->report({{1, "A", 800, 600, true}}); }

    TwoLoops loops;
    SimulatedWorld clock;
    std::shared_ptr<FakeScreenCapture> capture = std::make_shared<FakeScreenCapture>();
    std::shared_ptr<MacDisplayCaptureSource> source =
        std::make_shared<MacDisplayCaptureSource>(capture, loops, borrowedClock(clock));
    Listed listed;
};

TEST(MacDisplayCaptureSource, ReadsTheScreensOnTheMainThreadAndGoesOnWhereItWas) {
    ListingOnLoops listing;
    (void)startTask(listing.loops.taskExecutor(), listInto(listing.source, &listing.listed));

    listing.loops.taskLoop.poll();
    EXPECT_EQ(listing.capture->listings, 1);
    EXPECT_EQ(listing.capture->screenReadings, 0) << "the main thread has not come to it";
    listing.loops.mainLoop.poll();
    EXPECT_EQ(listing.capture->screenReadings, 1);
    EXPECT_FALSE(listing.listed.has_value());
    listing.loops.taskLoop.restart();
    listing.loops.taskLoop.poll();

    ASSERT_TRUE(listing.listed.has_value());
    EXPECT_EQ(listing.listed->size(), 1U);
}

TEST(MacDisplayCaptureSource, ATaskOfTheMainThreadListsWithoutAPause) {
    ListingOnLoops listing;
    (void)startTask(listing.loops.mainExecutor(), listInto(listing.source, &listing.listed));

    EXPECT_EQ(listing.loops.mainLoop.poll_one(), 1U);

    ASSERT_TRUE(listing.listed.has_value());
    EXPECT_EQ(listing.listed->size(), 1U);
    EXPECT_EQ(listing.loops.taskLoop.poll(), 0U);
}

}  // namespace
}  // namespace velmora
