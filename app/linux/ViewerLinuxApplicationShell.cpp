#include "app/linux/ViewerLinuxApplicationShell.h"

#include <unistd.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <utility>

#include "app/ViewerLineOutput.h"
#include "app/linux/ViewerLinuxSignalSource.h"
#include "app/linux/ViewerLocale.h"
#include "app/linux/ViewerMachineName.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

/// How long a full standard output may hold the line, and with it the loop, up.
constexpr std::chrono::seconds outputPatience{1};

}  // namespace

ViewerLinuxApplicationShell::ViewerLinuxApplicationShell(
    std::shared_ptr<boost::asio::io_context> loop, std::filesystem::path alertProgram)
    : loop_(std::move(loop)), alertProgram_(std::move(alertProgram)) {
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
    if (alert_) {
        isTerminationPending_ = true;
        return;
    }
    if (delegate_->applicationShouldTerminate() == ViewerTerminateReply::now) {
        loop_->stop();
    }
}

void ViewerLinuxApplicationShell::exit(int status) {
    // Standard output is written without a buffer: there is nothing to flush.
    ::_exit(status);
}

void ViewerLinuxApplicationShell::bringToFront() {}

void ViewerLinuxApplicationShell::showAlert(ViewerAlert alert, AlertCompletion completion) {
    viewerCheck(!alert_, "a modal alert is the only one");
    if (ViewerAlertEnvironment::hasGraphicalSession()) {
        alert_ = ViewerAlertProcess::start(*loop_, alertProgram_, alert);
    } else if (::isatty(STDERR_FILENO) != 0) {
        writeLine(STDERR_FILENO, alert.title, outputPatience);
        writeLine(STDERR_FILENO, alert.informativeText, outputPatience);
    }
    if (!alert_) {
        completion(false);
        return;
    }
    alertCompletion_ = std::move(completion);
    alert_->awaitEnd([this](bool isFirstButton) { endAlert(isFirstButton); });
}

void ViewerLinuxApplicationShell::closeAlert() {
    if (alert_) {
        endAlert(false);
    }
}

void ViewerLinuxApplicationShell::endAlert(bool isFirstButton) {
    alert_.reset();
    std::exchange(alertCompletion_, nullptr)(isFirstButton);
    if (std::exchange(isTerminationPending_, false)) {
        terminate();
    }
}

void ViewerLinuxApplicationShell::openURL(std::string_view) {}

ViewerAlertWording ViewerLinuxApplicationShell::alertWording() {
    return ViewerAlertWording::linuxDesktop;
}

std::optional<std::string> ViewerLinuxApplicationShell::languageCode() {
    return ViewerLocale::languageCode();
}

std::optional<std::string> ViewerLinuxApplicationShell::machineName() {
    return ViewerMachineName::current();
}

void ViewerLinuxApplicationShell::printLine(std::string_view line) {
    writeLine(STDOUT_FILENO, line, outputPatience);
}

}  // namespace velmora
