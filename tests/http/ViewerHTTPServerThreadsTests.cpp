#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/http/ViewerHTTPServer.h"
#include "core/runtime/ViewerTaskHandle.h"
#include "tests/support/http/ScriptedPeer.h"
#include "tests/support/http/ScriptedTransport.h"
#include "tests/support/runtime/ManualClock.h"
#include "tests/support/runtime/PooledExecutors.h"

namespace velmora {
namespace {

/// Has no displays and counts its shutdowns. Any thread.
class EmptyProvider final : public ViewerHostFrameProviding {
  public:
    ViewerTask<ViewerHostDisplays> displays() override { co_return ViewerHostDisplays(); }
    ViewerTask<std::optional<ViewerHostFrame>> frame(std::string) override {
        co_return std::nullopt;
    }
    ViewerTask<void> shutdown() override {
        ++shutdowns;
        co_return;
    }

    std::atomic<int> shutdowns{0};
};

ViewerTask<void> startAndTell(std::shared_ptr<ViewerHTTPServer> server,
                              std::promise<ViewerHTTPServer::StartOutcome>* outcome) {
    auto value = co_await server->start();
    outcome->set_value(std::move(value));
}

ViewerTask<void> stopAndTell(std::shared_ptr<ViewerHTTPServer> server,
                             std::promise<void>* stopped) {
    co_await server->stop();
    stopped->set_value();
}

constexpr std::uint16_t port = 9090;
constexpr const char* notFound =
    "HTTP/1.1 404 Not Found\r\nContent-Type: text/plain\r\nContent-Length: 0\r\n"
    "Cache-Control: no-store\r\nConnection: close\r\n\r\n";

/// A server on several threads whose listener is ready.
class ThreadedHost final {
  public:
    ThreadedHost() {
        transport->portAtStart = port;
        std::promise<ViewerHTTPServer::StartOutcome> outcome;
        (void)startTask(executors.taskExecutor(), startAndTell(server, &outcome));
        EXPECT_EQ(outcome.get_future().get(), ViewerHTTPServer::StartOutcome(port));
    }

    PooledExecutors executors;
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<EmptyProvider> provider = std::make_shared<EmptyProvider>();
    std::shared_ptr<ScriptedTransport> transport = std::make_shared<ScriptedTransport>();
    std::shared_ptr<ViewerHTTPServer> server =
        std::make_shared<ViewerHTTPServer>(provider, port, "machine", transport, executors, clock);
};

/// Connects many clients, some of which fail, while every deadline passes at once and the server is
/// stopped by two callers after `servedFirst` clients.
void serveAndStop(std::size_t servedFirst) {
    constexpr std::size_t clients = 64;
    ThreadedHost host;
    std::vector<std::shared_ptr<ScriptedPeer>> peers;
    std::promise<void> stopped[2];
    for (std::size_t i = 0; i < clients; ++i) {
        if (i == servedFirst) {
            for (auto& caller : stopped) {
                (void)startTask(host.executors.taskExecutor(), stopAndTell(host.server, &caller));
            }
        }
        auto peer = std::make_shared<ScriptedPeer>();
        peer->send(i % 4 == 3 ? "GET / HT" : "GET / HTTP/1.1\r\n\r\n");
        peers.push_back(host.transport->listeners.back()->connect(std::move(peer)));
        if (i % 8 == 7) {
            host.clock->ring();
        }
    }
    for (auto& caller : stopped) {
        caller.get_future().wait();
    }
    EXPECT_EQ(host.provider->shutdowns, 1);
    host.executors.join();
    for (const auto& peer : peers) {
        const auto messages = peer->messages();
        EXPECT_LE(messages.size(), 1U);
        EXPECT_TRUE(messages.empty() || messages.front() == notFound);
        EXPECT_TRUE(peer->isDropped());
    }
    EXPECT_EQ(host.clock->pendingTimers(), 0U);
}

TEST(ViewerHTTPServer, ServesAndStopsOnSeveralThreads) {
    for (std::size_t servedFirst = 0; servedFirst < 64; servedFirst += 3) {
        SCOPED_TRACE(servedFirst);
        serveAndStop(servedFirst);
    }
}

}  // namespace
}  // namespace velmora
