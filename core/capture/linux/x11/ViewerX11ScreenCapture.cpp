#include "core/capture/linux/x11/ViewerX11ScreenCapture.h"

#include <chrono>
#include <utility>

#include "core/capture/linux/x11/ViewerX11Permission.h"
#include "core/capture/linux/x11/ViewerX11Stream.h"
#include "core/capture/linux/x11/ViewerX11Thread.h"

namespace velmora {

namespace {

/// Of the 3 seconds that the answer to `--check-permission` may take, some are the process's own.
constexpr std::chrono::milliseconds lookLimit{2500};

}  // namespace

ViewerX11ScreenCapture::ViewerX11ScreenCapture(ViewerExecutor mainExecutor, std::string displayName)
    : displayName_(std::move(displayName)),
      connector_(std::make_shared<ViewerX11Connector>(displayName_)),
      list_(std::make_shared<ViewerX11DisplayList>(std::move(mainExecutor), connector_)) {}

bool ViewerX11ScreenCapture::preflightAccess() {
    return list_->hasAccess();
}

void ViewerX11ScreenCapture::lookAtAccess(AccessCompletion completion) {
    // A server that hangs must hold neither the loop, which has signals to answer, nor a caller
    // that runs none.
    const bool isStarted = startX11Thread("permission", [completion, displayName = displayName_] {
        completion(ViewerX11Permission::canReadScreen(displayName, lookLimit));
    });
    if (!isStarted) {
        completion(false);
    }
}

void ViewerX11ScreenCapture::requestAccess(AccessCompletion completion) {
    lookAtAccess(std::move(completion));
}

void ViewerX11ScreenCapture::shareableDisplays(DisplaysCompletion completion) {
    list_->get(std::move(completion));
}

std::shared_ptr<ViewerDisplayStream> ViewerX11ScreenCapture::makeStream(
    const ViewerNativeDisplay& display, const ViewerStreamSettings& settings) {
    return std::make_shared<ViewerX11Stream>(connector_, display, settings);
}

}  // namespace velmora
