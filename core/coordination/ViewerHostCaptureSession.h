#pragma once

#include <optional>

#include "core/protocol/ViewerHostFrame.h"
#include "core/runtime/ViewerExecutor.h"
#include "core/runtime/ViewerTask.h"

namespace velmora {

/// One display's running capture. Shared by reference; its operations may be called from any task.
class ViewerHostCaptureSession {
  public:
    ViewerHostCaptureSession() = default;
    ViewerHostCaptureSession(const ViewerHostCaptureSession&) = delete;
    ViewerHostCaptureSession& operator=(const ViewerHostCaptureSession&) = delete;
    virtual ~ViewerHostCaptureSession() = default;

    /// The newest frame, or nothing when none is available. Does not fail.
    virtual ViewerTask<std::optional<ViewerHostFrame>> latestFrame() = 0;
    /// The same where it is there and `caller`, on which the caller runs, is where the session
    /// works; else nothing.
    virtual std::optional<ViewerHostFrame> frameAtHand(const ViewerExecutor& caller) {
        (void)caller;
        return std::nullopt;
    }
    /// Ends the capture. Does not fail; called exactly once by the coordinator.
    virtual ViewerTask<void> stop() = 0;
};

}  // namespace velmora
