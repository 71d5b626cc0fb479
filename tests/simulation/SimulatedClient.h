#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>

#include "core/runtime/ViewerTask.h"
#include "tests/simulation/SimulatedExchange.h"
#include "tests/support/http/ScriptedListener.h"
#include "tests/support/http/ScriptedPeer.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {

/// One client of a simulation: connects at some time, sends its bytes in some pieces with some
/// pauses, and then does whatever clients and networks do. All of it comes from the world's seed.
class SimulatedClient final {
  public:
    explicit SimulatedClient(SimulatedWorld& world);

    /// Plays the client to its end. The client outlives the task.
    static ViewerTask<void> run(SimulatedClient* client,
                                std::shared_ptr<ScriptedListener> listener);

    const SimulatedExchange& exchange() const { return exchange_; }
    ScriptedPeer& peer() const { return *peer_; }
    /// Whether the host has to answer, unless it is stopped.
    bool mustBeAnswered() const;
    /// Whether the host serves the connection longer than it ever may.
    bool isOverdue() const;
    /// Present once the host has started the connection.
    std::optional<ViewerContinuousClock::Instant> startedAt() const { return startedAt_; }

    /// Called when the client connects, when the host starts the connection and when that has gone.
    /// Set before `run`.
    std::function<void()> onArrival;
    std::function<void()> onStart;
    std::function<void()> onDrop;

  private:
    /// What comes after the bytes.
    enum class Ending { staysOpen, ends, breaksOff, fails, isCancelled };

    static ViewerTask<void> sendPieces(SimulatedClient* client);
    static ViewerTask<void> completeSend(SimulatedClient* client);
    std::chrono::milliseconds upTo(std::chrono::milliseconds most);
    void finishPlaying();

    SimulatedWorld& world_;
    const SimulatedExchange& exchange_;
    const Ending ending_;
    const ScriptedPeer::Network network_;
    /// How many bytes of the request are sent.
    std::size_t length_;
    std::shared_ptr<ScriptedPeer> peer_;
    std::optional<ViewerContinuousClock::Instant> startedAt_;
};

}  // namespace velmora
