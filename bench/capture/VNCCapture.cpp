#include "bench/capture/VNCCapture.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

#include "core/runtime/ViewerCheck.h"

namespace velmora::bench {

using std::string_literals::operator""s;

VNCCapture::VNCCapture()
    : process_({"x11vnc", "-localhost", "-autoport", "25900", "-nopw", "-forever", "-quiet"}) {
    connect();
    ask();
    while (receiveAll()) {
        ask();
    }
}

VNCCapture::~VNCCapture() {
    ::close(socket_);
}

/// The remote framebuffer protocol, version 3.8, RFC 6143: no password, pixels as they are.
void VNCCapture::connect() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(std::stoi(process_.awaitLine("PORT="))));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socket_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    viewerCheck(::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0,
                "x11vnc can be connected to");
    receive("RFB 003.008\n"s.size());
    send("RFB 003.008\n");
    constexpr std::size_t oneSecurityType = 2;
    receive(oneSecurityType);
    send("\x01"s);  // no password
    constexpr std::size_t securityResult = 4;
    receive(securityResult);
    send("\x01"s);  // others may look too
    constexpr std::size_t serverInit = 24;
    receive(serverInit);
    send("\x02\x00\x00\x01\x00\x00\x00\x00"s);  // of encodings only pixels as they are
}

void VNCCapture::send(const std::string& bytes) const {
    viewerCheck(::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
                    static_cast<ssize_t>(bytes.size()),
                "x11vnc runs until the benchmark ends it");
}

void VNCCapture::receive(std::size_t count) const {
    std::string bytes(count, '\0');
    viewerCheck(::recv(socket_, bytes.data(), count, MSG_WAITALL) == static_cast<ssize_t>(count),
                "x11vnc speaks its protocol");
}

void VNCCapture::ask() const {
    // Changes only, from the upper left corner on, farther than any screen goes.
    send("\x03\x01\x00\x00\x00\x00\x7f\xff\x7f\xff"s);
}

bool VNCCapture::receiveAll() const {
    constexpr int silenceMilliseconds = 1000;
    std::array<char, 65536> bytes;
    bool hasReceived = false;
    pollfd waiting{socket_, POLLIN, 0};
    while (::poll(&waiting, 1, silenceMilliseconds) > 0) {
        viewerCheck(::recv(socket_, bytes.data(), bytes.size(), 0) > 0,
                    "x11vnc runs until the benchmark ends it");
        hasReceived = true;
    }
    return hasReceived;
}

}  // namespace velmora::bench
