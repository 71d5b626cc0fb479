#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/http/ViewerHTTPServer.h"
#include "tests/support/http/FakeFrameProvider.h"
#include "tests/support/http/PausingFrameProvider.h"
#include "tests/support/http/ScriptedListener.h"
#include "tests/support/http/ScriptedPeer.h"
#include "tests/support/http/ScriptedTransport.h"
#include "tests/support/runtime/ScriptedGate.h"
#include "tests/support/runtime/SimulatedWorld.h"
#include "tests/support/runtime/SpawnedAnswer.h"

namespace velmora {

/// A server on a scripted transport in a simulated world. Its provider has one display "one" with
/// the frame "JPEG", labelled "label-1", and answers while the gate is open.
class ServedWorld final {
  public:
    using Start = SpawnedAnswer<ViewerHTTPServer::StartOutcome>;
    /// Answers true when the operation has completed.
    using Completion = SpawnedAnswer<bool>;

    static constexpr std::uint16_t requestedPort = 9090;
    static constexpr const char* frameRequest =
        "GET /viewer/v1/frame?id=one HTTP/1.1\r\nHost: h\r\n\r\n";
    static constexpr const char* frameResponse =
        "HTTP/1.1 200 OK\r\nContent-Type: image/jpeg\r\nContent-Length: 4\r\n"
        "Cache-Control: no-store\r\nConnection: close\r\nX-Velmora-Frame: label-1\r\n\r\nJPEG";

    explicit ServedWorld(std::uint64_t seed = 1);

    /// Starts the server on a listener that becomes ready.
    void listen();
    Start start() { return {world, server->start()}; }
    Completion stop() { return {world, completed(server->stop())}; }
    Completion waitForHandlers() { return {world, completed(server->waitForHandlers())}; }

    /// The listener that was made last.
    ScriptedListener& listener() { return *transport->listeners.back(); }
    /// Connects that many clients, one after the other.
    std::vector<std::shared_ptr<ScriptedPeer>> connect(std::size_t count);
    /// How often the provider was shut down.
    std::size_t shutdowns() const;

    SimulatedWorld world;
    ScriptedGate gate;
    std::shared_ptr<FakeFrameProvider> provider = std::make_shared<FakeFrameProvider>();
    std::shared_ptr<ScriptedTransport> transport = std::make_shared<ScriptedTransport>();
    std::shared_ptr<ViewerHTTPServer> server;

  private:
    static ViewerTask<bool> completed(ViewerTask<void> operation);
};

/// How many of the peers' connections were started.
std::size_t startedCount(const std::vector<std::shared_ptr<ScriptedPeer>>& peers);

}  // namespace velmora
