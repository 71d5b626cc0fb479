#pragma once

#include <memory>

#include "app/ViewerAlertPresenter.h"
#include "app/ViewerApplicationShell.h"
#include "core/capture/ViewerScreenCapture.h"
#include "core/http/ViewerTransport.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutors.h"

namespace velmora {

/// What the platform gives to the application: the shell around it, what shows its alerts, and what
/// the host's objects are made of. A plain value, made and used on the main thread; each service
/// says who else may use it.
struct ViewerPlatformServices final {
    /// Goes last: the executors may be its run loop.
    std::shared_ptr<ViewerApplicationShell> shell;
    std::shared_ptr<ViewerAlertPresenter> alerts;
    std::shared_ptr<ViewerExecutors> executors;
    std::shared_ptr<ViewerContinuousClock> clock;
    std::shared_ptr<ViewerTransport> transport;
    std::shared_ptr<ViewerScreenCapture> capture;
};

/// The platform's services, defined once for each platform. Called once, as the first thing that
/// the process does.
ViewerPlatformServices makePlatformServices();

}  // namespace velmora
