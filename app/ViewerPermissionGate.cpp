#include "app/ViewerPermissionGate.h"

#include <utility>

#include "core/runtime/ViewerOneShot.h"

namespace velmora {

namespace {

ViewerTask<bool> preflight(std::shared_ptr<ViewerApplicationShell> shell) {
    co_return co_await ViewerOneShot<bool>::wait([&](ViewerOneShot<bool> continuation) {
        // A std::function is copied, a continuation is not.
        const auto shared = std::make_shared<ViewerOneShot<bool>>(std::move(continuation));
        shell->preflightAccess([shared](bool isGranted) { shared->complete(isGranted); });
    });
}

}  // namespace

ViewerTask<bool> ViewerPermissionGate::isAllowed(std::shared_ptr<ViewerApplicationShell> shell) {
    return preflight(std::move(shell));
}

}  // namespace velmora
