#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "app/ViewerAlert.h"

namespace velmora {

/// A delegate's answer to the request to terminate.
enum class ViewerTerminateReply { cancel, now };

/// What the platform's application asks and tells its owner. Called on the main thread.
class ViewerApplicationDelegate {
  public:
    virtual ~ViewerApplicationDelegate() = default;

    /// Called once, as the first thing in the run loop.
    virtual void applicationDidFinishLaunching() = 0;
    /// With `cancel` the application goes on.
    virtual ViewerTerminateReply applicationShouldTerminate() = 0;
};

/// A running watch on one signal. Dropping it ends the watch. Main thread only.
class ViewerSignalSource {
  public:
    virtual ~ViewerSignalSource() = default;

    /// Ends the watch: the handler runs no more, and the signal is ignored again. Any number of
    /// times, also from the handler.
    virtual void cancel() = 0;
};

/// The platform around the application: its run loop, its signals, its standard output and what it
/// knows of the machine. One for the process; main thread only.
class ViewerApplicationShell {
  public:
    using AlertCompletion = std::function<void(bool isFirstButton)>;

    virtual ~ViewerApplicationShell() = default;

    /// Switches off what the signal does by itself. Called before the process has a second thread.
    virtual void ignoreSignal(int signal) = 0;
    /// A watch that runs `handler` in the run loop for each arrival of an ignored signal from now
    /// on.
    virtual std::shared_ptr<ViewerSignalSource> makeSignalSource(int signal,
                                                                 std::function<void()> handler) = 0;

    /// Runs the application, without a place in the desktop's bars, until its delegate agrees to
    /// terminate. Yields the exit status; a platform may end the process with it itself.
    virtual int run(std::shared_ptr<ViewerApplicationDelegate> delegate) = 0;
    /// Asks the running application's delegate, and ends the run loop if it agrees. While an alert
    /// shows, that is put off until it has closed.
    virtual void terminate() = 0;
    /// Ends the process as it stands: threads that hang in a platform call are not waited for, and
    /// nothing is destroyed.
    [[noreturn]] virtual void exit(int status) = 0;

    /// Brings the application before all others.
    virtual void bringToFront() = 0;
    /// Shows a modal alert; one at a time. The completion runs once, on the main thread, possibly
    /// before the call returns. An alert that cannot be shown, or is closed without a button, is
    /// answered as if by another button than the first.
    virtual void showAlert(ViewerAlert alert, AlertCompletion completion) = 0;
    /// Closes the alert that shows, if one does.
    virtual void closeAlert() = 0;
    /// Opens a page of the system's; nothing happens when `url` is no valid URL.
    virtual void openURL(std::string_view url) = 0;
    virtual ViewerAlertWording alertWording() = 0;
    /// The language of the user's current locale, such as "ru"; nothing when it has none.
    virtual std::optional<std::string> languageCode() = 0;

    /// The machine's name for people, or nothing when it has none.
    virtual std::optional<std::string> machineName() = 0;
    /// Puts one line on standard output at once. A standard output that is closed, full or broken
    /// loses the line and does nothing else.
    virtual void printLine(std::string_view line) = 0;
};

}  // namespace velmora
