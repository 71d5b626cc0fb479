#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/ViewerApplicationShell.h"
#include "tests/support/ScriptedTransport.h"
#include "tests/support/SimulatedWorld.h"

namespace velmora {

/// A platform whose answers, signals and quit requests a test plays, in a simulated world. It keeps
/// what the application did with it. One thread.
class ScriptedApplicationShell final : public ViewerApplicationShell {
  public:
    explicit ScriptedApplicationShell(SimulatedWorld& world) : world_(world) {}

    /// What the preflight answers; without it, the preflight waits for `answerPreflight`.
    std::optional<bool> access = true;
    std::optional<std::string> name = "Studio";
    std::shared_ptr<ScriptedTransport> transport = std::make_shared<ScriptedTransport>();
    std::shared_ptr<ViewerScreenCapture> capture;

    /// Starts the application without running its loop: the test lets the world run.
    void launch(std::shared_ptr<ViewerApplicationDelegate> delegate);
    void answerPreflight(bool isGranted);
    /// A signal arrives for the process.
    void raise(int signal);
    /// The user quits the application.
    void quit();

    /// What was asked of the platform, in order.
    const std::vector<std::string>& calls() const { return calls_; }
    const std::vector<std::string>& lines() const { return lines_; }
    std::size_t liveSignalSources() const;
    std::size_t pendingPreflights() const { return pendingPreflights_.size(); }
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
    void preflightAccess(AccessCompletion completion) override;
    std::optional<std::string> machineName() override;
    void printLine(std::string_view line) override;
    ViewerExecutors& executors() override { return world_; }
    std::shared_ptr<ViewerContinuousClock> clock() override;
    std::shared_ptr<ViewerTransport> makeTransport() override;
    std::shared_ptr<ViewerScreenCapture> makeScreenCapture() override;

  private:
    struct Source;

    SimulatedWorld& world_;
    /// Held as a platform holds it: the process's entry is the owner.
    std::weak_ptr<ViewerApplicationDelegate> delegate_;
    /// Kept until they are cancelled, whoever drops them.
    std::vector<std::shared_ptr<Source>> sources_;
    std::vector<AccessCompletion> pendingPreflights_;
    std::vector<std::string> calls_;
    std::vector<std::string> lines_;
    std::size_t terminationRequests_ = 0;
    std::vector<SimulatedWorld::Instant> ends_;
};

}  // namespace velmora
