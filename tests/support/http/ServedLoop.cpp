#include "tests/support/http/ServedLoop.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <optional>
#include <thread>
#include <utility>
#include <variant>

#include "core/capture/MacDisplayCaptureSource.h"
#include "core/coordination/ViewerCaptureCoordinator.h"
#include "core/protocol/ViewerHostProtocolV1.h"
#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerTaskHandle.h"

namespace velmora {

namespace {

constexpr std::chrono::seconds patience{30};

ViewerTask<void> start(std::shared_ptr<ViewerHTTPServer> server,
                       std::shared_ptr<std::optional<ViewerHTTPServer::StartOutcome>> outcome) {
    *outcome = co_await server->start();
}

}  // namespace

ServedLoop::ServedLoop(const MakeCapture& makeCapture) {
    auto source = std::make_shared<MacDisplayCaptureSource>(
        makeCapture(loop_.get_executor(), clock_), executors_, clock_);
    auto coordinator = std::make_shared<ViewerCaptureCoordinator>(
        std::move(source), ViewerHostProtocolV1::sessionLimit, ViewerHostProtocolV1::idleTimeout,
        executors_, clock_);
    server_ = std::make_shared<ViewerHTTPServer>(std::move(coordinator), std::uint16_t{0}, "Host",
                                                 makeTransport(clock_), executors_, clock_);
    const auto outcome = std::make_shared<std::optional<ViewerHTTPServer::StartOutcome>>();
    (void)startTask(loop_.get_executor(), start(server_, outcome));  // is never cancelled
    while (!outcome->has_value()) {
        viewerCheck(loop_.run_one_for(patience) > 0, "a server starts");
    }
    port_ = std::get<std::uint16_t>(**outcome);
}

ServedLoop::~ServedLoop() {
    bool isStopped = false;
    const auto stop = [](std::shared_ptr<ViewerHTTPServer> server,
                         bool* isOver) -> ViewerTask<void> {
        co_await server->stop();
        *isOver = true;
    };
    (void)startTask(loop_.get_executor(), stop(server_, &isStopped));  // is never cancelled
    while (!isStopped && loop_.run_one_for(patience) > 0) {
    }
    server_.reset();
    // The thread of a capture that has just ended may still have the clock, which needs the loop.
    const auto end = std::chrono::steady_clock::now() + patience;
    while (clock_.use_count() > 1 && std::chrono::steady_clock::now() < end) {
        loop_.restart();
        (void)loop_.poll();
        std::this_thread::yield();
    }
}

int ServedLoop::ask(const std::string& path) const {
    const int client = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port_);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    viewerCheck(::connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
                "a client connects");
    const std::string request = "GET " + path + " HTTP/1.1\r\nHost: localhost\r\n\r\n";
    viewerCheck(::send(client, request.data(), request.size(), MSG_NOSIGNAL) ==
                    static_cast<ssize_t>(request.size()),
                "a client's buffer takes a request");
    return client;
}

void ServedLoop::run() {
    while (loop_.poll() > 0) {
    }
}

std::string ServedLoop::answerOf(int client) {
    constexpr std::size_t bytesAtOnce = 64UL * 1024;
    std::string answer;
    std::array<char, bytesAtOnce> buffer;
    for (;;) {
        const ssize_t bytes = ::recv(client, buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (bytes > 0) {
            answer.append(buffer.data(), static_cast<std::size_t>(bytes));
        } else if (bytes == 0) {
            ::close(client);
            return answer;
        } else {
            viewerCheck(errno == EAGAIN && loop_.run_one_for(patience) > 0, "a client is answered");
        }
    }
}

}  // namespace velmora
