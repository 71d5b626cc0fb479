#pragma once

#include <chrono>
#include <string>

#include "core/capture/linux/x11/ViewerX11Connection.h"

namespace velmora {

/// Whether an X server lets this process read its screen. X11 has nobody to ask: it is tried. Any
/// thread.
namespace ViewerX11Permission {

/// Reads one pixel of the root window, which an untrusted client may not. False also when the
/// connection broke. Blocks for one round trip.
bool canReadScreen(ViewerX11Connection& connection);

/// Connects to the named display and tries. False also when there is no such display and when the
/// server has not answered within `limit`. Blocks that long at most, without serving any loop: for
/// the time before the loop runs.
bool canReadScreen(const std::string& displayName, std::chrono::milliseconds limit);

}  // namespace ViewerX11Permission

}  // namespace velmora
