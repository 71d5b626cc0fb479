#include "tests/support/system/HTTPClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

constexpr std::string_view headEnd = "\r\n\r\n";
constexpr timeval generousLimit{30, 0};

}  // namespace

int HTTPAnswer::status() const {
    constexpr std::string_view version = "HTTP/1.1 ";
    int number = 0;
    if (bytes.starts_with(version)) {
        std::from_chars(bytes.data() + version.size(), bytes.data() + bytes.size(), number);
    }
    return number;
}

std::string HTTPAnswer::head() const {
    const std::size_t end = bytes.find(headEnd);
    return end == std::string::npos ? bytes : bytes.substr(0, end + headEnd.size());
}

std::string HTTPAnswer::body() const {
    return bytes.substr(head().size());
}

std::optional<std::string> HTTPAnswer::header(std::string_view name) const {
    const std::string text = head();
    const std::string start = "\r\n" + std::string(name) + ": ";
    const std::size_t begin = text.find(start);
    if (begin == std::string::npos) {
        return std::nullopt;
    }
    const std::size_t value = begin + start.size();
    return text.substr(value, text.find("\r\n", value) - value);
}

HTTPClient::HTTPClient(std::uint16_t port, std::optional<int> receiveBuffer)
    : descriptor_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    viewerCheck(descriptor_ >= 0, "the test has sockets");
    ::setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &generousLimit, sizeof generousLimit);
    ::setsockopt(descriptor_, SOL_SOCKET, SO_SNDTIMEO, &generousLimit, sizeof generousLimit);
    if (receiveBuffer) {
        // Small segments make the peer's kernel, too, take in little at once.
        constexpr int segment = 536;
        ::setsockopt(descriptor_, IPPROTO_TCP, TCP_MAXSEG, &segment, sizeof segment);
        ::setsockopt(descriptor_, SOL_SOCKET, SO_RCVBUF, &*receiveBuffer, sizeof *receiveBuffer);
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    isConnected_ =
        ::connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

HTTPClient::~HTTPClient() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

HTTPClient::HTTPClient(HTTPClient&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), isConnected_(other.isConnected_) {}

bool HTTPClient::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

void HTTPClient::endSending() {
    ::shutdown(descriptor_, SHUT_WR);
}

bool HTTPClient::awaitBytes(std::chrono::milliseconds limit) const {
    pollfd waited{descriptor_, POLLIN, 0};
    return ::poll(&waited, 1, static_cast<int>(limit.count())) > 0;
}

HTTPAnswer HTTPClient::receive() {
    HTTPAnswer answer;
    std::array<char, 16384> bytes;
    ssize_t count = 0;
    while ((count = ::recv(descriptor_, bytes.data(), bytes.size(), 0)) > 0) {
        answer.bytes.append(bytes.data(), static_cast<std::size_t>(count));
    }
    answer.isWhole = count == 0;
    return answer;
}

std::string HTTPClient::receiveSome(std::size_t size) {
    std::string bytes(size, '\0');
    const ssize_t count = ::recv(descriptor_, bytes.data(), bytes.size(), 0);
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return bytes;
}

void HTTPClient::reset() {
    const linger abort{1, 0};
    ::setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
    ::close(std::exchange(descriptor_, -1));
    isConnected_ = false;
}

HTTPAnswer HTTPClient::get(std::string_view target) {
    HTTPClient client;
    client.send("GET " + std::string(target) + " HTTP/1.1\r\n\r\n");
    return client.receive();
}

}  // namespace velmora
