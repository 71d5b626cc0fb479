#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "core/capture/linux/bus/ViewerBusConnection.h"

namespace velmora {

/// A bus that is connected to when it is first needed, once, and shared by who needs it. Main
/// thread only.
class ViewerLazyBus final {
  public:
    using Bus = ViewerBusConnection::Bus;
    using Clock = ViewerBusConnection::Clock;

    ViewerLazyBus(Bus bus, ViewerExecutor executor, Clock clock)
        : bus_(bus), executor_(std::move(executor)), clock_(std::move(clock)) {}

    /// Null where there is no such bus, and after `close`.
    std::shared_ptr<ViewerBusConnection> connection() {
        if (!connection_) {
            connection_ = ViewerBusConnection::open(bus_, executor_, clock_);
        }
        return *connection_;
    }
    void close() {
        if (connection_ && *connection_) {
            (*connection_)->close();
        }
        connection_.emplace();
    }

  private:
    const Bus bus_;
    const ViewerExecutor executor_;
    const Clock clock_;
    /// Nothing before it was first needed.
    std::optional<std::shared_ptr<ViewerBusConnection>> connection_;
};

}  // namespace velmora
