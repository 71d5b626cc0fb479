#include "tests/simulation/HostSimulation.h"

#include <chrono>
#include <cstddef>

#include "app/ViewerHostApplicationDelegate.h"
#include "tests/simulation/SimulatedCapture.h"
#include "tests/simulation/SimulatedExchange.h"
#include "tests/simulation/SimulatedNetwork.h"
#include "tests/simulation/SimulatedPerson.h"
#include "tests/simulation/SimulationCourse.h"
#include "tests/simulation/rules/SimulationRules.h"
#include "tests/support/app/ScriptedAlertPresenter.h"
#include "tests/support/app/ScriptedApplicationShell.h"
#include "tests/support/runtime/CallLog.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

/// Longer than anything that goes on.
constexpr auto longestLife = 5min;

class HostSimulation final {
  public:
    HostSimulation(std::uint64_t seed, bool isPrinted)
        : course_(seed, isPrinted),
          alerts_(std::make_shared<ScriptedAlertPresenter>(calls_)),
          shell_(std::make_shared<ScriptedApplicationShell>(course_.world, calls_, alerts_)),
          capture_(std::make_shared<SimulatedCapture>(course_)),
          network_(course_, capture_->displays().identifiers()),
          person_(course_, shell_, alerts_, capture_) {
        course_.rules = makeSimulationRules(course_);
        shell_->name = simulatedMachine;
    }

    SimulationOutcome run() {
        launch();
        live();
        end();
        return {course_.failures, course_.states, course_.trace.hash()};
    }

  private:
    void launch() {
        const std::shared_ptr<SimulatedWorld> world(std::shared_ptr<void>(), &course_.world);
        delegate_ = std::make_shared<ViewerHostApplicationDelegate>(
            ViewerPlatformServices{shell_, alerts_, world, world, network_.transport(), capture_});
        course_.world.spawn(SimulatedPerson::live(&person_));
        course_.world.spawn(SimulatedDisplays::live(&capture_->displays()));
        shell_->launch(delegate_);
    }

    void live() {
        const auto latest = course_.world.now() + longestLife;
        do {
            do {
                course_.world.settle();
            } while (network_.rested() || person_.rested());
            course_.tell(&SimulationRule::rested);
        } while (course_.world.jump() && course_.world.now() < latest);
        if (course_.world.now() >= latest) {
            course_.fail("the host comes to its end", "it goes on and on");
        }
    }

    void end() {
        const std::weak_ptr<ViewerHostApplicationDelegate> delegate = delegate_;
        delegate_.reset();
        // What nobody answered holds what waits for it.
        capture_->letGo();
        alerts_->close();
        course_.world.runToEnd();
        if (!delegate.expired()) {
            course_.fail("everything is gone at the end", "the host is not");
        }
        if (shell_->ends().size() != 1) {
            course_.fail("the host ends exactly once", std::to_string(shell_->ends().size()));
        }
        if (shell_->liveSignalSources() != 0) {
            course_.fail("a host that ends listens to no signal", "it does");
        }
        checkLine();
        network_.close();
        course_.tell(&SimulationRule::over);
    }

    void checkLine() {
        const auto& lines = shell_->lines();
        const bool mayTell = course_.history.listenerReady.has_value();
        if (lines.size() > (mayTell ? 1U : 0U)) {
            course_.fail("one line tells that the listener is ready", "there is one more");
        }
        const SimulationHistory& history = course_.history;
        const bool mustTell =
            mayTell && !(history.quit && history.quit->time <= history.listenerReady->time);
        if (mustTell && lines != std::vector<std::string>{
                                     "Velmora Viewer Host protocol v1 listening on TCP 9090"}) {
            course_.fail("one line tells that the listener is ready", "there is none");
        }
    }

    SimulationCourse course_;
    const CallLog calls_ = makeCallLog();
    const std::shared_ptr<ScriptedAlertPresenter> alerts_;
    const std::shared_ptr<ScriptedApplicationShell> shell_;
    const std::shared_ptr<SimulatedCapture> capture_;
    SimulatedNetwork network_;
    SimulatedPerson person_;
    std::shared_ptr<ViewerHostApplicationDelegate> delegate_;
};

}  // namespace

SimulationOutcome simulateHost(std::uint64_t seed, bool isPrinted) {
    return HostSimulation(seed, isPrinted).run();
}

}  // namespace velmora
