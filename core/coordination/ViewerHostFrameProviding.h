#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/protocol/ViewerHostDisplay.h"
#include "core/protocol/ViewerHostFrame.h"
#include "core/runtime/ViewerTask.h"

namespace velmora {

/// What the HTTP side asks for displays and frames. No operation fails; each may be called from any
/// task.
class ViewerHostFrameProviding {
  public:
    virtual ~ViewerHostFrameProviding() = default;

    /// The displays that can be captured now; empty once shut down.
    virtual ViewerTask<std::vector<ViewerHostDisplay>> displays() = 0;
    /// The newest frame of a display, or nothing: unknown display, too many captures, shut down, or
    /// no frame yet.
    virtual ViewerTask<std::optional<ViewerHostFrame>> frame(std::string displayID) = 0;
    /// Stops all capture; afterwards the other two answer empty and nothing.
    virtual ViewerTask<void> shutdown() = 0;
};

}  // namespace velmora
