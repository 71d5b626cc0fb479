#include "tests/support/app/ScriptedAlertPresenter.h"

#include "core/runtime/ViewerCheck.h"

namespace velmora {

void ScriptedAlertPresenter::press(std::size_t button) {
    if (isShowing()) {
        end(button == 0);
    }
}

void ScriptedAlertPresenter::whenClosed(std::function<void()> action) {
    if (isShowing()) {
        afterwards_ = std::move(action);
    } else {
        action();
    }
}

void ScriptedAlertPresenter::show(ViewerAlert alert, Completion completion) {
    viewerCheck(!isShowing(), "a modal alert is the only one");
    if (onShow) {
        onShow(alert);
    }
    calls_->push_back("alert " + alert.title);
    shown_.push_back(std::move(alert));
    completion_ = std::move(completion);
    if (shown_.size() <= presses.size()) {
        press(presses[shown_.size() - 1]);
    }
}

void ScriptedAlertPresenter::close() {
    calls_->emplace_back("close alert");
    if (isShowing()) {
        end(false);
    }
}

void ScriptedAlertPresenter::end(bool isFirstButton) {
    std::exchange(completion_, nullptr)(isFirstButton);
    if (auto action = std::exchange(afterwards_, nullptr)) {
        whenClosed(std::move(action));
    }
}

void ScriptedAlertPresenter::bringToFront() {
    calls_->emplace_back("front");
}

void ScriptedAlertPresenter::openPage(std::string_view url) {
    calls_->push_back("open " + std::string(url));
}

}  // namespace velmora
