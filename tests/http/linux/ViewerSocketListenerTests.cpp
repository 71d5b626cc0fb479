#include "core/http/linux/ViewerSocketListener.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <boost/asio/execution.hpp>
#include <boost/asio/execution_context.hpp>
#include <boost/asio/io_context.hpp>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "bench/http/LoadClient.h"
#include "core/http/linux/ViewerSocketTransport.h"
#include "tests/http/linux/AnsweringWorld.h"
#include "tests/http/linux/ListeningWorld.h"
#include "tests/http/linux/OpenSockets.h"
#include "tests/http/linux/RefusedIPv6.h"
#include "tests/http/linux/RefusedRegistration.h"
#include "tests/http/linux/ServerProcess.h"
#include "tests/support/runtime/ManualClock.h"

namespace velmora {

namespace {

const ViewerHostResponseBytes answer("HEAD", ViewerBytes("BODY"));

void ignoreConnection(ViewerConnection&) {}

/// Whether a whole exchange over that family succeeds.
bool isAnswered(std::uint16_t port, SocketClient::Family family) {
    SocketClient client(port, family);
    client.send("GET / HTTP/1.1\r\n\r\n");
    return client.receiveAll().bytes == "HEADBODY";
}

}  // namespace

TEST(ViewerSocketTransport, EveryPortIsUsable) {
    const ViewerSocketTransport transport(nullptr);
    for (const std::uint16_t port : std::array<std::uint16_t, 5>{0, 1, 80, 9090, 65535}) {
        EXPECT_TRUE(transport.isUsablePort(port)) << port;
    }
}

TEST(ViewerSocketListener, OpensNothingBeforeItsStart) {
    ListeningWorld world;
    const auto listener = world.makeListener();
    EXPECT_EQ(listener->port(), std::nullopt);
    EXPECT_TRUE(openSockets().empty());
}

TEST(ViewerSocketListener, GetsAFreePortForPortZero) {
    ListeningWorld world;
    world.listen(ignoreConnection);
    ASSERT_TRUE(world.listener->port().has_value());
    EXPECT_NE(world.port(), 0);
    EXPECT_TRUE(world.connect().isConnected());
}

TEST(ViewerSocketListener, ReportsNothingInsideItsStart) {
    ListeningWorld world;
    const auto listener = world.makeListener();
    std::vector<std::string> eventsInStart;
    world.loop.run([&] {
        listener->start(world.loop.executor());
        eventsInStart = world.log.all();
    });
    EXPECT_TRUE(world.log.waitFor("ready"));
    EXPECT_TRUE(eventsInStart.empty());
}

TEST(ViewerSocketListener, ServesIPv4AndIPv6OnOneSocket) {
    const AnsweringWorld world(answer);
    EXPECT_EQ(openSockets().size(), 1U);
    EXPECT_TRUE(isAnswered(world.server.port(), SocketClient::Family::IPv4));
    EXPECT_TRUE(isAnswered(world.server.port(), SocketClient::Family::IPv6));
}

TEST(ViewerSocketListener, ServesIPv4WhereIPv6IsOff) {
    for (const int error : {EAFNOSUPPORT, EPROTONOSUPPORT, EADDRNOTAVAIL}) {
        SCOPED_TRACE(error);
        const ServerProcess server([error](const ServerProcess::Parent& parent) {
            boost::asio::io_context loop;
            AnsweringServer answering(loop.get_executor(),
                                      std::make_shared<ViewerBoottimeClock>(loop), answer);
            if (refuseIPv6(error)) {
                answering.startAndRun(loop, [&] { parent.tellPort(answering.port()); });
            }
        });
        const std::uint16_t port = server.readPort();
        EXPECT_TRUE(isAnswered(port, SocketClient::Family::IPv4));
        EXPECT_FALSE(SocketClient(port, SocketClient::Family::IPv6).isConnected());
    }
}

TEST(ViewerSocketListener, FailsWithThePortAndTheSystemsReason) {
    ListeningWorld world;
    world.listen(ignoreConnection);
    const auto second = world.makeListener(world.port());
    second->start(world.loop.executor());
    EXPECT_TRUE(world.log.waitFor("failed: TCP port " + std::to_string(world.port()) +
                                  ": Address already in use"));
    EXPECT_EQ(second->port(), std::nullopt);
}

TEST(ViewerSocketListener, OneThatTheLoopCannotWatchFailsAndIsNeverReady) {
    ListeningWorld world;
    const auto listener = world.makeListener();
    refuseRegistrations(1);
    listener->start(world.loop.executor());
    ASSERT_TRUE(world.log.waitFor("failed: TCP port 0: No space left on device"));
    listener->cancel();
    ASSERT_TRUE(world.log.waitFor("cancelled"));
    EXPECT_EQ(world.log.all().size(), 2U) << testing::PrintToString(world.log.all());
    EXPECT_EQ(listener->port(), std::nullopt);
}

TEST(ViewerSocketListener, OneThatTheLoopCannotWatchKeepsNoDescriptor) {
    const auto openDescriptors = [] {
        return std::ranges::distance(std::filesystem::directory_iterator("/proc/self/fd"));
    };
    ListeningWorld world;
    const auto before = openDescriptors();
    const auto listener = world.makeListener();
    refuseRegistrations(1);
    listener->start(world.loop.executor());
    ASSERT_TRUE(world.log.waitFor("failed: TCP port 0: No space left on device"));
    world.loop.run([] {});
    EXPECT_EQ(openDescriptors(), before);
}

TEST(ViewerSocketListener, IsCancelledAfterItHasFailed) {
    ListeningWorld world;
    world.listen(ignoreConnection);
    const auto second = world.makeListener(world.port());
    second->start(world.loop.executor());
    second->cancel();
    EXPECT_TRUE(world.log.waitFor("cancelled"));
    EXPECT_EQ(world.log.all().back(), "cancelled");
}

TEST(ViewerSocketListener, ListensAgainWhileOldConnectionsAreInTimeWait) {
    ListeningWorld world;
    std::uint16_t port = 0;
    {
        // The server ends first, so that it is the one that has to wait.
        AnsweringWorld first(answer);
        port = first.server.port();
        ASSERT_TRUE(isAnswered(port, SocketClient::Family::IPv4));
    }
    const auto second = world.makeListener(port);
    second->start(world.loop.executor());
    EXPECT_TRUE(world.log.waitFor("ready"));
    EXPECT_EQ(second->port(), port);
}

TEST(ViewerSocketListener, ACancelledOneListensNoMoreAndSaysSoOnce) {
    ListeningWorld world;
    world.listen(ignoreConnection);
    const std::uint16_t port = world.port();
    world.listener->cancel();
    world.listener->cancel();
    ASSERT_TRUE(world.log.waitFor("cancelled"));
    EXPECT_FALSE(SocketClient(port).isConnected());
    EXPECT_EQ(world.listener->port(), std::nullopt);
    world.loop.run([] {});
    EXPECT_THAT(world.log.all(), testing::ElementsAre("ready", "cancelled"));
}

TEST(ViewerSocketListener, OneCancelledBeforeItsStartNeverOpens) {
    ListeningWorld world;
    const auto listener = world.makeListener();
    listener->cancel();
    listener->start(world.loop.executor());
    ASSERT_TRUE(world.log.waitFor("cancelled"));
    EXPECT_THAT(world.log.all(), testing::ElementsAre("cancelled"));
    EXPECT_TRUE(openSockets().empty());
}

TEST(ViewerSocketListener, OneCancelledRightAfterItsStartNeverOpens) {
    ListeningWorld world;
    const auto listener = world.makeListener();
    world.loop.run([&] {
        listener->start(world.loop.executor());
        listener->cancel();
    });
    ASSERT_TRUE(world.log.waitFor("cancelled"));
    EXPECT_THAT(world.log.all(), testing::ElementsAre("cancelled"));
}

TEST(ViewerSocketListener, NeedsNobodyWhoHearsOfItsStates) {
    boost::asio::io_context loop;
    const auto listener = std::make_shared<ViewerSocketListener>(0, nullptr);
    listener->start(loop.get_executor());
    (void)loop.poll();
    EXPECT_TRUE(listener->port().has_value());
    listener->cancel();
    (void)loop.poll();
    EXPECT_FALSE(listener->port().has_value());
}

TEST(ViewerSocketListener, OneThatIsDroppedListensNoMore) {
    ListeningWorld world;
    world.listen(ignoreConnection);
    const std::uint16_t port = world.port();
    world.loop.run([&] { world.listener.reset(); });
    EXPECT_FALSE(SocketClient(port).isConnected());
}

TEST(ViewerSocketListener, FailsWhenItsSocketBreaksAfterItWasReady) {
    ListeningWorld world;
    world.listen(ignoreConnection);
    const std::string failure =
        "failed: TCP port " + std::to_string(world.port()) + ": Invalid argument";
    ASSERT_TRUE(stopListening(openSockets().front()));
    ASSERT_TRUE(world.log.waitFor(failure));
    world.listener->cancel();
    ASSERT_TRUE(world.log.waitFor("cancelled"));
    EXPECT_THAT(world.log.all(), testing::ElementsAre("ready", failure, "cancelled"));
}

/// A serial queue whose functions run when a test says so, in the order in which they came. What
/// another thread of a loop could put into it can come there at any moment.
struct HeldQueue final {
    boost::asio::io_context* loop;
    std::deque<std::function<void()>>* held;

    friend bool operator==(const HeldQueue&, const HeldQueue&) noexcept = default;

    template <typename Function>
    void execute(Function function) const {
        // The function may be one that can only be moved.
        auto shared = std::make_shared<Function>(std::move(function));
        held->emplace_back([shared] { std::move (*shared)(); });
    }
    boost::asio::execution_context& query(boost::asio::execution::context_t) const noexcept {
        return *loop;
    }
    static constexpr boost::asio::execution::blocking_t query(
        boost::asio::execution::blocking_t) noexcept {
        return boost::asio::execution::blocking.never;
    }
    HeldQueue require(boost::asio::execution::blocking_t::never_t) const noexcept { return *this; }
};

void runAll(std::deque<std::function<void()>>& held) {
    while (!held.empty()) {
        const auto next = std::move(held.front());
        held.pop_front();
        next();
    }
}

TEST(ViewerSocketListener, AClientThatComesBehindTheCancelIsNotAccepted) {
    boost::asio::io_context loop;
    std::deque<std::function<void()>> held;
    std::vector<std::string> events;
    const auto listener = std::make_shared<ViewerSocketListener>(0, nullptr);
    listener->setStateHandler([&](ViewerListenerState state, const std::string& description) {
        events.push_back(nameOf(state) + description);
    });
    listener->setConnectionHandler(
        [&](const std::shared_ptr<ViewerConnection>&) { events.emplace_back("connection"); });
    listener->start(HeldQueue{&loop, &held});
    runAll(held);
    ASSERT_EQ(events, std::vector<std::string>{"ready"});
    listener->cancel();
    const SocketClient client(listener->port().value_or(0));
    // The loop has seen the client before the queue comes to the cancel.
    while (held.size() < 2) {
        (void)loop.run_one();
    }
    runAll(held);
    EXPECT_EQ(events, (std::vector<std::string>{"ready", "cancelled"}));
}

TEST(ViewerSocketListener, LooksAgainAtAConnectionThatTheLoopCannotWatchYet) {
    const auto clock = std::make_shared<ManualClock>();
    AnsweringWorld world(answer, clock);
    constexpr int refusals = 3;
    refuseRegistrations(refusals);
    SocketClient client = world.connect();
    for (std::size_t refusal = 1; refusal <= refusals; ++refusal) {
        ASSERT_TRUE(clock->waitForScheduled(refusal));
        clock->advance(std::chrono::milliseconds(99));
        world.loop.run([] {});
        EXPECT_EQ(clock->pendingTimers(), 1U) << "a tenth of a second has not gone by";
        clock->advance(std::chrono::milliseconds(1));
    }
    client.send("GET / HTTP/1.1\r\n\r\n");
    EXPECT_EQ(client.receiveAll().bytes, "HEADBODY");
    EXPECT_EQ(registrationsToRefuse(), 0);
}

TEST(ViewerSocketListener, NoSocketOutlivesAnExec) {
    ListeningWorld world;
    world.listen(ignoreConnection);
    const SocketClient client = world.connect();
    ASSERT_TRUE(world.log.waitFor("connection"));
    const std::vector<int> sockets = openSockets();
    EXPECT_EQ(sockets.size(), 3U);  // the listener's, the server's and the client's end
    for (const int socket : sockets) {
        EXPECT_TRUE(isClosedOnExec(socket));
    }
}

TEST(ViewerSocketListener, AThousandClientsAtOnceAreAllServed) {
    const AnsweringWorld world(ViewerHostResponseBytes(
        "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n", ViewerBytes("BODY")));
    LoadPlan plan;
    plan.port = world.server.port();
    plan.request = "GET / HTTP/1.1\r\n\r\n";
    plan.requests = 2000;
    plan.concurrency = 1000;
    EXPECT_EQ(runLoad(plan).errors, 0U);
}

TEST(ViewerSocketListener, TwoThousandRequestsLeaveNoSocketBehind) {
    const auto clock = std::make_shared<ManualClock>();
    AnsweringWorld world(ViewerHostResponseBytes("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n",
                                                 ViewerBytes("BODY")),
                         clock);
    LoadPlan plan;
    plan.port = world.server.port();
    plan.request = "GET / HTTP/1.1\r\n\r\n";
    plan.requests = 2000;
    plan.concurrency = 16;
    ASSERT_EQ(runLoad(plan).errors, 0U);
    // On the loop, which has taken note of the last half-close by then: its client may know before.
    world.loop.run([&] { clock->advance(ViewerLingeringSockets::lingerTime); });
    world.loop.run([] {});
    EXPECT_EQ(openSockets().size(), 1U);
}

}  // namespace velmora
