#pragma once

#include <boost/asio/execution.hpp>
#include <boost/asio/execution_context.hpp>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <random>
#include <string_view>
#include <utility>
#include <vector>

#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutors.h"
#include "core/runtime/ViewerTask.h"
#include "tests/support/runtime/SimulatedTimers.h"

namespace velmora {

/// A world of any number of serial queues and a clock, on the calling thread. One seed is one
/// interleaving: each step runs the next function of a queue chosen by chance; when nothing is
/// ready the clock jumps to the next timer. Destroy everything that runs on it first.
class SimulatedWorld final : public ViewerContinuousClock,
                             public ViewerExecutors,
                             public boost::asio::execution_context {
  public:
    explicit SimulatedWorld(std::uint64_t seed = 1);
    ~SimulatedWorld() override;

    Instant now() const override { return now_; }
    TimerId schedule(Instant deadline, ViewerExecutor executor,
                     std::function<void()> action) override;
    void withdraw(TimerId timer) override;

    ViewerExecutor mainExecutor() override;
    ViewerExecutor taskExecutor() override;
    ViewerExecutor makeSerialExecutor(std::string_view label) override;

    /// Starts `task` on an executor of its own.
    void spawn(ViewerTask<void> task);
    /// Runs what is ready, without letting time pass, until nothing is.
    void settle();
    /// Settles, then lets `duration` pass, timer by timer.
    void advance(Duration duration);
    /// Runs until nothing is ready and no timer is left. Fails after a million steps.
    void runToEnd();
    /// A number below `bound`, from the world's seed.
    std::size_t choose(std::size_t bound);
    std::size_t pendingTimers() const { return timers_.pending(); }

    /// Puts a function at the end of a queue.
    void enqueue(std::size_t queue, std::unique_ptr<std::function<void()>> function);

  private:
    bool step();
    void fireDue();
    ViewerExecutor addQueue();

    Instant now_{std::chrono::hours(1)};
    std::mt19937_64 random_;
    std::vector<std::deque<std::unique_ptr<std::function<void()>>>> queues_;
    SimulatedTimers timers_;
};

}  // namespace velmora
