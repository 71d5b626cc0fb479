#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "tests/acceptance/mac/MacHostTest.h"
#include "tests/mac/frameworks/LiveObjects.h"
#include "tests/mac/frameworks/network/FakeListener.h"

// The whole host on the doubles: serving, and what can go wrong with connections and captures.

namespace velmora {
namespace {

using namespace std::chrono_literals;

constexpr std::string_view request = "GET / HTTP/1.1\r\n\r\n";
constexpr const char* notFound =
    "HTTP/1.1 404 Not Found\r\nContent-Type: text/plain\r\nContent-Length: 0\r\n"
    "Cache-Control: no-store\r\nConnection: close\r\n\r\n";

class ServingMacHost : public MacHostTest {
  protected:
    void SetUp() override {
        desktop_.fill({0, 0, 1280, 720}, blue);
        serve();
    }

    std::vector<std::unique_ptr<MacClient>> connect(std::size_t count) {
        std::vector<std::unique_ptr<MacClient>> clients;
        clients.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            clients.push_back(std::make_unique<MacClient>(*host_));
        }
        return clients;
    }

    /// 20 clients, whose requests arrive before the host looks at the first.
    void expectRightAnswersAtOnce() {
        const std::array<std::string, 4> targets{frameTarget(), "/nothing",
                                                 std::string(ViewerHostProtocolV1::displaysPath),
                                                 "/viewer/v1/frame?id=none"};
        constexpr std::array statuses{200, 404, 200, 404};
        const auto clients = connect(20);
        host_->perform([&] {
            for (std::size_t i = 0; i < clients.size(); ++i) {
                clients[i]->peer().deliver("GET " + targets.at(i % targets.size()) +
                                           " HTTP/1.1\r\n\r\n");
            }
        });
        for (std::size_t i = 0; i < clients.size(); ++i) {
            const HTTPAnswer answer = clients[i]->receive();
            EXPECT_EQ(answer.status(), statuses.at(i % statuses.size()));
            EXPECT_TRUE(i % targets.size() != 0 || shows(answer, blue));
        }
    }

    static constexpr std::uint32_t blue = 0x3060C0;
    static constexpr std::uint32_t green = 0x20D040;
};

TEST_F(ServingMacHost, ListensOnPort9090) {
    EXPECT_EQ(FakeListener::last()->port(), "9090");
}

TEST_F(ServingMacHost, ARequestMayArriveByteByByteAndWithTheEndOfItsPeersSide) {
    MacClient slow(*host_);
    for (const char byte : request) {
        slow.send(std::string(1, byte));
    }
    EXPECT_EQ(slow.receive().bytes, notFound);

    MacClient ending(*host_);
    host_->perform([&] {
        ending.peer().deliver(FakeConnection::Delivery{{{std::string(request)}}, true, {}});
    });
    EXPECT_EQ(ending.receive().bytes, notFound);

    MacClient failing(*host_);
    host_->perform([&] {
        failing.peer().deliver(FakeConnection::Delivery{
            {{std::string(request)}}, false, FakeNetworkError{54, "Connection reset by peer"}});
    });
    EXPECT_EQ(failing.receive().bytes, notFound);
}

TEST_F(ServingMacHost, HalfARequestThatEndsGetsNothingAndLeavesNothing) {
    MacClient client(*host_);
    client.send("GET / HT");
    EXPECT_FALSE(client.isOver());
    client.endSending();
    EXPECT_TRUE(client.isOver());
    EXPECT_EQ(client.received(), "");
}

TEST_F(ServingMacHost, APeerThatSendsNothingIsCutOffAfter5Seconds) {
    const MacClient client(*host_);
    host_->advance(4999ms);
    EXPECT_FALSE(client.isOver());
    host_->advance(1ms);
    EXPECT_TRUE(client.isOver());
    EXPECT_EQ(client.received(), "");
}

TEST_F(ServingMacHost, ADeadlineThatPassesDuringSleepCutsThePeerOffAtTheWakeUp) {
    const MacClient client(*host_);
    host_->perform([] { DispatchWorld::shared().sleep(1min); });
    EXPECT_TRUE(client.isOver());
}

TEST_F(ServingMacHost, AConnectionIsCancelledOnlyOnceItsAnswerIsTaken) {
    MacClient client(*host_);
    client.peer().setAutomatic(false);
    client.send(request);
    EXPECT_FALSE(client.isOver());
    host_->perform([&] { client.peer().completeSend(); });
    EXPECT_TRUE(client.isOver());
    EXPECT_EQ(client.received(), notFound);
}

TEST_F(ServingMacHost, AnAnswerThatCannotBeSentEndsItsConnection) {
    MacClient client(*host_);
    client.peer().setAutomatic(false);
    client.send(request);
    host_->perform([&] { client.peer().completeSend(FakeNetworkError{32, "Broken pipe"}); });
    EXPECT_TRUE(client.isOver());
    EXPECT_EQ(client.received(), "");
}

TEST_F(ServingMacHost, AConnectionThatFailsIsDropped) {
    const MacClient client(*host_);
    host_->perform([&] {
        client.peer().deliverState(FakeConnection::failed,
                                   FakeNetworkError{54, "Connection reset by peer"});
    });
    EXPECT_TRUE(client.isOver());
}

TEST_F(ServingMacHost, The17thConnectionWaitsUntilOneOfThe16Ends) {
    auto serving = connect(ViewerHostProtocolV1::maxConcurrentConnections);
    MacClient waiting(*host_);
    waiting.send(request);
    EXPECT_FALSE(waiting.peer().isStarted());
    EXPECT_EQ(waiting.received(), "");
    serving.front()->send(request);
    EXPECT_EQ(waiting.received(), notFound);
}

TEST_F(ServingMacHost, AFrameShowsTheScreenAndASystemThatEndsTheStreamBringsANewOne) {
    const HTTPAnswer first = frame();
    EXPECT_TRUE(shows(first, blue));
    host_->perform([] { stream()->stopBySystem(); });
    desktop_.fill({0, 0, 1280, 720}, green);
    const HTTPAnswer second = frame();
    EXPECT_TRUE(shows(second, green));
    EXPECT_EQ(stream()->starts(), 1);
    EXPECT_NE(first.header("X-Velmora-Frame"), second.header("X-Velmora-Frame"));
}

TEST_F(ServingMacHost, WhatIsNoCompleteFrameIsNeverServed) {
    const HTTPAnswer first = frame();
    for (const std::int64_t status : {1, 2, 3, 4, 5}) {
        FakeSample sample;
        sample.status = status;
        sample.picture = Raster::filled(640, 360, green);
        deliver(sample);
    }
    FakeSample sound;
    sound.type = 1;
    sound.picture = Raster::filled(640, 360, green);
    deliver(sound);
    deliver(FakeSample{.isValid = false, .picture = Raster::filled(640, 360, green)});
    deliver(FakeSample{});
    EXPECT_EQ(frame().bytes, first.bytes);
}

TEST_F(ServingMacHost, AStreamIsCapturedAsThePreviewNeedsIt) {
    EXPECT_EQ(frame().status(), 200);
    const FakeStream::Settings& settings = stream()->settings();
    EXPECT_EQ(settings.width, 640U);
    EXPECT_EQ(settings.height, 360U);
    EXPECT_EQ(settings.intervalValue, 1);
    EXPECT_EQ(settings.intervalTimescale, 25);
    EXPECT_EQ(settings.queueDepth, 2);
    EXPECT_EQ(settings.pixelFormat, 0x42475241U);
    EXPECT_FALSE(settings.showsCursor);
    EXPECT_FALSE(settings.capturesAudio);
}

TEST_F(ServingMacHost, ACaptureEnds5SecondsAfterItsLastRequest) {
    EXPECT_EQ(frame().status(), 200);
    const auto fake = stream();
    host_->advance(4900ms);
    EXPECT_EQ(fake->stops(), 0);
    host_->advance(100ms);
    EXPECT_EQ(fake->stops(), 1);
    EXPECT_TRUE(fake->isDropped());
}

TEST_F(ServingMacHost, AStartThatFailsIsTriedAgainByTheNextRequest) {
    script().starting = ScreenScript::Answer::error;
    EXPECT_EQ(frame().status(), 503);
    script().starting = ScreenScript::Answer::success;
    EXPECT_TRUE(shows(frame(), blue));
}

TEST_F(ServingMacHost, AReceiverThatIsRefusedIsNoFrame) {
    script().refusesOutputs = true;
    EXPECT_EQ(frame().status(), 503);
}

TEST_F(ServingMacHost, AStartThatNeverCompletesIsNoFrameAndOneThatIsLateIsStopped) {
    script().starting = ScreenScript::Answer::none;
    script().onStart = nullptr;
    EXPECT_EQ(frame().status(), 503);
    const auto fake = script().streams().front();
    host_->perform([&] { fake->completeStart(true); });
    host_->advance(1s);
    EXPECT_FALSE(fake->isCapturing());
}

TEST_F(ServingMacHost, AStopThatNeverCompletesHoldsNoPlace) {
    EXPECT_EQ(frame().status(), 200);
    script().stopping = ScreenScript::Answer::none;
    host_->advance(10s);
    script().stopping = ScreenScript::Answer::success;
    EXPECT_TRUE(shows(frame(), blue));
}

TEST_F(ServingMacHost, AListingThatNeverComesIsAnEmptyOne) {
    script().listing = ScreenScript::Answer::none;
    const HTTPAnswer answer = get(ViewerHostProtocolV1::displaysPath);
    EXPECT_EQ(answer.status(), 200);
    EXPECT_THAT(answer.body(), testing::HasSubstr(R"("displays":[])"));
}

TEST_F(ServingMacHost, ARevokedPermissionIsAnEmptyListingAndNoFrame) {
    const std::string target = frameTarget();
    script().isGranted = false;
    EXPECT_THAT(get(ViewerHostProtocolV1::displaysPath).body(),
                testing::HasSubstr(R"("displays":[])"));
    EXPECT_EQ(get(target).status(), 404);
}

TEST_F(ServingMacHost, ASystemThatDeclinesTheListingIsAnEmptyOne) {
    script().listing = ScreenScript::Answer::error;
    EXPECT_THAT(get(ViewerHostProtocolV1::displaysPath).body(),
                testing::HasSubstr(R"("displays":[])"));
}

TEST_F(ServingMacHost, ClientsAtOnceAreAnsweredRightInEveryInterleaving) {
    constexpr std::uint64_t seeds = 10;
    for (std::uint64_t seed = 1; seed <= seeds; ++seed) {
        SCOPED_TRACE(seed);
        world_.seed(seed);
        expectRightAnswersAtOnce();
        host_->perform([] { stream()->stopBySystem(); });
    }
}

TEST_F(ServingMacHost, ClientsAtOnceAreAnsweredRightOnManyThreads) {
    const DispatchThreads threads;
    constexpr int rounds = 6;
    for (int round = 0; round < rounds; ++round) {
        expectRightAnswersAtOnce();
        host_->perform([] { stream()->stopBySystem(); });
    }
}

TEST_F(ServingMacHost, ManyRequestsLeaveNothingBehind) {
    const auto before = LiveObjects::counts();
    for (int i = 0; i < 50; ++i) {
        EXPECT_TRUE(shows(frame(), blue));
        EXPECT_EQ(get("/nothing").status(), 404);
    }
    host_->advance(10s);
    // The connections' deadlines are over and the capture has ended.
    (void)get(ViewerHostProtocolV1::displaysPath);
    host_->advance(10s);
    const auto after = LiveObjects::counts();
    for (const auto& [name, count] : after) {
        const auto found = before.find(name);
        EXPECT_LE(count, found == before.end() ? 1 : found->second) << name;
    }
}

}  // namespace
}  // namespace velmora
