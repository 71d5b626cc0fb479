#pragma once

#include <functional>
#include <string>

#include "core/capture/ViewerCaptureAccess.h"
#include "core/capture/linux/x11/ViewerX11Connection.h"

namespace velmora {

/// Whether a display is this machine's own and its X server lets this process read the screen. X11
/// has nobody to ask: it is tried, and never `requestable`. Any thread.
namespace ViewerX11Permission {

/// Judges the display behind a connection: by the socket, since a name without a host may lead over
/// TCP too; by what only Xwayland has, which shows nothing of a Wayland session but its X11
/// programs; and by reading one pixel of the root window, which an untrusted client may not, and
/// whose form has to be one that a capture can read. Blocks for some round trips; nobody else reads
/// replies of the connection meanwhile.
ViewerCaptureAccess accessTo(ViewerX11Connection& connection);

/// Judges a display that a connection was just tried to in vain, for xcb does not tell a server
/// that refuses from one that is not there: `sessionRefuses` where a process of this machine
/// listens as that display, else `noAnswer`. Does not block.
ViewerCaptureAccess accessWithoutConnection(const std::string& displayName);

/// Connects to the named display and judges it, on a thread of its own. `completion` runs once: on
/// that thread, or before this returns when there is no name or the system has no thread left; with
/// a server that does not answer, never. Whoever waits sets the limit.
void look(std::string displayName, std::function<void(ViewerCaptureAccess)> completion);

}  // namespace ViewerX11Permission

}  // namespace velmora
