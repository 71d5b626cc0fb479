#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "tests/http/linux/AnsweringWorld.h"
#include "tests/support/http/JoinedBytes.h"

namespace velmora {

namespace {

const ViewerHostResponseBytes bigAnswer("HEAD", ViewerBytes(std::string(8UL * 1024 * 1024, 'b')));

/// Whether the server still answers.
bool isServing(const AnsweringWorld& world) {
    SocketClient client = world.connect();
    client.send("GET / HTTP/1.1\r\n\r\n");
    return client.receiveAll().bytes == joined(bigAnswer);
}

}  // namespace

TEST(ViewerSocketConnection, SurvivesAResetBeforeAnythingWasSent) {
    AnsweringWorld world(bigAnswer);
    SocketClient client = world.connect();
    ASSERT_TRUE(world.server.log.waitFor("connection"));
    client.reset();
    EXPECT_TRUE(world.server.log.waitFor("gone"));
    EXPECT_TRUE(isServing(world));
}

TEST(ViewerSocketConnection, SurvivesAResetBeforeItWasTaken) {
    AnsweringWorld world(bigAnswer);
    // While the loop is held the connection stays in the kernel's queue.
    world.loop.run([&] {
        SocketClient client = world.connect();
        client.reset();
    });
    EXPECT_TRUE(world.server.log.waitFor("gone"));
    EXPECT_TRUE(isServing(world));
}

TEST(ViewerSocketConnection, SurvivesAResetWithinTheHead) {
    AnsweringWorld world(bigAnswer);
    SocketClient client = world.connect();
    client.send("GET / HT");
    ASSERT_TRUE(world.server.log.waitFor("connection"));
    client.reset();
    EXPECT_TRUE(world.server.log.waitFor("gone"));
    EXPECT_TRUE(isServing(world));
}

TEST(ViewerSocketConnection, SurvivesAResetRightBehindTheRequest) {
    AnsweringWorld world(bigAnswer);
    world.loop.run([&] {
        SocketClient client = world.connect();
        client.send("GET / HTTP/1.1\r\n\r\n");
        client.reset();
    });
    EXPECT_TRUE(world.server.log.waitFor("connection"));
    EXPECT_TRUE(isServing(world));
}

TEST(ViewerSocketConnection, SurvivesAResetWithinTheAnswer) {
    AnsweringWorld world(bigAnswer);
    SocketClient client = world.connect();
    client.send("GET / HTTP/1.1\r\n\r\n");
    ASSERT_FALSE(client.receiveSome(1).empty());
    client.reset();
    EXPECT_TRUE(world.server.log.waitFor("answered"));
    EXPECT_TRUE(isServing(world));
}

TEST(ViewerSocketConnection, SurvivesAResetAfterTheAnswer) {
    AnsweringWorld world(ViewerHostResponseBytes("HEAD", ViewerBytes()));
    SocketClient client = world.connect();
    client.send("GET / HTTP/1.1\r\n\r\n");
    ASSERT_EQ(client.receiveAll().bytes, "HEAD");
    client.reset();
    SocketClient next = world.connect();
    next.send("GET / HTTP/1.1\r\n\r\n");
    EXPECT_EQ(next.receiveAll().bytes, "HEAD");
}

TEST(ViewerSocketConnection, SurvivesClientsThatNeverRead) {
    AnsweringWorld world(bigAnswer);
    std::vector<SocketClient> clients;
    for (int i = 0; i < 20; ++i) {
        clients.push_back(world.connect());
        clients.back().send("GET / HTTP/1.1\r\n\r\n");
    }
    EXPECT_TRUE(isServing(world));
    EXPECT_EQ(world.server.log.count("answered"), 1U);
}

TEST(ViewerSocketConnection, RaisesNoSignalWhenThePeerIsGone) {
    ASSERT_NE(std::signal(SIGPIPE, SIG_DFL), SIG_ERR);  // else it would end the process
    AnsweringWorld world(bigAnswer);
    for (std::size_t i = 1; i <= 20; ++i) {
        world.loop.run([&] {
            SocketClient client = world.connect();
            client.send("GET / HTTP/1.1\r\n\r\n");
        });
        ASSERT_TRUE(world.server.log.waitFor("answered", i));
    }
}

}  // namespace velmora
