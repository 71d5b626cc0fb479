#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/http/ViewerTransport.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "tests/http/linux/EventLog.h"
#include "tests/http/linux/LoopThread.h"
#include "tests/http/linux/SocketClient.h"
#include "tests/support/http/ScriptedReceiver.h"

namespace velmora {

/// A real listener on a loop of its own. Its log holds the listener's states, and "connection" for
/// each connection once the test's function has had it.
class ListeningWorld final {
  public:
    using Serve = std::function<void(ViewerConnection&)>;

    /// Takes the time from `clock`, else from the system.
    explicit ListeningWorld(std::shared_ptr<ViewerContinuousClock> clock = nullptr);
    ~ListeningWorld();
    ListeningWorld(const ListeningWorld&) = delete;
    ListeningWorld& operator=(const ListeningWorld&) = delete;

    /// Makes a listener that is not started yet.
    std::shared_ptr<ViewerListener> makeListener(std::uint16_t port = 0);
    /// Starts a listener on a free port and waits until it is ready. Every connection is kept in
    /// `connections` and given to `serve`, on the loop.
    void listen(Serve serve);
    /// Starts a connection. On the loop only.
    void start(ViewerConnection& connection, ConnectionEvents events = {});
    /// What logs the states of a connection.
    ConnectionEvents loggedStates();
    std::uint16_t port() const { return listener->port().value_or(0); }
    SocketClient connect() const { return SocketClient(port()); }

    LoopThread loop;
    EventLog log;
    std::shared_ptr<ViewerTransport> transport;
    std::shared_ptr<ViewerListener> listener;
    /// On the loop only.
    std::vector<std::shared_ptr<ViewerConnection>> connections;

  private:
    /// On the loop only.
    std::vector<std::shared_ptr<ScriptedReceiver>> receivers_;
};

const char* nameOf(ViewerListenerState state);
const char* nameOf(ViewerConnectionState state);

}  // namespace velmora
