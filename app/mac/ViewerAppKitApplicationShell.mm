#include "app/mac/ViewerAppKitApplicationShell.h"

#import <AppKit/AppKit.h>
#import <Foundation/Foundation.h>

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <utility>

#include "app/ViewerLineOutput.h"
#include "app/mac/ViewerDispatchSignalSource.h"
#include "core/runtime/ViewerCheck.h"
#include "core/runtime/mac/ViewerFoundationText.h"

namespace velmora {

ViewerAppKitApplicationShell::ViewerAppKitApplicationShell(
    std::shared_ptr<ViewerAppKitAlertPanel> alertPanel)
    : alertPanel_(std::move(alertPanel)) {
    // A reader that is gone is an error of the write, not the end of the process.
    (void)std::signal(SIGPIPE, SIG_IGN);  // fails for no signal that there is
}

void ViewerAppKitApplicationShell::ignoreSignal(int signal) {
    const bool isIgnored = std::signal(signal, SIG_IGN) != SIG_ERR;
    viewerCheck(isIgnored, "the signal can be ignored");
}

std::shared_ptr<ViewerSignalSource> ViewerAppKitApplicationShell::makeSignalSource(
    int signal, std::function<void()> handler) {
    return std::make_shared<ViewerDispatchSignalSource>(signal, std::move(handler));
}

int ViewerAppKitApplicationShell::run(std::shared_ptr<ViewerApplicationDelegate> delegate) {
    NSApplication* const application = NSApplication.sharedApplication;
    @autoreleasepool {  // nobody else has one before the run loop
        // The bundle says the same; where it is refused, a Dock icon is all that differs.
        (void)[application setActivationPolicy:NSApplicationActivationPolicyAccessory];
        // An application without a window is slowed down after a while, to where it would miss the
        // times at which it must close connections and captures.
        activity_ = [NSProcessInfo.processInfo
            beginActivityWithOptions:NSActivityUserInitiatedAllowingIdleSystemSleep
                              reason:@"Answering viewers on the network"];
        delegate_ = [[ViewerAppKitApplicationDelegate alloc] initWithDelegate:std::move(delegate)];
        application.delegate = delegate_;
    }
    [application run];
    return EXIT_SUCCESS;
}

void ViewerAppKitApplicationShell::terminate() {
    alertPanel_->terminateApplication();
}

void ViewerAppKitApplicationShell::exit(int status) {
    // Standard output is written without a buffer: there is nothing to flush.
    ::_exit(status);
}

std::optional<std::string> ViewerAppKitApplicationShell::machineName() {
    return ViewerFoundationText::textOf(NSHost.currentHost.localizedName);
}

void ViewerAppKitApplicationShell::printLine(std::string_view line) {
    writeLine(STDOUT_FILENO, line, outputPatience);
}

}  // namespace velmora
