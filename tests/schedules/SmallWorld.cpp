#include "tests/schedules/SmallWorld.h"

#include "tests/schedules/WatchedMemory.h"

namespace velmora {

void SmallWorld::expect(bool holds, std::string_view rule) {
    if (!holds) {
        tell("BROKEN:", rule);
        const Unwatched guard;
        failures_.emplace_back(rule);
    }
}

void SmallWorld::reach(std::string_view state) {
    const Unwatched guard;
    reached_.insert(state);
}

void SmallWorld::tell(std::string_view event, std::string_view name) {
    if (teller) {
        const Unwatched guard;
        teller(std::string(event).append(name.empty() ? "" : " ").append(name));
    }
}

void SmallWorld::tell(std::string_view event, std::size_t number) {
    if (teller) {
        const Unwatched guard;
        teller(std::string(event) + " " + std::to_string(number));
    }
}

}  // namespace velmora
