#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

namespace velmora {

/// Whether somebody listens behind a socket's path now: it has its name a moment before that. Comes
/// as one client, who leaves at once. Any thread.
inline bool isListenedTo(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return false;
    }
    path.copy(address.sun_path, path.size());
    const int client = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool isConnected =
        ::connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(client);
    return isConnected;
}

}  // namespace velmora
