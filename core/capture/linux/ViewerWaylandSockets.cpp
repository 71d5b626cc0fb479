#include "core/capture/linux/ViewerWaylandSockets.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace velmora {

namespace {

using Clock = std::chrono::steady_clock;

/// The protocol's first object, and the one that the answer comes to.
constexpr std::uint32_t displayObject = 1;
constexpr std::uint32_t callbackObject = 2;
/// wl_display.sync(callback), in this machine's byte order: object, size and request, argument.
constexpr std::uint32_t syncSize = 12;
constexpr std::array<std::uint32_t, 3> syncRequest{displayObject, syncSize << 16, callbackObject};

/// The asking of one socket. Closes what it opened.
class Question final {
  public:
    explicit Question(const std::string& path)
        : descriptor_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path.size() >= sizeof address.sun_path) {
            return;  // no socket has such a path
        }
        path.copy(address.sun_path, path.size());
        isAsked_ =
            ::connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
                0 &&
            ::send(descriptor_, syncRequest.data(), syncSize, MSG_NOSIGNAL) == ssize_t{syncSize};
    }
    ~Question() { ::close(descriptor_); }
    Question(const Question&) = delete;
    Question& operator=(const Question&) = delete;

    /// Whether the answer has come by `end`.
    bool isAnsweredBy(Clock::time_point end) const {
        std::uint32_t object = 0;
        return isAsked_ && isReadableBy(end) &&
               ::recv(descriptor_, &object, sizeof object, 0) == ssize_t{sizeof object} &&
               object == callbackObject;
    }

  private:
    bool isReadableBy(Clock::time_point end) const {
        using std::chrono::milliseconds;
        const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
        pollfd ready{descriptor_, POLLIN, 0};
        return ::poll(&ready, 1, static_cast<int>(std::max(left, milliseconds(0)).count())) == 1;
    }

    const int descriptor_;
    bool isAsked_ = false;
};

}  // namespace

std::vector<std::string> ViewerWaylandSockets::answering(const std::vector<std::string>& paths) {
    const auto end = Clock::now() + patience;
    // All at once: those that hang are waited for together.
    std::vector<std::unique_ptr<const Question>> questions;
    questions.reserve(paths.size());
    for (const std::string& path : paths) {
        questions.push_back(std::make_unique<const Question>(path));
    }
    std::vector<std::string> answered;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (questions[i]->isAnsweredBy(end)) {
            answered.push_back(paths[i]);
        }
    }
    return answered;
}

}  // namespace velmora
