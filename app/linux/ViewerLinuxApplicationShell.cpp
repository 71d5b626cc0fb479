#include "app/linux/ViewerLinuxApplicationShell.h"

#include <unistd.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <csignal>
#include <cstdlib>
#include <utility>

#include "app/ViewerLineOutput.h"
#include "app/linux/ViewerLinuxSignalSource.h"
#include "app/linux/ViewerMachineName.h"
#include "core/runtime/ViewerIfAlive.h"

namespace velmora {

ViewerLinuxApplicationShell::ViewerLinuxApplicationShell(
    std::shared_ptr<boost::asio::io_context> loop,
    std::shared_ptr<ViewerProcessAlertPresenter> alerts)
    : loop_(std::move(loop)), alerts_(std::move(alerts)) {
    // A reader that is gone is an error of the write, not the end of the process.
    (void)std::signal(SIGPIPE, SIG_IGN);  // fails for no signal that there is
}

void ViewerLinuxApplicationShell::ignoreSignal(int signal) {
    velmora::ignoreSignal(signal);
}

std::shared_ptr<ViewerSignalSource> ViewerLinuxApplicationShell::makeSignalSource(
    int signal, std::function<void()> handler) {
    const auto source =
        std::make_shared<ViewerLinuxSignalSource>(*loop_, signal, std::move(handler));
    source->resume();
    return source;
}

int ViewerLinuxApplicationShell::run(std::shared_ptr<ViewerApplicationDelegate> delegate) {
    delegate_ = std::move(delegate);
    const auto work = boost::asio::make_work_guard(*loop_);
    boost::asio::post(*loop_, [this] { delegate_->applicationDidFinishLaunching(); });
    loop_->run();
    delegate_.reset();
    return EXIT_SUCCESS;
}

void ViewerLinuxApplicationShell::terminate() {
    alerts_->whenClosed(ifAlive(weak_from_this(), &ViewerLinuxApplicationShell::askDelegate));
}

void ViewerLinuxApplicationShell::askDelegate() {
    if (delegate_->applicationShouldTerminate() == ViewerTerminateReply::now) {
        loop_->stop();
    }
}

void ViewerLinuxApplicationShell::exit(int status) {
    // Standard output is written without a buffer: there is nothing to flush.
    ::_exit(status);
}

std::optional<std::string> ViewerLinuxApplicationShell::machineName() {
    return ViewerMachineName::current();
}

void ViewerLinuxApplicationShell::printLine(std::string_view line) {
    writeLine(STDOUT_FILENO, line, outputPatience);
}

}  // namespace velmora
