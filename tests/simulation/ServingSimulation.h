#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "core/http/ViewerHTTPServer.h"
#include "tests/simulation/SimulatedClient.h"
#include "tests/simulation/SimulatedProvider.h"
#include "tests/support/http/ScriptedTransport.h"
#include "tests/support/runtime/SimulatedWorld.h"
#include "tests/support/runtime/SpawnedAnswer.h"

namespace velmora {

/// One whole life of a server with its clients, from one seed: started, used by up to 60 clients,
/// and stopped, either at some moment or when all are gone. It looks all the while for what must
/// never be, and at the end for what must be.
class ServingSimulation final {
  public:
    explicit ServingSimulation(std::uint64_t seed);

    void run();

    /// The most handlers there were at once.
    std::size_t mostServed() const { return mostServed_; }
    std::size_t mostRouted() const { return provider_->mostWaiting(); }
    std::size_t answered() const;
    /// Connections that never got a handler.
    std::size_t neverServed() const;
    /// The clients by their numbers, in the order in which their connections went.
    const std::vector<std::size_t>& ends() const { return ends_; }
    bool wasStoppedEarly() const { return isStoppedEarly_; }

  private:
    static ViewerTask<void> live(ServingSimulation* self);
    static ViewerTask<void> watch(ServingSimulation* self);
    static ViewerTask<void> stop(ServingSimulation* self, std::chrono::milliseconds after);

    void addClients();
    void openTheDoor();
    void noteStart(const SimulatedClient& client);
    std::size_t served() const;
    bool isOver() const;
    bool isEveryoneGone() const;
    void look();
    void checkAnswers() const;
    void checkOrder() const;
    void checkRemains();
    std::chrono::milliseconds upTo(std::chrono::milliseconds most);

    SimulatedWorld world_;
    const bool isStoppedEarly_;
    const std::shared_ptr<SimulatedProvider> provider_;
    const std::shared_ptr<ScriptedTransport> transport_ = std::make_shared<ScriptedTransport>();
    std::vector<std::unique_ptr<SimulatedClient>> clients_;
    std::shared_ptr<ViewerHTTPServer> server_;
    std::optional<SpawnedAnswer<ViewerHTTPServer::StartOutcome>> start_;
    /// In the order in which they connected, and in which the host started their connections.
    std::vector<const SimulatedClient*> arrivals_;
    std::vector<const SimulatedClient*> starts_;
    std::vector<std::size_t> ends_;
    std::size_t mostServed_ = 0;
    std::size_t stopCalls_ = 0;
    std::size_t stopsCompleted_ = 0;
};

}  // namespace velmora
