#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/http/FakeFrameProvider.h"

namespace velmora {

/// What one client may send in a simulation, and the only answer that is right. A plain value.
struct SimulatedExchange final {
    /// The bytes in the order in which they arrive.
    std::string request;
    /// Nothing where no answer is allowed.
    std::optional<std::string> response;
    /// The provider may need longer than the deadline.
    bool isSlow = false;
};

/// The display whose frames may take longer than the deadline.
inline constexpr const char* slowDisplay = "slow";

/// Displays and frames for the exchanges.
std::shared_ptr<FakeFrameProvider> makeSimulatedProvider();

/// One exchange of each kind with that provider, on a machine of the name "Simulated machine".
const std::vector<SimulatedExchange>& simulatedExchanges();

}  // namespace velmora
