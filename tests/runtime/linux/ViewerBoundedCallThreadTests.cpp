#include <gtest/gtest.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "core/runtime/ViewerBoundedCall.h"
#include "core/runtime/ViewerTaskHandle.h"
#include "core/runtime/linux/ViewerBoottimeClock.h"

namespace velmora {
namespace {

constexpr int callCount = 500;
constexpr std::chrono::seconds limit{30};

struct Outcome final {
    int answers = 0;
    int onTheLoop = 0;
};

ViewerTask<void> callThreads(std::shared_ptr<ViewerContinuousClock> clock,
                             std::vector<std::thread>* threads, Outcome* outcome) {
    const auto loopThread = std::this_thread::get_id();
    for (int call = 0; call < callCount; ++call) {
        // Every other thread is likely to answer before the call returns.
        const auto ask = [&](ViewerBoundedCall<int>::Completion completion) {
            threads->emplace_back([call, given = std::move(completion)]() mutable { given(call); });
            if (call % 2 == 0) {
                std::this_thread::yield();
            }
        };
        const std::optional<int> answer =
            co_await ViewerBoundedCall<int>::answer(clock, limit, ask);
        outcome->answers += answer == call ? 1 : 0;
        outcome->onTheLoop += std::this_thread::get_id() == loopThread ? 1 : 0;
    }
}

TEST(ViewerBoundedCall, AnswersFromRealThreadsReachTheTaskOnItsLoop) {
    boost::asio::io_context loop;
    const auto work = boost::asio::make_work_guard(loop);
    const auto clock = std::make_shared<ViewerBoottimeClock>(loop);
    std::vector<std::thread> threads;
    Outcome outcome;
    boost::asio::co_spawn(ViewerExecutor(loop.get_executor()),
                          callThreads(clock, &threads, &outcome),
                          [&loop](const std::exception_ptr&) { loop.stop(); });
    loop.run();
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(outcome.answers, callCount);
    EXPECT_EQ(outcome.onTheLoop, callCount);
}

}  // namespace
}  // namespace velmora
