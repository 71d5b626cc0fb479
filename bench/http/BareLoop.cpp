// The least server that there can be for the same requests: one epoll loop that answers with bytes
// which it has read at its start. It knows no limits, no deadlines and no displays.
//   bare_loop PORT LISTING-ANSWER FRAME-ANSWER
// The two files hold whole answers, heads included. A socket is tried before it is registered, and
// ends as those of the host do: half-closed with the answer's last packet, then left alone. It is
// closed when 1,024 later ones are there; for the time that is over the loop does not look.

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace velmora {

namespace {

constexpr std::size_t lingeringSockets = 1024;
constexpr std::size_t requestBytes = 1024;
constexpr int eventsATurn = 64;
constexpr unsigned acceptsATurn = 64;
constexpr int backlog = 4096;

std::string contentOf(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class BareLoop final {
  public:
    BareLoop(std::uint16_t port, std::string listing, std::string frame)
        : listing_(std::move(listing)),
          frame_(std::move(frame)),
          listener_(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)),
          epoll_(::epoll_create1(EPOLL_CLOEXEC)) {
        lingering_.fill(-1);
        const int yes = 1;
        (void)::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        isListening_ =
            ::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
            ::listen(listener_, backlog) == 0 && watch(listener_, EPOLLIN);
    }
    BareLoop(const BareLoop&) = delete;
    BareLoop& operator=(const BareLoop&) = delete;

    bool isListening() const { return isListening_; }

    [[noreturn]] void run() {
        for (;;) {
            std::array<epoll_event, eventsATurn> events;
            const int count = ::epoll_wait(epoll_, events.data(), eventsATurn, -1);
            for (int i = 0; i < count; ++i) {
                const int descriptor = events[static_cast<std::size_t>(i)].data.fd;
                if (descriptor == listener_) {
                    acceptAll();
                } else if (serve(descriptor)) {
                    stopWatching(descriptor);
                }
            }
        }
    }

  private:
    bool watch(int descriptor, std::uint32_t events) const {
        epoll_event event{};
        event.events = events;
        event.data.fd = descriptor;
        return ::epoll_ctl(epoll_, EPOLL_CTL_ADD, descriptor, &event) == 0;
    }

    void stopWatching(int descriptor) const {
        (void)::epoll_ctl(epoll_, EPOLL_CTL_DEL, descriptor, nullptr);  // of a closed one it fails
    }

    /// As many as wait: a call that finds nobody is dearer than the question.
    void acceptAll() {
        tcp_info info{};
        socklen_t size = sizeof info;
        (void)::getsockopt(listener_, IPPROTO_TCP, TCP_INFO, &info, &size);  // else it is one
        for (unsigned left = std::clamp(info.tcpi_unacked, 1U, acceptsATurn); left > 0; --left) {
            const int accepted =
                ::accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
            if (accepted >= 0 && !serve(accepted)) {
                (void)watch(accepted, EPOLLIN | EPOLLET);
            }
        }
    }

    /// False when there is no request yet.
    bool serve(int descriptor) {
        std::array<char, requestBytes> buffer;
        const ssize_t bytes = ::recv(descriptor, buffer.data(), buffer.size(), 0);
        if (bytes < 0 && errno == EAGAIN) {
            return false;
        }
        if (bytes <= 0) {
            ::close(descriptor);
            return true;
        }
        const std::string_view request(buffer.data(), static_cast<std::size_t>(bytes));
        answer(descriptor, request.starts_with("GET /viewer/v1/displays ") ? listing_ : frame_);
        return true;
    }

    /// The client's buffer takes an answer as a whole.
    void answer(int descriptor, const std::string& bytes) {
        (void)::send(descriptor, bytes.data(), bytes.size(), MSG_MORE | MSG_NOSIGNAL);
        (void)::shutdown(descriptor, SHUT_WR);
        int& place = lingering_[next_++ % lingering_.size()];
        if (place >= 0) {
            ::close(place);
        }
        place = descriptor;
    }

    const std::string listing_;
    const std::string frame_;
    const int listener_;
    const int epoll_;
    bool isListening_ = false;
    std::array<int, lingeringSockets> lingering_{};
    std::size_t next_ = 0;
};

}  // namespace

}  // namespace velmora

int main(int argumentCount, char** arguments) {
    constexpr int expectedArguments = 4;
    if (argumentCount != expectedArguments) {
        std::cerr << "bare_loop PORT LISTING-ANSWER FRAME-ANSWER\n";
        return 2;
    }
    velmora::BareLoop loop(static_cast<std::uint16_t>(std::atoi(arguments[1])),
                           velmora::contentOf(arguments[2]), velmora::contentOf(arguments[3]));
    if (!loop.isListening()) {
        std::cerr << "bare_loop: the port cannot be used\n";
        return 1;
    }
    loop.run();
}
