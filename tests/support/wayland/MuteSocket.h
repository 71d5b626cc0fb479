#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <string>

#include "core/runtime/ViewerCheck.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

/// A socket that takes in as many clients as there is room for, and answers none.
class MuteSocket final {
  public:
    explicit MuteSocket(int room = 64) : path_(folder_.path() / "mute") {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::copy(path_.begin(), path_.end(), std::begin(address.sun_path));
        const bool isBound =
            ::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        viewerCheck(isBound && ::listen(socket_, room) == 0, "a socket cannot be made");
    }
    ~MuteSocket() { ::close(socket_); }
    MuteSocket(const MuteSocket&) = delete;
    MuteSocket& operator=(const MuteSocket&) = delete;

    const std::string& path() const { return path_; }
    /// Takes in those who wait, and closes their connections.
    void turnAway() const {
        for (int client = ::accept(socket_, nullptr, nullptr); client >= 0;
             client = ::accept(socket_, nullptr, nullptr)) {
            ::close(client);
        }
    }

  private:
    const TemporaryFolder folder_;
    const std::string path_;
    const int socket_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
};

}  // namespace velmora
