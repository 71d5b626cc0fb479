#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include "core/protocol/ViewerHostHTTPResponse.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"

namespace velmora {

enum class ViewerConnectionState { setup, waiting, preparing, ready, failed, cancelled };

/// What one receive brought. The bytes are borrowed until the handler returns or asks for more.
struct ViewerDelivery final {
    /// Empty when nothing was delivered.
    std::span<const std::uint8_t> content;
    /// The peer has ended its side.
    bool isComplete = false;
    bool hasError = false;
};

/// Who serves a connection. It is called on the connection's queue, one event at a time, and never
/// within a call that it makes itself.
class ViewerConnectionReceiver {
  public:
    virtual ~ViewerConnectionReceiver() = default;

    virtual void connectionDidChange(ViewerConnectionState state) = 0;
    /// The answer to one `receive`.
    virtual void connectionDidReceive(const ViewerDelivery& delivery) = 0;
    /// The answer to a `send`: the system has taken the bytes, or they can no longer be sent.
    virtual void connectionDidSend() = 0;
};

/// One accepted TCP connection. Destroying it closes the socket.
class ViewerConnection {
  public:
    virtual ~ViewerConnection() = default;

    /// Called once. The receiver is told what happens for as long as both are there.
    virtual void start(ViewerExecutor queue, std::weak_ptr<ViewerConnectionReceiver> receiver) = 0;
    /// Asks for one delivery of at least 1 byte and at most `maximum`; without any only at the
    /// peer's end or an error.
    virtual void receive(std::size_t maximum) = 0;
    /// Tells that the peer may have more to send than is received. A platform on which that could
    /// destroy the answer takes it in behind the connection's end. On the queue.
    virtual void expectMore() {}
    /// Sends one complete message. Any thread.
    virtual void send(ViewerHostResponseBytes message) = 0;
    /// Ends the connection without destroying what was already sent. Any thread, any number of
    /// times. Outstanding receives and sends end with an error.
    virtual void cancel() = 0;
};

enum class ViewerListenerState { setup, waiting, ready, failed, cancelled };

/// One TCP listener. Its handlers run on the queue it was started on, one at a time.
class ViewerListener {
  public:
    /// `errorDescription` tells, for `failed`, what went wrong, in the platform's words.
    using StateHandler =
        std::function<void(ViewerListenerState state, const std::string& errorDescription)>;
    using ConnectionHandler = std::function<void(std::shared_ptr<ViewerConnection> connection)>;

    virtual ~ViewerListener() = default;

    /// Both are set before `start`.
    virtual void setStateHandler(StateHandler handler) = 0;
    virtual void setConnectionHandler(ConnectionHandler handler) = 0;
    virtual void start(ViewerExecutor queue) = 0;
    /// The port in host order once bound, else nothing. Any thread.
    virtual std::optional<std::uint16_t> port() const = 0;
    /// Stops listening; the last event is `cancelled`. Any thread, any number of times.
    virtual void cancel() = 0;
};

/// An error of the platform, passed on unchanged.
struct ViewerPlatformError final {
    friend bool operator==(const ViewerPlatformError&, const ViewerPlatformError&) = default;
    /// What went wrong, for the user.
    std::string description;
};

/// A listener, or why it could not be created.
using ViewerListenerCreation = std::variant<std::shared_ptr<ViewerListener>, ViewerPlatformError>;

/// The platform's TCP. Outlives its listeners and connections; any thread.
class ViewerTransport {
  public:
    virtual ~ViewerTransport() = default;

    /// Whether the platform has a port of that number. 0 means any free port where it is allowed.
    virtual bool isUsablePort(std::uint16_t port) const = 0;
    /// A listener that is not started yet. Nothing is opened before `start`.
    virtual ViewerListenerCreation makeListener(std::uint16_t port) = 0;
};

/// The platform's TCP, defined once for each platform. `clock` bounds how long an ended connection
/// may linger.
std::shared_ptr<ViewerTransport> makeTransport(std::shared_ptr<ViewerContinuousClock> clock);

}  // namespace velmora
