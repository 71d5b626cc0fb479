#pragma once

#include <memory>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"

namespace velmora {

/// Screen capture on macOS: ScreenCaptureKit's displays and AppKit's screens. Holds nothing; any
/// thread unless the interface says otherwise.
class ViewerScreenCaptureKitCapture final : public ViewerScreenCapture {
  public:
    bool preflightAccess() override;
    void lookAtAccess(AccessCompletion completion) override;
    void requestAccess(RequestCompletion completion) override;
    void shareableDisplays(DisplaysCompletion completion) override;
    std::vector<ViewerNativeScreen> screens() override;
    std::shared_ptr<ViewerDisplayStream> makeStream(const ViewerNativeDisplay& display,
                                                    const ViewerStreamSettings& settings) override;
};

}  // namespace velmora
