#include "core/capture/linux/x11/ViewerX11ScreenCapture.h"

#include <utility>

#include "core/capture/linux/x11/ViewerX11Permission.h"
#include "core/capture/linux/x11/ViewerX11Stream.h"

namespace velmora {

ViewerX11ScreenCapture::ViewerX11ScreenCapture(ViewerExecutor mainExecutor,
                                               std::shared_ptr<ViewerContinuousClock> clock,
                                               std::string displayName)
    : executor_(std::move(mainExecutor)),
      clock_(std::move(clock)),
      displayName_(std::move(displayName)),
      connector_(std::make_shared<ViewerX11Connector>(displayName_)),
      list_(std::make_shared<ViewerX11DisplayList>(executor_, clock_, connector_)) {}

bool ViewerX11ScreenCapture::preflightAccess() {
    return list_->hasAccess();
}

void ViewerX11ScreenCapture::lookAtAccess(AccessCompletion completion) {
    ViewerX11Permission::look(displayName_, std::move(completion));
}

void ViewerX11ScreenCapture::requestAccess(RequestCompletion completion) {
    completion(false);
}

void ViewerX11ScreenCapture::shareableDisplays(DisplaysCompletion completion) {
    list_->get(std::move(completion));
}

std::shared_ptr<const ViewerScreenCapture::Displays> ViewerX11ScreenCapture::displaysAtHand() {
    return list_->current();
}

std::shared_ptr<ViewerDisplayStream> ViewerX11ScreenCapture::makeStream(
    const ViewerNativeDisplay& display, const ViewerStreamSettings& settings) {
    return ViewerLinuxStream::handedOut(
        std::make_shared<ViewerX11Stream>(executor_, clock_, connector_, display, settings));
}

void ViewerX11ScreenCapture::watchSession(std::function<void()> ended) {
    watch_ =
        std::make_unique<ViewerX11SessionWatch>(executor_, clock_, connector_, std::move(ended));
}

}  // namespace velmora
