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

/// Starts each connection and logs what happens to it.
ListeningWorld::Serve starting(ListeningWorld& world) {
    return [&world](ViewerConnection& connection) {
        ConnectionEvents events = world.loggedStates();
        events.onDelivery = [&world](const ViewerDelivery& delivery) {
            world.log.add(delivery.hasError && delivery.content.empty() ? "error" : "delivery");
        };
        events.onSent = [&world] { world.log.add("sent"); };
        world.start(connection, std::move(events));
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
    world.listen([](ViewerConnection& connection) { connection.cancel(); });
    SocketClient client = world.connect();
    EXPECT_TRUE(client.receiveAll().isEnded);
    ASSERT_TRUE(world.log.waitFor("connection"));
    world.loop.run([] {});
    EXPECT_EQ(world.log.count("connection cancelled"), 0U);
    world.loop.run([&] { starting(world)(*world.connections.front()); });
    ASSERT_TRUE(world.log.waitFor("connection cancelled"));
    EXPECT_EQ(world.log.count("connection ready"), 0U);
}

TEST(ViewerSocketConnection, ACancelEndsAnOutstandingReceiveWithAnError) {
    ListeningWorld world;
    world.listen(starting(world));
    const SocketClient client = world.connect();
    ASSERT_TRUE(world.log.waitFor("connection ready"));
    world.loop.run([&] {
        world.connections.front()->receive(1024);
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
        world.connections.front()->receive(1024);
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
        world.connections.front()->receive(1024);
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
        world.connections.front()->send({"HEAD", ViewerBytes()});
    });
    EXPECT_TRUE(world.log.waitFor("sent"));
    EXPECT_EQ(client.receiveAll().bytes, "");
}

TEST(ViewerSocketConnection, ACancelRightBehindTheSendDestroysNoAnswer) {
    const std::string text(30'000, 'x');
    ListeningWorld world;
    world.listen([&](ViewerConnection& connection) {
        starting(world)(connection);
        connection.send({"HEAD", ViewerBytes(text)});
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
        starting(world)(connection);
        connection.send({"HEAD", ViewerBytes(bigText)});
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

TEST(ViewerSocketConnection, IsGoneWhileItsSocketLingers) {
    ListeningWorld world;
    world.listen([&](ViewerConnection& connection) {
        world.start(connection);
        connection.receive(1024);
        connection.send({"HEAD", ViewerBytes()});
        connection.cancel();
    });
    SocketClient client = world.connect();
    ASSERT_TRUE(client.receiveAll().isEnded);
    std::weak_ptr<ViewerConnection> connection;
    world.loop.run([&] {
        connection = world.connections.front();
        world.connections.clear();
    });
    EXPECT_TRUE(connection.expired());
    // The receive that was outstanding has lost its buffer.
    client.send("late");
    client.endSending();
    world.loop.run([] {});
}

TEST(ViewerSocketConnection, GoesOnWithoutItsReceiver) {
    ListeningWorld world;
    world.listen([&](ViewerConnection& connection) {
        connection.start(world.loop.executor(), std::weak_ptr<ViewerConnectionReceiver>());
        connection.receive(1024);
        connection.send({"HEAD", ViewerBytes()});
    });
    SocketClient client = world.connect();
    client.send("abc");
    EXPECT_EQ(client.receiveSome(4), "HEAD");
    world.loop.run([&] { world.connections.front()->cancel(); });
    EXPECT_TRUE(client.receiveAll().isEnded);
}

}  // namespace velmora
