#include "app/ViewerProcessEntry.h"

#include <algorithm>
#include <csignal>
#include <future>
#include <string_view>
#include <utility>

#include "app/ViewerHostApplicationDelegate.h"

namespace velmora {

namespace {

constexpr std::string_view checkPermissionArgument = "--check-permission";

int checkPermission(ViewerApplicationShell& shell) {
    const auto answer = std::make_shared<std::promise<bool>>();
    shell.preflightAccess([answer](bool isGranted) { answer->set_value(isGranted); });
    const bool isGranted = answer->get_future().get();
    shell.printLine(isGranted ? "Screen Recording: granted" : "Screen Recording: not granted");
    return isGranted ? ViewerProcessEntry::permissionGrantedStatus
                     : ViewerProcessEntry::permissionMissingStatus;
}

}  // namespace

int ViewerProcessEntry::run(std::shared_ptr<ViewerApplicationShell> shell,
                            std::span<const char* const> arguments) {
    if (std::ranges::find(arguments, checkPermissionArgument) != arguments.end()) {
        return checkPermission(*shell);
    }
    shell->ignoreSignal(SIGINT);
    shell->ignoreSignal(SIGTERM);
    const auto delegate = std::make_shared<ViewerHostApplicationDelegate>(shell);
    return shell->run(delegate);
}

}  // namespace velmora
