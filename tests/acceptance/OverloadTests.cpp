#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "tests/support/host/HostTest.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr std::string_view request = "GET / HTTP/1.1\r\n\r\n";

std::vector<HTTPClient> connectAll(std::size_t count) {
    return std::vector<HTTPClient>(count);
}

/// How many of the clients get a whole answer of that status after asking for it.
std::size_t answered(std::vector<HTTPClient>& clients, std::string_view asked, int status) {
    for (HTTPClient& client : clients) {
        client.send(asked);
    }
    std::size_t count = 0;
    for (HTTPClient& client : clients) {
        const HTTPAnswer answer = client.receive();
        count += answer.isWhole && answer.status() == status ? 1U : 0U;
    }
    return count;
}

class Overload : public HostTest {
  protected:
    Overload() {
        painter_.fill({0, 0, 1280, 720}, 0x808080);
        // Some tests are more clients at once than a process normally may be.
        rlimit limit{};
        EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
        limit.rlim_cur = limit.rlim_max;
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    }

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

    EXPECT_EQ(answered(waiting, request, 404), 100U);
}

TEST_F(Overload, AThousandConnectionsAtOnceAreAllServed) {
    serve();
    auto clients = connectAll(1000);

    EXPECT_EQ(answered(clients, request, 404), 1000U);
}

TEST_F(Overload, With64DescriptorsTwoHundredConnectionsWaitForNothingAndAreAllServed) {
    HostLaunch launch = launchOn(server_);
    launch.descriptors = {64, 64};
    serve(launch);
    auto clients = connectAll(200);
    const auto processorTime = processorTimeDuring(1s);
    RecordProperty("processorMicroseconds", std::to_string(processorTime.count()));

    EXPECT_LT(processorTime, 100ms);
    EXPECT_EQ(answered(clients, request, 404), 200U);
}

TEST_F(Overload, AColdFrameIsThereForEveryoneAlsoWhereDescriptorsRunOut) {
    for (const std::size_t clientCount : {1020U, 1500U}) {
        HostLaunch launch = launchOn(server_);
        launch.descriptors = {1024, 1024};
        serve(launch);
        const std::string target = frameTarget(idOf("screen"));
        ASSERT_EQ(host_->threadsNamed("capture."), 0U);
        auto clients = connectAll(clientCount);

        EXPECT_EQ(answered(clients, "GET " + target + " HTTP/1.1\r\n\r\n", 200), clientCount);
        host_.reset();
    }
}

TEST_F(Overload, MoreClientsThanItWasStartedWithDescriptorsForWaitInTheHost) {
    HostLaunch launch = launchOn(server_);
    launch.descriptors = {256, 2048};
    serve(launch);
    auto clients = connectAll(1000);

    EXPECT_TRUE(eventually([&] { return host_->descriptors() > clients.size(); }));
    EXPECT_EQ(answered(clients, request, 404), 1000U);
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
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(frameOf(id).has_value());
    EXPECT_EQ(host_->threadsNamed("capture."), 1U);

    EXPECT_TRUE(eventually([&] { return host_->threadsNamed("capture.") == 0; }));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 5s);
    EXPECT_TRUE(frameOf(id).has_value());
}

}  // namespace

}  // namespace velmora
