#include "tests/simulation/SimulationStates.h"

namespace velmora {

namespace {

/// In the order of the enumeration.
constexpr std::array<std::string_view, simulationStates> names{
    "sixteen connections are served",
    "ten connections wait",
    "a hundred connections wait",
    "connections wait when the host ends",
    "a client that sends no request is cut off at the deadline",
    "the deadline passes while a request is routed",
    "an answer is never read",
    "a client breaks off",
    "a client ends its side and is answered",
    "a connection never becomes ready",
    "a second request comes behind the first",
    "a head comes in many pieces",
    "404, 405, 431 and 503 in one run",
    "frames of four displays",
    "a fifth display is refused",
    "a fifth display starts after an idle stop",
    "an idle stop",
    "a request at the instant of the idle timer",
    "a start is never answered",
    "a start is answered after the limit",
    "a start fails",
    "a stream takes no receiver",
    "a stream dies and says so",
    "a stream dies in silence",
    "a stream dies during its start",
    "a stream dies between the fetch and the delivery of its frame",
    "a stream takes the place of a dead one",
    "a first frame comes late",
    "no first frame comes",
    "a stream that is given up delivers a picture",
    "a stop fails",
    "a stop is never answered",
    "a listing fails",
    "a listing is never answered",
    "a listing fails between the look-up and the frame",
    "displays are at hand",
    "a display goes away",
    "a display comes back",
    "displays of one name are listed",
    "displays of one identifier are listed",
    "a display takes over another's number",
    "the same picture comes again",
    "a quit during the look at the permission",
    "a quit during the question for consent",
    "a quit during the system's request",
    "a quit before the listener is ready",
    "a quit while requests are routed",
    "a quit while a stream starts",
    "a second quit",
    "a quit that waits for an alert",
    "an end after the whole grace",
    "the session ends",
    "the listener fails",
    "the listener fails while it serves",
    "the permission is refused",
};

}  // namespace

std::string_view nameOf(SimulationState state) {
    return names.at(static_cast<std::size_t>(state));
}

void SimulationStates::add(const SimulationStates& one) {
    for (std::size_t state = 0; state < simulationStates; ++state) {
        reached_.at(state) += one.reached_.at(state);
    }
}

}  // namespace velmora
