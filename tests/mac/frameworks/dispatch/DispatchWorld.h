#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace velmora {

/// What stands behind the doubles of Dispatch: serial queues, whose functions run when the test
/// says so, and clocks that move when the test says so. One for the process, because Dispatch's
/// functions name none. The thread that settles it runs everything, one function at a time of a
/// queue chosen by chance; `DispatchThreads` take part. Any thread.
class DispatchWorld final {
  public:
    struct Queue;
    using QueuePointer = std::shared_ptr<Queue>;
    using Work = std::function<void()>;
    using Duration = std::chrono::nanoseconds;
    using TimerId = std::uint64_t;
    /// The continuous clock goes on while the machine sleeps, the awake one does not; the wall
    /// clock goes on too and can be set.
    enum class Clock { continuous, awake, wall };

    /// A queue as it was asked for.
    struct QueueFacts final {
        friend bool operator==(const QueueFacts&, const QueueFacts&) = default;
        std::string label;
        unsigned qualityOfService;
    };

    /// How long a test waits for what other threads do.
    static constexpr std::chrono::seconds patience{30};

    static DispatchWorld& shared();

    QueuePointer makeQueue(QueueFacts facts);
    const QueuePointer& mainQueue() const { return mainQueue_; }
    /// A queue that the program did not make.
    QueuePointer makeSystemQueue();
    void post(const QueuePointer& queue, Work work);

    Duration now(Clock clock);
    /// Puts `work` on `queue` once that clock shows `deadline` and the machine is awake.
    TimerId schedule(Clock clock, Duration deadline, const QueuePointer& queue, Work work);
    void withdraw(TimerId timer);

    /// Runs what is ready or due until nothing is.
    void settle();
    /// Runs what is ready as a run loop inside a function does: queues of which a function is
    /// running, the caller's above all, stay as they are.
    void settleInside();
    /// Settles, then lets `duration` pass, timer by timer.
    void advance(Duration duration);
    /// Lets the machine sleep that long, and settles after its wake-up.
    void sleep(Duration duration);
    /// Sets the wall clock forward, or back, and settles.
    void setWallClock(Duration change);
    /// Settles until `isDone`, which is looked at after each change; false when it takes too long.
    bool settleUntil(const std::function<bool()>& isDone);

    /// Chooses the next interleavings.
    void seed(std::uint64_t seed);
    /// Forgets the timers, and which queues were made.
    void restart();
    /// In the order in which they were made.
    std::vector<QueueFacts> queuesMade();
    std::size_t pendingTimers();

  private:
    friend class DispatchThreads;
    using Guard = std::unique_lock<std::mutex>;

    struct Timer final {
        TimerId id;
        Clock clock;
        Duration deadline;
        QueuePointer queue;
        Work work;
    };

    DispatchWorld();
    void append(const QueuePointer& queue, Work work);
    /// Runs one function; false when none is ready.
    bool step(Guard& guard, bool withMainQueue);
    void settle(Guard& guard);
    /// When, on the continuous clock, the timer is due.
    Duration dueTime(const Timer& timer) const;
    /// Lets the timers run, one by one, that are due by then.
    void fireUntil(Guard& guard, Duration end);
    void runUntil(const std::atomic<bool>& isStopped);

    const QueuePointer mainQueue_;
    std::mutex lock_;
    // Guarded by `lock_`, like the queues' own fields.
    std::condition_variable changed_;
    std::mt19937_64 chance_;
    /// The queues that have functions and of which none is running.
    std::vector<QueuePointer> ready_;
    std::size_t running_ = 0;
    std::vector<QueueFacts> made_;
    std::vector<Timer> timers_;
    TimerId lastTimer_ = 0;
    /// On the continuous clock.
    Duration now_ = std::chrono::hours(1);
    Duration slept_{};
    /// How far the wall clock is before the continuous one.
    Duration wallLead_ = std::chrono::hours(500'000);
};

/// Threads that run every queue but the main one for as long as this lives.
class DispatchThreads final {
  public:
    explicit DispatchThreads(std::size_t count = 3);
    ~DispatchThreads();
    DispatchThreads(const DispatchThreads&) = delete;
    DispatchThreads& operator=(const DispatchThreads&) = delete;

  private:
    std::atomic<bool> isStopped_{false};
    std::vector<std::thread> threads_;
};

}  // namespace velmora
