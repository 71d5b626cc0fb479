#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/http/linux/ViewerSocketListener.h"
#include "core/runtime/linux/ViewerBoottimeClock.h"
#include "tests/http/linux/AnsweringServer.h"
#include "tests/http/linux/AnsweringWorld.h"
#include "tests/http/linux/OpenSockets.h"
#include "tests/http/linux/ServerProcess.h"
#include "tests/http/linux/SocketClient.h"
#include "tests/support/http/JoinedBytes.h"
#include "tests/support/runtime/ManualClock.h"

namespace velmora {

namespace {

constexpr std::size_t descriptorLimit = 64;
constexpr std::size_t clientCount = 200;

const ViewerHostResponseBytes answer("HEAD", ViewerBytes(std::string(30'000, 'x')));

/// Another clock, each timer of which is reported when it is set.
class ReportingClock final : public ViewerContinuousClock {
  public:
    ReportingClock(std::shared_ptr<ViewerContinuousClock> clock, std::function<void()> report)
        : clock_(std::move(clock)), report_(std::move(report)) {}

    Instant now() const override { return clock_->now(); }
    TimerId schedule(Instant deadline, ViewerExecutor executor, ViewerAction action) override {
        report_();
        return clock_->schedule(deadline, std::move(executor), std::move(action));
    }
    void withdraw(TimerId timer) override { clock_->withdraw(timer); }

  private:
    const std::shared_ptr<ViewerContinuousClock> clock_;
    const std::function<void()> report_;
};

void limitOwnDescriptors() {
    (void)limitDescriptors(descriptorLimit);  // a test that needs it fails without
}

/// UBSan needs descriptors of its own the first time that it meets an object of some type. A child
/// process inherits what it has learnt here, where there is no limit.
void meetEveryType() {
    const AnsweringWorld world(answer);
    SocketClient gone = world.connect();
    gone.reset();
    SocketClient answered = world.connect();
    answered.send("GET / HTTP/1.1\r\n\r\n");
    (void)answered.receiveAll();  // the tests tell whether that is right
}

/// Serves with few descriptors, with `prepare` run between the start and the first client.
void serve(
    const ServerProcess::Parent& parent, boost::asio::io_context& loop,
    std::shared_ptr<ViewerContinuousClock> clock, const std::function<void()>& prepare = [] {}) {
    (void)clock->now();  // meets its type
    limitOwnDescriptors();
    AnsweringServer server(loop.get_executor(), std::move(clock), answer);
    server.startAndRun(loop, [&] {
        prepare();
        parent.tellPort(server.port());
    });
}

/// Serves on a clock that stands still, and tells of each timer that is set: the first is that of a
/// pause, as long as no client has asked for anything.
void serveWhileTheClockStandsStill(const ServerProcess::Parent& parent) {
    boost::asio::io_context loop;
    const auto clock = std::make_shared<ReportingClock>(std::make_shared<ManualClock>(),
                                                        [&] { parent.tellEvent(); });
    serve(parent, loop, clock);
}

std::vector<int> takeEveryDescriptor() {
    std::vector<int> taken;
    for (int descriptor = 0; (descriptor = ::dup(STDIN_FILENO)) >= 0;) {
        taken.push_back(descriptor);
    }
    return taken;
}

std::vector<SocketClient> connect(std::uint16_t port, std::size_t count = clientCount) {
    std::vector<SocketClient> clients;
    clients.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        clients.emplace_back(port);
    }
    return clients;
}

/// How many clients get the whole answer to a request that they send now. None closes its side.
std::size_t wholeAnswers(std::vector<SocketClient>& clients) {
    std::size_t whole = 0;
    for (SocketClient& client : clients) {
        client.send("GET / HTTP/1.1\r\n\r\n");
    }
    for (SocketClient& client : clients) {
        const ReceivedAnswer received = client.receiveAll();
        whole += received.isEnded && received.bytes == joined(answer) ? 1U : 0U;
    }
    return whole;
}

}  // namespace

TEST(ViewerSocketListener, WaitsWithoutSpinningForDescriptorsAndLosesNobody) {
    meetEveryType();
    const ServerProcess server([](const ServerProcess::Parent& parent) {
        boost::asio::io_context loop;
        const auto clock = std::make_shared<ReportingClock>(
            std::make_shared<ViewerBoottimeClock>(loop), [&] { parent.tellEvent(); });
        serve(parent, loop, clock);
    });
    std::vector<SocketClient> clients = connect(server.readPort());
    const auto before = server.processorTime();
    // Clients who say nothing keep every descriptor busy: ten pauses are a second.
    ASSERT_TRUE(server.readEvents(10));
    const auto waiting = server.processorTime() - before;
    EXPECT_EQ(wholeAnswers(clients), clientCount);
    RecordProperty("waitingMicroseconds", std::to_string(waiting.count() / 1000));
    EXPECT_LT(waiting, std::chrono::milliseconds(500));
}

TEST(ViewerSocketListener, GoesOnWhenAConnectionOfItsOwnHasGone) {
    meetEveryType();
    const ServerProcess server(serveWhileTheClockStandsStill);
    // No pause ends by itself, and no client closes its side, so that lingering sockets have to
    // make room.
    std::vector<SocketClient> clients = connect(server.readPort());
    ASSERT_TRUE(server.readEvents(1)) << "the descriptors have run out";
    EXPECT_EQ(wholeAnswers(clients), clientCount);
}

TEST(ViewerSocketListener, ServesTheLastOneThatHadToWaitForRoom) {
    meetEveryType();
    // Of so many clients one is the first for which there is no room, and nobody comes after it.
    for (std::size_t count = descriptorLimit / 2; count < descriptorLimit; ++count) {
        const ServerProcess server(serveWhileTheClockStandsStill);
        std::vector<SocketClient> clients = connect(server.readPort(), count);
        ASSERT_EQ(wholeAnswers(clients), count);
    }
}

TEST(ViewerSocketListener, GoesOnWhenAConnectionThatAskedForNothingHasGone) {
    meetEveryType();
    const ServerProcess server(serveWhileTheClockStandsStill);
    const std::uint16_t port = server.readPort();
    std::vector<SocketClient> silent = connect(port);
    ASSERT_TRUE(server.readEvents(1)) << "the descriptors have run out";
    std::vector<SocketClient> asking = connect(port);
    silent.clear();
    EXPECT_EQ(wholeAnswers(asking), clientCount);
}

TEST(ViewerSocketListener, LeavesTheLastDescriptorsToOthersHoweverLongItWaits) {
    meetEveryType();
    const ServerProcess server([](const ServerProcess::Parent& parent) {
        boost::asio::io_context loop;
        std::size_t pauses = 0;
        const auto clock =
            std::make_shared<ReportingClock>(std::make_shared<ViewerBoottimeClock>(loop), [&] {
                if (++pauses != 5) {
                    return;
                }
                const std::vector<int> left = takeEveryDescriptor();
                std::ranges::for_each(left, [](int descriptor) { ::close(descriptor); });
                // A quarter of 64, but for the one connection that is kept until there is room.
                if (left.size() == 15) {
                    parent.tellEvent();
                }
            });
        serve(parent, loop, clock);
    });
    std::vector<SocketClient> clients = connect(server.readPort());
    EXPECT_TRUE(server.readEvents(1));
    EXPECT_EQ(wholeAnswers(clients), clientCount);
}

TEST(ViewerSocketListener, GoesOnAfterATenthOfASecond) {
    meetEveryType();
    const ServerProcess server([](const ServerProcess::Parent& parent) {
        boost::asio::io_context loop;
        std::vector<int> taken;
        std::size_t pauses = 0;
        const auto clock =
            std::make_shared<ReportingClock>(std::make_shared<ViewerBoottimeClock>(loop), [&] {
                // Freed behind the listener's back in its third pause.
                if (++pauses == 3) {
                    for (const int descriptor : taken) {
                        ::close(descriptor);
                    }
                }
            });
        serve(parent, loop, clock, [&] { taken = takeEveryDescriptor(); });
    });
    SocketClient client(server.readPort());
    client.send("GET / HTTP/1.1\r\n\r\n");
    EXPECT_TRUE(client.receiveAll().bytes == joined(answer));
}

TEST(ViewerSocketListener, LetsAQuarterOfWhatClientsMayHaveLinger) {
    meetEveryType();
    const ServerProcess server([](const ServerProcess::Parent& parent) {
        constexpr std::size_t peerCount = 40;
        boost::asio::io_context loop;
        const auto clock = std::make_shared<ManualClock>();
        // All but 32 are the clients'.
        (void)limitDescriptors(160);
        AnsweringServer answering(loop.get_executor(), clock, answer);
        answering.start();
        (void)loop.poll();
        std::vector<SocketClient> clients = connect(answering.port(), peerCount);
        for (SocketClient& client : clients) {
            client.send("GET / HTTP/1.1\r\n\r\n");
        }
        while (answering.log.count("answered") < peerCount) {
            (void)loop.run_one();
        }
        (void)loop.poll();
        // The listener's, the clients', and a quarter of 128.
        if (openSockets().size() == 1 + peerCount + 32) {
            parent.tellEvent();
        }
    });
    EXPECT_TRUE(server.readEvents(1));
}

TEST(ViewerSocketListener, OneCancelledInItsPauseClosesTheConnectionThatItKeeps) {
    meetEveryType();
    const ServerProcess server([](const ServerProcess::Parent& parent) {
        boost::asio::io_context loop;
        const auto clock = std::make_shared<ManualClock>();
        (void)clock->now();  // meets its type
        limitOwnDescriptors();
        const auto listener = std::make_shared<ViewerSocketListener>(0, clock);
        listener->setStateHandler([](ViewerListenerState, const std::string&) {});
        listener->start(loop.get_executor());
        (void)loop.poll();
        // What is left is the reserve's: one for the client, and one that it may not have.
        const std::vector<int> taken = takeEveryDescriptor();
        ::close(taken[taken.size() - 1]);
        ::close(taken[taken.size() - 2]);
        SocketClient client(listener->port().value_or(0));
        while (clock->pendingTimers() == 0) {
            (void)loop.run_one();
        }
        listener->cancel();
        loop.restart();
        (void)loop.poll();
        if (client.receiveAll().isEnded) {
            parent.tellEvent();
        }
    });
    EXPECT_TRUE(server.readEvents(1));
}

TEST(ViewerSocketListener, OneCancelledInItsPauseLeavesNoTimer) {
    meetEveryType();
    const ServerProcess server([](const ServerProcess::Parent& parent) {
        boost::asio::io_context loop;
        const auto clock = std::make_shared<ManualClock>();
        (void)clock->now();  // meets its type
        const auto listener = std::make_shared<ViewerSocketListener>(0, clock);
        std::vector<ViewerListenerState> states;
        listener->setStateHandler(
            [&](ViewerListenerState state, const std::string&) { states.push_back(state); });
        listener->start(loop.get_executor());
        (void)loop.poll();
        limitOwnDescriptors();
        const std::vector<int> taken = takeEveryDescriptor();
        ::close(taken.back());
        const SocketClient client(listener->port().value_or(0));
        while (clock->pendingTimers() == 0) {
            (void)loop.run_one();
        }
        listener->cancel();
        loop.restart();  // in its pause the listener waits for nothing on the loop
        (void)loop.poll();
        if (states.back() == ViewerListenerState::cancelled && clock->pendingTimers() == 0) {
            parent.tellEvent();
        }
    });
    EXPECT_TRUE(server.readEvents(1));
}

}  // namespace velmora
