#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "core/runtime/ViewerTask.h"
#include "tests/simulation/SimulatedExchange.h"
#include "tests/simulation/SimulationCourse.h"
#include "tests/support/http/ScriptedListener.h"
#include "tests/support/http/ScriptedPeer.h"

namespace velmora {

/// A client of the host and the network between them: sends its bytes in some pieces with some
/// pauses, reads the answer or not, and then does whatever clients and networks do. What happens to
/// its connection is written into the history. One thread; outlives its connection.
class SimulatedClient final {
  public:
    /// One that only holds a place sends nothing for as long as it is let.
    enum class Kind { asks, holdsAPlace };

    SimulatedClient(SimulationCourse& course, SimulatedExchange exchange, Kind kind);

    /// Connects at once and plays the client to its end. The client outlives the task.
    static ViewerTask<void> run(SimulatedClient* client,
                                std::shared_ptr<ScriptedListener> listener);

    const ConnectionHistory& connection() const { return connection_; }
    const ScriptedPeer& peer() const { return *peer_; }
    /// Called when the host has answered. Set before `run`.
    std::function<void()> onAnswer;

  private:
    /// What comes after the bytes.
    enum class Ending { staysOpen, ends, breaksOff, fails, isCancelled };
    enum class Reading { atOnce, late, never };

    static ViewerTask<void> sendPieces(SimulatedClient* client);
    ConnectionHistory& addConnection(SimulatedExchange exchange);
    void watchPeer();
    void started();
    void delivered(std::size_t bytes, bool hasEnd);
    void answered();
    void dropped();
    void finishPlaying();
    void lose(ViewerConnectionState state);

    SimulationCourse& course_;
    ConnectionHistory& connection_;
    const Kind kind_;
    const Ending ending_;
    const Reading reading_;
    const std::shared_ptr<ScriptedPeer> peer_;
};

}  // namespace velmora
