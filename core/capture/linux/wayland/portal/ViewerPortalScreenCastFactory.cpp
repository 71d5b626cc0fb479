#include "core/capture/linux/wayland/portal/ViewerPortalScreenCastFactory.h"

#include <utility>

#include "core/capture/linux/wayland/portal/ViewerDesktopLock.h"
#include "core/capture/linux/wayland/portal/ViewerDesktopPortal.h"
#include "core/capture/linux/wayland/portal/ViewerPortalScreenCast.h"

namespace velmora {

std::shared_ptr<ViewerScreenCast> makePortalScreenCast(
    const ViewerExecutor& mainExecutor, std::shared_ptr<ViewerContinuousClock> clock) {
    using Bus = ViewerBusConnection::Bus;
    const auto sessionBus = std::make_shared<ViewerLazyBus>(Bus::session, mainExecutor, clock);
    const auto systemBus = std::make_shared<ViewerLazyBus>(Bus::system, mainExecutor, clock);
    return std::make_shared<ViewerPortalScreenCast>(
        mainExecutor, clock, std::make_shared<ViewerDesktopPortal>(sessionBus, mainExecutor, clock),
        std::make_shared<ViewerDesktopLock>(sessionBus, systemBus, mainExecutor));
}

}  // namespace velmora
