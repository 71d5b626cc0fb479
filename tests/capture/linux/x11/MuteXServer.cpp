#include "tests/capture/linux/x11/MuteXServer.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

/// A client's first words: least significant byte first, version 11.0, no authority.
constexpr std::array<char, 12> greeting{'l', 0, 11};
constexpr std::size_t prefixBytes = 8;

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    viewerCheck(path.size() < sizeof address.sun_path, "a display's socket has a short name");
    std::ranges::copy(path, address.sun_path);
    return address;
}

std::string receive(int descriptor, std::size_t count) {
    std::string result(count, '\0');
    const ssize_t received = ::recv(descriptor, result.data(), count, MSG_WAITALL);
    viewerCheck(received == static_cast<ssize_t>(count), "an X server does not let a client in");
    return result;
}

/// The answer's rest is counted, in the prefix, in units of four bytes.
std::size_t bytesAfter(const std::string& prefix) {
    return 4 * (static_cast<unsigned char>(prefix[6]) +
                256 * static_cast<std::size_t>(static_cast<unsigned char>(prefix[7])));
}

}  // namespace

MuteXServer::MuteXServer(const XServer& server)
    : path_("/tmp/.X11-unix/X" + server.displayName().substr(1)) {
    const sockaddr_un address = addressOf(path_);
    const int client = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    viewerCheck(::connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
                "an X server is not there");
    viewerCheck(::send(client, greeting.data(), greeting.size(), 0) ==
                    static_cast<ssize_t>(greeting.size()),
                "an X server takes no greeting");
    welcome_ = receive(client, prefixBytes);
    welcome_ += receive(client, bytesAfter(welcome_));
    ::close(client);
}

MuteXServer::~MuteXServer() {
    if (listener_ >= 0) {
        (void)::unlink(path_.c_str());
        ::shutdown(listener_, SHUT_RDWR);
        thread_.join();
        ::close(listener_);
    }
}

void MuteXServer::start() {
    const sockaddr_un address = addressOf(path_);
    listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    constexpr int backlog = 16;
    viewerCheck(
        ::bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
            ::listen(listener_, backlog) == 0,
        "a display's socket cannot be taken over");
    thread_ = std::thread([this] { serve(); });
}

void MuteXServer::serve() const {
    std::vector<int> clients;
    while (true) {
        const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) {
            break;
        }
        clients.push_back(client);
        (void)receive(client, greeting.size());
        // A client that has gone again does not hear it.
        (void)::send(client, welcome_.data(), welcome_.size(), MSG_NOSIGNAL);
    }
    for (const int each : clients) {
        ::close(each);
    }
}

}  // namespace velmora
