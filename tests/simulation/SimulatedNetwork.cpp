#include "tests/simulation/SimulatedNetwork.h"

#include <chrono>
#include <cstdint>
#include <utility>

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr std::uint16_t port = 9090;
/// After so long without a request a capture is stopped.
constexpr auto idleTime = 5s;
/// Enough for sixteen to be served and a hundred to wait.
constexpr std::size_t crowd = 118;
constexpr std::size_t mostOfCrowdMore = 8;
constexpr std::size_t mostClients = 34;
constexpr std::size_t mostRepetitions = 16;
/// Of 100 simulations this many have a crowd.
constexpr std::size_t crowdsOfHundred = 3;

}  // namespace

SimulatedNetwork::SimulatedNetwork(SimulationCourse& course, std::vector<std::string> displayIDs)
    : course_(course),
      displayIDs_(std::move(displayIDs)),
      isCrowded_(course.world.choose(100) < crowdsOfHundred),
      clients_(isCrowded_ ? crowd + course.world.choose(mostOfCrowdMore)
                          : course.world.choose(mostClients) + 1),
      repetitions_(course.world.choose(mostRepetitions)) {
    if (!course.isCalm && course.oneIn(30)) {
        transport_->creationError = "no listener";
    }
    transport_->onMakeListener = [this] { makeListener(); };
}

void SimulatedNetwork::makeListener() {
    course_.note("the host makes a listener");
    course_.tell(&SimulationRule::listenerMade);
    if (transport_->creationError) {
        course_.history.listenerFailed = course_.note("no listener can be made");
        course_.reach(SimulationState::listenerFailed);
    }
}

bool SimulatedNetwork::rested() {
    if (isOpening_ || transport_->listeners.empty() || !listener()->isStarted()) {
        return false;
    }
    isOpening_ = true;
    course_.world.spawn(open(this));
    return true;
}

ViewerTask<void> SimulatedNetwork::open(SimulatedNetwork* self) {
    SimulationCourse& course = self->course_;
    const auto listener = self->listener();
    (void)co_await course.world.sleep(course.anyOf(0s, 1ms, 100ms, 2s));
    if (listener->cancellations() > 0) {
        co_return;
    }
    if (!course.isCalm && course.oneIn(20)) {
        course.history.listenerFailed = course.note("the listener fails");
        course.reach(SimulationState::listenerFailed);
        listener->change(ViewerListenerState::failed, "TCP port 9090: Address already in use");
        co_return;
    }
    course.history.listenerReady = course.note("the listener is ready");
    listener->becomeReady(port);
    co_await arrive(self);
    if (!course.isCalm && course.oneIn(8)) {
        course.note("the listener fails, though it was ready");
        course.reach(SimulationState::listenerFailedLater);
        listener->change(ViewerListenerState::failed, "network is down");
    }
}

ViewerTask<void> SimulatedNetwork::arrive(SimulatedNetwork* self) {
    SimulationCourse& course = self->course_;
    const bool isRush = self->isCrowded_ || course.oneIn(2);
    for (std::size_t left = self->clients_; left > 0; --left) {
        const bool holds = self->isCrowded_ ? !course.oneIn(4) : course.oneIn(20);
        self->connect(anyExchange(course.world, self->displayIDs_),
                      holds ? SimulatedClient::Kind::holdsAPlace : SimulatedClient::Kind::asks);
        if (!isRush || course.oneIn(10)) {
            (void)co_await course.world.sleep(course.anyOf(0s, 0s, 1ms, 20ms, 300ms, 1s));
        }
    }
}

void SimulatedNetwork::connect(SimulatedExchange exchange, SimulatedClient::Kind kind) {
    auto& client = connected_.emplace_back(
        std::make_unique<SimulatedClient>(course_, std::move(exchange), kind));
    client->onAnswer = [this, answered = client.get()] { askAgain(answered->connection()); };
    course_.world.spawn(SimulatedClient::run(client.get(), listener()));
}

void SimulatedNetwork::askAgain(const ConnectionHistory& connection) {
    const std::string& displayID = connection.exchange.displayID;
    lastAnswers_[displayID] = course_.world.now();
    if (repetitions_ == 0 || !connection.message.starts_with("HTTP/1.1 200 ")) {
        return;
    }
    --repetitions_;
    if (course_.oneIn(4)) {
        course_.after(course_.anyOf(0s, 2s, 7s),
                      [this] { connectIfOpen(anyExchange(course_.world, displayIDs_)); });
    } else {
        askNearTheIdleStop(displayID);
    }
}

void SimulatedNetwork::askNearTheIdleStop(const std::string& displayID) {
    const auto pause = course_.anyOf(idleTime - 1ns, idleTime - 1ns, idleTime - 1ns, idleTime);
    course_.after(lastAnswers_[displayID] + pause - course_.world.now(), [this, displayID] {
        if (lastAnswers_[displayID] + idleTime > course_.world.now() + 1ns) {
            askNearTheIdleStop(displayID);  // somebody has asked meanwhile
        } else if (!displayID.empty()) {
            connectIfOpen(frameExchange(course_.world, displayID));
        }
    });
}

void SimulatedNetwork::connectIfOpen(SimulatedExchange exchange) {
    if (listener()->cancellations() == 0) {
        connect(std::move(exchange), SimulatedClient::Kind::asks);
    }
}

void SimulatedNetwork::close() {
    for (const auto& made : transport_->listeners) {
        if (made.use_count() != 1) {
            course_.fail("everything is gone at the end", "a listener is not");
        }
        if (made->isStarted() && made->cancellations() != 1) {
            course_.fail("a listener is ended once", "it was not");
        }
    }
    for (const auto& client : connected_) {
        if (client->peer().sendsAfterCancel() > 0) {
            course_.fail("a connection that was ended is sent nothing", "it was");
        }
    }
}

}  // namespace velmora
