#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/ViewerAlertPresenter.h"
#include "tests/support/runtime/CallLog.h"

namespace velmora {

/// Shows alerts to a user whom the test plays, and keeps them. One thread.
class ScriptedAlertPresenter final : public ViewerAlertPresenter {
  public:
    explicit ScriptedAlertPresenter(CallLog calls) : calls_(std::move(calls)) {}

    /// Which button each alert in turn is closed with at once, the first being 0. One that comes
    /// after the last of these waits for `press`.
    std::vector<std::size_t> presses;
    ViewerAlertWording givenWording = ViewerAlertWording::mac;
    std::optional<std::string> givenLanguage = "en";

    /// Called for each alert before anything else happens to it.
    std::function<void(const ViewerAlert&)> onShow;

    /// The user closes the alert that shows.
    void press(std::size_t button);
    /// Every alert that was shown, in order.
    const std::vector<ViewerAlert>& shown() const { return shown_; }
    bool isShowing() const { return completion_ != nullptr; }
    /// Runs `action` once no alert shows; a later one takes its place.
    void whenClosed(std::function<void()> action);

    void show(ViewerAlert alert, Completion completion) override;
    void close() override;
    void bringToFront() override;
    void openPage(std::string_view url) override;
    ViewerAlertWording wording() override { return givenWording; }
    std::optional<std::string> languageCode() override { return givenLanguage; }

  private:
    void end(bool isFirstButton);

    const CallLog calls_;
    std::vector<ViewerAlert> shown_;
    Completion completion_;
    std::function<void()> afterwards_;
};

}  // namespace velmora
