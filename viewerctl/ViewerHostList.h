#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "viewerctl/ViewerHostAddress.h"

namespace velmora {

/// One host of a list, and the group that it stands in. A plain value; any thread.
struct ViewerListedHost final {
    ViewerListedHost(ViewerHostAddress where, std::string groupName);

    friend bool operator==(const ViewerListedHost&, const ViewerListedHost&) = default;

    ViewerHostAddress address;
    /// Empty for a host that stands in none.
    std::string group;
};

/// What a hosts file says: one host a line, in the room's order. "Name:" on a line of its own
/// begins a group, "#" a comment. A plain value; any thread.
struct ViewerHostList final {
    /// Takes any text; lines that are none of these are told of by their number.
    static ViewerHostList parse(std::string_view text);

    std::vector<ViewerListedHost> hosts;
    /// The lines that could not be read, counted from 1.
    std::vector<std::size_t> badLines;
};

}  // namespace velmora
