#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "tests/support/host/HostTest.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

class XServerMisfortune : public HostTest {
  protected:
    XServerMisfortune() { painter_.fill({0, 0, 1280, 720}, 0xa04010); }

    /// A request that needs no screen is answered without delay.
    void expectAnsweredAtOnce() {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(HTTPClient::get("/").status(), 404);
        HTTPClient post;
        post.send("POST / HTTP/1.1\r\n\r\n");
        EXPECT_EQ(post.receive().status(), 405);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
    }
};

TEST_F(XServerMisfortune, WithoutItsXServerTheHostServesAnEmptyList) {
    serve();
    const std::string id = idOf("screen");
    ASSERT_TRUE(frameOf(id).has_value());
    server_.kill();

    EXPECT_TRUE(eventually([] {
        const auto displays = listDisplays();
        return displays && displays->empty();
    }));
    EXPECT_EQ(HTTPClient::get(frameTarget(id)).status(), 404);
    expectAnsweredAtOnce();
    EXPECT_EQ(end(SIGTERM), endedInOrder);
}

TEST_F(XServerMisfortune, AnXServerThatIsBackIsServedAgain) {
    serve();
    const std::string id = idOf("screen");
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(eventually([&] { return frameOf(id).has_value(); }));
        server_.kill();
        ASSERT_TRUE(eventually([&] { return !frameOf(id).has_value(); }));
        server_.restart();
    }
    XPainter painter(server_);
    painter.fill({0, 0, 1280, 720}, 0x10a040);

    EXPECT_TRUE(eventually([&] {
        const auto picture = frameOf(id);
        return picture && picture->isAll(0x10a040, jpegTolerance);
    }));
}

TEST_F(XServerMisfortune, WhileTheXServerHangsRequestsThatNeedNoScreenAreAnsweredAtOnce) {
    serve();
    const std::string id = idOf("screen");
    ASSERT_TRUE(frameOf(id).has_value());
    server_.freeze();
    std::vector<HTTPClient> hanging(8);
    for (HTTPClient& client : hanging) {
        client.send("GET " + frameTarget(id) + " HTTP/1.1\r\n\r\n");
    }
    for (int i = 0; i < 20; ++i) {
        expectAnsweredAtOnce();
    }
    server_.thaw();

    EXPECT_TRUE(eventually([&] { return frameOf(id).has_value(); }));
}

TEST_F(XServerMisfortune, NoConnectionSlotIsLostToAnXServerThatHangs) {
    serve();
    const std::string id = idOf("screen");
    server_.freeze();
    for (int round = 0; round < 2; ++round) {
        std::vector<HTTPClient> clients(2 * ViewerHostProtocolV1::maxConcurrentConnections);
        for (HTTPClient& client : clients) {
            client.send("GET " + frameTarget(id) + " HTTP/1.1\r\n\r\n");
        }
        for (HTTPClient& client : clients) {
            EXPECT_TRUE(client.receive().isWhole);
        }
        expectAnsweredAtOnce();
    }
    server_.thaw();

    EXPECT_TRUE(eventually([&] { return frameOf(id).has_value(); }));
}

TEST_F(XServerMisfortune, ADisplayThatFrozeWhileCapturedGoesOn) {
    serve();
    const std::string id = idOf("screen");
    ASSERT_TRUE(frameOf(id).has_value());
    server_.freeze();
    EXPECT_EQ(host_->awaitEnd(5500ms), std::nullopt);
    server_.thaw();
    painter_.fill({0, 0, 1280, 720}, 0x1040a0);

    EXPECT_TRUE(eventually([&] {
        const auto picture = frameOf(id);
        return picture && picture->isAll(0x1040a0, jpegTolerance);
    }));
}

TEST_F(XServerMisfortune, AnXServerThatDiesWhileItHangsIsGone) {
    serve();
    const std::string id = idOf("screen");
    ASSERT_TRUE(frameOf(id).has_value());
    server_.freeze();
    HTTPClient client;
    client.send("GET " + frameTarget(id) + " HTTP/1.1\r\n\r\n");
    server_.kill();

    EXPECT_TRUE(client.receive().isWhole);
    EXPECT_TRUE(eventually([] {
        const auto displays = listDisplays();
        return displays && displays->empty();
    }));
    EXPECT_EQ(end(SIGTERM), endedInOrder);
}

}  // namespace

}  // namespace velmora
