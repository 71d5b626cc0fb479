#include "tests/support/desktop/WaylandRelay.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

/// Between two looks whether it is to end.
constexpr int patienceMilliseconds = 20;
constexpr std::size_t mostBytes = 65'536;
/// libwayland sends fewer at a time.
constexpr std::size_t mostDescriptors = 64;

int makeSocket() {
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    viewerCheck(descriptor >= 0, "a test gets no socket");
    return descriptor;
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    viewerCheck(path.size() < sizeof address.sun_path, "a socket's path is too long");
    path.copy(address.sun_path, path.size());
    return address;
}

bool isReadable(int descriptor) {
    pollfd ready{descriptor, POLLIN, 0};
    return ::poll(&ready, 1, patienceMilliseconds) == 1;
}

}  // namespace

WaylandRelay::WaylandRelay(std::string compositor)
    : compositor_(std::move(compositor)), listener_(makeSocket()) {
    const sockaddr_un address = addressOf(displayName());
    viewerCheck(
        ::bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
            ::listen(listener_, 1) == 0,
        "a relay gets no socket of its own");
    thread_ = std::thread([this] { run(); });
}

WaylandRelay::~WaylandRelay() {
    isEnding_ = true;
    thread_.join();
    ::close(listener_);
}

bool WaylandRelay::hasHeard(const std::string& text) {
    const ViewerLockGuard guard(lock_);
    return heard_.find(text) != std::string::npos;
}

bool WaylandRelay::hasHeardAfterPicture(const std::string& text) {
    const ViewerLockGuard guard(lock_);
    const std::size_t place = heard_.find(text);
    return place != std::string::npos && place > firstMemory_;
}

void WaylandRelay::run() {
    while (!isEnding_) {
        if (isReadable(listener_)) {
            const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            serve(client);
            ::close(client);
        }
    }
}

void WaylandRelay::serve(int client) {
    const int server = makeSocket();
    const sockaddr_un address = addressOf(compositor_);
    bool isOpen =
        ::connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    while (isOpen && !isEnding_) {
        std::array<pollfd, 2> ready{pollfd{client, POLLIN, 0}, pollfd{server, POLLIN, 0}};
        (void)::poll(ready.data(), ready.size(), patienceMilliseconds);  // looked at below
        if (ready[0].revents != 0) {
            isOpen = passOn(client, server, true);
        }
        if (isOpen && ready[1].revents != 0) {
            isOpen = passOn(server, client, false);
        }
    }
    ::close(server);
}

bool WaylandRelay::passOn(int from, int to, bool isKept) {
    std::array<char, mostBytes> bytes;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(mostDescriptors * sizeof(int))> control;
    iovec part{bytes.data(), bytes.size()};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t size = ::recvmsg(from, &message, MSG_CMSG_CLOEXEC);
    if (size <= 0) {
        return false;
    }
    part.iov_len = static_cast<std::size_t>(size);
    if (isKept) {
        const ViewerLockGuard guard(lock_);
        if (firstMemory_ == std::string::npos && message.msg_controllen > 0) {
            firstMemory_ = heard_.size();
        }
        heard_.append(bytes.data(), part.iov_len);
    }
    // The control bytes that came are those that go on, or none.
    const bool isPassedOn = ::sendmsg(to, &message, MSG_NOSIGNAL) == size;
    for (cmsghdr* each = CMSG_FIRSTHDR(&message); each != nullptr;
         each = CMSG_NXTHDR(&message, each)) {
        const std::size_t count = (each->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t i = 0; i < count; ++i) {
            int descriptor = -1;
            std::memcpy(&descriptor, CMSG_DATA(each) + i * sizeof(int), sizeof descriptor);
            ::close(descriptor);
        }
    }
    return isPassedOn;
}

}  // namespace velmora
