#include "tests/schedules/ScheduleExplorer.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "tests/schedules/WatchedMemory.h"

namespace velmora {

namespace {

constexpr std::size_t mostSteps = 5000;

/// Whether the order of the two is of no matter.
bool areIndependent(const ScheduledWorld::Step& step, ScheduledWorld::Actor actor,
                    const Footprint& footprint) {
    return step.actor != ScheduledWorld::time && actor != ScheduledWorld::time &&
           step.actor != actor && !step.footprint.conflictsWith(footprint);
}

}  // namespace

ScheduleExplorer::Result ScheduleExplorer::explore() {
    do {
        play();
    } while (result_.failures.empty() && advance());
    return std::move(result_);
}

ScheduleExplorer::Schedule ScheduleExplorer::current() const {
    Schedule schedule;
    for (const Node& node : path_) {
        if (node.actors.size() > 1) {
            schedule.push_back(node.taken);
        }
    }
    return schedule;
}

std::vector<std::string> ScheduleExplorer::replay(
    const SmallWorldKind& kind, const Schedule& schedule,
    const std::function<void(const std::string&)>& teller) {
    WatchedMemory::beginExecution();
    ScheduledWorld world;
    std::unique_ptr<SmallWorld> small;
    {
        const Watched guard;
        small = kind.make(world);
    }
    small->teller = [&](const std::string& event) { teller("              " + event); };
    {
        const Watched guard;
        small->begin();
    }
    const auto start = world.now();
    std::size_t place = 0;
    for (auto actors = world.actors(); !actors.empty(); actors = world.actors()) {
        const bool isChosen = actors.size() > 1 && place < schedule.size();
        const std::size_t taken = isChosen ? schedule[place++] : 0;
        viewerCheck(taken < actors.size(), "the schedule is one of this world's");
        const double seconds = std::chrono::duration<double>(world.now() - start).count();
        teller(std::to_string(seconds) + " s  " + world.nameOf(actors[taken]) + " (" +
               std::to_string(taken) + " of " + std::to_string(actors.size()) + ")");
        (void)world.take(actors[taken], false);  // nobody compares it
    }
    {
        const Watched guard;
        small->end();
    }
    return small->failures();
}

void ScheduleExplorer::play() {
    WatchedMemory::beginExecution();
    ScheduledWorld world;
    std::unique_ptr<SmallWorld> small;
    {
        const Watched guard;
        small = kind_.make(world);
        small->begin();
    }
    for (std::size_t place = 0; place + 1 < path_.size(); ++place) {
        (void)world.take(path_[place].step.actor, false);  // is known
    }
    if (!path_.empty()) {
        Node& node = path_.back();
        node.step = world.take(node.actors[node.taken], isReduced_);
        order(path_.size() - 1);
    }
    bool isGoingOn = true;
    while (isGoingOn) {
        ++result_.states;
        isGoingOn = extend(world);
    }
    const bool isAtItsEnd = world.actors().empty();
    {
        const Watched guard;
        if (isAtItsEnd) {
            small->end();
        }
        if (!small->failures().empty()) {
            const Unwatched mine;
            result_.failures = small->failures();
            result_.broken = current();
        }
    }
    ++(isAtItsEnd ? result_.schedules : result_.pruned);
    result_.longest = std::max<std::uint64_t>(result_.longest, path_.size());
    if (isAtItsEnd) {
        result_.outcomes.insert(small->outcome());
        for (const std::string_view state : small->reached()) {
            ++result_.reached[state];
        }
    }
}

/// Does one more step. False when there is none, or none that has not been tried elsewhere.
bool ScheduleExplorer::extend(ScheduledWorld& world) {
    Node node;
    node.actors = world.actors();
    if (node.actors.empty()) {
        return false;
    }
    viewerCheck(path_.size() < mostSteps, "the small world comes to its end");
    if (isReduced_ && !path_.empty()) {
        node.asleep = asleepAfter(path_.back());
    }
    choose(world, node);
    const auto first = std::ranges::find(node.isToTry, true);
    if (first == node.isToTry.end()) {
        return false;
    }
    node.taken = static_cast<std::size_t>(first - node.isToTry.begin());
    path_.push_back(std::move(node));
    Node& last = path_.back();
    last.step = world.take(last.actors[last.taken], isReduced_);
    order(path_.size() - 1);
    return true;
}

/// At rest everyone is tried: what an outside event sets going keeps time from going on, which no
/// footprint tells. Else one is enough to begin with.
void ScheduleExplorer::choose(const ScheduledWorld& world, Node& node) const {
    node.isTried.assign(node.actors.size(), false);
    const bool isEveryone = !isReduced_ || world.isAtRest();
    node.isToTry.assign(node.actors.size(), isEveryone);
    for (std::size_t i = 0; i < node.actors.size(); ++i) {
        if (isAsleep(node, node.actors[i])) {
            node.isToTry[i] = false;
        } else if (!isEveryone && !world.isOutside(node.actors[i])) {
            node.isToTry[i] = true;
            return;
        }
    }
    if (!isEveryone) {
        for (std::size_t i = 0; i < node.actors.size(); ++i) {
            node.isToTry[i] = !isAsleep(node, node.actors[i]);
        }
    }
}

bool ScheduleExplorer::isAsleep(const Node& node, Actor actor) {
    return std::ranges::find(node.asleep, actor, &Sleeper::actor) != node.asleep.end();
}

std::vector<ScheduleExplorer::Sleeper> ScheduleExplorer::asleepAfter(const Node& node) const {
    std::vector<Sleeper> result;
    for (const Sleeper& sleeper : node.asleep) {
        if (areIndependent(node.step, sleeper.actor, sleeper.footprint)) {
            result.push_back(sleeper);
        }
    }
    return result;
}

/// Finds the steps that must come before the one at `place`, and sees to it that the other order is
/// tried wherever it could be.
void ScheduleExplorer::order(std::size_t place) {
    if (!isReduced_) {
        return;
    }
    const ScheduledWorld::Step step = path_[place].step;
    std::vector<bool> isBehind(place, false);
    std::vector<std::size_t> races;
    for (std::size_t i = place; i-- > 0;) {
        const Node& earlier = path_[i];
        if (isBehind[i] || areIndependent(earlier.step, step.actor, step.footprint)) {
            if (i != step.cause || isBehind[i]) {
                continue;
            }
        }
        const bool isFixed = earlier.step.actor == step.actor || i == step.cause ||
                             earlier.step.actor == ScheduledWorld::time;
        if (!isFixed) {
            races.push_back(i);
        }
        isBehind[i] = true;
        for (std::size_t k = 0; k < i; ++k) {
            isBehind[k] = isBehind[k] || earlier.isBehind[k];
        }
    }
    path_[place].isBehind = std::move(isBehind);
    if (step.actor == ScheduledWorld::time) {
        return;  // wherever it may be next, it is tried
    }
    for (const std::size_t earlier : races) {
        reverse(earlier, place);
    }
}

/// Sees to it that at the state before `earlier` somebody is tried with whom a schedule begins in
/// which `later` comes before it.
void ScheduleExplorer::reverse(std::size_t earlier, std::size_t later) {
    Node& node = path_[earlier];
    // The steps that need not come behind the earlier one, and of these the ones that may be first.
    std::vector<std::size_t> others;
    std::size_t candidate = node.actors.size();
    for (std::size_t i = earlier + 1; i <= later; ++i) {
        if (i != later && path_[i].isBehind[earlier]) {
            continue;
        }
        const bool isFirst = std::ranges::none_of(
            others, [&](std::size_t other) { return path_[i].isBehind[other]; });
        others.push_back(i);
        if (!isFirst) {
            continue;
        }
        const auto actor = std::ranges::find(node.actors, path_[i].step.actor);
        viewerCheck(actor != node.actors.end(), "who may be first is there");
        const auto at = static_cast<std::size_t>(actor - node.actors.begin());
        if (node.isToTry[at] || node.isTried[at] || isAsleep(node, *actor)) {
            return;
        }
        candidate = std::min(candidate, at);
    }
    node.isToTry[candidate] = true;
}

/// Goes back to the last state where there is somebody left to try. False when there is none.
bool ScheduleExplorer::advance() {
    while (!path_.empty()) {
        Node& node = path_.back();
        node.isTried[node.taken] = true;
        if (isReduced_) {
            node.asleep.push_back({node.actors[node.taken], std::move(node.step.footprint)});
        }
        for (std::size_t i = 0; i < node.actors.size(); ++i) {
            if (node.isToTry[i] && !node.isTried[i] &&
                (!isReduced_ || !isAsleep(node, node.actors[i]))) {
                node.taken = i;
                return true;
            }
        }
        path_.pop_back();
    }
    return false;
}

}  // namespace velmora
