#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/simulation/SimulationStates.h"

namespace velmora {

/// What came of one simulation.
struct SimulationOutcome final {
    /// What did not hold, in words; empty when everything did.
    std::vector<std::string> failures;
    SimulationStates states;
    /// The same for two runs only if everything in them was.
    std::uint64_t hash = 0;
};

/// Plays one whole life of the host, from its launch to its end, in a world that the seed decides:
/// the real application delegate, gate, server, handlers, router, coordinator, sessions and
/// accumulators on simulated executors, clock, network, screen capture and person. With `isPrinted`
/// every event is a line on standard output. One thread.
SimulationOutcome simulateHost(std::uint64_t seed, bool isPrinted);

}  // namespace velmora
