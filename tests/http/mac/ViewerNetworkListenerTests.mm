#include <gmock/gmock.h>

#include <boost/asio/post.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tests/http/mac/ListenedWorld.h"

// Listening through Network.framework.

namespace velmora {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using ViewerNetworkListener = ListenedWorld;

class ViewerNetworkTransport : public MacTest {};

TEST_F(ViewerNetworkTransport, EveryPortIsUsable) {
    const auto transport = makeTransport(nullptr);
    EXPECT_TRUE(transport->isUsablePort(0));
    EXPECT_TRUE(transport->isUsablePort(9090));
    EXPECT_TRUE(transport->isUsablePort(65535));
}

TEST_F(ViewerNetworkTransport, AsksForThePortInDecimalAndForPlainTCP) {
    for (const std::uint16_t port : std::vector<std::uint16_t>{0, 9090, 65535}) {
        const ViewerListenerCreation creation = makeTransport(nullptr)->makeListener(port);
        const auto fake = FakeListener::last();
        ASSERT_NE(fake, nullptr);
        EXPECT_EQ(fake->port(), std::to_string(port));
        EXPECT_FALSE(fake->isSecure());
    }
}

TEST_F(ViewerNetworkTransport, AListenerThatIsRefusedIsAnErrorOfThePlatforms) {
    FakeListener::setRefused(true);
    const ViewerListenerCreation creation = makeTransport(nullptr)->makeListener(9090);
    const auto* const error = std::get_if<ViewerPlatformError>(&creation);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->description, "Invalid argument");
}

TEST_F(ViewerNetworkListener, NothingIsOpenedBeforeTheStart) {
    EXPECT_FALSE(fakeListener_->isStarted());
    listener_->start(queue_);
    EXPECT_TRUE(fakeListener_->isStarted());
}

TEST_F(ViewerNetworkListener, EveryStateArrivesWithItsErrorInThePlatformsWords) {
    listener_->start(queue_);
    fakeListener_->deliverState(FakeListener::invalid);
    fakeListener_->deliverState(FakeListener::waiting, FakeNetworkError{50, "Network is down"});
    fakeListener_->deliverState(FakeListener::ready);
    fakeListener_->deliverState(FakeListener::failed,
                                FakeNetworkError{48, "Адрес уже используется"});
    fakeListener_->deliverState(FakeListener::failed);
    fakeListener_->deliverState(FakeListener::cancelled);
    constexpr unsigned ofALaterSystem = 77;
    fakeListener_->deliverState(ofALaterSystem);
    world_.settle();
    EXPECT_THAT(states_, ElementsAre(Pair(ViewerListenerState::setup, ""),
                                     Pair(ViewerListenerState::waiting, "Network is down"),
                                     Pair(ViewerListenerState::ready, ""),
                                     Pair(ViewerListenerState::failed, "Адрес уже используется"),
                                     Pair(ViewerListenerState::failed, ""),
                                     Pair(ViewerListenerState::cancelled, ""),
                                     Pair(ViewerListenerState::setup, "")));
}

TEST_F(ViewerNetworkListener, ThePortIsKnownOnceItIsBound) {
    listener_->start(queue_);
    EXPECT_EQ(listener_->port(), std::nullopt);
    fakeListener_->becomeReady(49152);
    EXPECT_EQ(listener_->port(), 49152);
}

TEST_F(ViewerNetworkListener, EventsRunOnTheQueueThatItWasStartedOn) {
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        SCOPED_TRACE(seed);
        world_.seed(seed);
        makeListener();
        std::vector<std::size_t> statesSeen;
        listener_->start(queue_);
        boost::asio::post(queue_, [&] { statesSeen.push_back(states_.size()); });
        fakeListener_->deliverState(FakeListener::ready);
        boost::asio::post(queue_, [&] { statesSeen.push_back(states_.size()); });
        states_.clear();
        world_.settle();
        EXPECT_THAT(statesSeen, ElementsAre(0U, 1U));
    }
}

TEST_F(ViewerNetworkListener, EachClientIsAConnectionThatIsNotStarted) {
    listener_->start(queue_);
    const auto first = fakeListener_->connect();
    const auto second = fakeListener_->connect();
    world_.settle();
    EXPECT_EQ(connections_.size(), 2U);
    EXPECT_FALSE(first->isStarted());
    EXPECT_FALSE(first->isOver());
    connections_.erase(connections_.begin());
    world_.settle();
    EXPECT_TRUE(first->isOver());
    EXPECT_FALSE(second->isOver());
}

TEST_F(ViewerNetworkListener, CancelledIsTheLastEventHoweverOftenItIsCancelled) {
    listener_->start(queue_);
    fakeListener_->becomeReady(9090);
    listener_->cancel();
    listener_->cancel();
    world_.settle();
    listener_->cancel();
    world_.settle();
    EXPECT_THAT(states_, ElementsAre(Pair(ViewerListenerState::ready, ""),
                                     Pair(ViewerListenerState::cancelled, "")));
}

TEST_F(ViewerNetworkListener, ACancellationBeforeTheStartIsNotLost) {
    listener_->cancel();
    listener_->start(queue_);
    world_.settle();
    EXPECT_THAT(states_, ElementsAre(Pair(ViewerListenerState::cancelled, "")));
}

TEST_F(ViewerNetworkListener, ADestroyedOneStopsListeningAndSaysNothing) {
    listener_->start(queue_);
    fakeListener_->becomeReady(9090);
    listener_ = nullptr;
    (void)fakeListener_->connect();  // a client that comes too late
    EXPECT_TRUE(fakeListener_->isCancelled());
    EXPECT_FALSE(fakeListener_->isWatched());
    EXPECT_FALSE(fakeListener_->hasConnectionHandler());
    world_.settle();
    EXPECT_THAT(states_, IsEmpty());
    EXPECT_THAT(connections_, IsEmpty());
    EXPECT_TRUE(fakeListener_->isDropped());
}

TEST_F(ViewerNetworkListener, ItMayBeDestroyedByItsOwnHandler) {
    listener_->setStateHandler([this](ViewerListenerState state, const std::string&) {
        listener_ = nullptr;
        states_.emplace_back(state, "");
    });
    listener_->start(queue_);
    fakeListener_->deliverState(FakeListener::failed, FakeNetworkError{48, "in use"});
    world_.settle();
    EXPECT_THAT(states_, ElementsAre(Pair(ViewerListenerState::failed, "")));
    EXPECT_TRUE(fakeListener_->isDropped());
}

}  // namespace
}  // namespace velmora
