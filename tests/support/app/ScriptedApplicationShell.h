#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/ViewerApplicationShell.h"
#include "tests/support/app/ScriptedAlertPresenter.h"
#include "tests/support/runtime/CallLog.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {

/// A platform whose answers, signals and quit requests a test plays, in a simulated world. It keeps
/// what the application did with it. One thread.
class ScriptedApplicationShell final : public ViewerApplicationShell {
  public:
    ScriptedApplicationShell(SimulatedWorld& world, CallLog calls,
                             std::shared_ptr<ScriptedAlertPresenter> alerts)
        : world_(world), calls_(std::move(calls)), alerts_(std::move(alerts)) {}

    std::optional<std::string> name = "Studio";

    /// Starts the application without running its loop: the test lets the world run.
    void launch(std::shared_ptr<ViewerApplicationDelegate> delegate);
    /// A signal arrives for the process.
    void raise(int signal);
    /// The user quits the application.
    void quit();

    const std::vector<std::string>& lines() const { return lines_; }
    std::size_t liveSignalSources() const;
    /// How often the application was asked to terminate, and when its delegate agreed.
    std::size_t terminationRequests() const { return terminationRequests_; }
    const std::vector<SimulatedWorld::Instant>& ends() const { return ends_; }

    void ignoreSignal(int signal) override;
    std::shared_ptr<ViewerSignalSource> makeSignalSource(int signal,
                                                         std::function<void()> handler) override;
    /// Lets the world run to its end.
    int run(std::shared_ptr<ViewerApplicationDelegate> delegate) override;
    void terminate() override;
    [[noreturn]] void exit(int status) override;
    std::optional<std::string> machineName() override;
    void printLine(std::string_view line) override;

  private:
    struct Source;

    SimulatedWorld& world_;
    const CallLog calls_;
    const std::shared_ptr<ScriptedAlertPresenter> alerts_;
    /// Held as a platform holds it: the process's entry is the owner.
    std::weak_ptr<ViewerApplicationDelegate> delegate_;
    /// Kept until they are cancelled, whoever drops them.
    std::vector<std::shared_ptr<Source>> sources_;
    std::vector<std::string> lines_;
    std::size_t terminationRequests_ = 0;
    std::vector<SimulatedWorld::Instant> ends_;
};

}  // namespace velmora
