#include <gtest/gtest.h>

#include <atomic>
#include <boost/asio/execution.hpp>
#include <boost/asio/execution_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/http/ViewerHTTPServer.h"
#include "core/runtime/ViewerExecutors.h"
#include "core/runtime/ViewerLock.h"
#include "core/runtime/ViewerTaskHandle.h"
#include "tests/support/ScriptedPeer.h"
#include "tests/support/ScriptedTransport.h"

namespace velmora {
namespace {

using Strand = boost::asio::strand<boost::asio::thread_pool::executor_type>;

/// A queue of the pool. Small enough for an executor to hold it without counting references, whose
/// fences ThreadSanitizer does not understand.
struct PooledQueue final {
    boost::asio::thread_pool* pool;
    Strand* strand;

    friend bool operator==(const PooledQueue&, const PooledQueue&) noexcept = default;

    template <typename Function>
    void execute(Function&& function) const {
        boost::asio::post(*strand, std::forward<Function>(function));
    }
    boost::asio::execution_context& query(boost::asio::execution::context_t) const noexcept {
        return *pool;
    }
    static constexpr boost::asio::execution::blocking_t query(
        boost::asio::execution::blocking_t) noexcept {
        return boost::asio::execution::blocking.never;
    }
    PooledQueue require(boost::asio::execution::blocking_t::never_t) const noexcept {
        return *this;
    }
};

/// Every queue and every task on whichever of four threads is free.
class PooledExecutors final : public ViewerExecutors {
  public:
    ViewerExecutor mainExecutor() override { return makeQueue(); }
    ViewerExecutor taskExecutor() override { return makeQueue(); }
    ViewerExecutor makeSerialExecutor(std::string_view) override { return makeQueue(); }

    void join() { pool_.join(); }

  private:
    ViewerExecutor makeQueue() {
        const ViewerLockGuard guard(lock_);
        return PooledQueue{&pool_, &strands_.emplace_back(pool_.get_executor())};
    }

    ViewerLock lock_;
    boost::asio::thread_pool pool_{4};
    std::deque<Strand> strands_ VIEWER_GUARDED_BY(lock_);
};

/// A clock whose timers go off when the test says so. Any thread.
class RungClock final : public ViewerContinuousClock {
  public:
    Instant now() const override { return Instant(); }
    TimerId schedule(Instant, ViewerExecutor executor, std::function<void()> action) override {
        const ViewerLockGuard guard(lock_);
        timers_.emplace(++lastTimer_, std::pair(std::move(executor), std::move(action)));
        return lastTimer_;
    }
    void withdraw(TimerId timer) override {
        const ViewerLockGuard guard(lock_);
        timers_.erase(timer);
    }

    void ring() {
        std::map<TimerId, Timer> due;
        {
            const ViewerLockGuard guard(lock_);
            std::swap(due, timers_);
        }
        for (auto& [id, timer] : due) {
            boost::asio::post(timer.first, std::move(timer.second));
        }
    }
    std::size_t timers() {
        const ViewerLockGuard guard(lock_);
        return timers_.size();
    }

  private:
    using Timer = std::pair<ViewerExecutor, std::function<void()>>;

    ViewerLock lock_;
    TimerId lastTimer_ VIEWER_GUARDED_BY(lock_) = 0;
    std::map<TimerId, Timer> timers_ VIEWER_GUARDED_BY(lock_);
};

/// Has no displays and counts its shutdowns. Any thread.
class EmptyProvider final : public ViewerHostFrameProviding {
  public:
    ViewerTask<std::vector<ViewerHostDisplay>> displays() override {
        co_return std::vector<ViewerHostDisplay>();
    }
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
    std::shared_ptr<RungClock> clock = std::make_shared<RungClock>();
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
    EXPECT_EQ(host.clock->timers(), 0U);
}

TEST(ViewerHTTPServer, ServesAndStopsOnSeveralThreads) {
    for (std::size_t servedFirst = 0; servedFirst < 64; servedFirst += 3) {
        SCOPED_TRACE(servedFirst);
        serveAndStop(servedFirst);
    }
}

}  // namespace
}  // namespace velmora
