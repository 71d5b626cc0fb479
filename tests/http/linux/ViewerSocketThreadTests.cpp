#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/http/linux/ListeningWorld.h"

namespace velmora {

namespace {

using Connection = std::shared_ptr<ViewerConnection>;

constexpr std::size_t clientCount = 50;

}  // namespace

TEST(ViewerSocketConnection, IsAnsweredAndCancelledFromOtherThreads) {
    ListeningWorld world;
    std::vector<std::jthread> threads;
    world.listen([&](ViewerConnection& connection) {
        const auto end = [&world, &connection] {
            world.log.add("sent");
            connection.cancel();
        };
        ConnectionEvents events = world.loggedStates();
        events.onSent = end;
        world.start(connection, std::move(events));
        threads.emplace_back([&connection] { connection.send({"HEAD", ViewerBytes("BODY")}); });
    });
    for (std::size_t i = 0; i < clientCount; ++i) {
        SocketClient client = world.connect();
        EXPECT_EQ(client.receiveAll().bytes, "HEADBODY");
    }
    EXPECT_TRUE(world.log.waitFor("sent", clientCount));
}

TEST(ViewerSocketConnection, TellsEachEventOnceWhileThreadsCancelIt) {
    ListeningWorld world;
    world.listen([&](ViewerConnection& connection) {
        world.start(connection,
                    {.onDelivery = [&world](const ViewerDelivery&) { world.log.add("received"); },
                     .onSent = [&world] { world.log.add("sent"); }});
        connection.receive(1024);
    });
    for (std::size_t i = 1; i <= clientCount; ++i) {
        SocketClient client = world.connect();
        ASSERT_TRUE(world.log.waitFor("connection", i));
        Connection connection;
        world.loop.run([&] { connection = world.connections.back(); });
        {
            const std::jthread sender([&] { connection->send({"HEAD", ViewerBytes()}); });
            const std::jthread canceller([&] { connection->cancel(); });
            connection->cancel();
            client.send("abc");
        }
        ASSERT_TRUE(world.log.waitFor("received", i));
        ASSERT_TRUE(world.log.waitFor("sent", i));
    }
    world.loop.run([] {});
    EXPECT_EQ(world.log.count("received"), clientCount);
    EXPECT_EQ(world.log.count("sent"), clientCount);
}

TEST(ViewerSocketListener, IsCancelledWhileClientsCome) {
    for (std::size_t i = 0; i < clientCount; ++i) {
        ListeningWorld world;
        world.listen([](ViewerConnection&) {});
        const std::uint16_t port = world.port();
        const std::jthread client([port] { (void)SocketClient(port); });
        const std::jthread reader([&world] { (void)world.listener->port(); });
        world.listener->cancel();
        EXPECT_TRUE(world.log.waitFor("cancelled"));
        EXPECT_EQ(world.log.all().back(), "cancelled");
    }
}

}  // namespace velmora
