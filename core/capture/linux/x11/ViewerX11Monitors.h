#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "core/capture/linux/x11/ViewerX11Connection.h"

namespace velmora {

/// A monitor as the X server reports it: a rectangle of the root window. A plain value.
struct ViewerX11Monitor final {
    friend bool operator==(const ViewerX11Monitor&, const ViewerX11Monitor&) = default;

    /// The atom of the monitor's name: as long as the server runs, one number for one name. 0 for
    /// the whole root window of a server that knows no monitors.
    std::uint32_t number = 0;
    /// The monitor's name for people, valid UTF-8: the one that it tells itself, else RandR's.
    std::string name;
    /// The canonical text of its UUID.
    std::string uuidText;
    /// The name of its first output, as bytes; empty when it has no output.
    std::string connector;
    /// What its first output says of the monitor behind it; empty when it says nothing.
    std::vector<std::uint8_t> edid;
    /// Where it is, in pixels of the root window; never empty.
    ViewerRectangle rectangle;
    /// True for exactly one monitor: the server's primary one, else the one at the root window's
    /// origin, else the first.
    bool isMain = false;
};

/// The active monitors in the server's order, read now, or nothing when the connection broke or the
/// monitors kept changing. Without RandR 1.5 the root window counts as one monitor. Blocks for a
/// few round trips; any thread, but nobody else reads replies or events of the connection
/// meanwhile.
std::optional<std::vector<ViewerX11Monitor>> readMonitors(ViewerX11Connection& connection);

}  // namespace velmora
