#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/http/ViewerTransport.h"
#include "core/runtime/ViewerExecutor.h"
#include "core/runtime/ViewerLock.h"
#include "tests/support/http/ScriptedPeer.h"

namespace velmora {

/// A listener whose events a test plays. Shared by the server and the test; any thread.
class ScriptedListener final : public ViewerListener,
                               public std::enable_shared_from_this<ScriptedListener> {
  public:
    /// With a port, the listener becomes ready by itself once it is started.
    explicit ScriptedListener(std::optional<std::uint16_t> portAtStart = std::nullopt)
        : portAtStart_(portAtStart) {}

    /// Without a port, the listener is ready and knows no port.
    void becomeReady(std::optional<std::uint16_t> port);
    void change(ViewerListenerState state, std::string errorDescription = "");
    /// A client connects; returns it, for chaining.
    std::shared_ptr<ScriptedPeer> connect(
        std::shared_ptr<ScriptedPeer> peer = std::make_shared<ScriptedPeer>());

    bool isStarted() const;
    std::size_t cancellations() const;
    /// The queue the listener was started on.
    ViewerExecutor queue() const;

    void setStateHandler(StateHandler handler) override;
    void setConnectionHandler(ConnectionHandler handler) override;
    void start(ViewerExecutor queue) override;
    std::optional<std::uint16_t> port() const override;
    void cancel() override;

    /// Called at each cancel. Set while nobody cancels.
    std::function<void()> onCancel;

  private:
    const std::optional<std::uint16_t> portAtStart_;
    mutable ViewerLock lock_;
    StateHandler stateHandler_ VIEWER_GUARDED_BY(lock_);
    ConnectionHandler connectionHandler_ VIEWER_GUARDED_BY(lock_);
    std::optional<ViewerExecutor> queue_ VIEWER_GUARDED_BY(lock_);
    std::optional<std::uint16_t> port_ VIEWER_GUARDED_BY(lock_);
    std::size_t cancellations_ VIEWER_GUARDED_BY(lock_) = 0;
};

}  // namespace velmora
