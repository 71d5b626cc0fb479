#pragma once

#include <memory>

#include "app/ViewerAlertPresenter.h"
#include "core/capture/ViewerScreenCapture.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerTask.h"
#include "core/runtime/ViewerTaskHandle.h"

namespace velmora {

/// Stands between the program's start and its server, and lets the host on once the permission to
/// record the screen is there. Where the system can be asked for it, the user is told what the
/// program will do before that; else only why it cannot go on.
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
