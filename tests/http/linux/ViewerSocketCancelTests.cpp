#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/http/linux/ViewerSocketConnection.h"
#include "tests/http/linux/ListeningWorld.h"

namespace velmora {

namespace {

const std::string bigText(8UL * 1024 * 1024, 'b');

/// Starts each connection and logs its states.
ListeningWorld::Serve starting(ListeningWorld& world) {
    return [&world](ViewerConnection& connection) {
        connection.setStateHandler(
            [&world](ViewerConnectionState state) { world.log.add(nameOf(state)); });
        connection.start(world.loop.executor());
    };
}

}  // namespace

TEST(ViewerSocketConnection, IsCancelledOnceHoweverOftenItIsAskedTo) {
    ListeningWorld world;
    world.listen(starting(world));
    SocketClient client = world.connect();
    ASSERT_TRUE(world.log.waitFor("connection ready"));
    world.loop.run([&] {
        world.connections.front()->cancel();
        world.connections.front()->cancel();
    });
    world.connections.front()->cancel();
    ASSERT_TRUE(world.log.waitFor("connection cancelled"));
    world.loop.run([] {});
    EXPECT_THAT(world.log.all(), testing::ElementsAre("ready", "connection", "connection ready",
                                                      "connection cancelled"));
    EXPECT_TRUE(client.receiveAll().isEnded);
}

TEST(ViewerSocketConnection, OneCancelledBeforeItsStartIsNeverReady) {
    ListeningWorld world;
    world.listen([&](ViewerConnection& connection) {
        connection.setStateHandler(
            [&](ViewerConnectionState state) { world.log.add(nameOf(state)); });
        connection.cancel();
    });
    SocketClient client = world.connect();
    EXPECT_TRUE(client.receiveAll().isEnded);
    ASSERT_TRUE(world.log.waitFor("connection"));
    world.loop.run([] {});
    EXPECT_EQ(world.log.count("connection cancelled"), 0U);
    world.loop.run([&] { world.connections.front()->start(world.loop.executor()); });
    ASSERT_TRUE(world.log.waitFor("connection cancelled"));
    EXPECT_EQ(world.log.count("connection ready"), 0U);
}

TEST(ViewerSocketConnection, ACancelEndsAnOutstandingReceiveWithAnError) {
    ListeningWorld world;
    world.listen(starting(world));
    const SocketClient client = world.connect();
    ASSERT_TRUE(world.log.waitFor("connection ready"));
    world.loop.run([&] {
        world.connections.front()->receive(1024, [&](const ViewerDelivery& delivery) {
            world.log.add(delivery.hasError && delivery.content.empty() ? "error" : "delivery");
        });
        world.connections.front()->cancel();
    });
    EXPECT_TRUE(world.log.waitFor("error"));
    EXPECT_EQ(world.log.count("delivery"), 0U);
}

TEST(ViewerSocketConnection, ACancelTurnsWhatHasJustArrivedIntoAnError) {
    ListeningWorld world;
    world.listen(starting(world));
    SocketClient client = world.connect();
    ASSERT_TRUE(world.log.waitFor("connection ready"));
    client.send("abc");
    world.loop.run([&] {
        // Both in one turn of the loop: the bytes are taken, and not delivered yet.
        world.connections.front()->receive(1024, [&](const ViewerDelivery& delivery) {
            world.log.add(delivery.hasError && delivery.content.empty() ? "error" : "delivery");
        });
        world.connections.front()->cancel();
    });
    EXPECT_TRUE(world.log.waitFor("error"));
    EXPECT_EQ(world.log.count("delivery"), 0U);
}

TEST(ViewerSocketConnection, AReceiveAfterACancelEndsWithAnError) {
    ListeningWorld world;
    world.listen(starting(world));
    const SocketClient client = world.connect();
    ASSERT_TRUE(world.log.waitFor("connection ready"));
    world.loop.run([&] {
        world.connections.front()->cancel();
        world.connections.front()->receive(1024, [&](const ViewerDelivery& delivery) {
            world.log.add(delivery.hasError ? "error" : "delivery");
        });
    });
    EXPECT_TRUE(world.log.waitFor("error"));
}

TEST(ViewerSocketConnection, ASendAfterACancelIsOverAtOnce) {
    ListeningWorld world;
    world.listen(starting(world));
    SocketClient client = world.connect();
    ASSERT_TRUE(world.log.waitFor("connection ready"));
    world.loop.run([&] {
        world.connections.front()->cancel();
        world.connections.front()->send({"HEAD", ViewerBytes()}, [&] { world.log.add("sent"); });
    });
    EXPECT_TRUE(world.log.waitFor("sent"));
    EXPECT_EQ(client.receiveAll().bytes, "");
}

TEST(ViewerSocketConnection, ACancelRightBehindTheSendDestroysNoAnswer) {
    const std::string text(30'000, 'x');
    ListeningWorld world;
    world.listen([&](ViewerConnection& connection) {
        connection.start(world.loop.executor());
        connection.send({"HEAD", ViewerBytes(text)}, [&] { world.log.add("sent"); });
        connection.cancel();
    });
    SocketClient client = world.connect();
    const ReceivedAnswer answer = client.receiveAll();
    EXPECT_TRUE(answer.isEnded);
    EXPECT_TRUE(answer.bytes == "HEAD" + text);
    EXPECT_TRUE(world.log.waitFor("sent"));
}

TEST(ViewerSocketConnection, ACancelDropsWhatAPeerThatDoesNotReadHasLeft) {
    ListeningWorld world;
    world.listen([&](ViewerConnection& connection) {
        connection.start(world.loop.executor());
        connection.send({"HEAD", ViewerBytes(bigText)}, [&] { world.log.add("sent"); });
    });
    SocketClient client = world.connect();
    ASSERT_TRUE(world.log.waitFor("connection"));
    ASSERT_EQ(world.log.count("sent"), 0U);
    world.connections.front()->cancel();
    EXPECT_TRUE(world.log.waitFor("sent"));
    EXPECT_TRUE(client.waitForReset());
    world.loop.run([] {});
    EXPECT_EQ(world.log.count("sent"), 1U);
}

TEST(ViewerSocketConnection, HoldsNothingOfItsOwnersWhileItsSocketLingers) {
    ListeningWorld world;
    const auto witness = std::make_shared<int>(0);
    world.listen([&](ViewerConnection& connection) {
        connection.setStateHandler([witness](ViewerConnectionState) {});
        connection.start(world.loop.executor());
        connection.receive(1024, [witness](const ViewerDelivery&) {});
        connection.send({"HEAD", ViewerBytes()}, [witness] {});
        connection.cancel();
    });
    SocketClient client = world.connect();
    ASSERT_TRUE(client.receiveAll().isEnded);
    world.loop.run([&] { world.connections.clear(); });
    world.loop.run([&] { world.listener.reset(); });
    // The receive that was outstanding has lost its buffer.
    client.send("late");
    client.endSending();
    world.loop.run([] {});
    EXPECT_EQ(witness.use_count(), 1);
}

}  // namespace velmora
