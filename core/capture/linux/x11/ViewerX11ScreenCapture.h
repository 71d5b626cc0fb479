#pragma once

#include <functional>
#include <memory>
#include <string>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/x11/ViewerX11Connector.h"
#include "core/capture/linux/x11/ViewerX11DisplayList.h"
#include "core/capture/linux/x11/ViewerX11SessionWatch.h"

namespace velmora {

/// The screen capture of one X server. Made, used and destroyed on the thread of its executor.
class ViewerX11ScreenCapture final : public ViewerScreenCapture {
  public:
    /// An empty display name stands for no display: then there is never a list.
    ViewerX11ScreenCapture(ViewerExecutor mainExecutor,
                           std::shared_ptr<ViewerContinuousClock> clock, std::string displayName);

    bool preflightAccess() override;
    /// Any thread.
    void lookAtAccess(AccessCompletion completion) override;
    /// Answered with false at once: an X server asks nobody.
    void requestAccess(RequestCompletion completion) override;
    void shareableDisplays(DisplaysCompletion completion) override;
    std::shared_ptr<const Displays> displaysAtHand() override;
    std::shared_ptr<ViewerDisplayStream> makeStream(const ViewerNativeDisplay& display,
                                                    const ViewerStreamSettings& settings) override;
    void watchSession(std::function<void()> ended) override;

  private:
    const ViewerExecutor executor_;
    const std::shared_ptr<ViewerContinuousClock> clock_;
    const std::string displayName_;
    const std::shared_ptr<ViewerX11Connector> connector_;
    const std::shared_ptr<ViewerX11DisplayList> list_;
    std::unique_ptr<ViewerX11SessionWatch> watch_;
};

}  // namespace velmora
