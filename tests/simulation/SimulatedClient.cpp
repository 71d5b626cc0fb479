#include "tests/simulation/SimulatedClient.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <utility>

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t mostPieces = 8;
constexpr std::size_t manyPieces = 5;
constexpr std::size_t hundred = 100;
constexpr std::size_t ten = 10;
constexpr std::size_t mostServed = 16;

constexpr std::size_t unreachableOneIn = 25;

}  // namespace

SimulatedClient::SimulatedClient(SimulationCourse& course, SimulatedExchange exchange, Kind kind)
    : course_(course),
      connection_(addConnection(std::move(exchange))),
      kind_(kind),
      ending_(course.isCalm || course.oneIn(2) ? Ending::staysOpen
                                               : static_cast<Ending>(course.world.choose(5))),
      reading_(course.isCalm || course.oneIn(2) ? Reading::atOnce
                                                : static_cast<Reading>(course.world.choose(3))),
      peer_(std::make_shared<ScriptedPeer>(
          ScriptedPeer::Network{.becomesReady = connection_.becomesReady,
                                .completesSends = reading_ == Reading::atOnce})) {
    watchPeer();
}

ConnectionHistory& SimulatedClient::addConnection(SimulatedExchange exchange) {
    auto& connection = course_.history.connections.emplace_back();
    connection.number = course_.history.connections.size();
    connection.exchange = std::move(exchange);
    connection.becomesReady = course_.isCalm || !course_.oneIn(unreachableOneIn);
    return connection;
}

void SimulatedClient::watchPeer() {
    peer_->onStart = [this] { started(); };
    peer_->onDelivery = [this](std::size_t bytes, bool hasEnd) { delivered(bytes, hasEnd); };
    peer_->onMessage = [this] { answered(); };
    peer_->onSent = [this] {
        connection_.sent =
            course_.note("connection #: the answer has left, or never will", connection_.number);
    };
    peer_->onCancel = [this] {
        if (!connection_.cancelled) {
            connection_.cancelled =
                course_.note("connection #: the host ends it", connection_.number);
            course_.tell(&SimulationRule::connectionCancelled, connection_);
        }
    };
    peer_->onDrop = [this] { dropped(); };
}

ViewerTask<void> SimulatedClient::run(SimulatedClient* client,
                                      std::shared_ptr<ScriptedListener> listener) {
    ConnectionHistory& connection = client->connection_;
    std::string_view line = connection.exchange.request;
    line = line.substr(0, std::min<std::size_t>(line.find('\r'), 60));
    connection.arrived =
        client->course_.note("client #: connects and asks: #", connection.number, line);
    SimulationHistory& history = client->course_.history;
    ++history.waiting;
    if (history.waiting >= ten) {
        client->course_.reach(SimulationState::lineOfTen);
    }
    if (history.waiting >= hundred) {
        client->course_.reach(SimulationState::lineOfHundred);
    }
    (void)listener->connect(client->peer_);
    if (client->kind_ == Kind::holdsAPlace) {
        (void)co_await client->course_.world.sleep(client->course_.anyOf(4s, 4990ms, 5s, 10s, 20s));
    }
    co_await sendPieces(client);
    if (client->ending_ != Ending::staysOpen) {
        (void)co_await client->course_.world.sleep(
            client->course_.anyOf(0s, 0s, 1ms, 100ms, 2s, 5s));
        client->finishPlaying();
    }
}

ViewerTask<void> SimulatedClient::sendPieces(SimulatedClient* client) {
    SimulationCourse& course = client->course_;
    std::string_view left = client->connection_.exchange.request;
    const std::size_t pieces =
        course.isCalm || course.oneIn(2) ? 1 : course.world.choose(mostPieces) + 1;
    if (pieces >= manyPieces) {
        course.reach(SimulationState::headInManyPieces);
    }
    for (std::size_t piece = 1; piece <= pieces && !client->connection_.dropped; ++piece) {
        const std::size_t size =
            piece == pieces ? left.size() : course.world.choose(left.size() + 1);
        course.note("client #: sends # bytes", client->connection_.number, size);
        client->peer_->send(left.substr(0, size));
        left.remove_prefix(size);
        if (piece < pieces) {
            (void)co_await course.world.sleep(course.anyOf(0s, 1ms, 20ms, 200ms, 1s));
        }
    }
}

void SimulatedClient::started() {
    connection_.started = course_.note("connection #: is served", connection_.number);
    SimulationHistory& history = course_.history;
    history.served.push_back(&connection_);
    --history.waiting;
    if (history.served.size() == mostServed) {
        course_.reach(SimulationState::sixteenServed);
    }
    course_.tell(&SimulationRule::connectionStarted, connection_);
}

void SimulatedClient::delivered(std::size_t bytes, bool hasEnd) {
    connection_.received += bytes;
    const auto moment = course_.note("connection #: the host receives # bytes#", connection_.number,
                                     bytes, hasEnd ? " and the end" : "");
    course_.tell(&SimulationRule::connectionReceived, connection_);
    if (hasEnd && !connection_.endSeen) {
        connection_.endSeen = moment;
    }
    const SimulatedExchange& exchange = connection_.exchange;
    if (!connection_.complete && connection_.received >= exchange.decidingBytes &&
        exchange.answer != SimulatedAnswer::none) {
        connection_.complete = moment;
        if (exchange.decidingBytes < exchange.request.size() && exchange.isLookedUp()) {
            course_.reach(SimulationState::pipelined);
        }
    }
}

void SimulatedClient::answered() {
    const auto messages = peer_->messages();
    if (messages.size() == connection_.messages) {
        course_.note("connection #: an answer comes too late", connection_.number);
        return;
    }
    connection_.messages = messages.size();
    connection_.message = messages.back();
    // The labels are the process's own and differ from run to run: the trace tells the rest.
    const std::string_view status = std::string_view(connection_.message).substr(9, 3);
    connection_.answered =
        course_.note("connection #: the host answers #", connection_.number, status);
    course_.tell(&SimulationRule::connectionAnswered, connection_);
    if (connection_.ended && connection_.ended < connection_.answered) {
        course_.reach(SimulationState::halfClosedAndAnswered);
    }
    if (reading_ == Reading::late) {
        course_.after(course_.anyOf(1ms, 1s, 4s, 6s), [peer = peer_] { peer->completeSend(); });
    }
    onAnswer();
}

void SimulatedClient::dropped() {
    connection_.dropped = course_.note("connection #: is gone", connection_.number);
    if (connection_.started) {
        std::erase(course_.history.served, &connection_);
    } else {
        --course_.history.waiting;
        course_.reach(SimulationState::lineAtTheEnd);
    }
    if (reading_ == Reading::never && connection_.answered) {
        course_.reach(SimulationState::answerNeverRead);
    }
    course_.tell(&SimulationRule::connectionDropped, connection_);
}

void SimulatedClient::finishPlaying() {
    if (connection_.dropped) {
        return;
    }
    switch (ending_) {
        case Ending::ends:
            connection_.ended = course_.note("client #: ends its side", connection_.number);
            peer_->end();
            return;
        case Ending::breaksOff:
            connection_.lost = course_.note("client #: breaks off", connection_.number);
            course_.reach(SimulationState::brokenOff);
            peer_->breakOff();
            return;
        case Ending::fails:
            lose(ViewerConnectionState::failed);
            return;
        case Ending::isCancelled:
            lose(ViewerConnectionState::cancelled);
            return;
        case Ending::staysOpen:
            return;
    }
}

void SimulatedClient::lose(ViewerConnectionState state) {
    if (peer_->isStarted()) {  // a connection that waits has no events
        connection_.lost = course_.note("connection #: the network loses it", connection_.number);
        peer_->change(state);
    }
}

}  // namespace velmora
