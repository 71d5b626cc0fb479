#include "tests/schedules/ServingWorld.h"

#include <boost/asio/post.hpp>
#include <chrono>
#include <utility>

#include "core/runtime/ViewerTaskHandle.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;
using Client = ServingPlan::Client;

constexpr auto deadline = 5s;
constexpr std::uint16_t port = 9090;
constexpr std::string_view request = "GET /viewer/v1/frame?id=one HTTP/1.1\r\nHost: h\r\n\r\n";
constexpr std::string_view response =
    "HTTP/1.1 200 OK\r\nContent-Type: image/jpeg\r\nContent-Length: 4\r\n"
    "Cache-Control: no-store\r\nConnection: close\r\nX-Velmora-Frame: label-1\r\n\r\nJPEG";

}  // namespace

ServingWorld::ServingWorld(ScheduledWorld& world, ServingPlan plan)
    : SmallWorld(world), plan_(std::move(plan)) {}

void ServingWorld::begin() {
    provider_ = std::make_shared<ScheduledProvider>(world(), plan_.answersLate);
    provider_->onCall = [this] {
        expect(provider_->onShutdown != nullptr, "the provider is not asked behind its shutdown");
    };
    provider_->onShutdown = [this] {
        tell("the provider is shut down");
        expect(served_ == 0, "the provider is shut down behind the last connection");
        expect(provider_->waiting == 0, "the provider is shut down behind the last request");
        expect(isStopping_, "the provider is shut down at a stop only");
        provider_->onShutdown = nullptr;
    };
    transport_ = std::make_shared<ScriptedTransport>();
    if (!plan_.isReadyLate) {
        transport_->portAtStart = port;
    }
    transport_->onMakeListener = [this] { listen(); };
    server_ = std::make_shared<ViewerHTTPServer>(
        provider_, port, "machine", transport_, world(),
        std::shared_ptr<ViewerContinuousClock>(std::shared_ptr<void>(), &world()),
        plan_.connectionLimit);
    connections_.resize(plan_.clients.size());
    (void)startTask(world().taskExecutor(), run(this));  // is never cancelled
    if (plan_.isStopped) {
        world().mayHappen("stop", [this] {
            isStopping_ = true;
            tell("is to stop");
            if (startAnswers_ == 0) {
                reach("a stop during the start");
            }
            if (arrivals_ > plan_.connectionLimit && lastStarted_ <= plan_.connectionLimit) {
                reach("a stop while somebody waits");
            }
            (void)startTask(world().taskExecutor(), stop(this));  // is never cancelled
        });
    }
}

ViewerTask<void> ServingWorld::run(ServingWorld* self) {
    const auto outcome = co_await self->server_->start();
    self->expect(++self->startAnswers_ == 1, "a start comes to its end once");
    const auto* const bound = std::get_if<std::uint16_t>(&outcome);
    self->startAnswer_ = bound != nullptr ? "started" : "not started";
    self->tell(self->startAnswer_);
    self->expect(bound != nullptr || self->isStopping_ || self->plan_.failsLate,
                 "a start fails for a reason");
}

void ServingWorld::listen() {
    // Behind the call: the listener is made, and then started.
    boost::asio::post(world().makeSerialExecutor("network"), [this] {
        const auto listener = transport_->listeners.back();
        if (!listener->isStarted()) {
            expect(isStopping_, "a listener is started unless the server is stopped");
            return;
        }
        if (plan_.isReadyLate) {
            world().mayHappen("ready", [listener] { listener->becomeReady(port); });
        }
        if (plan_.failsLate) {
            world().mayHappen("failure", [listener] {
                listener->change(ViewerListenerState::failed, "no network");
            });
        }
        for (std::size_t number = 0; number < connections_.size(); ++number) {
            prepare(number);
            if (plan_.comesLate) {
                world().mayHappen("client " + std::to_string(number + 1),
                                  [this, number] { arrive(number); });
            } else {
                arrive(number);
            }
        }
    });
}

void ServingWorld::prepare(std::size_t number) {
    ConnectionNotes& connection = connections_[number];
    connection.peer = std::make_shared<ScriptedPeer>();
    connection.peer->onStart = [this, number] { started(number); };
    connection.peer->onCancel = [this, number] { cancelled(number); };
    connection.peer->onDrop = [this, number] { dropped(number); };
    connection.peer->onMessage = [this, number] {
        expect(++connections_[number].messages == 1, "a connection has one answer at most");
    };
}

void ServingWorld::arrive(std::size_t number) {
    ConnectionNotes& connection = connections_[number];
    connection.arrived = ++arrivals_;
    tell("connects: client", number + 1);
    const auto peer = connection.peer;
    switch (plan_.clients[number]) {
        case Client::asks:
            peer->send(request);
            break;
        case Client::asksLate:
            world().mayHappen("question " + std::to_string(number + 1),
                              [peer] { peer->send(request); });
            break;
        case Client::isSilent:
            break;
        case Client::leaves:
            peer->send(request.substr(0, request.size() / 2));
            world().mayHappen("leaving " + std::to_string(number + 1), [this, number, peer] {
                connections_[number].hasLeft = true;
                peer->end();
            });
            break;
        case Client::breaksOff:
            peer->send(request);
            world().mayHappen("breaking off " + std::to_string(number + 1), [this, number, peer] {
                connections_[number].hasLeft = true;
                peer->breakOff();
                if (peer->isStarted()) {
                    peer->change(ViewerConnectionState::failed);
                }
            });
    }
    (void)transport_->listeners.back()->connect(peer);
}

void ServingWorld::started(std::size_t number) {
    ConnectionNotes& connection = connections_[number];
    tell("is served: client", number + 1);
    connection.started = world().now();
    checkPlaces();
    if (++served_ > plan_.connectionLimit) {
        overfullAt_ = world().steps();
    }
    expect(connection.arrived > lastStarted_, "connections are served in their order");
    lastStarted_ = connection.arrived;
    if (connection.arrived > plan_.connectionLimit) {
        reach("a connection that waited is served");
    }
}

void ServingWorld::dropped(std::size_t number) {
    ConnectionNotes& connection = connections_[number];
    connection.isDropped = true;
    if (connection.started) {
        checkPlaces();
        --served_;
        if (served_ == plan_.connectionLimit) {
            overfullAt_.reset();
        }
    }
}

/// Who makes room for another by its end may go behind the other's start, but in the same step.
void ServingWorld::checkPlaces() {
    expect(
        !overfullAt_ || (*overfullAt_ == world().steps() && served_ <= plan_.connectionLimit + 1),
        "no more connections are served than the limit");
}

void ServingWorld::cancelled(std::size_t number) {
    ConnectionNotes& connection = connections_[number];
    if (!connection.cancelled) {
        tell("is ended: client", number + 1);
        connection.cancelled = world().now();
        const bool isLate = connection.started && world().now() - *connection.started == deadline;
        expect(isLate || isStopping_ || connection.messages == 1 || connection.hasLeft,
               "nobody is cut off before the deadline without a reason");
        if (isLate && connection.messages == 0) {
            reach("a connection cut off at its deadline");
        }
    }
}

ViewerTask<void> ServingWorld::stop(ServingWorld* self) {
    co_await self->server_->stop();
    self->tell("has stopped");
    self->expect(++self->stopAnswers_ == 1, "a stop comes to its end once");
    for (const ConnectionNotes& connection : self->connections_) {
        self->expect(!connection.started || connection.isDropped,
                     "a stop comes to its end behind the last connection");
    }
    self->expect(self->provider_->onShutdown == nullptr,
                 "a stop comes to its end behind the provider's shutdown");
}

void ServingWorld::end() {
    const std::weak_ptr<ViewerHTTPServer> server = server_;
    expect(startAnswers_ == 1, "a start comes to its end once");
    expect(stopAnswers_ == (plan_.isStopped ? 1U : 0U), "a stop comes to its end");
    checkPlaces();
    expect(served_ == 0, "every place is given back");
    for (const ConnectionNotes& connection : connections_) {
        checkEnd(connection);
    }
    server_.reset();
    expect(server.expired(), "nothing is left of the server");
    for (const auto& listener : transport_->listeners) {
        expect(listener.use_count() == 1, "nothing is left of the listener");
        expect(listener->cancellations() == (plan_.isStopped && listener->isStarted() ? 1U : 0U),
               "a listener is ended by a stop");
    }
}

void ServingWorld::checkEnd(const ConnectionNotes& connection) {
    if (connection.arrived == 0) {
        expect(isStopping_, "who wants to connect can");
        return;
    }
    const auto messages = connection.peer->messages();
    const auto index = static_cast<std::size_t>(&connection - connections_.data());
    const Client client = plan_.clients[index];
    const bool hasAsked = client != Client::isSilent && client != Client::leaves;
    expect(connection.isDropped, "nothing is left of a connection");
    expect(connection.cancelled || connection.hasLeft, "every connection is ended");
    expect(messages.size() + connection.peer->sendsAfterCancel() <= 1,
           "a connection has one answer at most");
    expect(connection.peer->sendsAfterCancel() == 0, "who was cut off is sent nothing");
    expect(messages.empty() || (hasAsked && messages.front() == response),
           "an answer is the right one, byte for byte");
    const bool isLate = connection.started && connection.cancelled &&
                        *connection.cancelled - *connection.started >= deadline;
    expect(!messages.empty() || isStopping_ || isLate || connection.hasLeft,
           "who asks in time is answered");
    expect(!connection.started || !connection.cancelled ||
               *connection.cancelled - *connection.started <= deadline,
           "nobody is served beyond the deadline");
}

std::string ServingWorld::outcome() const {
    std::string text = startAnswer_ + "; ";
    for (const ConnectionNotes& connection : connections_) {
        text += connection.started
                    ? "served at " + std::to_string(connection.started->time_since_epoch() / 1ms)
                    : "not served";
        text += connection.messages > 0 ? ", answered" : "";
        if (connection.cancelled) {
            text += ", ended at " + std::to_string(connection.cancelled->time_since_epoch() / 1ms);
        }
        text += "; ";
    }
    for (const std::string_view state : reached()) {
        text.append(state).append("; ");
    }
    return text;
}

}  // namespace velmora
