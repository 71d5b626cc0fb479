#include "app/ViewerPlatformServices.h"

#include "app/mac/ViewerAppKitAlertPresenter.h"
#include "app/mac/ViewerAppKitApplicationShell.h"
#include "core/runtime/mac/ViewerDispatchClock.h"
#include "core/runtime/mac/ViewerDispatchExecutors.h"

namespace velmora {

ViewerPlatformServices makePlatformServices() {
    ViewerPlatformServices services;
    const auto panel = std::make_shared<ViewerAppKitAlertPanel>();
    services.shell = std::make_shared<ViewerAppKitApplicationShell>(panel);
    services.alerts = std::make_shared<ViewerAppKitAlertPresenter>(panel);
    services.executors = std::make_shared<ViewerDispatchExecutors>();
    services.clock = ViewerDispatchClock::make();
    services.transport = makeTransport(services.clock);
    services.capture = makeScreenCapture(services.executors->mainExecutor(), services.clock);
    return services;
}

}  // namespace velmora
