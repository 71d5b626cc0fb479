#include "core/capture/linux/x11/ViewerX11ScreenCapture.h"

#include <utility>

#include "core/capture/linux/ViewerLocalizedOrder.h"
#include "core/capture/linux/x11/ViewerX11Stream.h"

namespace velmora {

ViewerX11ScreenCapture::ViewerX11ScreenCapture(ViewerExecutor mainExecutor, std::string displayName)
    : connector_(std::make_shared<ViewerX11Connector>(std::move(displayName))),
      list_(std::make_shared<ViewerX11DisplayList>(std::move(mainExecutor), connector_)) {}

bool ViewerX11ScreenCapture::preflightAccess() {
    return list_->hasAccess();
}

void ViewerX11ScreenCapture::shareableDisplays(DisplaysCompletion completion) {
    list_->get(std::move(completion));
}

std::vector<ViewerNativeScreen> ViewerX11ScreenCapture::screens() {
    return list_->screens();
}

bool ViewerX11ScreenCapture::comesBefore(const std::string& a, const std::string& b) {
    return ViewerLocalizedOrder::comesBefore(a, b);
}

std::shared_ptr<ViewerDisplayStream> ViewerX11ScreenCapture::makeStream(
    const ViewerNativeDisplay& display, const ViewerStreamSettings& settings) {
    return std::make_shared<ViewerX11Stream>(connector_, display, settings);
}

}  // namespace velmora
