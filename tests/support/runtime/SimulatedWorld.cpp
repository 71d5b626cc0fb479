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

template <typename Function>
class SimulatedFunction final : public SimulatedWorld::Work {
  public:
    explicit SimulatedFunction(Function function) : function_(std::move(function)) {}
    void run() override { std::move(function_)(); }

  private:
    Function function_;
};

/// One queue of a simulated world, as Asio sees it.
struct SimulatedExecutor final {
    SimulatedWorld* world;
    std::size_t queue;

    friend bool operator==(const SimulatedExecutor&, const SimulatedExecutor&) noexcept = default;

    template <typename Function>
    void execute(Function function) const {
        world->enqueue(queue, std::make_unique<SimulatedFunction<Function>>(std::move(function)));
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
/// In one of so many steps time goes on, where a timer is near.
constexpr std::size_t stepsOfHaste = 12;

}  // namespace

SimulatedWorld::SimulatedWorld(std::uint64_t seed) : random_(seed) {
    queues_.resize(1);
}

SimulatedWorld::~SimulatedWorld() {
    // What a timer or a queued function holds may withdraw or enqueue while it goes.
    (void)std::exchange(timers_, SimulatedTimers());
    while (!ready_.empty()) {
        while (takeFirst(ready_.back()) != nullptr) {
        }
        ready_.pop_back();
    }
}

ViewerContinuousClock::TimerId SimulatedWorld::schedule(Instant deadline, ViewerExecutor executor,
                                                        ViewerAction action) {
    return timers_.add(deadline, std::move(executor), std::move(action));
}

void SimulatedWorld::withdraw(TimerId timer) {
    (void)timers_.withdraw(timer);  // the action goes at once
}

ViewerExecutor SimulatedWorld::mainExecutor() {
    return SimulatedExecutor{this, mainQueue};
}

ViewerExecutor SimulatedWorld::taskExecutor() {
    return isOneLoop_ ? mainExecutor() : addQueue();
}

ViewerExecutor SimulatedWorld::makeSerialExecutor(std::string_view label) {
    const bool isOfSession = label.find(".session.") != std::string_view::npos;
    return isOneLoop_ && !isOfSession ? mainExecutor() : addQueue();
}

void SimulatedWorld::spawn(ViewerTask<void> task) {
    (void)startTask(addQueue(), std::move(task));
}

void SimulatedWorld::settle() {
    int steps = 0;
    fireDue();
    while (step()) {
        viewerCheck(++steps < stepLimit, "the simulated world comes to rest");
        if (timers_.next() <= now_ + haste_ && choose(stepsOfHaste) == 0) {
            now_ = std::max(now_, timers_.next());
        }
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
    while (jump()) {
        viewerCheck(++jumps < stepLimit, "the simulated world comes to an end");
        settle();
    }
}

bool SimulatedWorld::jump() {
    if (timers_.pending() == 0) {
        return false;
    }
    now_ = std::max(now_, timers_.next());
    return true;
}

std::size_t SimulatedWorld::choose(std::size_t bound) {
    return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random_);
}

void SimulatedWorld::enqueue(std::size_t queue, std::unique_ptr<Work> work) {
    Queue& line = queues_[queue];
    Work* const added = work.get();
    if (line.first) {
        line.last->next_ = std::move(work);
    } else {
        line.first = std::move(work);
        ready_.push_back(queue);
    }
    line.last = added;
}

bool SimulatedWorld::step() {
    if (ready_.empty()) {
        return false;
    }
    takeReady(choose(ready_.size()))->run();
    return true;
}

std::unique_ptr<SimulatedWorld::Work> SimulatedWorld::takeReady(std::size_t place) {
    running_ = ready_[place];
    auto work = takeFirst(running_);
    if (!queues_[running_].first) {
        ready_[place] = ready_.back();
        ready_.pop_back();
    }
    return work;
}

std::size_t SimulatedWorld::queueOf(const ViewerExecutor& executor) {
    const auto* const simulated = executor.target<SimulatedExecutor>();
    viewerCheck(simulated != nullptr, "the executor is of a simulated world");
    return simulated->queue;
}

std::unique_ptr<SimulatedWorld::Work> SimulatedWorld::takeFirst(std::size_t queue) {
    Queue& line = queues_[queue];
    auto first = std::move(line.first);
    if (first) {
        line.first = std::move(first->next_);
    }
    return first;
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
