#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/runtime/ViewerTask.h"
#include "tests/simulation/SimulatedClient.h"
#include "tests/simulation/SimulationCourse.h"
#include "tests/support/http/ScriptedTransport.h"

namespace velmora {

/// The network in front of the host: its listener, which becomes ready or not, and its clients, who
/// come in crowds or one by one, and some again and again. One thread.
class SimulatedNetwork final {
  public:
    SimulatedNetwork(SimulationCourse& course, std::vector<std::string> displayIDs);

    std::shared_ptr<ViewerTransport> transport() const { return transport_; }
    /// Looks at a rest for a new listener. True when that may end the rest.
    bool rested();
    /// Looks behind the host's end at what it has left.
    void close();

  private:
    static ViewerTask<void> open(SimulatedNetwork* self);
    static ViewerTask<void> arrive(SimulatedNetwork* self);
    void makeListener();
    void connect(SimulatedExchange exchange, SimulatedClient::Kind kind);
    void connectIfOpen(SimulatedExchange exchange);
    void askAgain(const ConnectionHistory& connection);
    /// Asks for a frame of the display next to the instant at which its idle capture ends.
    void askNearTheIdleStop(const std::string& displayID);
    std::shared_ptr<ScriptedListener> listener() const { return transport_->listeners.back(); }

    SimulationCourse& course_;
    const std::vector<std::string> displayIDs_;
    const bool isCrowded_;
    /// How many clients come of themselves, and how many more because they were answered.
    std::size_t clients_;
    std::size_t repetitions_;
    std::map<std::string, ViewerContinuousClock::Instant> lastAnswers_;
    const std::shared_ptr<ScriptedTransport> transport_ = std::make_shared<ScriptedTransport>();
    std::vector<std::unique_ptr<SimulatedClient>> connected_;
    bool isOpening_ = false;
};

}  // namespace velmora
