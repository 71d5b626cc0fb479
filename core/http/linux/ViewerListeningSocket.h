#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "core/http/ViewerTransport.h"

namespace velmora {

/// The descriptor of a TCP socket that listens on every address of the machine, IPv6 and IPv4
/// alike, or on IPv4 alone where the system has no IPv6. Owned by whoever holds it; any thread.
class ViewerListeningSocket final {
  public:
    /// Opens one on `port`, 0 meaning any free port. The error names the port and the system's
    /// reason.
    static std::variant<ViewerListeningSocket, ViewerPlatformError> open(std::uint16_t port);

    ViewerListeningSocket(ViewerListeningSocket&& other) noexcept;
    ViewerListeningSocket& operator=(ViewerListeningSocket&&) = delete;
    ~ViewerListeningSocket();

    /// The bound port in host order.
    std::uint16_t port() const { return port_; }
    int descriptor() const { return descriptor_; }

  private:
    explicit ViewerListeningSocket(int family);

    /// Binds and listens. Yields the error number of what failed, 0 for nothing.
    int listenOn(std::uint16_t port);

    int descriptor_;
    bool isIPv6_;
    std::uint16_t port_ = 0;
};

/// What went wrong with a port, for the user: "TCP port 9090: Address already in use".
std::string portFailure(std::uint16_t port, int error);

}  // namespace velmora
