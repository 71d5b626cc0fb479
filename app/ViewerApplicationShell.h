#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

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

    /// The machine's name for people, or nothing when it has none.
    virtual std::optional<std::string> machineName() = 0;
    /// Puts one line on standard output at once. A standard output that is closed, full or broken
    /// loses the line and does nothing else.
    virtual void printLine(std::string_view line) = 0;
};

}  // namespace velmora
