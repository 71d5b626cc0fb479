#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "tests/support/host/HostTest.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

const std::string listingRequest =
    "GET " + std::string(ViewerHostProtocolV1::displaysPath) + " HTTP/1.1\r\nHost: here\r\n\r\n";

/// The whole answer after sending all of `bytes`, `times` times; how many came whole.
int wholeAnswers(const std::string& bytes, const std::string& expected, int times) {
    int count = 0;
    for (int i = 0; i < times; ++i) {
        HTTPClient client;
        const bool isSent = client.send(bytes);
        const HTTPAnswer answer = client.receive();
        count += isSent && answer.isWhole && answer.bytes == expected ? 1 : 0;
    }
    return count;
}

class BadInput : public HostTest {
  protected:
    BadInput() { painter_.fill({0, 0, 1280, 720}, 0x808080); }

    /// What every test of bad input ends with.
    void expectServing() { EXPECT_TRUE(frameOf(idOf("screen")).has_value()); }
};

TEST_F(BadInput, ARequestThatArrivesByteByByteIsAnswered) {
    serve();
    HTTPClient client;
    for (const char byte : listingRequest) {
        ASSERT_TRUE(client.send(std::string(1, byte)));
    }
    const HTTPAnswer answer = client.receive();

    EXPECT_TRUE(answer.isWhole);
    EXPECT_EQ(answer.status(), 200);
}

TEST_F(BadInput, ARequestWhosePeerHasEndedItsSideIsAnswered) {
    serve();
    HTTPClient client;
    client.send(listingRequest);
    client.endSending();

    EXPECT_EQ(client.receive().status(), 200);
}

TEST_F(BadInput, HalfARequestThatEndsGetsNothing) {
    serve();
    HTTPClient client;
    client.send("GET / HT");
    client.endSending();

    EXPECT_EQ(client.receive().bytes, "");
    expectServing();
}

TEST_F(BadInput, APeerThatSendsNothingIsCutOffAfter5Seconds) {
    serve();
    const auto begin = std::chrono::steady_clock::now();
    HTTPClient client;
    const HTTPAnswer answer = client.receive();
    const auto waited = std::chrono::steady_clock::now() - begin;

    EXPECT_TRUE(answer.isWhole);
    EXPECT_EQ(answer.bytes, "");
    EXPECT_GE(waited, 4950ms);
    EXPECT_LT(waited, 7s);
}

TEST_F(BadInput, APostOf8MebibytesReceivesItsWholeAnswerEveryTime) {
    serve();
    const std::string post =
        "POST /viewer/v1/displays HTTP/1.1\r\nContent-Length: 8388608\r\n\r\n" +
        std::string(8'388'608, 'x');

    EXPECT_EQ(wholeAnswers(post,
                           "HTTP/1.1 405 Method Not Allowed\r\nContent-Type: text/plain\r\n"
                           "Content-Length: 0\r\nCache-Control: no-store\r\n"
                           "Connection: close\r\n\r\n",
                           200),
              200);
}

TEST_F(BadInput, AHeadOf256KibibytesReceivesItsWholeAnswerEveryTime) {
    serve();
    const std::string head = "GET / HTTP/1.1\r\nX: " + std::string(262'144, 'x');

    EXPECT_EQ(wholeAnswers(head,
                           "HTTP/1.1 431 Request Header Fields Too Large\r\n"
                           "Content-Type: text/plain\r\nContent-Length: 0\r\n"
                           "Cache-Control: no-store\r\nConnection: close\r\n\r\n",
                           200),
              200);
}

TEST_F(BadInput, ResetsAtEveryStageLeaveNothingBehind) {
    serve();
    expectServing();
    const std::string frame = "GET " + frameTarget(idOf("screen")) + " HTTP/1.1\r\n\r\n";
    const std::size_t descriptors = host_->descriptors();
    for (int i = 0; i < 100; ++i) {
        HTTPClient().reset();
        for (const std::string& part :
             {frame.substr(0, 1), frame.substr(0, frame.size() - 1), frame}) {
            HTTPClient client;
            client.send(part);
            client.reset();
        }
        HTTPClient client;
        client.send(frame);
        EXPECT_EQ(client.receiveSome(1), "H");
        client.reset();
    }

    expectServing();
    EXPECT_TRUE(eventually([&] { return host_->descriptors() <= descriptors; }));
}

TEST_F(BadInput, ResetsOfConnectionsThatWaitForTheirTurnLeaveNothingBehind) {
    serve();
    expectServing();
    const std::size_t descriptors = host_->descriptors();
    {
        const std::vector<HTTPClient> silent(ViewerHostProtocolV1::maxConcurrentConnections);
        std::vector<HTTPClient> waiting(100);
        for (HTTPClient& client : waiting) {
            client.send(listingRequest);
        }
        ASSERT_TRUE(
            eventually([&] { return host_->descriptors() >= silent.size() + waiting.size(); }));
        for (HTTPClient& client : waiting) {
            client.reset();
        }
    }

    expectServing();
    EXPECT_TRUE(eventually([&] { return host_->descriptors() <= descriptors; }));
}

TEST_F(BadInput, RandomBytesNeverStopTheHost) {
    serve();
    for (std::uint32_t seed = 1; seed <= 200; ++seed) {
        const auto words = noise(seed, 256);
        HTTPClient client;
        client.send({reinterpret_cast<const char*>(words.data()), words.size() * sizeof words[0]});
        client.endSending();
        const int status = client.receive().status();
        EXPECT_TRUE(status == 0 || status == 405) << "seed " << seed << ": " << status;
    }
    expectServing();
}

}  // namespace

}  // namespace velmora
