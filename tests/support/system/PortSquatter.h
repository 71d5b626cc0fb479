#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>

namespace velmora {

/// Something else that listens on a port.
class PortSquatter final {
  public:
    explicit PortSquatter(std::uint16_t port)
        : descriptor_(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const int on = 1;
        ::setsockopt(descriptor_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        address.sin6_port = htons(port);
        const int isBound =
            ::bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        EXPECT_EQ(isBound, 0);
        EXPECT_EQ(::listen(descriptor_, 1), 0);
    }
    ~PortSquatter() { ::close(descriptor_); }
    PortSquatter(const PortSquatter&) = delete;
    PortSquatter& operator=(const PortSquatter&) = delete;

  private:
    const int descriptor_;
};

}  // namespace velmora
