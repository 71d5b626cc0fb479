#include "tests/http/linux/SocketClient.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace velmora {

namespace {

constexpr int limitSeconds = 30;

bool connectTo(int descriptor, std::uint16_t port, SocketClient::Family family) {
    sockaddr_in address4{};
    address4.sin_family = AF_INET;
    address4.sin_port = htons(port);
    address4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockaddr_in6 address6{};
    address6.sin6_family = AF_INET6;
    address6.sin6_port = htons(port);
    address6.sin6_addr = in6addr_loopback;
    return family == SocketClient::Family::IPv4
               ? ::connect(descriptor, reinterpret_cast<sockaddr*>(&address4), sizeof address4) == 0
               : ::connect(descriptor, reinterpret_cast<sockaddr*>(&address6), sizeof address6) ==
                     0;
}

}  // namespace

SocketClient::SocketClient(std::uint16_t port, Family family)
    : descriptor_(
          ::socket(family == Family::IPv4 ? AF_INET : AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval limit{limitSeconds, 0};
    ::setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    ::setsockopt(descriptor_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    isConnected_ = connectTo(descriptor_, port, family);
}

SocketClient::~SocketClient() {
    close();
}

SocketClient::SocketClient(SocketClient&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), isConnected_(other.isConnected_) {}

bool SocketClient::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

std::size_t SocketClient::unsentBytes() const {
    int bytes = 0;
    ::ioctl(descriptor_, TIOCOUTQ, &bytes);
    return static_cast<std::size_t>(bytes);
}

void SocketClient::endSending() {
    ::shutdown(descriptor_, SHUT_WR);
}

ReceivedAnswer SocketClient::receiveAll() {
    ReceivedAnswer answer;
    std::vector<char> buffer(64UL * 1024);
    ssize_t count = 0;
    while ((count = ::recv(descriptor_, buffer.data(), buffer.size(), 0)) > 0) {
        answer.bytes.append(buffer.data(), static_cast<std::size_t>(count));
    }
    answer.isEnded = count == 0;
    return answer;
}

std::string SocketClient::receiveSome(std::size_t size) {
    std::string bytes(size, '\0');
    const ssize_t count = ::recv(descriptor_, bytes.data(), bytes.size(), 0);
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return bytes;
}

bool SocketClient::waitForReset() {
    constexpr int limitMilliseconds = limitSeconds * 1000;
    pollfd polled{descriptor_, 0, 0};
    return ::poll(&polled, 1, limitMilliseconds) == 1 &&
           (polled.revents & (POLLERR | POLLHUP)) != 0;
}

void SocketClient::reset() {
    const linger abort{1, 0};
    ::setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
    close();
}

void SocketClient::close() {
    if (descriptor_ >= 0) {
        ::close(std::exchange(descriptor_, -1));
    }
}

}  // namespace velmora
