#pragma once

#include <memory>

#include "app/ViewerAlertPresenter.h"
#include "core/capture/ViewerScreenCapture.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerTask.h"
#include "core/runtime/ViewerTaskHandle.h"

namespace velmora {

/// Stands between the program's start and its server: tells the user what the program will do, lets
/// the system ask for the permission to record the screen, and lets the host on once it is there.
/// Runs on the main thread's executor.
namespace ViewerPermissionGate {

/// Whether the host may go on. Shows nothing when the permission is granted already. Asks for
/// nothing more once `task`, whose part this is, is cancelled.
ViewerTask<bool> isAllowed(std::shared_ptr<ViewerScreenCapture> capture,
                           std::shared_ptr<ViewerAlertPresenter> alerts,
                           std::shared_ptr<ViewerContinuousClock> clock,
                           std::shared_ptr<const ViewerTaskHandle> task);

}  // namespace ViewerPermissionGate

}  // namespace velmora
