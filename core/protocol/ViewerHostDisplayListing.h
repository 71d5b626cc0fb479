#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/protocol/ViewerHostDisplay.h"

namespace velmora {

/// The body of the answer to a listing request. A plain value; any thread.
struct ViewerHostDisplayListing final {
    ViewerHostDisplayListing(std::string protocol, std::int64_t version, std::string machineName,
                             std::vector<ViewerHostDisplay> displays);

    friend bool operator==(const ViewerHostDisplayListing&,
                           const ViewerHostDisplayListing&) = default;

    /// The protocol's identifier.
    std::string protocol;
    std::int64_t version;
    /// The host's name for people, UTF-8.
    std::string machineName;
    std::vector<ViewerHostDisplay> displays;
};

}  // namespace velmora
