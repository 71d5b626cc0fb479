#include "core/http/linux/ViewerSocketSet.h"

#include <gtest/gtest.h>

#include <boost/asio/post.hpp>
#include <cstddef>
#include <memory>

#include "tests/http/linux/EventLog.h"
#include "tests/http/linux/LoopThread.h"
#include "tests/support/runtime/ManualClock.h"

namespace velmora {

namespace {

/// A socket that has something to do so many times, one behind the other.
class BusySocket final : public ViewerWatchedSocket,
                         public std::enable_shared_from_this<BusySocket> {
  public:
    BusySocket(ViewerSocketSet& set, EventLog& log, std::size_t times)
        : set_(set), log_(log), left_(times) {}

    void proceed() override {
        if (left_ == 0) {
            log_.add("done");
            return;
        }
        --left_;
        set_.runSoon(weak_from_this());
    }
    std::size_t left() const { return left_; }

  private:
    ViewerSocketSet& set_;
    EventLog& log_;
    std::size_t left_;
};

}  // namespace

TEST(ViewerSocketSet, ASocketThatAlwaysHasMoreToDoKeepsNothingElseOfTheLoopWaiting) {
    constexpr std::size_t times = 1000;
    LoopThread loop;
    EventLog log;
    const auto set =
        std::make_shared<ViewerSocketSet>(loop.executor(), std::make_shared<ManualClock>());
    const auto busy = std::make_shared<BusySocket>(*set, log, times);
    std::size_t left = 0;
    loop.run([&] {
        ASSERT_EQ(set->open(), 0);
        set->runSoon(busy);
        boost::asio::post(loop.context(), [&] { left = busy->left(); });
    });
    EXPECT_GT(left, 0U);
    EXPECT_LT(left, times);
    EXPECT_TRUE(log.waitFor("done"));
    loop.stop();
}

}  // namespace velmora
