#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/protocol/ViewerHostDisplays.h"
#include "core/protocol/ViewerHostFrame.h"
#include "core/runtime/ViewerExecutor.h"
#include "core/runtime/ViewerTask.h"

namespace velmora {

/// What the HTTP side asks for displays and frames. No operation fails; each may be called from any
/// task. What is at hand is what the operation of the same kind would yield without a wait to one
/// who runs on `caller`, which is where the provider works, too; nothing means that the operation
/// has to be asked.
class ViewerHostFrameProviding {
  public:
    virtual ~ViewerHostFrameProviding() = default;

    /// The displays that can be captured now; empty once shut down.
    virtual ViewerTask<ViewerHostDisplays> displays() = 0;
    /// The newest frame of a display, or nothing: unknown display, too many captures, shut down, or
    /// no frame yet.
    virtual ViewerTask<std::optional<ViewerHostFrame>> frame(std::string displayID) = 0;
    virtual std::optional<ViewerHostDisplays> displaysAtHand(const ViewerExecutor& caller) {
        (void)caller;
        return std::nullopt;
    }
    virtual std::optional<ViewerHostFrame> frameAtHand(const ViewerExecutor& caller,
                                                       std::string_view displayID) {
        (void)caller, (void)displayID;
        return std::nullopt;
    }
    /// Stops all capture; afterwards the other two answer empty and nothing.
    virtual ViewerTask<void> shutdown() = 0;
};

}  // namespace velmora
