#include "tests/support/runtime/SimulatedWorld.h"

#include <algorithm>
#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/post.hpp>
#include <type_traits>
#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerTaskHandle.h"

namespace velmora {

namespace {

/// One queue of a simulated world, as Asio sees it.
struct SimulatedExecutor final {
    SimulatedWorld* world;
    std::size_t queue;

    friend bool operator==(const SimulatedExecutor&, const SimulatedExecutor&) noexcept = default;

    template <typename Function>
    void execute(Function function) const {
        // The function may be one that can only be moved.
        auto shared = std::make_shared<std::decay_t<Function>>(std::move(function));
        world->enqueue(
            queue, std::make_unique<std::function<void()>>([shared] { std::move (*shared)(); }));
    }
    boost::asio::execution_context& query(boost::asio::execution::context_t) const noexcept {
        return *world;
    }
    static constexpr boost::asio::execution::blocking_t query(
        boost::asio::execution::blocking_t) noexcept {
        return boost::asio::execution::blocking.never;
    }
    SimulatedExecutor require(boost::asio::execution::blocking_t::never_t) const noexcept {
        return *this;
    }
};

constexpr std::size_t mainQueue = 0;
constexpr int stepLimit = 1'000'000;

}  // namespace

SimulatedWorld::SimulatedWorld(std::uint64_t seed) : random_(seed) {
    queues_.resize(1);
}

SimulatedWorld::~SimulatedWorld() {
    // What a timer or a queued function holds may withdraw or enqueue while it goes.
    (void)std::exchange(timers_, SimulatedTimers());
    for (std::size_t queue = 0; queue < queues_.size(); ++queue) {
        while (!queues_[queue].empty()) {
            const auto dropped = std::move(queues_[queue].front());
            queues_[queue].pop_front();
        }
    }
}

ViewerContinuousClock::TimerId SimulatedWorld::schedule(Instant deadline, ViewerExecutor executor,
                                                        std::function<void()> action) {
    return timers_.add(deadline, std::move(executor), std::move(action));
}

void SimulatedWorld::withdraw(TimerId timer) {
    (void)timers_.withdraw(timer);  // the action goes at once
}

ViewerExecutor SimulatedWorld::mainExecutor() {
    return SimulatedExecutor{this, mainQueue};
}

ViewerExecutor SimulatedWorld::taskExecutor() {
    return addQueue();
}

ViewerExecutor SimulatedWorld::makeSerialExecutor(std::string_view) {
    return addQueue();
}

void SimulatedWorld::spawn(ViewerTask<void> task) {
    (void)startTask(addQueue(), std::move(task));
}

void SimulatedWorld::settle() {
    int steps = 0;
    fireDue();
    while (step()) {
        viewerCheck(++steps < stepLimit, "the simulated world comes to rest");
        fireDue();
    }
}

void SimulatedWorld::advance(Duration duration) {
    const Instant end = now_ + duration;
    settle();
    while (timers_.next() <= end) {
        now_ = std::max(now_, timers_.next());
        settle();
    }
    now_ = end;
}

void SimulatedWorld::runToEnd() {
    int jumps = 0;
    settle();
    while (timers_.pending() > 0) {
        viewerCheck(++jumps < stepLimit, "the simulated world comes to an end");
        now_ = std::max(now_, timers_.next());
        settle();
    }
}

std::size_t SimulatedWorld::choose(std::size_t bound) {
    return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random_);
}

void SimulatedWorld::enqueue(std::size_t queue, std::unique_ptr<std::function<void()>> function) {
    queues_[queue].push_back(std::move(function));
}

bool SimulatedWorld::step() {
    std::vector<std::size_t> ready;
    for (std::size_t queue = 0; queue < queues_.size(); ++queue) {
        if (!queues_[queue].empty()) {
            ready.push_back(queue);
        }
    }
    if (ready.empty()) {
        return false;
    }
    auto& chosen = queues_[ready[choose(ready.size())]];
    const auto function = std::move(chosen.front());
    chosen.pop_front();
    (*function)();
    return true;
}

void SimulatedWorld::fireDue() {
    while (auto due = timers_.takeDue(now_)) {
        boost::asio::post(due->executor, std::move(due->action));
    }
}

ViewerExecutor SimulatedWorld::addQueue() {
    queues_.emplace_back();
    return SimulatedExecutor{this, queues_.size() - 1};
}

}  // namespace velmora
