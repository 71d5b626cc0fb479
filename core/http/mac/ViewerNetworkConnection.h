#pragma once

#import <Network/Network.h>

#include <atomic>
#include <cstddef>
#include <memory>

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

    void start(ViewerExecutor queue, std::weak_ptr<ViewerConnectionReceiver> receiver) override;
    void receive(std::size_t maximum) override;
    void send(ViewerHostResponseBytes message) override;
    void cancel() override;

  private:
    const nw_connection_t connection_;
    /// Set by the start.
    std::weak_ptr<ViewerConnectionReceiver> receiver_;
    std::atomic<bool> isCancelled_{false};
};

}  // namespace velmora
