#include "app/linux/ViewerProcessAlertPresenter.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "app/ViewerLineOutput.h"
#include "app/linux/ViewerDesktop.h"
#include "app/linux/ViewerLocale.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

int keptTerminal() {
    return ::isatty(STDERR_FILENO) != 0 ? ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0) : -1;
}

}  // namespace

ViewerProcessAlertPresenter::ViewerProcessAlertPresenter(
    std::shared_ptr<boost::asio::io_context> loop, std::filesystem::path program)
    : loop_(std::move(loop)), program_(std::move(program)), terminal_(keptTerminal()) {}

ViewerProcessAlertPresenter::~ViewerProcessAlertPresenter() {
    ::close(terminal_);
}

void ViewerProcessAlertPresenter::show(ViewerAlert alert, Completion completion) {
    viewerCheck(!alert_, "a modal alert is the only one");
    if (ViewerAlertEnvironment::hasGraphicalSession()) {
        alert_ = ViewerAlertProcess::start(*loop_, program_, alert);
    }
    if (!alert_) {
        tellTerminal(alert);
        completion(false);
        return;
    }
    completion_ = std::move(completion);
    alert_->awaitEnd([this, alert = std::move(alert)](std::optional<bool> isFirstButton) {
        if (!isFirstButton) {
            tellTerminal(alert);
        }
        end(isFirstButton.value_or(false));
    });
}

void ViewerProcessAlertPresenter::tellTerminal(const ViewerAlert& alert) const {
    if (terminal_ >= 0) {
        writeLine(terminal_, alert.title, outputPatience);
        writeLine(terminal_, alert.informativeText, outputPatience);
    }
}

void ViewerProcessAlertPresenter::close() {
    if (alert_) {
        end(false);
    }
}

void ViewerProcessAlertPresenter::end(bool isFirstButton) {
    alert_.reset();
    std::exchange(completion_, nullptr)(isFirstButton);
    if (auto action = std::exchange(afterwards_, nullptr)) {
        whenClosed(std::move(action));
    }
}

void ViewerProcessAlertPresenter::whenClosed(std::function<void()> action) {
    if (alert_) {
        afterwards_ = std::move(action);
    } else {
        action();
    }
}

void ViewerProcessAlertPresenter::bringToFront() {}

void ViewerProcessAlertPresenter::openPage(std::string_view) {}

ViewerAlertWording ViewerProcessAlertPresenter::wording() {
    return ViewerDesktop::wording();
}

std::optional<std::string> ViewerProcessAlertPresenter::languageCode() {
    return ViewerLocale::languageCode();
}

}  // namespace velmora
