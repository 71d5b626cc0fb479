#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "core/http/ViewerHTTPServer.h"
#include "tests/support/http/ServedWorld.h"

namespace velmora {
namespace {

using Outcome = ViewerHTTPServer::StartOutcome;

Outcome failed(ViewerHTTPServerError error) {
    return ViewerHTTPStartFailure(std::move(error));
}

const Outcome alreadyStarted = failed(ViewerHTTPServerError::startupFailed("already started"));
const Outcome invalidPort = failed(ViewerHTTPServerError::invalidPort());
const Outcome stoppedBeforeReady = failed(ViewerHTTPServerError::stoppedBeforeReady());
constexpr std::uint16_t boundPort = 50'123;

TEST(ViewerHTTPServer, NothingIsOpenedAtConstruction) {
    ServedWorld host;
    host.world.settle();
    EXPECT_TRUE(host.transport->requestedPorts.empty());
}

TEST(ViewerHTTPServer, StartYieldsThePortThatTheListenerIsBoundTo) {
    ServedWorld host;
    const auto start = host.start();
    host.world.settle();
    EXPECT_EQ(host.transport->requestedPorts, std::vector<std::uint16_t>({9090}));
    host.listener().becomeReady(boundPort);
    host.world.settle();
    EXPECT_EQ(start.value(), Outcome(boundPort));
}

TEST(ViewerHTTPServer, StartWaitsWhileTheListenerIsNotReady) {
    ServedWorld host;
    const auto start = host.start();
    host.world.settle();
    host.listener().change(ViewerListenerState::setup);
    host.listener().change(ViewerListenerState::waiting);
    host.world.settle();
    EXPECT_FALSE(start.isThere());
    host.listener().becomeReady(boundPort);
    host.world.settle();
    EXPECT_TRUE(start.isThere());
}

TEST(ViewerHTTPServer, ASecondStartFailsAtOnceAndTheFirstIsUnaffected) {
    ServedWorld host;
    const auto first = host.start();
    host.world.settle();
    const auto second = host.start();
    host.world.settle();
    EXPECT_EQ(second.value(), alreadyStarted);
    EXPECT_FALSE(first.isThere());
    host.listener().becomeReady(boundPort);
    host.world.settle();
    EXPECT_EQ(first.value(), Outcome(boundPort));
    EXPECT_EQ(host.transport->listeners.size(), 1U);
}

TEST(ViewerHTTPServer, AStartWhileTheListenerIsBeingMadeFailsAtOnce) {
    ServedWorld host;
    std::optional<ServedWorld::Start> second;
    host.transport->onMakeListener = [&host, &second] {
        if (!second) {
            second.emplace(host.start());
            host.world.settle();
        }
    };
    const auto first = host.start();
    host.world.settle();
    EXPECT_EQ(second->value(), alreadyStarted);
    host.listener().becomeReady(boundPort);
    host.world.settle();
    EXPECT_EQ(first.value(), Outcome(boundPort));
}

TEST(ViewerHTTPServer, AListeningServerDoesNotStartAgain) {
    ServedWorld host;
    host.listen();
    const auto start = host.start();
    host.world.settle();
    EXPECT_EQ(start.value(), alreadyStarted);
}

TEST(ViewerHTTPServer, WithoutAUsablePortNothingIsOpenedAndAFurtherStartProceeds) {
    ServedWorld host;
    host.transport->hasPorts = false;
    const auto start = host.start();
    host.world.settle();
    EXPECT_EQ(start.value(), invalidPort);
    EXPECT_TRUE(host.transport->requestedPorts.empty());

    host.transport->hasPorts = true;
    const auto again = host.start();
    host.world.settle();
    host.listener().becomeReady(boundPort);
    host.world.settle();
    EXPECT_EQ(again.value(), Outcome(boundPort));
}

TEST(ViewerHTTPServer, AnErrorOfTheListenersCreationComesUnchangedAndAFurtherStartProceeds) {
    ServedWorld host;
    host.transport->creationError = "no sockets here";
    const auto start = host.start();
    host.world.settle();
    EXPECT_EQ(start.value(),
              Outcome(ViewerHTTPStartFailure(ViewerPlatformError{"no sockets here"})));

    host.transport->creationError.reset();
    const auto again = host.start();
    host.world.settle();
    host.listener().becomeReady(boundPort);
    host.world.settle();
    EXPECT_EQ(again.value(), Outcome(boundPort));
}

TEST(ViewerHTTPServer, AFailedListenerFailsTheStartAndIsKept) {
    ServedWorld host;
    const auto start = host.start();
    host.world.settle();
    host.listener().change(ViewerListenerState::failed, "Address already in use");
    host.world.settle();
    EXPECT_EQ(start.value(),
              failed(ViewerHTTPServerError::startupFailed("Address already in use")));
    EXPECT_EQ(host.listener().cancellations(), 0U);

    const auto again = host.start();
    host.world.settle();
    EXPECT_EQ(again.value(), alreadyStarted);
    EXPECT_EQ(host.transport->listeners.size(), 1U);
}

TEST(ViewerHTTPServer, AReadyListenerWithoutAPortFailsTheStartAndIsKept) {
    ServedWorld host;
    const auto start = host.start();
    host.world.settle();
    host.listener().becomeReady(std::nullopt);
    host.world.settle();
    EXPECT_EQ(start.value(), invalidPort);

    const auto again = host.start();
    host.world.settle();
    EXPECT_EQ(again.value(), alreadyStarted);
}

TEST(ViewerHTTPServer, AListenerCancelledBeforeItIsReadyFailsTheStart) {
    ServedWorld host;
    const auto start = host.start();
    host.world.settle();
    host.listener().change(ViewerListenerState::cancelled);
    host.world.settle();
    EXPECT_EQ(start.value(), stoppedBeforeReady);
}

TEST(ViewerHTTPServer, EventsAfterTheStartAreHarmless) {
    ServedWorld host;
    const auto start = host.start();
    host.world.settle();
    host.listener().becomeReady(boundPort);
    host.listener().becomeReady(boundPort);
    host.listener().change(ViewerListenerState::failed, "later");
    host.listener().change(ViewerListenerState::cancelled);
    host.world.settle();
    EXPECT_EQ(start.value(), Outcome(boundPort));
}

TEST(ViewerHTTPServer, AFailureAfterTheStartLeavesConnectionsAlone) {
    ServedWorld host;
    host.listen();
    const auto peers = host.connect(1);
    host.world.settle();
    host.listener().change(ViewerListenerState::failed, "later");
    peers.front()->send(ServedWorld::frameRequest);
    host.world.settle();
    EXPECT_EQ(peers.front()->messages(), std::vector<std::string>({ServedWorld::frameResponse}));
}

TEST(ViewerHTTPServer, StopWhileTheStartWaitsEndsBoth) {
    ServedWorld host;
    const auto start = host.start();
    host.world.settle();
    const auto stop = host.stop();
    host.world.settle();
    EXPECT_EQ(start.value(), stoppedBeforeReady);
    EXPECT_TRUE(stop.isThere());
    EXPECT_EQ(host.listener().cancellations(), 1U);
}

TEST(ViewerHTTPServer, StopBeforeAnyStartCompletesAndNoStartFollows) {
    ServedWorld host;
    const auto stop = host.stop();
    host.world.settle();
    EXPECT_TRUE(stop.isThere());
    EXPECT_EQ(host.shutdowns(), 1U);

    const auto start = host.start();
    host.world.settle();
    EXPECT_EQ(start.value(), alreadyStarted);
    EXPECT_TRUE(host.transport->requestedPorts.empty());
}

TEST(ViewerHTTPServer, AListenerMadeWhileTheServerStopsIsNotStarted) {
    ServedWorld host;
    // Another thread stops the server between the two halves of the start.
    host.transport->onMakeListener = [&host] {
        (void)host.stop();
        host.world.settle();
    };
    const auto start = host.start();
    host.world.settle();
    EXPECT_EQ(start.value(), stoppedBeforeReady);
    EXPECT_FALSE(host.listener().isStarted());
    EXPECT_EQ(host.transport->listeners.back().use_count(), 1);
}

TEST(ViewerHTTPServer, TheServerGoesWithItsLastOwnerWhileAListenerEventIsPending) {
    ServedWorld host;
    const auto start = host.start();
    host.world.settle();
    host.listener().becomeReady(boundPort);
    const std::weak_ptr<ViewerHTTPServer> server = host.server;
    host.server.reset();
    EXPECT_TRUE(server.expired());
    EXPECT_EQ(host.transport->listeners.back().use_count(), 2);  // the event's and the transport's
    host.world.settle();
    EXPECT_EQ(start.value(), stoppedBeforeReady);
    EXPECT_EQ(host.transport->listeners.back().use_count(), 1);
}

}  // namespace
}  // namespace velmora
