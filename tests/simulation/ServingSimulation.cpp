#include "tests/simulation/ServingSimulation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <utility>
#include <variant>

#include "tests/support/runtime/BorrowedClock.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t mostHandlers = 16;
constexpr std::size_t mostClients = 60;
constexpr std::uint16_t port = 9090;
constexpr auto readyAfter = 2ms;
/// Half of the stops come around the start, the others at any time.
constexpr auto earliestStops = 4ms;
constexpr auto latestStops = 20'000ms;
/// Long enough for everything that a client can have in mind.
constexpr auto longestLife = 1h;

}  // namespace

ServingSimulation::ServingSimulation(std::uint64_t seed)
    : world_(seed),
      isStoppedEarly_(world_.choose(2) == 0),
      provider_(std::make_shared<SimulatedProvider>(world_)) {
    provider_->onShutdown = [this] {
        EXPECT_EQ(served(), 0U) << "the provider is shut down after the last handler";
        EXPECT_EQ(provider_->waiting(), 0U);
    };
    addClients();
    server_ = std::make_shared<ViewerHTTPServer>(provider_, port, "Simulated machine", transport_,
                                                 world_, borrowedClock(world_));
}

void ServingSimulation::addClients() {
    const std::size_t count = world_.choose(mostClients) + 1;
    for (std::size_t i = 0; i < count; ++i) {
        auto client = std::make_unique<SimulatedClient>(world_);
        client->onArrival = [this, added = client.get()] { arrivals_.push_back(added); };
        client->onStart = [this, added = client.get()] { noteStart(*added); };
        client->onDrop = [this, i] { ends_.push_back(i); };
        clients_.push_back(std::move(client));
    }
}

void ServingSimulation::run() {
    start_.emplace(world_, server_->start());
    world_.spawn(live(this));
    world_.spawn(watch(this));
    world_.runToEnd();
    EXPECT_TRUE(isOver());
    checkAnswers();
    checkOrder();
    checkRemains();
}

ViewerTask<void> ServingSimulation::live(ServingSimulation* self) {
    if (self->isStoppedEarly_) {
        const std::size_t stops = self->world_.choose(3) + 1;
        for (std::size_t i = 0; i < stops; ++i) {
            const auto most = self->world_.choose(2) == 0 ? earliestStops : latestStops;
            self->world_.spawn(stop(self, self->upTo(most)));
        }
    }
    (void)co_await self->world_.sleep(readyAfter);
    self->openTheDoor();
    if (!self->isStoppedEarly_) {
        while (!self->isEveryoneGone()) {
            (void)co_await self->world_.sleep(500ms);
        }
        co_await stop(self, 0ms);
    }
}

void ServingSimulation::openTheDoor() {
    if (transport_->listeners.empty()) {
        EXPECT_TRUE(isStoppedEarly_);
        clients_.clear();  // stopped before its start, the server never had a listener
        return;
    }
    const auto listener = transport_->listeners.back();
    listener->becomeReady(port);
    for (const auto& client : clients_) {
        world_.spawn(SimulatedClient::run(client.get(), listener));
    }
}

ViewerTask<void> ServingSimulation::stop(ServingSimulation* self, std::chrono::milliseconds after) {
    ++self->stopCalls_;
    (void)co_await self->world_.sleep(after);
    co_await self->server_->stop();
    EXPECT_EQ(self->served(), 0U) << "a stop completes after the last handler";
    ++self->stopsCompleted_;
}

ViewerTask<void> ServingSimulation::watch(ServingSimulation* self) {
    const auto end = self->world_.now() + longestLife;
    while (!self->isOver() && self->world_.now() < end) {
        self->look();
        (void)co_await self->world_.sleep(self->upTo(50ms) + 1ms);
    }
}

void ServingSimulation::look() {
    mostServed_ = std::max(mostServed_, served());
    EXPECT_LE(served(), mostHandlers);
    EXPECT_LE(provider_->waiting(), mostHandlers);
    for (const auto& client : clients_) {
        EXPECT_FALSE(client->isOverdue());
    }
}

void ServingSimulation::noteStart(const SimulatedClient& client) {
    starts_.push_back(&client);
    // A handler that makes room for this one by finishing may still be on the stack.
    EXPECT_LE(served(), mostHandlers + 1);
}

std::size_t ServingSimulation::served() const {
    return static_cast<std::size_t>(std::ranges::count_if(
        starts_, [](const auto* client) { return !client->peer().isDropped(); }));
}

bool ServingSimulation::isEveryoneGone() const {
    return arrivals_.size() == clients_.size() && ends_.size() == clients_.size();
}

bool ServingSimulation::isOver() const {
    return stopCalls_ > 0 && stopsCompleted_ == stopCalls_ && isEveryoneGone();
}

void ServingSimulation::checkAnswers() const {
    for (const auto& client : clients_) {
        const auto messages = client->peer().messages();
        SCOPED_TRACE(client->exchange().request.substr(0, 60));
        EXPECT_LE(messages.size(), 1U);
        for (const auto& message : messages) {
            EXPECT_EQ(message, client->exchange().response);
        }
        EXPECT_EQ(client->peer().sendsAfterCancel(), 0U);
        if (client->mustBeAnswered() && !isStoppedEarly_) {
            EXPECT_EQ(messages.size(), 1U);
        }
    }
}

void ServingSimulation::checkOrder() const {
    EXPECT_LE(starts_.size(), arrivals_.size());
    EXPECT_TRUE(std::ranges::equal(
        starts_, std::span(arrivals_).first(std::min(starts_.size(), arrivals_.size()))))
        << "connections are served in the order of their arrival";
    if (!isStoppedEarly_) {
        EXPECT_EQ(starts_.size(), arrivals_.size());
        EXPECT_EQ(start_->value(), ViewerHTTPServer::StartOutcome(port));
    }
    EXPECT_TRUE(start_->isThere());
}

void ServingSimulation::checkRemains() {
    EXPECT_EQ(std::ranges::count(provider_->calls(), "shutdown"), 1);
    EXPECT_EQ(provider_->calls().back(), "shutdown");
    EXPECT_EQ(world_.pendingTimers(), 0U);
    const std::weak_ptr<ViewerHTTPServer> server = server_;
    server_.reset();
    EXPECT_TRUE(server.expired());
    for (const auto& listener : transport_->listeners) {
        EXPECT_EQ(listener.use_count(), 1);
        EXPECT_LE(listener->cancellations(), 1U);
    }
}

std::size_t ServingSimulation::answered() const {
    return static_cast<std::size_t>(std::ranges::count_if(
        clients_, [](const auto& client) { return !client->peer().messages().empty(); }));
}

std::size_t ServingSimulation::neverServed() const {
    return arrivals_.size() - starts_.size();
}

std::chrono::milliseconds ServingSimulation::upTo(std::chrono::milliseconds most) {
    const auto count = static_cast<std::size_t>(most.count());
    return std::chrono::milliseconds(world_.choose(count + 1));
}

}  // namespace velmora
