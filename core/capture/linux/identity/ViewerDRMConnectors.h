#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

/// The kernel's list of the connectors of graphics cards, for what a Wayland compositor does not
/// hand on: the EDID. Any thread.
namespace ViewerDRMConnectors {

/// Where the kernel shows them: a folder for each, `card0-DP-1`, with the files `status` and
/// `edid`.
inline constexpr const char* kernelFolder = "/sys/class/drm";

/// The connector's name as X servers have it (the driver "modesetting"), who were here first:
/// HDMI-A-1 is HDMI-1 there, and in mutter.
std::string x11NameOf(std::string_view connector);

/// What the monitor on the named connector says of itself. Empty when it says nothing, and where no
/// card or more than one has a monitor on a connector of that name.
std::vector<std::uint8_t> edidOf(const std::filesystem::path& folder, std::string_view connector);

}  // namespace ViewerDRMConnectors

}  // namespace velmora
