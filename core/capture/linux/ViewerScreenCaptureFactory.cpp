#include <memory>
#include <utility>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/x11/ViewerX11Connection.h"
#include "core/capture/linux/x11/ViewerX11ScreenCapture.h"

namespace velmora {

std::shared_ptr<ViewerScreenCapture> makeScreenCapture(
    ViewerExecutor mainExecutor, std::shared_ptr<ViewerContinuousClock> clock) {
    return std::make_shared<ViewerX11ScreenCapture>(
        std::move(mainExecutor), std::move(clock),
        ViewerX11Connection::displayNameFromEnvironment());
}

}  // namespace velmora
