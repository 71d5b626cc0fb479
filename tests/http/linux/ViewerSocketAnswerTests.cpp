#include <gtest/gtest.h>

#include <string>

#include "tests/http/linux/AnsweringWorld.h"
#include "tests/support/http/JoinedBytes.h"

namespace velmora {

namespace {

constexpr int tries = 200;

const ViewerHostResponseBytes answer("HTTP/1.1 405 Method Not Allowed\r\n\r\n",
                                     ViewerBytes(std::string(30'000, 'x')));

/// How many of the tries got the whole answer and the server's end in order.
int wholeAnswers(const std::string& request) {
    const AnsweringWorld world(answer);
    int whole = 0;
    for (int i = 0; i < tries; ++i) {
        SocketClient client = world.connect();
        const bool isSent = client.send(request);
        const ReceivedAnswer received = client.receiveAll();
        whole += isSent && received.isEnded && received.bytes == joined(answer) ? 1 : 0;
    }
    return whole;
}

}  // namespace

TEST(ViewerSocketConnection, AnswersAnEightMebibyteUploadEveryTime) {
    const std::string body(8UL * 1024 * 1024, 'u');
    EXPECT_EQ(wholeAnswers("POST / HTTP/1.1\r\nContent-Length: 8388608\r\n\r\n" + body), tries);
}

TEST(ViewerSocketConnection, AnswersAnEndlessHeadEveryTime) {
    EXPECT_EQ(wholeAnswers("GET /" + std::string(256UL * 1024, 'a')), tries);
}

TEST(ViewerSocketConnection, AnswersAPeerThatSendsOnBehindTheAnsweredRequestEveryTime) {
    const AnsweringWorld world(answer);
    for (int i = 0; i < tries; ++i) {
        SocketClient client = world.connect();
        client.send("GET / HTTP/1.1\r\n\r\n");
        const std::string begin = client.receiveSome(1);
        EXPECT_TRUE(client.send("what nobody reads"));
        const ReceivedAnswer received = client.receiveAll();
        ASSERT_TRUE(received.isEnded) << i;
        ASSERT_TRUE(begin + received.bytes == joined(answer)) << i;
    }
}

TEST(ViewerSocketConnection, AnswersAPeerThatHasEndedItsSideEveryTime) {
    const AnsweringWorld world(answer);
    for (int i = 0; i < tries; ++i) {
        SocketClient client = world.connect();
        client.send("GET / HTTP/1.1\r\n\r\nand what nobody reads");
        client.endSending();
        const ReceivedAnswer received = client.receiveAll();
        ASSERT_TRUE(received.isEnded) << i;
        ASSERT_TRUE(received.bytes == joined(answer)) << i;
    }
}

TEST(ViewerSocketConnection, AnswersARequestThatComesByteByByte) {
    const AnsweringWorld world(answer);
    SocketClient client = world.connect();
    for (const char byte : std::string("GET / HTTP/1.1\r\n\r\n")) {
        client.send(std::string(1, byte));
    }
    EXPECT_TRUE(client.receiveAll().bytes == joined(answer));
}

}  // namespace velmora
