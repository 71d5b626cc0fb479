#pragma once

namespace velmora {

/// Whether this process may record the screen, and if not, why not. Any thread.
enum class ViewerCaptureAccess {
    granted,
    /// Not granted, and the platform can ask the person at the machine for it.
    requestable,
    /// The session keeps its screen to itself, or there is no graphical session.
    sessionRefuses,
    /// The display is reached over the network: it need not be this computer's.
    remoteDisplay,
    /// A Wayland session whose compositor cannot be reached; X11 shows only a part of it, or
    /// nothing.
    waylandSession,
    /// The display server is not there, or does not answer.
    noAnswer,
    /// The person declined the desktop's own request.
    declined,
    /// The session is a Wayland one, and the service that asks the person for its screens is not
    /// there, has nothing that can show screens, or does not answer.
    portalMissing,
    portalWithoutScreens,
    portalSilent,
    /// What the person granted has no whole screen in it.
    noWholeScreen,
};

}  // namespace velmora
