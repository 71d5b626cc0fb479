#include "app/linux/ViewerProcessAlertPresenter.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>
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

/// Takes the desktop's activation token out of the environment, by both of its names.
ViewerAlertEnvironment::Variables takenActivation() {
    ViewerAlertEnvironment::Variables taken;
    for (const std::string name : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"}) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): the process has one thread yet.
        if (const char* const value = ::getenv(name.c_str())) {
            taken.push_back(name + "=" + value);
            ::unsetenv(name.c_str());  // NOLINT(concurrency-mt-unsafe)
        }
    }
    return taken;
}

}  // namespace

ViewerProcessAlertPresenter::ViewerProcessAlertPresenter(
    std::shared_ptr<boost::asio::io_context> loop, std::filesystem::path program)
    : loop_(std::move(loop)),
      program_(std::move(program)),
      terminal_(keptTerminal()),
      activation_(takenActivation()) {}

ViewerProcessAlertPresenter::~ViewerProcessAlertPresenter() {
    ::close(terminal_);
}

void ViewerProcessAlertPresenter::show(ViewerAlert alert, Completion completion) {
    viewerCheck(!alert_, "a modal alert is the only one");
    auto variables = session_ ? session_() : ViewerAlertEnvironment::Variables();
    if (ViewerAlertEnvironment::hasGraphicalSession(variables)) {
        variables.insert(variables.end(), activation_.begin(), activation_.end());
        activation_.clear();
        alert_ = ViewerAlertProcess::start(*loop_, program_, alert, variables);
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
