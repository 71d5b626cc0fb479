#pragma once

#include <cstdint>
#include <memory>

#include "core/http/ViewerTransport.h"
#include "core/runtime/ViewerContinuousClock.h"

namespace velmora {

/// TCP on Linux: listeners on Boost.Asio sockets. It keeps nothing but the clock that it hands on;
/// any thread.
class ViewerSocketTransport final : public ViewerTransport {
  public:
    explicit ViewerSocketTransport(std::shared_ptr<ViewerContinuousClock> clock);

    /// Always true: every 16-bit number is a TCP port here, and 0 means any free one.
    bool isUsablePort(std::uint16_t port) const override;
    /// Never fails: what can go wrong goes wrong when the listener is started.
    ViewerListenerCreation makeListener(std::uint16_t port) override;

  private:
    const std::shared_ptr<ViewerContinuousClock> clock_;
};

}  // namespace velmora
