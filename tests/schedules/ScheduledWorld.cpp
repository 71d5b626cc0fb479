#include "tests/schedules/ScheduledWorld.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "tests/schedules/WatchedMemory.h"

namespace velmora {

namespace {

// Behind all places in memory.
constexpr Footprint::Place firstQueue = Footprint::Place{1} << 40U;
constexpr Footprint::Place firstDeadline = Footprint::Place{1} << 41U;
constexpr unsigned bitsOfAQueue = 10;

}  // namespace

void ScheduledWorld::mayHappen(std::string name, std::function<void()> event) {
    boost::asio::post(addNamed(name, true), std::move(event));
}

std::vector<ScheduledWorld::Actor> ScheduledWorld::actors() const {
    std::vector<Actor> result = ready();
    std::ranges::sort(result);
    if (isAtRest() && pendingTimers() > 0) {
        result.push_back(time);
    }
    return result;
}

bool ScheduledWorld::isAtRest() const {
    return std::ranges::all_of(ready(), [&](std::size_t queue) { return isOutside(queue); });
}

bool ScheduledWorld::isOutside(Actor actor) const {
    return actor < notes_.size() && notes_[actor].isOutside;
}

ScheduledWorld::Step ScheduledWorld::take(Actor actor, bool isWatched) {
    Step step{actor, {}, noStep};
    step_ = steps_++;
    if (actor == time) {
        (void)jump();  // there is a timer, or time would be no actor
        fireDue();
        return step;
    }
    known_ = notes_.size();
    if (actor < notes_.size() && !notes_[actor].causes.empty()) {
        step.cause = notes_[actor].causes.front();
        notes_[actor].causes.pop_front();
    }
    reached_ = {};
    if (isWatched) {
        WatchedMemory::beginStep();
    }
    run(actor);
    if (isWatched) {
        step.footprint = WatchedMemory::endStep();
        step.footprint.add(reached_);
        step.footprint.sort();
    }
    return step;
}

void ScheduledWorld::run(std::size_t queue) {
    std::unique_ptr<Work> work;
    {
        const Unwatched guard;
        const auto place = std::ranges::find(ready(), queue);
        viewerCheck(place != ready().end(), "an actor has something to do");
        work = takeReady(static_cast<std::size_t>(place - ready().begin()));
    }
    const Watched guard;
    work->run();
    work.reset();
}

std::string ScheduledWorld::nameOf(Actor actor) const {
    return actor == time ? "time" : notes_[actor].name;
}

ViewerContinuousClock::TimerId ScheduledWorld::schedule(Instant deadline, ViewerExecutor executor,
                                                        ViewerAction action) {
    const Unwatched guard;
    // Those of one deadline go to a queue in the order in which they were made.
    const auto ticks = static_cast<Footprint::Place>(deadline.time_since_epoch().count());
    reached_.add(firstDeadline + (ticks << bitsOfAQueue) + queueOf(executor), Footprint::write);
    return SimulatedWorld::schedule(deadline, std::move(executor), std::move(action));
}

void ScheduledWorld::withdraw(TimerId timer) {
    SimulatedTimers::Action withdrawn;  // what it holds goes while the step is watched
    const Unwatched guard;
    withdrawn = timers().withdraw(timer);
}

ViewerExecutor ScheduledWorld::mainExecutor() {
    const Unwatched guard;
    if (notes_.empty()) {
        notes_.push_back({"main", false, {}});
    }
    return SimulatedWorld::mainExecutor();
}

ViewerExecutor ScheduledWorld::taskExecutor() {
    return addNamed("task", false);
}

ViewerExecutor ScheduledWorld::makeSerialExecutor(std::string_view label) {
    return addNamed(label.substr(label.rfind('.', label.find_last_not_of("0123456789.")) + 1),
                    false);
}

ViewerExecutor ScheduledWorld::addNamed(std::string_view name, bool isOutside) {
    const Unwatched guard;
    ViewerExecutor executor = addQueue();
    notes_.resize(queueOf(executor) + 1);
    notes_.back() = {std::string(name), isOutside, {}};
    return executor;
}

void ScheduledWorld::enqueue(std::size_t queue, std::unique_ptr<Work> work) {
    const Unwatched guard;
    if (queue < known_) {
        reached_.add(firstQueue + queue, Footprint::write);
    }
    notes_.resize(std::max(notes_.size(), queue + 1));
    notes_[queue].causes.push_back(step_);
    SimulatedWorld::enqueue(queue, std::move(work));
}

}  // namespace velmora
