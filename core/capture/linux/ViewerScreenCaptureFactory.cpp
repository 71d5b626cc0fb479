#include <memory>
#include <string>
#include <utility>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/ViewerLinuxScreenCapture.h"
#include "core/capture/linux/ViewerLinuxSession.h"
#include "core/capture/linux/x11/ViewerX11ScreenCapture.h"

namespace velmora {

std::shared_ptr<ViewerScreenCapture> makeScreenCapture(
    ViewerExecutor mainExecutor, std::shared_ptr<ViewerContinuousClock> clock) {
    ViewerLinuxSession session = ViewerLinuxSession::fromEnvironment();
    const auto x11 = std::make_shared<ViewerX11ScreenCapture>(std::move(mainExecutor),
                                                              std::move(clock), session.x11Display);
    // A compositor's screens are captured by nothing yet: what X11 says of the session is told.
    const auto makeWayland = [x11](const std::string&) { return x11; };
    return std::make_shared<ViewerLinuxScreenCapture>(std::move(session), x11, makeWayland);
}

}  // namespace velmora
