#include "tests/http/linux/AnsweringServer.h"

#include <boost/asio/post.hpp>
#include <cstddef>
#include <utility>
#include <variant>

#include "tests/http/linux/ListeningWorld.h"

namespace velmora {

namespace {

constexpr std::size_t deliveryBytes = 1024;
constexpr std::size_t requestLimitBytes = 8192;

}  // namespace

AnsweringServer::AnsweringServer(ViewerExecutor queue, std::shared_ptr<ViewerContinuousClock> clock,
                                 ViewerHostResponseBytes answer)
    : queue_(std::move(queue)),
      transport_(makeTransport(std::move(clock))),
      answer_(std::move(answer)),
      listener_(std::get<std::shared_ptr<ViewerListener>>(transport_->makeListener(0))) {}

void AnsweringServer::start() {
    listener_->setStateHandler([this](ViewerListenerState state, const std::string& description) {
        log.add(nameOf(state) + description);
    });
    listener_->setConnectionHandler(
        [this](std::shared_ptr<ViewerConnection> connection) { serve(std::move(connection)); });
    listener_->start(queue_);
}

void AnsweringServer::startAndRun(boost::asio::io_context& loop,
                                  const std::function<void()>& whenStarted) {
    start();
    // Behind the start, which opens the socket.
    boost::asio::post(loop, whenStarted);
    loop.run();
}

void AnsweringServer::serve(std::shared_ptr<ViewerConnection> connection) {
    log.add("connection");
    const Key key = connection.get();
    served_.emplace(key, Served{connection, {}});
    connection->setStateHandler([this, key](ViewerConnectionState state) {
        if (state == ViewerConnectionState::ready) {
            receive(key);
        }
    });
    connection->start(queue_);
}

void AnsweringServer::receive(Key key) {
    served_.at(key).connection->receive(
        deliveryBytes, [this, key](const ViewerDelivery& delivery) { received(key, delivery); });
}

void AnsweringServer::received(Key key, const ViewerDelivery& delivery) {
    Served& served = served_.at(key);
    served.request.append(delivery.content.begin(), delivery.content.end());
    if (served.request.find("\r\n\r\n") != std::string::npos ||
        served.request.size() >= requestLimitBytes) {
        if (!served.request.ends_with("\r\n\r\n") || served.request.starts_with("POST")) {
            served.connection->expectMore();
        }
        served.connection->send(answer_, [this, key] {
            const auto finished = served_.extract(key);
            finished.mapped().connection->cancel();
            log.add("answered");
        });
    } else if (delivery.isComplete || delivery.hasError) {
        served_.erase(key);
        log.add("gone");
    } else {
        receive(key);
    }
}

}  // namespace velmora
