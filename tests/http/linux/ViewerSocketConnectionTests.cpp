#include "core/http/linux/ViewerSocketConnection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/runtime/linux/ViewerLoopIntake.h"
#include "tests/http/linux/ListeningWorld.h"
#include "tests/http/linux/OpenSockets.h"
#include "tests/support/runtime/ManualClock.h"

namespace velmora {

namespace {

using Connection = std::shared_ptr<ViewerConnection>;

const std::string bigText(8UL * 1024 * 1024, 'b');

/// Receives at most so much once, as soon as the connection is ready, and logs what came.
ListeningWorld::Serve receivingOnce(ListeningWorld& world, std::size_t maximum) {
    return [&world, maximum](ViewerConnection& connection) {
        const auto receive = [&connection, maximum](ViewerConnectionState) {
            connection.receive(maximum);
        };
        const auto note = [&world](const ViewerDelivery& delivery) {
            const std::string content(delivery.content.begin(), delivery.content.end());
            world.log.add("received " + content + (delivery.isComplete ? " complete" : "") +
                          (delivery.hasError ? " error" : ""));
        };
        world.start(connection, {.onState = receive, .onDelivery = note});
    };
}

/// Sends as soon as the connection comes; logs when that is done, and ends the connection.
ListeningWorld::Serve sending(ListeningWorld& world, const ViewerHostResponseBytes& message) {
    return [&world, message](ViewerConnection& connection) {
        const auto end = [&world, &connection] {
            world.log.add("sent");
            connection.cancel();
        };
        world.start(connection, {.onSent = end});
        connection.send(message);
    };
}

}  // namespace

TEST(ViewerSocketConnection, IsReadyOnceTheConnectionHandlerHasReturned) {
    ListeningWorld world;
    world.listen(
        [&](ViewerConnection& connection) { world.start(connection, world.loggedStates()); });
    const SocketClient client = world.connect();
    ASSERT_TRUE(world.log.waitFor("connection ready"));
    EXPECT_THAT(world.log.all(), testing::ElementsAre("ready", "connection", "connection ready"));
}

TEST(ViewerSocketConnection, OneThatHadToWaitIsReadyWhenItIsStarted) {
    ListeningWorld world;
    world.listen([](ViewerConnection&) {});
    const SocketClient client = world.connect();
    ASSERT_TRUE(world.log.waitFor("connection"));
    world.loop.run([&] {
        world.start(*world.connections.front(), world.loggedStates());
        world.log.add("started");
    });
    ASSERT_TRUE(world.log.waitFor("connection ready"));
    EXPECT_THAT(world.log.all(),
                testing::ElementsAre("ready", "connection", "started", "connection ready"));
}

TEST(ViewerSocketConnection, DeliversWhatHasArrived) {
    ListeningWorld world;
    world.listen(receivingOnce(world, 1024));
    SocketClient client = world.connect();
    client.send("abc");
    EXPECT_TRUE(world.log.waitFor("received abc"));
}

TEST(ViewerSocketConnection, WhatHasArrivedOnAllIsReceivedBeforeAnyOfItIsDelivered) {
    constexpr std::size_t clientCount = 5;
    ListeningWorld world;
    std::vector<std::uint64_t> batches;
    world.listen([&](ViewerConnection& connection) {
        const auto receive = [&](ViewerConnectionState) { connection.receive(1024); };
        const auto note = [&](const ViewerDelivery&) {
            batches.push_back(ViewerLoopIntake::of(world.loop.executor()).batch());
            world.log.add("received");
        };
        world.start(connection, {.onState = receive, .onDelivery = note});
    });
    std::vector<SocketClient> clients;
    world.loop.run([&] {
        // The loop is busy here until everything is there.
        for (std::size_t i = 0; i < clientCount; ++i) {
            clients.push_back(world.connect());
            clients.back().send("abc");
        }
    });
    ASSERT_TRUE(world.log.waitFor("received", clientCount));
    SocketClient late = world.connect();
    late.send("abc");
    ASSERT_TRUE(world.log.waitFor("received", clientCount + 1));
    EXPECT_EQ(batches, std::vector<std::uint64_t>({5, 5, 5, 5, 5, 6}));
}

TEST(ViewerSocketConnection, DeliversNoMoreThanTheMaximum) {
    ListeningWorld world;
    world.listen(receivingOnce(world, 2));
    SocketClient client = world.connect();
    client.send("abc");
    EXPECT_TRUE(world.log.waitFor("received ab"));
}

TEST(ViewerSocketConnection, DeliversAByteAsSoonAsItIsThere) {
    ListeningWorld world;
    world.listen(receivingOnce(world, 1024));
    SocketClient client = world.connect();
    client.send("a");
    EXPECT_TRUE(world.log.waitFor("received a"));
}

TEST(ViewerSocketConnection, DeliversThePeersEnd) {
    ListeningWorld world;
    world.listen(receivingOnce(world, 1024));
    SocketClient client = world.connect();
    client.endSending();
    EXPECT_TRUE(world.log.waitFor("received  complete"));
}

TEST(ViewerSocketConnection, DeliversAResetAsAnError) {
    ListeningWorld world;
    world.listen(receivingOnce(world, 1024));
    SocketClient client = world.connect();
    ASSERT_TRUE(world.log.waitFor("connection"));
    client.reset();
    EXPECT_TRUE(world.log.waitFor("received  error"));
}

TEST(ViewerSocketConnection, IsAskedForTheNextDeliveryWithinTheOneBefore) {
    ListeningWorld world;
    world.listen([&](ViewerConnection& connection) {
        const auto receiveNext = [&](const ViewerDelivery& delivery) {
            connection.receive(2);
            world.log.add(std::string(delivery.content.begin(), delivery.content.end()));
        };
        world.start(connection, {.onDelivery = receiveNext});
        connection.receive(2);
    });
    SocketClient client = world.connect();
    client.send("abcd");
    ASSERT_TRUE(world.log.waitFor("cd"));
    EXPECT_EQ(world.log.count("ab"), 1U);
}

TEST(ViewerSocketConnection, SendsHeadAndBody) {
    ListeningWorld world;
    world.listen(sending(world, {"HEAD", ViewerBytes("BODY")}));
    SocketClient client = world.connect();
    EXPECT_EQ(client.receiveAll().bytes, "HEADBODY");
    EXPECT_EQ(world.log.count("sent"), 1U);
}

TEST(ViewerSocketConnection, SendsAHeadWithoutABody) {
    ListeningWorld world;
    world.listen(sending(world, {"HEAD", ViewerBytes()}));
    SocketClient client = world.connect();
    EXPECT_EQ(client.receiveAll().bytes, "HEAD");
}

TEST(ViewerSocketConnection, SendsAlsoWhenNoCancelFollows) {
    ListeningWorld world;
    world.listen([&](ViewerConnection& connection) {
        world.start(connection);
        connection.send({"HEAD", ViewerBytes()});
    });
    SocketClient client = world.connect();
    EXPECT_EQ(client.receiveSome(4), "HEAD");
}

TEST(ViewerSocketConnection, TellsNothingInsideACall) {
    ListeningWorld world;
    world.listen([&](ViewerConnection& connection) {
        world.start(connection,
                    {.onDelivery = [&](const ViewerDelivery&) { world.log.add("received"); },
                     .onSent = [&] { world.log.add("sent"); }});
        connection.receive(1024);
        connection.send({"HEAD", ViewerBytes()});
        world.log.add("calls made");
    });
    SocketClient client = world.connect();
    client.send("abc");
    EXPECT_TRUE(world.log.waitFor("received"));
    EXPECT_TRUE(world.log.waitFor("sent"));
    EXPECT_EQ(world.log.all().at(1), "calls made");
}

TEST(ViewerSocketConnection, GoesOnSendingWhileThePeerReadsSlowly) {
    ListeningWorld world;
    world.listen(sending(world, {"HEAD", ViewerBytes(bigText)}));
    SocketClient client = world.connect();
    ASSERT_TRUE(world.log.waitFor("connection"));
    EXPECT_EQ(world.log.count("sent"), 0U);
    const ReceivedAnswer answer = client.receiveAll();
    EXPECT_TRUE(answer.isEnded);
    EXPECT_TRUE(answer.bytes == "HEAD" + bigText);
    EXPECT_EQ(world.log.count("sent"), 1U);
}

TEST(ViewerSocketConnection, TellsWhenThePeerTakesNoMore) {
    ListeningWorld world;
    world.listen(sending(world, {"HEAD", ViewerBytes(bigText)}));
    SocketClient client = world.connect();
    ASSERT_TRUE(world.log.waitFor("connection"));
    client.reset();
    EXPECT_TRUE(world.log.waitFor("sent"));
    world.loop.run([] {});
    EXPECT_EQ(world.log.count("sent"), 1U);
}

TEST(ViewerSocketConnection, OneWhosePeerHasEndedItsSideDoesNotLinger) {
    ListeningWorld world(std::make_shared<ManualClock>());
    world.listen([&](ViewerConnection& connection) {
        const auto answer = [&](const ViewerDelivery& delivery) {
            EXPECT_TRUE(delivery.isComplete);
            connection.send({"HEAD", ViewerBytes()});
        };
        const auto end = [&] {
            connection.cancel();
            world.log.add("sent");
        };
        world.start(connection, {.onDelivery = answer, .onSent = end});
        connection.receive(1024);
    });
    SocketClient client = world.connect();
    client.endSending();
    ASSERT_TRUE(world.log.waitFor("sent"));
    EXPECT_EQ(openSockets().size(), 2U);  // the listener's and the client's
    EXPECT_EQ(client.receiveAll().bytes, "HEAD");
}

TEST(ViewerSocketConnection, OneThatIsDroppedClosesItsSocket) {
    ListeningWorld world;
    world.listen(receivingOnce(world, 1024));
    SocketClient client = world.connect();
    ASSERT_TRUE(world.log.waitFor("connection"));
    world.loop.run([&] { world.connections.clear(); });
    EXPECT_TRUE(client.receiveAll().isEnded);
    EXPECT_THAT(world.log.all(), testing::ElementsAre("ready", "connection"));
}

TEST(ViewerSocketConnection, OneThatIsDroppedOnAnotherThreadClosesItsSocket) {
    ListeningWorld world;
    world.listen(receivingOnce(world, 1024));
    SocketClient client = world.connect();
    ASSERT_TRUE(world.log.waitFor("connection"));
    std::vector<Connection> connections;
    world.loop.run([&] { std::swap(connections, world.connections); });
    connections.clear();
    EXPECT_TRUE(client.receiveAll().isEnded);
}

}  // namespace velmora
