#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/ViewerLinuxScreenCapture.h"
#include "core/capture/linux/ViewerLinuxSession.h"
#include "core/capture/linux/login/ViewerLoginSessionWatch.h"
#include "core/capture/linux/wayland/ViewerWaylandScreenCapture.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireRemote.h"
#include "core/capture/linux/wayland/portal/ViewerPortalScreenCastFactory.h"
#include "core/capture/linux/x11/ViewerX11ScreenCapture.h"

namespace velmora {

std::shared_ptr<ViewerScreenCapture> makeScreenCapture(
    ViewerExecutor mainExecutor, std::shared_ptr<ViewerContinuousClock> clock) {
    ViewerLinuxSession session = ViewerLinuxSession::fromEnvironment();
    auto x11 = std::make_shared<ViewerX11ScreenCapture>(mainExecutor, clock, session.x11Display);
    const auto makeRemote = [mainExecutor, clock](int descriptor, std::function<void()> lost) {
        return std::make_shared<ViewerPipeWireRemote>(mainExecutor, clock, descriptor,
                                                      std::move(lost));
    };
    const auto makeWayland = [mainExecutor, clock, makeRemote](const std::string& compositor) {
        return ViewerWaylandScreenCapture::onSocket(
            mainExecutor, clock, compositor, makePortalScreenCast(mainExecutor, clock), makeRemote);
    };
    const auto watchLogin = [mainExecutor, clock](std::function<void()> ended) {
        return std::make_shared<ViewerLoginSessionWatch>(mainExecutor, clock, std::move(ended));
    };
    return std::make_shared<ViewerLinuxScreenCapture>(std::move(session), std::move(x11),
                                                      makeWayland, watchLogin);
}

}  // namespace velmora
