#include "tests/http/linux/AnsweringServer.h"

#include <boost/asio/post.hpp>
#include <cstddef>
#include <string>
#include <utility>
#include <variant>

#include "tests/http/linux/ListeningWorld.h"

namespace velmora {

namespace {

constexpr std::size_t deliveryBytes = 1024;
constexpr std::size_t requestLimitBytes = 8192;

}  // namespace

/// One connection until it is answered.
class AnsweringServer::Served final : public ViewerConnectionReceiver,
                                      public std::enable_shared_from_this<Served> {
  public:
    Served(AnsweringServer& server, std::shared_ptr<ViewerConnection> connection)
        : server_(server), connection_(std::move(connection)) {}

    void start() { connection_->start(server_.queue_, weak_from_this()); }

    void connectionDidChange(ViewerConnectionState state) override {
        if (state == ViewerConnectionState::ready) {
            connection_->receive(deliveryBytes);
        }
    }

    void connectionDidReceive(const ViewerDelivery& delivery) override {
        request_.append(delivery.content.begin(), delivery.content.end());
        if (request_.find("\r\n\r\n") != std::string::npos ||
            request_.size() >= requestLimitBytes) {
            if (!request_.ends_with("\r\n\r\n") || request_.starts_with("POST")) {
                connection_->expectMore();
            }
            connection_->send(server_.answer_);
        } else if (delivery.isComplete || delivery.hasError) {
            end("gone");
        } else {
            connection_->receive(deliveryBytes);
        }
    }

    void connectionDidSend() override {
        connection_->cancel();
        end("answered");
    }

  private:
    void end(const char* how) {
        server_.served_.erase(shared_from_this());
        server_.log.add(how);
    }

    AnsweringServer& server_;
    const std::shared_ptr<ViewerConnection> connection_;
    std::string request_;
};

AnsweringServer::AnsweringServer(ViewerExecutor queue, std::shared_ptr<ViewerContinuousClock> clock,
                                 ViewerHostResponseBytes answer)
    : queue_(std::move(queue)),
      transport_(makeTransport(std::move(clock))),
      answer_(std::move(answer)),
      listener_(std::get<std::shared_ptr<ViewerListener>>(transport_->makeListener(0))) {}

AnsweringServer::~AnsweringServer() = default;

void AnsweringServer::start() {
    listener_->setStateHandler([this](ViewerListenerState state, const std::string& description) {
        log.add(nameOf(state) + description);
    });
    listener_->setConnectionHandler([this](std::shared_ptr<ViewerConnection> connection) {
        log.add("connection");
        const auto served = std::make_shared<Served>(*this, std::move(connection));
        served_.insert(served);
        served->start();
    });
    listener_->start(queue_);
}

void AnsweringServer::startAndRun(boost::asio::io_context& loop,
                                  const std::function<void()>& whenStarted) {
    start();
    // Behind the start, which opens the socket.
    boost::asio::post(loop, whenStarted);
    loop.run();
}

}  // namespace velmora
