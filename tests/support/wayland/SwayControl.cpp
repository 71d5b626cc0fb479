#include "tests/support/wayland/SwayControl.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>

#include "core/runtime/ViewerCheck.h"
#include "tests/support/system/LocalSocket.h"

namespace velmora {

namespace {

constexpr std::string_view magic = "i3-ipc";
constexpr std::uint32_t runCommand = 0;
constexpr std::chrono::seconds patience{30};
constexpr int betweenLooks = 5;

void append(std::string& message, std::uint32_t number) {
    message.append(reinterpret_cast<const char*>(&number), sizeof number);
}

std::string received(int socket, std::size_t size) {
    std::string bytes(size, '\0');
    const ssize_t count = ::recv(socket, bytes.data(), size, MSG_WAITALL);
    viewerCheck(count == static_cast<ssize_t>(size), "the test's compositor does not answer");
    return bytes;
}

}  // namespace

SwayControl::SwayControl(const HeadlessCompositor& compositor)
    : SwayControl(std::filesystem::path(compositor.displayName()).parent_path()) {}

SwayControl::SwayControl(const std::filesystem::path& folder) {
    // It makes this socket later than the one that its programs come to.
    const auto end = std::chrono::steady_clock::now() + patience;
    while (socketPath_.empty() && std::chrono::steady_clock::now() < end) {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            if (entry.path().filename().string().starts_with("sway-ipc") &&
                isListenedTo(entry.path())) {
                socketPath_ = entry.path();
            }
        }
        if (socketPath_.empty()) {
            ::poll(nullptr, 0, betweenLooks);
        }
    }
    viewerCheck(!socketPath_.empty(), "the test's compositor takes no commands");
}

void SwayControl::run(const std::string& command) const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    viewerCheck(socketPath_.size() < sizeof address.sun_path, "a socket's path is too long");
    std::copy(socketPath_.begin(), socketPath_.end(), std::begin(address.sun_path));
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    viewerCheck(::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
                "the test's compositor takes no commands");
    std::string message(magic);
    append(message, static_cast<std::uint32_t>(command.size()));
    append(message, runCommand);
    message += command;
    viewerCheck(::send(socket, message.data(), message.size(), MSG_NOSIGNAL) ==
                    static_cast<ssize_t>(message.size()),
                "the test's compositor takes no commands");
    const std::string head = received(socket, magic.size() + 2 * sizeof(std::uint32_t));
    std::uint32_t size = 0;
    std::memcpy(&size, head.data() + magic.size(), sizeof size);
    const std::string answer = received(socket, size);
    ::close(socket);
    viewerCheck(answer.find("\"success\": true") != std::string::npos &&
                    answer.find("\"success\": false") == std::string::npos,
                "the test's compositor refuses a command");
}

}  // namespace velmora
