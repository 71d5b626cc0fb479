#pragma once

#include <boost/asio/execution.hpp>
#include <boost/asio/execution_context.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string_view>
#include <utility>
#include <vector>

#include "core/runtime/ViewerAction.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutors.h"
#include "core/runtime/ViewerTask.h"
#include "tests/support/runtime/SimulatedTimers.h"

namespace velmora {

/// A world of any number of serial queues and a clock, on the calling thread. One seed is one
/// interleaving: each step runs the next function of a queue chosen by chance; when nothing is
/// ready the clock jumps to the next timer. Destroy everything that runs on it first.
class SimulatedWorld : public ViewerContinuousClock,
                       public ViewerExecutors,
                       public boost::asio::execution_context {
  public:
    explicit SimulatedWorld(std::uint64_t seed = 1);
    ~SimulatedWorld() override;

    Instant now() const override { return now_; }
    TimerId schedule(Instant deadline, ViewerExecutor executor, ViewerAction action) override;
    void withdraw(TimerId timer) override;

    ViewerExecutor mainExecutor() override;
    ViewerExecutor taskExecutor() override;
    ViewerExecutor makeSerialExecutor(std::string_view label) override;

    /// Time may go on while functions run, to a timer that is no more than `haste` away. Without,
    /// it stands still until nothing is ready.
    void setHaste(Duration haste) { haste_ = haste; }

    /// Every executor is the main thread's, as where one loop does everything. Those of capture
    /// sessions alone stay their own: by its queue a stream's session is known.
    void shareOneLoop() { isOneLoop_ = true; }

    /// Starts `task` on an executor of its own.
    void spawn(ViewerTask<void> task);
    /// Runs what is ready, without letting time pass, until nothing is.
    void settle();
    /// Settles, then lets `duration` pass, timer by timer.
    void advance(Duration duration);
    /// Runs until nothing is ready and no timer is left. Fails after a million steps.
    void runToEnd();
    /// Lets the clock go on to the next timer. False when none is left.
    bool jump();
    /// A number below `bound`, from the world's seed.
    std::size_t choose(std::size_t bound);
    std::size_t pendingTimers() const { return timers_.pending(); }
    /// The queue whose function runs now, or ran last.
    std::size_t runningQueue() const { return running_; }

    /// A function that waits in a queue.
    class Work {
      public:
        Work() = default;
        Work(const Work&) = delete;
        Work& operator=(const Work&) = delete;
        virtual ~Work() = default;
        virtual void run() = 0;

      private:
        friend SimulatedWorld;
        std::unique_ptr<Work> next_;
    };

    /// Puts a function at the end of a queue.
    virtual void enqueue(std::size_t queue, std::unique_ptr<Work> work);

  protected:
    /// The queue behind an executor of such a world.
    static std::size_t queueOf(const ViewerExecutor& executor);

    /// The queues that are not empty, in no order.
    const std::vector<std::size_t>& ready() const { return ready_; }
    /// Takes the first function of the queue at that place among them.
    std::unique_ptr<Work> takeReady(std::size_t place);
    /// Hands the actions of all timers that are due to their executors.
    void fireDue();
    ViewerExecutor addQueue();
    SimulatedTimers& timers() { return timers_; }

  private:
    /// In the order of their arrival; a list without memory of its own, because most queues are a
    /// task's and see few functions.
    struct Queue final {
        std::unique_ptr<Work> first;
        Work* last = nullptr;
    };

    bool step();
    std::unique_ptr<Work> takeFirst(std::size_t queue);

    Instant now_{std::chrono::hours(1)};
    /// Below zero where time stands still.
    Duration haste_{-1};
    std::mt19937_64 random_;
    std::vector<Queue> queues_;
    std::vector<std::size_t> ready_;
    std::size_t running_ = 0;
    bool isOneLoop_ = false;
    SimulatedTimers timers_;
};

}  // namespace velmora
