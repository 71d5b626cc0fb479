#include "app/ViewerProcessEntry.h"

#include <algorithm>
#include <csignal>
#include <future>
#include <memory>
#include <string_view>

#include "app/ViewerHostApplicationDelegate.h"

namespace velmora {

namespace {

constexpr std::string_view checkPermissionArgument = "--check-permission";

int checkPermission(const ViewerPlatformServices& services) {
    const auto answer = std::make_shared<std::promise<ViewerCaptureAccess>>();
    services.capture->lookAtAccess(
        [answer](ViewerCaptureAccess access) { answer->set_value(access); });
    auto future = answer->get_future();
    const bool isGranted =
        future.wait_for(ViewerScreenCapture::lookLimit) == std::future_status::ready &&
        future.get() == ViewerCaptureAccess::granted;
    services.shell->printLine(isGranted ? "Screen Recording: granted"
                                        : "Screen Recording: not granted");
    return isGranted ? ViewerProcessEntry::permissionGrantedStatus
                     : ViewerProcessEntry::permissionMissingStatus;
}

}  // namespace

int ViewerProcessEntry::run(const ViewerPlatformServices& services,
                            std::span<const char* const> arguments) {
    if (std::ranges::find(arguments, checkPermissionArgument) != arguments.end()) {
        return checkPermission(services);
    }
    services.shell->ignoreSignal(SIGINT);
    services.shell->ignoreSignal(SIGTERM);
    return services.shell->run(std::make_shared<ViewerHostApplicationDelegate>(services));
}

}  // namespace velmora
