#include "tests/simulation/SimulatedClient.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "tests/simulation/SimulatedProvider.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

/// Half of the clients come in a crowd at the beginning, the others at any time.
constexpr auto crowdsArrival = 100ms;
constexpr auto latestArrival = 10s;
/// Pauses between pieces, all together: with them a request still arrives well before the deadline.
constexpr auto longestSending = 2000ms;
constexpr auto latestEnding = 6s;
constexpr auto longestSend = 6s;
constexpr auto deadline = 5s;
constexpr std::size_t mostPieces = 8;

bool oneIn(SimulatedWorld& world, std::size_t count) {
    return world.choose(count) == 0;
}

/// A quarter of the clients asks for what takes long, so that the slots fill up.
const SimulatedExchange& chooseExchange(SimulatedWorld& world) {
    const auto& all = simulatedExchanges();
    if (oneIn(world, 4)) {
        return *std::ranges::find_if(all, &SimulatedExchange::isSlow);
    }
    return all[world.choose(all.size())];
}

}  // namespace

SimulatedClient::SimulatedClient(SimulatedWorld& world)
    : world_(world),
      exchange_(chooseExchange(world)),
      ending_(static_cast<Ending>(world.choose(5))),
      network_{.becomesReady = !oneIn(world, 20), .completesSends = oneIn(world, 2)},
      length_(exchange_.request.size()),
      peer_(std::make_shared<ScriptedPeer>(network_)) {
    if (length_ > 0 && oneIn(world, 5)) {
        length_ = world.choose(length_);
    }
    peer_->onStart = [this] {
        startedAt_ = world_.now();
        onStart();
    };
    peer_->onDrop = [this] { onDrop(); };
    peer_->onMessage = [this] {
        if (!network_.completesSends) {
            world_.spawn(completeSend(this));
        }
    };
}

ViewerTask<void> SimulatedClient::run(SimulatedClient* client,
                                      std::shared_ptr<ScriptedListener> listener) {
    const bool isInTheCrowd = oneIn(client->world_, 2);
    const std::chrono::milliseconds latest = isInTheCrowd ? crowdsArrival : latestArrival;
    (void)co_await client->world_.sleep(client->upTo(latest));
    (void)listener->connect(client->peer_);
    client->onArrival();
    co_await sendPieces(client);
    if (client->ending_ != Ending::staysOpen) {
        (void)co_await client->world_.sleep(client->upTo(latestEnding));
        client->finishPlaying();
    }
}

ViewerTask<void> SimulatedClient::sendPieces(SimulatedClient* client) {
    std::string_view left = std::string_view(client->exchange_.request).substr(0, client->length_);
    const std::size_t pieces = client->world_.choose(mostPieces) + 1;
    for (std::size_t piece = 1; piece <= pieces; ++piece) {
        const bool isLast = piece == pieces;
        const std::size_t size = isLast ? left.size() : client->world_.choose(left.size() + 1);
        client->peer_->send(left.substr(0, size));
        left.remove_prefix(size);
        (void)co_await client->world_.sleep(client->upTo(longestSending / mostPieces));
    }
}

void SimulatedClient::finishPlaying() {
    // A connection that waits has no events, and one that is gone neither.
    switch (ending_) {
        case Ending::ends:
            peer_->end();
            return;
        case Ending::breaksOff:
            peer_->breakOff();
            return;
        case Ending::fails:
        case Ending::isCancelled:
            if (peer_->isStarted()) {
                peer_->change(ending_ == Ending::fails ? ViewerConnectionState::failed
                                                       : ViewerConnectionState::cancelled);
            }
            return;
        case Ending::staysOpen:
            return;
    }
}

ViewerTask<void> SimulatedClient::completeSend(SimulatedClient* client) {
    (void)co_await client->world_.sleep(client->upTo(longestSend));
    client->peer_->completeSend();
}

bool SimulatedClient::mustBeAnswered() const {
    const bool staysLongEnough = ending_ == Ending::staysOpen || ending_ == Ending::ends;
    return exchange_.response && !exchange_.isSlow && length_ == exchange_.request.size() &&
           staysLongEnough && network_.becomesReady;
}

bool SimulatedClient::isOverdue() const {
    if (!startedAt_ || peer_->isDropped()) {
        return false;
    }
    const auto routing = exchange_.response ? 2 * SimulatedProvider::longestPause : 0s;
    return world_.now() - *startedAt_ > deadline + routing;
}

std::chrono::milliseconds SimulatedClient::upTo(std::chrono::milliseconds most) {
    const auto count = static_cast<std::size_t>(most.count());
    return std::chrono::milliseconds(world_.choose(count + 1));
}

}  // namespace velmora
