#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/schedules/ScheduledWorld.h"
#include "tests/schedules/SmallWorld.h"

namespace velmora {

/// Tries the schedules of one small world, depth first: each is played anew from the beginning.
/// Either every single one, or at least one of all those that differ only in the order of
/// independent steps. Two steps are independent when neither wrote what the other read or wrote;
/// time's depends on all. One thread.
class ScheduleExplorer final {
  public:
    /// The places of the chosen actors among those who could have been next, in order.
    using Schedule = std::vector<std::size_t>;

    struct Result final {
        /// Those that were played to their end.
        std::uint64_t schedules = 0;
        /// Those that were left because another one is the same but for independent steps.
        std::uint64_t pruned = 0;
        /// Different prefixes of schedules: states that were visited, some of them several times.
        std::uint64_t states = 0;
        std::uint64_t longest = 0;
        std::set<std::string> outcomes;
        /// In how many schedules each state came up.
        std::map<std::string_view, std::uint64_t> reached;
        /// The first schedule that broke a rule, and what it broke.
        Schedule broken;
        std::vector<std::string> failures;
    };

    ScheduleExplorer(const SmallWorldKind& kind, bool isReduced)
        : kind_(kind), isReduced_(isReduced) {}
    ScheduleExplorer(const ScheduleExplorer&) = delete;
    ScheduleExplorer& operator=(const ScheduleExplorer&) = delete;

    /// Ends with the first schedule that breaks a rule.
    Result explore();
    /// Plays one schedule, and behind its end whoever is first. Every step and every event is told;
    /// returns what it broke.
    static std::vector<std::string> replay(const SmallWorldKind& kind, const Schedule& schedule,
                                           const std::function<void(const std::string&)>& teller);
    /// The schedule that is being played, for whoever finds the process stopped.
    Schedule current() const;

  private:
    using Actor = ScheduledWorld::Actor;

    /// An actor whose step was tried here or before, and has not been in conflict with what was
    /// done since: what begins with it was tried there.
    struct Sleeper final {
        Actor actor;
        Footprint footprint;
    };
    /// A state on the way, and the step that was done there.
    struct Node final {
        std::vector<Actor> actors;
        std::vector<bool> isToTry;
        std::vector<bool> isTried;
        std::vector<Sleeper> asleep;
        std::size_t taken = 0;
        ScheduledWorld::Step step;
        /// Which of the steps before must come before it.
        std::vector<bool> isBehind;
    };

    void play();
    bool extend(ScheduledWorld& world);
    void choose(const ScheduledWorld& world, Node& node) const;
    std::vector<Sleeper> asleepAfter(const Node& node) const;
    void order(std::size_t place);
    void reverse(std::size_t earlier, std::size_t later);
    bool advance();
    static bool isAsleep(const Node& node, Actor actor);

    const SmallWorldKind& kind_;
    const bool isReduced_;
    std::vector<Node> path_;
    Result result_;
};

}  // namespace velmora
