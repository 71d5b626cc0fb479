#pragma once

#include <memory>

#include "app/ViewerApplicationShell.h"
#include "core/runtime/ViewerTask.h"

namespace velmora {

/// Stands between the program's start and its server: nothing is served before the user's
/// permission to record the screen is there. Runs on the main thread's executor.
namespace ViewerPermissionGate {

/// Whether the host may go on. Asks nobody when the permission is granted already.
ViewerTask<bool> isAllowed(std::shared_ptr<ViewerApplicationShell> shell);

}  // namespace ViewerPermissionGate

}  // namespace velmora
