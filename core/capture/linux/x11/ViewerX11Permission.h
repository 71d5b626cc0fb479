#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "core/capture/linux/x11/ViewerX11Connection.h"

namespace velmora {

/// Whether an X server lets this process read its screen. X11 has nobody to ask: it is tried. Any
/// thread.
namespace ViewerX11Permission {

/// Reads one pixel of the root window, which an untrusted client may not. False also when the
/// screen's pixels have a form that no capture can read, and when the connection broke. Blocks for
/// one round trip.
bool canReadScreen(ViewerX11Connection& connection);

/// Connects to the named display and tries, on a thread of its own. `completion` runs once, with
/// false also when there is no such display: on that thread, or before this returns when the system
/// has no thread left; with a server that does not answer, never. Whoever waits sets the limit: a
/// task through `ViewerBoundedCall`, a thread without a loop through the operation below.
void look(std::string displayName, std::function<void(bool)> completion);

/// The same for the time before a loop runs: blocks for at most `limit`, and takes no answer by
/// then for a no.
bool canReadScreen(const std::string& displayName, std::chrono::milliseconds limit);

}  // namespace ViewerX11Permission

}  // namespace velmora
