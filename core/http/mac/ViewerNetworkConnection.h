#pragma once

#import <Network/Network.h>

#include <atomic>
#include <cstddef>

#include "core/http/ViewerTransport.h"

namespace velmora {

/// One accepted connection of Network.framework. Made by the listener, owned by whoever serves it;
/// any thread but for `receive`, which belongs on the queue. The platform keeps a connection that
/// was started until it is cancelled: one that is destroyed cancels it.
class ViewerNetworkConnection final : public ViewerConnection {
  public:
    explicit ViewerNetworkConnection(nw_connection_t connection);
    ~ViewerNetworkConnection() override;
    ViewerNetworkConnection(const ViewerNetworkConnection&) = delete;
    ViewerNetworkConnection& operator=(const ViewerNetworkConnection&) = delete;

    void setStateHandler(StateHandler handler) override;
    void start(ViewerExecutor queue) override;
    void receive(std::size_t maximum, ReceiveHandler handler) override;
    void send(ViewerHostResponseBytes message, SendHandler handler) override;
    void cancel() override;

  private:
    const nw_connection_t connection_;
    std::atomic<bool> isCancelled_{false};
};

}  // namespace velmora
