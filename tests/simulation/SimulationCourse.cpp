#include "tests/simulation/SimulationCourse.h"

#include <utility>

namespace velmora {

namespace {

/// More would only repeat what the first ones say.
constexpr std::size_t mostFailures = 5;

}  // namespace

SimulationCourse::Duration SimulationCourse::upTo(Duration most) {
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(most).count();
    return std::chrono::milliseconds(world.choose(static_cast<std::size_t>(milliseconds) + 1));
}

void SimulationCourse::after(Duration delay, std::function<void()> action) {
    world.schedule(world.now() + delay, world.taskExecutor(), std::move(action));
}

void SimulationCourse::fail(std::string_view rule, std::string_view reason) {
    note("BROKEN: #: #", rule, reason);
    if (failures.size() < mostFailures) {
        failures.push_back(std::string(rule) + ": " + std::string(reason));
    }
}

void SimulationRule::fail(std::string_view reason) const {
    course_.fail(sentence(), reason);
}

const SimulationHistory& SimulationRule::history() const {
    return course_.history;
}

SimulationMoment SimulationRule::now() const {
    return course_.now();
}

}  // namespace velmora
