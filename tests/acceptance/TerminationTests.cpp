#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/host/HostTest.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr auto grace = 3s;
/// What a busy machine may add.
constexpr auto slack = 1s;

/// Clients that ask for the same target again and again until they are stopped.
class Load final {
  public:
    Load(std::size_t clients, const std::string& target) {
        for (std::size_t i = 0; i < clients; ++i) {
            threads_.emplace_back([this, target] {
                while (!isStopped_) {
                    answers_ += HTTPClient::get(target).status() == 200 ? 1U : 0U;
                }
            });
        }
    }
    ~Load() {
        isStopped_ = true;
        for (auto& thread : threads_) {
            thread.join();
        }
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

    std::size_t answers() const { return answers_; }

  private:
    std::atomic<bool> isStopped_ = false;
    std::atomic<std::size_t> answers_ = 0;
    std::vector<std::thread> threads_;
};

class Termination : public HostTest {
  protected:
    Termination() { painter_.fill({0, 0, 1280, 720}, 0x808080); }

    /// How long the host takes to end in order after `signals`.
    std::chrono::steady_clock::duration timeToEnd(const std::vector<int>& signals) {
        const auto begin = std::chrono::steady_clock::now();
        for (const int signal : signals) {
            host_->signal(signal);
        }
        EXPECT_EQ(host_->awaitEnd(), endedInOrder);
        return std::chrono::steady_clock::now() - begin;
    }
};

TEST_F(Termination, EitherSignalEndsAnIdleHostAtOnce) {
    for (const int signal : {SIGINT, SIGTERM}) {
        serve();
        EXPECT_LT(timeToEnd({signal}), slack);
    }
}

TEST_F(Termination, ManySignalsInARowAreOneOrderlyEnd) {
    serve();
    const HTTPClient silent;
    EXPECT_LT(timeToEnd({SIGTERM, SIGTERM, SIGINT, SIGINT, SIGTERM}), slack);
    EXPECT_EQ(host_->readToEnd(), "");
}

TEST_F(Termination, SilentAndWaitingConnectionsAreEndedWithTheHost) {
    serve();
    std::vector<HTTPClient> clients(100);
    EXPECT_LT(timeToEnd({SIGTERM}), slack);
    for (HTTPClient& client : clients) {
        EXPECT_EQ(client.receive().bytes, "");
    }
}

TEST_F(Termination, AHostUnderLoadEndsInOrderWithinTheGrace) {
    serve();
    Load load(8, frameTarget(idOf("screen")));
    ASSERT_TRUE(eventually([&] { return load.answers() > 50; }));

    EXPECT_LT(timeToEnd({SIGTERM}), grace + slack);
}

TEST_F(Termination, AHostWhoseRequestsHangInTheXServerEndsWithinTheGrace) {
    serve();
    const std::string target = frameTarget(idOf("screen"));
    ASSERT_EQ(HTTPClient::get(target).status(), 200);
    server_.freeze();
    std::vector<HTTPClient> clients(4);
    for (HTTPClient& client : clients) {
        client.send("GET " + target + " HTTP/1.1\r\n\r\n");
    }

    EXPECT_LT(timeToEnd({SIGTERM}), grace + slack);
    server_.thaw();
}

TEST_F(Termination, SignalsThatComeInAnyMomentOfTheStartNeverKillTheHost) {
    for (int delay = 0; delay < 40; ++delay) {
        HostProcess host(launchOn(server_));
        ASSERT_TRUE(eventually([&] { return host.ignoresSignals(); }));
        EXPECT_EQ(host.awaitEnd(std::chrono::milliseconds(delay)), std::nullopt);
        // One that comes before the host watches for it is ignored.
        ASSERT_TRUE(eventually([&] {
            host.signal(SIGTERM);
            return host.awaitEnd(50ms).has_value();
        }));
        ASSERT_EQ(host.awaitEnd(), endedInOrder);
    }
}

}  // namespace

}  // namespace velmora
