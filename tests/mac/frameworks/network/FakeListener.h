#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "tests/mac/frameworks/network/FakeConnection.h"
#include "tests/mac/frameworks/network/FakeNetworkObject.h"

namespace velmora {

/// A listener of Network.framework's. Any thread.
class FakeListener final : public FakeNetworkObject {
  public:
    enum State : unsigned { invalid, waiting, ready, failed, cancelled };
    using ConnectionHandler = std::function<void(std::shared_ptr<FakeConnection> connection)>;

    // What the program does.

    void setConnectionHandler(ConnectionHandler handler);
    std::uint16_t boundPort() const;

    // What the test does and sees.

    /// Reports that the listener is bound to that port.
    void becomeReady(std::uint16_t port);
    /// A client connects, on the queue.
    std::shared_ptr<FakeConnection> connect();
    /// The port as it was asked for.
    const std::string& port() const { return port_; }
    /// Whether TLS was asked for.
    bool isSecure() const { return isSecure_; }
    bool hasConnectionHandler() const;

    /// The listener that was made last; null when nobody holds it.
    static std::shared_ptr<FakeListener> last();
    /// Whether the next ones cannot be created.
    static void setRefused(bool isRefused);

    /// What the program does: null when it is refused.
    static std::shared_ptr<FakeListener> make(std::string port, bool isSecure);

  private:
    FakeListener(std::string port, bool isSecure)
        : FakeNetworkObject(cancelled), port_(std::move(port)), isSecure_(isSecure) {}

    const std::string port_;
    const bool isSecure_;
    // Guarded by `lock_`.
    ConnectionHandler connectionHandler_;
    std::uint16_t boundPort_ = 0;
};

}  // namespace velmora
