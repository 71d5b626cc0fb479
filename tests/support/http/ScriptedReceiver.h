#pragma once

#include <functional>
#include <utility>

#include "core/http/ViewerTransport.h"

namespace velmora {

/// What a test does when something happens to a connection; nothing where it says nothing.
struct ConnectionEvents final {
    std::function<void(ViewerConnectionState state)> onState = [](ViewerConnectionState) {};
    std::function<void(const ViewerDelivery& delivery)> onDelivery = [](const ViewerDelivery&) {};
    std::function<void()> onSent = [] {};
};

/// Serves a connection by those. Owned by the test.
class ScriptedReceiver final : public ViewerConnectionReceiver {
  public:
    explicit ScriptedReceiver(ConnectionEvents events) : events_(std::move(events)) {}

    void connectionDidChange(ViewerConnectionState state) override { events_.onState(state); }
    void connectionDidReceive(const ViewerDelivery& delivery) override {
        events_.onDelivery(delivery);
    }
    void connectionDidSend() override { events_.onSent(); }

  private:
    const ConnectionEvents events_;
};

}  // namespace velmora
