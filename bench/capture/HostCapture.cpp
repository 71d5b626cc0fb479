#include "bench/capture/HostCapture.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>

#include "core/runtime/ViewerCheck.h"

namespace velmora::bench {

namespace {

constexpr std::uint16_t port = 9090;

constexpr const char* success = "HTTP/1.1 200 ";

/// The whole answer.
std::string ask(const std::string& path) {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const std::string request = "GET " + path + " HTTP/1.1\r\nHost: localhost\r\n\r\n";
    std::string result;
    if (::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::send(descriptor, request.data(), request.size(), MSG_NOSIGNAL) ==
            static_cast<ssize_t>(request.size())) {
        std::array<char, 65536> bytes;
        ssize_t count = 0;
        while ((count = ::recv(descriptor, bytes.data(), bytes.size(), 0)) > 0) {
            result.append(bytes.data(), static_cast<std::size_t>(count));
        }
    }
    ::close(descriptor);
    return result;
}

/// The same, where it is to be a good one.
std::string get(const std::string& path) {
    std::string result = ask(path);
    viewerCheck(result.starts_with(success), "the host answers what it is asked for");
    return result;
}

/// What follows `beginning` up to one of the characters in `ends`.
std::string textBetween(const std::string& text, const std::string& beginning, const char* ends) {
    const std::size_t found = text.find(beginning);
    viewerCheck(found != std::string::npos, "the host's answers have their form");
    const std::size_t begin = found + beginning.size();
    return text.substr(begin, text.find_first_of(ends, begin) - begin);
}

}  // namespace

HostCapture::HostCapture(const std::string& program, const std::function<void()>& consent)
    : process_({program}) {
    consent();
    (void)process_.awaitLine("Velmora Viewer Host");  // which port is known
    const std::string prefix = "macos-display:";
    frameTarget_ =
        "/viewer/v1/frame?id=" + prefix + textBetween(get("/viewer/v1/displays"), prefix, "\"");
}

void HostCapture::begin() const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!ask(frameTarget_).starts_with(success)) {
        viewerCheck(std::chrono::steady_clock::now() < deadline, "the host has a first frame");
    }
}

std::uint64_t HostCapture::frames() const {
    const std::string answer = get(frameTarget_);
    const std::string label = textBetween(answer, "X-Velmora-Frame: ", "\r");
    return std::stoull(label.substr(label.rfind('-') + 1));
}

}  // namespace velmora::bench
