#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "tests/acceptance/HostTest.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr std::string_view request = "GET / HTTP/1.1\r\n\r\n";

std::vector<HTTPClient> connectAll(std::size_t count) {
    return std::vector<HTTPClient>(count);
}

/// How many of the clients get a whole 404 after asking for it.
std::size_t answered(std::vector<HTTPClient>& clients) {
    for (HTTPClient& client : clients) {
        client.send(request);
    }
    std::size_t count = 0;
    for (HTTPClient& client : clients) {
        const HTTPAnswer answer = client.receive();
        count += answer.isWhole && answer.status() == 404 ? 1U : 0U;
    }
    return count;
}

class Overload : public HostTest {
  protected:
    Overload() { painter_.fill({0, 0, 1280, 720}, 0x808080); }

    /// Lets the host alone for that long; the processor time it takes meanwhile.
    std::chrono::microseconds processorTimeDuring(std::chrono::milliseconds duration) {
        const auto begin = host_->processorTime();
        EXPECT_EQ(host_->awaitEnd(duration), std::nullopt);
        return host_->processorTime() - begin;
    }
};

TEST_F(Overload, The17thConnectionWaitsUntilOneOfThe16Ends) {
    serve();
    auto serving = connectAll(ViewerHostProtocolV1::maxConcurrentConnections);
    HTTPClient waiting;
    waiting.send(request);
    EXPECT_FALSE(waiting.awaitBytes(300ms));
    serving.pop_back();

    EXPECT_TRUE(waiting.awaitBytes(2s));
    EXPECT_EQ(waiting.receive().status(), 404);
}

TEST_F(Overload, ConnectionsThatWaitAreServedOnceTheSilentOnesAreCutOff) {
    serve();
    const auto silent = connectAll(ViewerHostProtocolV1::maxConcurrentConnections);
    auto waiting = connectAll(100);

    EXPECT_EQ(answered(waiting), 100U);
}

TEST_F(Overload, AThousandConnectionsAtOnceAreAllServed) {
    serve();
    auto clients = connectAll(1000);

    EXPECT_EQ(answered(clients), 1000U);
}

TEST_F(Overload, With64DescriptorsTwoHundredConnectionsWaitForNothingAndAreAllServed) {
    serve();
    // UBSan needs descriptors the first time that it meets an object of some type.
    HTTPClient().reset();
    ASSERT_TRUE(frameOf(idOf("screen")).has_value());
    host_->limitDescriptors(64);
    auto clients = connectAll(200);
    const auto processorTime = processorTimeDuring(1s);
    RecordProperty("processorMicroseconds", std::to_string(processorTime.count()));

    EXPECT_LT(processorTime, 100ms);
    EXPECT_EQ(answered(clients), 200U);
    // What a capture needs is there again once the ended connections have lingered.
    EXPECT_TRUE(eventually([] { return frameOf(idOf("screen")).has_value(); }));
}

TEST_F(Overload, ClientsThatNeverReadKeepNobodyElseWaiting) {
    painter_.put({0, 0, 1280, 720}, noise(1, 1280UL * 720));
    serve();
    const std::string target = frameTarget(idOf("screen"));
    auto deaf = connectAll(200);
    for (HTTPClient& client : deaf) {
        client.send("GET " + target + " HTTP/1.1\r\n\r\n");
    }

    EXPECT_EQ(HTTPClient::get(target).status(), 200);
    const std::size_t lingering = 64;
    EXPECT_TRUE(eventually([&] { return host_->descriptors() < lingering; }));
}

TEST_F(Overload, AnAnswerThatIsNotReadHoldsItsPlaceNoLongerThan5Seconds) {
    painter_.put({0, 0, 1280, 720}, noise(1, 1280UL * 720));
    serve();
    const std::string target = frameTarget(idOf("screen"));
    std::vector<HTTPClient> deaf;
    for (std::size_t i = 0; i < ViewerHostProtocolV1::maxConcurrentConnections; ++i) {
        deaf.push_back(HTTPClient::takingIn(1));
        deaf.back().send("GET " + target + " HTTP/1.1\r\n\r\n");
        ASSERT_TRUE(deaf.back().awaitBytes(HostProcess::generousLimit));
    }
    HTTPClient waiting;
    waiting.send(request);

    EXPECT_FALSE(waiting.awaitBytes(300ms));
    EXPECT_EQ(waiting.receive().status(), 404);
    EXPECT_FALSE(deaf.front().receive().isWhole);
}

TEST_F(Overload, AnsweredConnectionsThatTheirPeersKeepOpenHoldNoPlace) {
    serve();
    const auto begin = std::chrono::steady_clock::now();
    std::vector<HTTPClient> kept(30 * ViewerHostProtocolV1::maxConcurrentConnections);
    for (HTTPClient& client : kept) {
        client.send(request);
        ASSERT_EQ(client.receive().status(), 404);
    }

    // Each sixteen of them would keep the next waiting for the two seconds that they linger.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 30s);
}

TEST_F(Overload, TwoThousandRequestsLeaveTheHostAsItWas) {
    HostLaunch launch = launchOn(server_);
    // Built with AddressSanitizer, a host keeps what it has freed for a while: this little of it.
    launch.environment["ASAN_OPTIONS"] = "quarantine_size_mb=1:thread_local_quarantine_size_kb=64";
    serve(launch);
    const std::string target = frameTarget(idOf("screen"));
    const auto ask = [&](int times) {
        for (int i = 0; i < times; ++i) {
            ASSERT_EQ(HTTPClient::get(target).status(), 200);
            ASSERT_EQ(HTTPClient::get(ViewerHostProtocolV1::displaysPath).status(), 200);
        }
    };
    ask(200);
    const std::size_t descriptors = host_->descriptors();
    const std::size_t threads = host_->threads();
    const std::size_t memory = host_->residentBytes();
    ask(1000);
    const auto growth =
        static_cast<std::int64_t>(host_->residentBytes()) - static_cast<std::int64_t>(memory);
    RecordProperty("grownBytes", std::to_string(growth));

    EXPECT_TRUE(eventually([&] { return host_->descriptors() <= descriptors; }));
    EXPECT_TRUE(eventually([&] { return host_->threads() <= threads; }));
    EXPECT_LT(growth, 4 * 1024 * 1024);
}

TEST_F(Overload, ACaptureStops5SecondsAfterTheLastRequest) {
    serve();
    const std::string id = idOf("screen");
    EXPECT_EQ(host_->threadsNamed("capture."), 0U);
    ASSERT_TRUE(frameOf(id).has_value());
    EXPECT_EQ(host_->threadsNamed("capture."), 1U);
    const auto begin = std::chrono::steady_clock::now();

    EXPECT_TRUE(eventually([&] { return host_->threadsNamed("capture.") == 0; }));
    const auto lasted = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(lasted, 4900ms);
    EXPECT_LT(lasted, 7s);
    EXPECT_TRUE(frameOf(id).has_value());
}

}  // namespace

}  // namespace velmora
