#pragma once

#include <memory>

#include "core/capture/linux/wayland/ViewerScreenCast.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"

namespace velmora {

/// The consent of the desktop that this process runs on, by its portal on the session bus. Neither
/// a bus nor libsystemd is touched before the request. `mainExecutor` is the main thread's loop, an
/// Asio io_context.
std::shared_ptr<ViewerScreenCast> makePortalScreenCast(
    const ViewerExecutor& mainExecutor, std::shared_ptr<ViewerContinuousClock> clock);

}  // namespace velmora
