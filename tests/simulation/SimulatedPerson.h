#pragma once

#include <cstddef>
#include <memory>

#include "core/runtime/ViewerTask.h"
#include "tests/simulation/SimulatedCapture.h"
#include "tests/simulation/SimulationCourse.h"
#include "tests/support/app/ScriptedAlertPresenter.h"
#include "tests/support/app/ScriptedApplicationShell.h"

namespace velmora {

/// Whoever sits at the simulated machine, and the system above the host: answers alerts, quits,
/// sends signals, ends the session. In the end there is always a signal. One thread.
class SimulatedPerson final {
  public:
    SimulatedPerson(SimulationCourse& course, std::shared_ptr<ScriptedApplicationShell> shell,
                    std::shared_ptr<ScriptedAlertPresenter> alerts,
                    std::shared_ptr<SimulatedCapture> capture);

    /// Plays everything that ends the host.
    static ViewerTask<void> live(SimulatedPerson* self);
    /// Looks at a rest for an alert to answer and for the host's end. True when that may end the
    /// rest.
    bool rested();

  private:
    void noteAlert(const ViewerAlert& alert);
    void answerAlert();
    void raise(int signal);
    void quit();
    void endSession();
    void noteQuit();

    SimulationCourse& course_;
    const std::shared_ptr<ScriptedApplicationShell> shell_;
    const std::shared_ptr<ScriptedAlertPresenter> alerts_;
    const std::shared_ptr<SimulatedCapture> capture_;
    std::size_t planned_ = 0;
    bool quitsBehindAlert_ = false;
};

}  // namespace velmora
