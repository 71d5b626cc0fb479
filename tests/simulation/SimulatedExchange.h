#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "core/protocol/ViewerHostDisplay.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {

/// What a request must be answered with.
enum class SimulatedAnswer {
    none,
    listing,
    frame,
    notFound,
    methodNotAllowed,
    headersTooLarge,
};

/// What one client sends, and what the protocol says of it. A plain value.
struct SimulatedExchange final {
    /// The bytes in the order in which they arrive.
    std::string request;
    SimulatedAnswer answer = SimulatedAnswer::none;
    /// Once so many bytes have been received the answer is decided.
    std::size_t decidingBytes = 0;
    /// Whose frame is asked for.
    std::string displayID;

    /// Whether the answer depends on the displays.
    bool isLookedUp() const {
        return answer == SimulatedAnswer::listing || answer == SimulatedAnswer::frame;
    }
};

/// One of every kind of request by chance.
SimulatedExchange anyExchange(SimulatedWorld& world, const std::vector<std::string>& displayIDs);
SimulatedExchange frameExchange(SimulatedWorld& world, const std::string& displayID);

/// The bytes of a response, written down from the protocol.
std::string responseText(std::string_view status, std::string_view type, std::string_view body,
                         std::string_view label = "");
std::string listingText(const std::vector<ViewerHostDisplay>& displays);
/// The response of an answer that depends on nothing but the request.
std::string fixedResponse(SimulatedAnswer answer);
std::string unavailableResponse();

/// The name of the simulated machine.
inline constexpr std::string_view simulatedMachine = "Simulated \"machine\"";

}  // namespace velmora
