#include <memory>
#include <utility>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/x11/ViewerX11Connection.h"
#include "core/capture/linux/x11/ViewerX11ScreenCapture.h"

namespace velmora {

std::shared_ptr<ViewerScreenCapture> makeScreenCapture(ViewerExecutor mainExecutor) {
    return std::make_shared<ViewerX11ScreenCapture>(
        std::move(mainExecutor), ViewerX11Connection::displayNameFromEnvironment());
}

}  // namespace velmora
