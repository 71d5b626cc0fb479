#pragma once

#import <Network/Network.h>

#include <atomic>
#include <cstdint>
#include <optional>

#include "core/http/ViewerTransport.h"

namespace velmora {

/// One TCP listener of Network.framework. Made by the transport, owned by whoever started it; any
/// thread, the handlers run on its queue. One that is destroyed stops listening silently.
class ViewerNetworkListener final : public ViewerListener {
  public:
    explicit ViewerNetworkListener(nw_listener_t listener);
    ~ViewerNetworkListener() override;
    ViewerNetworkListener(const ViewerNetworkListener&) = delete;
    ViewerNetworkListener& operator=(const ViewerNetworkListener&) = delete;

    void setStateHandler(StateHandler handler) override;
    void setConnectionHandler(ConnectionHandler handler) override;
    void start(ViewerExecutor queue) override;
    std::optional<std::uint16_t> port() const override;
    void cancel() override;

  private:
    const nw_listener_t listener_;
    std::atomic<bool> isCancelled_{false};
};

}  // namespace velmora
