#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/simulation/SimulationHistory.h"
#include "tests/simulation/SimulationRule.h"
#include "tests/simulation/SimulationStates.h"
#include "tests/simulation/SimulationTrace.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {

/// What all parts of one simulation share: the world, the history, the rules, and chance. One
/// thread; outlives every part.
class SimulationCourse final {
  public:
    using Duration = ViewerContinuousClock::Duration;

    SimulationCourse(std::uint64_t seed, bool isPrinted)
        : world(seed), trace(world, isPrinted), isCalm(oneIn(5)) {
        world.setHaste(std::chrono::microseconds(1));
        if (oneIn(4)) {
            world.shareOneLoop();
        }
    }

    bool oneIn(std::size_t count) { return world.choose(count) == 0; }
    Duration upTo(Duration most);
    /// One of few durations, so that what belongs to different parts often meets at one instant.
    template <typename... Durations>
    Duration anyOf(Durations... durations) {
        const std::array<Duration, sizeof...(durations)> all{durations...};
        return all.at(world.choose(all.size()));
    }
    /// Runs `action` on a queue of its own.
    void after(Duration delay, std::function<void()> action);

    SimulationMoment now() const { return {world.now(), order_}; }
    /// Notes an event in the trace; the moment after all before it.
    template <typename... Arguments>
    SimulationMoment note(std::string_view text, const Arguments&... arguments) {
        trace.note(text, {SimulationTrace::Argument(arguments)...});
        return {world.now(), ++order_};
    }
    void reach(SimulationState state) { states.reach(state); }
    void fail(std::string_view rule, std::string_view reason);

    template <typename... Parameters, typename... Arguments>
    void tell(void (SimulationRule::*event)(Parameters...), Arguments&&... arguments) {
        for (const auto& rule : rules) {
            ((*rule).*event)(arguments...);
        }
    }

    SimulatedWorld world;
    SimulationTrace trace;
    /// The platform, the network and the person do what they should.
    const bool isCalm;
    SimulationHistory history;
    SimulationStates states;
    std::vector<std::unique_ptr<SimulationRule>> rules;
    /// What did not hold, in the order in which it was found.
    std::vector<std::string> failures;

  private:
    std::uint64_t order_ = 0;
};

}  // namespace velmora
