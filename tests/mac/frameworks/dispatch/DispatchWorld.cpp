#include "tests/mac/frameworks/dispatch/DispatchWorld.h"

#include <algorithm>
#include <deque>
#include <utility>

#include "tests/mac/objc/AutoreleasePool.h"

namespace velmora {

struct DispatchWorld::Queue final {
    std::deque<Work> work;
    bool isRunning = false;
};

DispatchWorld::DispatchWorld() : mainQueue_(std::make_shared<Queue>()) {}

DispatchWorld& DispatchWorld::shared() {
    // Never destroyed: objects that hold queues go until the end of the process.
    static auto& world = *new DispatchWorld();
    return world;
}

DispatchWorld::QueuePointer DispatchWorld::makeQueue(QueueFacts facts) {
    const Guard guard(lock_);
    made_.push_back(std::move(facts));
    return std::make_shared<Queue>();
}

DispatchWorld::QueuePointer DispatchWorld::makeSystemQueue() {
    return std::make_shared<Queue>();
}

void DispatchWorld::append(const QueuePointer& queue, Work work) {
    if (queue->work.empty() && !queue->isRunning) {
        ready_.push_back(queue);
    }
    queue->work.push_back(std::move(work));
    changed_.notify_all();
}

void DispatchWorld::post(const QueuePointer& queue, Work work) {
    const Guard guard(lock_);
    append(queue, std::move(work));
}

DispatchWorld::Duration DispatchWorld::now(Clock clock) {
    const Guard guard(lock_);
    switch (clock) {
        case Clock::continuous:
            return now_;
        case Clock::awake:
            return now_ - slept_;
        case Clock::wall:
            return now_ + wallLead_;
    }
}

DispatchWorld::Duration DispatchWorld::dueTime(const Timer& timer) const {
    switch (timer.clock) {
        case Clock::continuous:
            return timer.deadline;
        case Clock::awake:
            return timer.deadline + slept_;
        case Clock::wall:
            return timer.deadline - wallLead_;
    }
}

DispatchWorld::TimerId DispatchWorld::schedule(Clock clock, Duration deadline,
                                               const QueuePointer& queue, Work work) {
    const Guard guard(lock_);
    timers_.push_back({++lastTimer_, clock, deadline, queue, std::move(work)});
    return lastTimer_;
}

void DispatchWorld::withdraw(TimerId timer) {
    Work work;  // what it holds goes when the lock is released
    const Guard guard(lock_);
    const auto found = std::ranges::find(timers_, timer, &Timer::id);
    if (found != timers_.end()) {
        work = std::move(found->work);
        timers_.erase(found);
    }
}

bool DispatchWorld::step(Guard& guard, bool withMainQueue) {
    std::vector<QueuePointer> choices = ready_;
    if (!withMainQueue) {
        std::erase(choices, mainQueue_);
    }
    if (choices.empty()) {
        return false;
    }
    const QueuePointer queue = choices[chance_() % choices.size()];
    std::erase(ready_, queue);
    Work work = std::move(queue->work.front());
    queue->work.pop_front();
    queue->isRunning = true;
    ++running_;
    guard.unlock();
    {
        const bridge::AutoreleasePool pool;
        work();
        work = nullptr;
    }
    guard.lock();
    --running_;
    queue->isRunning = false;
    if (!queue->work.empty()) {
        ready_.push_back(queue);
    }
    changed_.notify_all();
    return true;
}

void DispatchWorld::settle(Guard& guard) {
    while (step(guard, true) || running_ > 0) {
        if (ready_.empty() && running_ > 0) {
            changed_.wait(guard);
        }
    }
}

void DispatchWorld::settle() {
    advance(Duration::zero());
}

void DispatchWorld::settleInside() {
    Guard guard(lock_);
    while (step(guard, true)) {
    }
}

void DispatchWorld::fireUntil(Guard& guard, Duration end) {
    const auto due = [this](const Timer& timer) { return dueTime(timer); };
    while (!timers_.empty()) {
        const auto next = std::ranges::min_element(timers_, {}, due);
        if (dueTime(*next) > end) {
            return;
        }
        now_ = std::max(now_, dueTime(*next));
        append(next->queue, std::move(next->work));
        timers_.erase(next);
        settle(guard);
    }
}

void DispatchWorld::advance(Duration duration) {
    Guard guard(lock_);
    settle(guard);
    const Duration end = now_ + duration;
    fireUntil(guard, end);
    now_ = end;
}

void DispatchWorld::sleep(Duration duration) {
    Guard guard(lock_);
    settle(guard);
    now_ += duration;
    slept_ += duration;
    fireUntil(guard, now_);
}

void DispatchWorld::setWallClock(Duration change) {
    Guard guard(lock_);
    wallLead_ += change;
    fireUntil(guard, now_);
}

bool DispatchWorld::settleUntil(const std::function<bool()>& isDone) {
    const auto limit = std::chrono::steady_clock::now() + patience;
    while (!isDone()) {
        Guard guard(lock_);
        if (!step(guard, true)) {
            // What is waited for need not be the world's.
            (void)changed_.wait_for(guard, std::chrono::milliseconds(1));
        }
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
    }
    return true;
}

void DispatchWorld::seed(std::uint64_t seed) {
    const Guard guard(lock_);
    chance_.seed(seed);
}

void DispatchWorld::restart() {
    std::vector<Timer> forgotten;  // what they hold goes when the lock is released
    const Guard guard(lock_);
    made_.clear();
    timers_.swap(forgotten);
}

std::vector<DispatchWorld::QueueFacts> DispatchWorld::queuesMade() {
    const Guard guard(lock_);
    return made_;
}

std::size_t DispatchWorld::pendingTimers() {
    const Guard guard(lock_);
    return timers_.size();
}

void DispatchWorld::runUntil(const std::atomic<bool>& isStopped) {
    Guard guard(lock_);
    while (!isStopped) {
        if (!step(guard, false)) {
            changed_.wait(guard);
        }
    }
}

DispatchThreads::DispatchThreads(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        threads_.emplace_back([this] { DispatchWorld::shared().runUntil(isStopped_); });
    }
}

DispatchThreads::~DispatchThreads() {
    DispatchWorld& world = DispatchWorld::shared();
    {
        const DispatchWorld::Guard guard(world.lock_);
        isStopped_ = true;
        world.changed_.notify_all();
    }
    for (std::thread& thread : threads_) {
        thread.join();
    }
}

}  // namespace velmora
