#include "viewerctl/ViewerLocalServer.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <chrono>
#include <sstream>
#include <utility>

namespace velmora {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;

constexpr std::uint32_t longestHead = 8'192;
/// For a request to arrive.
constexpr std::chrono::seconds requestLimit{5};

constexpr std::chrono::milliseconds betweenAttempts{200};

}  // namespace

ViewerLocalConnection::ViewerLocalConnection(tcp::socket socket) : socket_(std::move(socket)) {}

ViewerTask<bool> ViewerLocalConnection::send(std::shared_ptr<const std::string> bytes) {
    boost::system::error_code error;
    const asio::const_buffer buffer = asio::buffer(*bytes);
    co_await asio::async_write(socket_, buffer, asio::redirect_error(asio::use_awaitable, error));
    co_return !error;
}

void ViewerLocalConnection::close() {
    boost::system::error_code ignored;  // it may have ended already
    socket_.shutdown(tcp::socket::shutdown_both, ignored);
    socket_.close(ignored);
}

ViewerLocalServer::ViewerLocalServer(asio::io_context& loop, const Endpoint& endpoint,
                                     Handler handler)
    : loop_(loop),
      acceptor_(loop, endpoint),
      endpoint_(acceptor_.local_endpoint()),
      handler_(std::move(handler)),
      ended_(loop) {}

ViewerLocalServer::Endpoint ViewerLocalServer::loopback(std::uint16_t port) {
    return {asio::ip::address_v4::loopback(), port};
}

std::string ViewerLocalServer::authority() const {
    const std::string address = endpoint_.address().to_string();
    return (endpoint_.address().is_v6() ? "[" + address + "]" : address) + ":" +
           std::to_string(port());
}

ViewerTask<void> ViewerLocalServer::serve() {
    while (!isStopped_) {
        boost::system::error_code error;
        tcp::socket socket =
            co_await acceptor_.async_accept(asio::redirect_error(asio::use_awaitable, error));
        if (!error && connections_.size() < mostConnections) {
            const auto connection = std::make_shared<ViewerLocalConnection>(std::move(socket));
            connections_.insert(connection);
            asio::co_spawn(loop_, attend(connection), asio::detached);
        } else if (error && !isStopped_) {
            // Descriptors have run out: some will be given back.
            asio::steady_timer pause(loop_, betweenAttempts);
            co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, error));
        }
    }
    if (!connections_.empty()) {
        (void)co_await ended_.wait();  // has no deadline of its own
    }
}

void ViewerLocalServer::stop() {
    isStopped_ = true;
    boost::system::error_code ignored;  // nobody is accepted any more, whatever it says
    acceptor_.close(ignored);
    for (const auto& connection : connections_) {
        connection->close();
    }
}

ViewerTask<void> ViewerLocalServer::attend(std::shared_ptr<ViewerLocalConnection> connection) {
    co_await respond(connection);
    connection->close();
    connections_.erase(connection);
    if (isStopped_ && connections_.empty()) {
        ended_.set();
    }
}

ViewerTask<void> ViewerLocalServer::respond(std::shared_ptr<ViewerLocalConnection> connection) {
    boost::beast::flat_buffer buffer(longestHead);
    http::request_parser<http::empty_body> parser;
    parser.header_limit(longestHead);
    asio::steady_timer limit(loop_, requestLimit);
    limit.async_wait([connection](boost::system::error_code error) {
        if (!error) {
            connection->close();
        }
    });
    boost::system::error_code error;
    co_await http::async_read_header(connection->socket(), buffer, parser,
                                     asio::redirect_error(asio::use_awaitable, error));
    limit.cancel();
    if (error) {
        co_return;
    }
    ViewerLocalRequest request = parser.release();
    if (!isOwnName(request[http::field::host])) {
        (void)co_await connection->send(answer(403, "text/plain", ""));  // is closed either way
    } else if (request.method() != http::verb::get) {
        (void)co_await connection->send(answer(405, "text/plain", ""));  // is closed either way
    } else {
        co_await handler_(std::move(request), connection);
    }
}

bool ViewerLocalServer::isOwnName(std::string_view host) const {
    const bool isLoopback = endpoint_.address().is_loopback();
    return host == authority() || (isLoopback && host == "localhost:" + std::to_string(port()));
}

std::shared_ptr<const std::string> ViewerLocalServer::answer(unsigned status, std::string_view type,
                                                             std::string_view body,
                                                             const Fields& fields) {
    constexpr unsigned version = 11;
    http::response<http::string_body> response(static_cast<http::status>(status), version,
                                               std::string(body));
    response.set(http::field::content_type, boost::beast::string_view(type.data(), type.size()));
    response.set(http::field::cache_control, "no-store");
    for (const auto& [name, value] : fields) {
        response.set(name, value);
    }
    response.keep_alive(false);
    response.prepare_payload();
    std::ostringstream bytes;
    bytes << response;
    return std::make_shared<const std::string>(bytes.str());
}

}  // namespace velmora
