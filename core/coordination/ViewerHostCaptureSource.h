#pragma once

#include <memory>
#include <optional>
#include <string>

#include "core/coordination/ViewerHostCaptureSession.h"
#include "core/protocol/ViewerHostDisplays.h"
#include "core/runtime/ViewerTask.h"

namespace velmora {

/// Where displays and their captures come from. Its operations do not fail and may be called from
/// any task.
class ViewerHostCaptureSource {
  public:
    virtual ~ViewerHostCaptureSource() = default;

    /// The displays that can be captured now; possibly empty.
    virtual ViewerTask<ViewerHostDisplays> displays() = 0;
    /// The same where the platform need not be asked, else nothing.
    virtual std::optional<ViewerHostDisplays> displaysAtHand() { return std::nullopt; }
    /// A new capture of the display, not yet started, or null when the id is unknown or the capture
    /// cannot be set up. The caller owns it and must end it with `stop()`.
    virtual std::shared_ptr<ViewerHostCaptureSession> makeSession(const std::string& displayID) = 0;
};

}  // namespace velmora
