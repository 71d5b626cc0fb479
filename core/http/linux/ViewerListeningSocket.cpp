#include "core/http/linux/ViewerListeningSocket.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace velmora {

namespace {

/// More than the number of clients that may come at once; the kernel takes its own bound
/// (net.core.somaxconn) where that is lower.
constexpr int backlog = 4096;

bool setOption(int descriptor, int level, int name, int value) {
    return ::setsockopt(descriptor, level, name, &value, sizeof value) == 0;
}

bool bindToAll(int descriptor, bool isIPv6, std::uint16_t port) {
    sockaddr_in6 address6{};
    address6.sin6_family = AF_INET6;
    address6.sin6_port = htons(port);
    address6.sin6_addr = in6addr_any;
    sockaddr_in address4{};
    address4.sin_family = AF_INET;
    address4.sin_port = htons(port);
    address4.sin_addr.s_addr = htonl(INADDR_ANY);
    return isIPv6
               ? ::bind(descriptor, reinterpret_cast<sockaddr*>(&address6), sizeof address6) == 0
               : ::bind(descriptor, reinterpret_cast<sockaddr*>(&address4), sizeof address4) == 0;
}

std::uint16_t boundPort(int descriptor) {
    // Both families have the port at the same place.
    sockaddr_in6 address{};
    socklen_t size = sizeof address;
    const bool isKnown =
        ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0;
    return isKnown ? ntohs(address.sin6_port) : std::uint16_t{0};
}

}  // namespace

ViewerListeningSocket::ViewerListeningSocket(int family)
    : descriptor_(::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)),
      isIPv6_(family == AF_INET6) {}

ViewerListeningSocket::ViewerListeningSocket(ViewerListeningSocket&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)),
      isIPv6_(other.isIPv6_),
      port_(other.port_) {}

ViewerListeningSocket::~ViewerListeningSocket() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

int ViewerListeningSocket::listenOn(std::uint16_t port) {
    // Address reuse lets a restarted host listen while old connections are in TIME_WAIT; a second
    // host still fails, because SO_REUSEPORT stays off.
    const bool isListening =
        descriptor_ >= 0 && setOption(descriptor_, SOL_SOCKET, SO_REUSEADDR, 1) &&
        (!isIPv6_ || setOption(descriptor_, IPPROTO_IPV6, IPV6_V6ONLY, 0)) &&
        bindToAll(descriptor_, isIPv6_, port) && ::listen(descriptor_, backlog) == 0;
    if (!isListening) {
        return errno;
    }
    port_ = boundPort(descriptor_);
    return 0;
}

std::variant<ViewerListeningSocket, ViewerPlatformError> ViewerListeningSocket::open(
    std::uint16_t port) {
    ViewerListeningSocket dual(AF_INET6);
    int error = dual.listenOn(port);
    if (error == 0) {
        return dual;
    }
    // How a kernel says that it has no IPv6: not compiled in or switched off, or no address.
    if (error == EAFNOSUPPORT || error == EPROTONOSUPPORT || error == EADDRNOTAVAIL) {
        ViewerListeningSocket plain(AF_INET);
        error = plain.listenOn(port);
        if (error == 0) {
            return plain;
        }
    }
    return ViewerPlatformError{portFailure(port, error)};
}

std::string portFailure(std::uint16_t port, int error) {
    return "TCP port " + std::to_string(port) + ": " + std::system_category().message(error);
}

}  // namespace velmora
