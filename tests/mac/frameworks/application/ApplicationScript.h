#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

/// What the user and the system do around the application, and what they saw. One for the process,
/// of the main thread, which is the test's.
struct ApplicationScript final {
    /// An alert as it was shown.
    struct Alert final {
        friend bool operator==(const Alert&, const Alert&) = default;
        unsigned long style = 0;
        std::string message;
        std::string informativeText;
        std::vector<std::string> buttons;
        /// The button that the Escape key presses.
        std::string escapes = {};
    };
    /// What happens while an alert shows; yields the button's code, or `noButton`.
    using WhileAlertShows = std::function<long()>;

    static constexpr long noButton = 0;
    static constexpr long firstButton = 1000;
    static constexpr long secondButton = 1001;

    static ApplicationScript& shared();

    /// Runs what the run loop has been given since. What is run may be modal itself.
    void runPerformed();
    /// Runs everything until nothing is left, then the next of `whenIdle`, and so on until the
    /// application terminates. Fails the test when there is nothing left and nobody waits for more.
    void runApplication();
    /// Quits the application as the user or the system does.
    static void quit();
    /// Runs the modal loop of an alert; yields how it was answered.
    long runModal(const Alert& alert);
    void stopModal(long code);

    /// One after the other, each when nothing else is left to do.
    std::deque<std::function<void()>> whenIdle;
    /// Called when nothing at all is left to do: waits for more and does it.
    std::function<void()> waitForMore;
    /// One for each alert.
    std::deque<WhileAlertShows> answers;
    std::vector<Alert> alerts;
    bool isTerminated = false;

    std::optional<std::string> hostName;
    std::optional<std::string> languageCode;
    /// The language code is no text.
    bool hasNumberAsLanguage = false;

    std::deque<std::function<void()>> performed;
    bool isModal = false;
    std::optional<long> stopCode;
    /// A stopped modal loop looks only when an event has come.
    bool hasEvent = false;
};

}  // namespace velmora
