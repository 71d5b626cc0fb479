#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/acceptance/privacy/CallTrace.h"

namespace velmora {

/// A request that a client sent to its X server.
struct XRequest final {
    /// The number of the call, among those of the trace, that sent its last byte.
    std::size_t call = 0;
    std::string bytes;

    std::uint8_t major() const { return static_cast<std::uint8_t>(bytes.at(0)); }
    /// Of an extension's request.
    std::uint8_t minor() const { return static_cast<std::uint8_t>(bytes.at(1)); }
};

/// The requests in what the traced processes wrote to the sockets that they connected to an X
/// server's, in the order in which they were sent.
std::vector<XRequest> xRequestsIn(const std::vector<TracedCall>& calls);

}  // namespace velmora
