#include "tests/http/linux/OpenSockets.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <filesystem>
#include <string>

namespace velmora {

namespace {

bool isTCPSocket(int descriptor) {
    int protocol = 0;
    socklen_t size = sizeof protocol;
    return ::getsockopt(descriptor, SOL_SOCKET, SO_PROTOCOL, &protocol, &size) == 0 &&
           protocol == IPPROTO_TCP;
}

}  // namespace

std::vector<int> openSockets() {
    std::vector<int> sockets;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int descriptor = std::stoi(entry.path().filename().string());
        if (isTCPSocket(descriptor)) {
            sockets.push_back(descriptor);
        }
    }
    return sockets;
}

bool isClosedOnExec(int descriptor) {
    return (::fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0;
}

bool stopListening(int descriptor) {
    return ::shutdown(descriptor, SHUT_RD) == 0;
}

}  // namespace velmora
