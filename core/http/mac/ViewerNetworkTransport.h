#pragma once

#include <cstdint>

#include "core/http/ViewerTransport.h"

namespace velmora {

/// TCP on macOS, through Network.framework's C interface. Holds nothing; any thread.
class ViewerNetworkTransport final : public ViewerTransport {
  public:
    /// Always true: every 16-bit number is a TCP port here, and 0 means any free one.
    bool isUsablePort(std::uint16_t port) const override;
    ViewerListenerCreation makeListener(std::uint16_t port) override;
};

}  // namespace velmora
