#include <gmock/gmock.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "tests/http/mac/ListenedWorld.h"
#include "tests/support/http/ScriptedReceiver.h"

// Connections of Network.framework.

namespace velmora {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

/// A delivery with its bytes kept.
struct Received final {
    friend bool operator==(const Received&, const Received&) = default;
    std::string content;
    bool isComplete;
    bool hasError;
};

class ViewerNetworkConnection : public ListenedWorld {
  protected:
    void SetUp() override {
        ListenedWorld::SetUp();
        peer_ = accept();
        peer_->setAutomatic(false);
    }
    void TearDown() override {
        peer_ = nullptr;
        ListenedWorld::TearDown();
    }

    ViewerConnection& connection() { return *connections_.front(); }

    void start() { connection().start(queue_, receiver_); }
    void receive() { connection().receive(1024); }
    void send(std::string_view head, std::string_view body) {
        connection().send(ViewerHostResponseBytes(head, ViewerBytes(body)));
    }

    std::shared_ptr<FakeConnection> peer_;
    std::vector<ViewerConnectionState> connectionStates_;
    std::vector<Received> received_;
    int sendsCompleted_ = 0;
    std::function<void()> onDelivery_ = [] {};

  private:
    void note(const ViewerDelivery& delivery) {
        onDelivery_();
        received_.push_back({std::string(delivery.content.begin(), delivery.content.end()),
                             delivery.isComplete, delivery.hasError});
    }

    const std::shared_ptr<ScriptedReceiver> receiver_ =
        std::make_shared<ScriptedReceiver>(ConnectionEvents{
            .onState = [this](ViewerConnectionState state) { connectionStates_.push_back(state); },
            .onDelivery = [this](const ViewerDelivery& delivery) { note(delivery); },
            .onSent = [this] { ++sendsCompleted_; }});
};

TEST_F(ViewerNetworkConnection, EveryStateArrives) {
    start();
    constexpr unsigned ofALaterSystem = 77;
    for (const unsigned state :
         {0U + FakeConnection::invalid, 0U + FakeConnection::waiting,
          0U + FakeConnection::preparing, 0U + FakeConnection::ready, 0U + FakeConnection::failed,
          0U + FakeConnection::cancelled, ofALaterSystem}) {
        peer_->deliverState(state);
    }
    world_.settle();
    EXPECT_THAT(connectionStates_,
                ElementsAre(ViewerConnectionState::setup, ViewerConnectionState::waiting,
                            ViewerConnectionState::preparing, ViewerConnectionState::ready,
                            ViewerConnectionState::failed, ViewerConnectionState::cancelled,
                            ViewerConnectionState::setup));
}

TEST_F(ViewerNetworkConnection, AReceiveAsksForItsSizesAndBringsOneDelivery) {
    start();
    receive();
    EXPECT_THAT(peer_->receives(), ElementsAre(Pair(1U, 1024U)));
    peer_->deliver(std::string(2000, 'a'));
    world_.settle();
    EXPECT_THAT(received_, ElementsAre(Received{std::string(1024, 'a'), false, false}));
    receive();
    world_.settle();
    EXPECT_EQ(received_.back(), (Received{std::string(976, 'a'), false, false}));
    EXPECT_FALSE(peer_->hasOutstandingReceive());
}

using Regions = std::optional<std::vector<std::string>>;

/// Content, the end and an error in every combination.
class ViewerNetworkDelivery : public ViewerNetworkConnection,
                              public testing::WithParamInterface<std::tuple<Regions, bool, bool>> {
};

TEST_P(ViewerNetworkDelivery, ArrivesAsItIs) {
    const auto& [regions, isComplete, hasError] = GetParam();
    start();
    receive();
    FakeNetworkObject::Error error;
    if (hasError) {
        error = FakeNetworkError{54, "Connection reset by peer"};
    }
    peer_->deliver(FakeConnection::Delivery{regions, isComplete, error});
    world_.settle();
    std::string content;
    for (const std::string& region : regions.value_or(std::vector<std::string>())) {
        content += region;
    }
    EXPECT_THAT(received_, ElementsAre(Received{content, isComplete, hasError}));
}

INSTANTIATE_TEST_SUITE_P(
    EveryCombination, ViewerNetworkDelivery,
    testing::Combine(testing::Values(Regions(), Regions({"GET / HTTP/1.1\r\n\r\n"}),
                                     Regions({"GET /", " HTTP/1.1\r\n", "", "\r\n"}),
                                     Regions({std::string("\0\xff", 2)})),
                     testing::Bool(), testing::Bool()));

TEST_F(ViewerNetworkConnection, AMessageIsSentWholeAndStaysUntilTheSystemHasTakenIt) {
    start();
    send("head\r\n\r\n", std::string(100'000, 'b'));
    world_.settle();
    EXPECT_EQ(sendsCompleted_, 0);
    ASSERT_EQ(peer_->messages().size(), 1U);
    EXPECT_TRUE(peer_->messages().front().isDefaultContext);
    EXPECT_TRUE(peer_->messages().front().isComplete);
    peer_->completeSend();
    world_.settle();
    EXPECT_EQ(sendsCompleted_, 1);
    EXPECT_EQ(peer_->received(), "head\r\n\r\n" + std::string(100'000, 'b'));
}

TEST_F(ViewerNetworkConnection, AMessageWithoutABodyIsItsHead) {
    start();
    send("head\r\n\r\n", "");
    peer_->completeSend();
    world_.settle();
    EXPECT_EQ(peer_->received(), "head\r\n\r\n");
    EXPECT_EQ(sendsCompleted_, 1);
}

TEST_F(ViewerNetworkConnection, ASendThatFailsCompletesToo) {
    start();
    send("head", "body");
    peer_->completeSend(FakeNetworkError{32, "Broken pipe"});
    world_.settle();
    EXPECT_EQ(sendsCompleted_, 1);
    EXPECT_EQ(peer_->received(), "");
}

TEST_F(ViewerNetworkConnection, AnyThreadMaySend) {
    start();
    std::thread([this] {
        const bridge::AutoreleasePool pool;
        send("head", "body");
    }).join();
    peer_->completeSend();
    world_.settle();
    EXPECT_EQ(peer_->received(), "headbody");
    EXPECT_EQ(sendsCompleted_, 1);
}

TEST_F(ViewerNetworkConnection, ACancellationEndsWhatIsOutstandingAndComesOnce) {
    start();
    receive();
    send("head", "body");
    connection().cancel();
    connection().cancel();
    world_.settle();
    EXPECT_THAT(received_, ElementsAre(Received{"", false, true}));
    EXPECT_EQ(sendsCompleted_, 1);
    EXPECT_EQ(peer_->received(), "");
    EXPECT_THAT(connectionStates_, ElementsAre(ViewerConnectionState::cancelled));
}

TEST_F(ViewerNetworkConnection, ACancellationBeforeTheStartIsNotLost) {
    connection().cancel();
    start();
    world_.settle();
    EXPECT_THAT(connectionStates_, ElementsAre(ViewerConnectionState::cancelled));
}

TEST_F(ViewerNetworkConnection, ADestroyedOneIsCancelledAndSaysNothing) {
    start();
    connections_.clear();
    EXPECT_TRUE(peer_->isCancelled());
    EXPECT_FALSE(peer_->isWatched());
    world_.settle();
    EXPECT_THAT(connectionStates_, IsEmpty());
    EXPECT_TRUE(peer_->isDropped());
}

TEST_F(ViewerNetworkConnection, OneThatWasNeverStartedGoesWithItsOwner) {
    connections_.clear();
    world_.settle();
    EXPECT_TRUE(peer_->isDropped());
}

TEST_F(ViewerNetworkConnection, ItMayBeDestroyedByItsOwnHandlers) {
    start();
    onDelivery_ = [this] { connections_.clear(); };
    receive();
    peer_->deliver("bytes");
    world_.settle();
    EXPECT_THAT(received_, ElementsAre(Received{"bytes", false, false}));
    EXPECT_TRUE(peer_->isDropped());
}

}  // namespace
}  // namespace velmora
