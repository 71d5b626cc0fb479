#include <gmock/gmock.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/http/mac/ListenedWorld.h"

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
        connection().setStateHandler(
            [this](ViewerConnectionState state) { connectionStates_.push_back(state); });
    }
    void TearDown() override {
        peer_ = nullptr;
        ListenedWorld::TearDown();
    }

    ViewerConnection& connection() { return *connections_.front(); }

    void receive() {
        connection().receive(1024, [this](const ViewerDelivery& delivery) {
            received_.push_back({std::string(delivery.content.begin(), delivery.content.end()),
                                 delivery.isComplete, delivery.hasError});
        });
    }

    void send(std::string head, std::string_view body) {
        connection().send(ViewerHostResponseBytes(std::move(head), ViewerBytes(body)),
                          [this] { ++sendsCompleted_; });
    }

    std::shared_ptr<FakeConnection> peer_;
    std::vector<ViewerConnectionState> connectionStates_;
    std::vector<Received> received_;
    int sendsCompleted_ = 0;
};

TEST_F(ViewerNetworkConnection, EveryStateArrives) {
    connection().start(queue_);
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
    connection().start(queue_);
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
    connection().start(queue_);
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
    connection().start(queue_);
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
    connection().start(queue_);
    send("head\r\n\r\n", "");
    peer_->completeSend();
    world_.settle();
    EXPECT_EQ(peer_->received(), "head\r\n\r\n");
    EXPECT_EQ(sendsCompleted_, 1);
}

TEST_F(ViewerNetworkConnection, ASendThatFailsCompletesToo) {
    connection().start(queue_);
    send("head", "body");
    peer_->completeSend(FakeNetworkError{32, "Broken pipe"});
    world_.settle();
    EXPECT_EQ(sendsCompleted_, 1);
    EXPECT_EQ(peer_->received(), "");
}

TEST_F(ViewerNetworkConnection, AnyThreadMaySend) {
    connection().start(queue_);
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
    connection().start(queue_);
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
    connection().start(queue_);
    world_.settle();
    EXPECT_THAT(connectionStates_, ElementsAre(ViewerConnectionState::cancelled));
}

TEST_F(ViewerNetworkConnection, ADestroyedOneIsCancelledAndSaysNothing) {
    connection().start(queue_);
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
    connection().start(queue_);
    connection().receive(1024, [this](const ViewerDelivery& delivery) {
        connections_.clear();
        received_.push_back({std::string(delivery.content.begin(), delivery.content.end()),
                             delivery.isComplete, delivery.hasError});
    });
    peer_->deliver("bytes");
    world_.settle();
    EXPECT_THAT(received_, ElementsAre(Received{"bytes", false, false}));
    EXPECT_TRUE(peer_->isDropped());
}

}  // namespace
}  // namespace velmora
