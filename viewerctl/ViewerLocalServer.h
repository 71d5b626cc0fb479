#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/fields.hpp>
#include <boost/beast/http/message.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "viewerctl/ViewerEvent.h"
#include "viewerctl/ViewerTask.h"

namespace velmora {

/// The head of a request; it has no body.
using ViewerLocalRequest = boost::beast::http::request<boost::beast::http::empty_body>;

/// The connection of a program on this machine that asked for something. On the loop's thread.
class ViewerLocalConnection final {
  public:
    explicit ViewerLocalConnection(boost::asio::ip::tcp::socket socket);

    /// Sends everything; false when the other side is gone, or this one ends.
    ViewerTask<bool> send(std::shared_ptr<const std::string> bytes);
    /// What is sent or received ends without success.
    void close();

    boost::asio::ip::tcp::socket& socket() { return socket_; }

  private:
    boost::asio::ip::tcp::socket socket_;
};

/// Answers programs on this machine over HTTP/1.1, one request a connection; nobody else can
/// connect, unless it is told to listen elsewhere. A page elsewhere that makes a browser ask is
/// refused: it does not know this server by its own name. Must outlive its connections. On the
/// loop's thread.
class ViewerLocalServer final {
  public:
    using Endpoint = boost::asio::ip::tcp::endpoint;
    /// Answers a GET. The connection is closed behind it.
    using Handler =
        std::function<ViewerTask<void>(ViewerLocalRequest, std::shared_ptr<ViewerLocalConnection>)>;
    /// Names and values of fields of an answer.
    using Fields = std::vector<std::pair<std::string, std::string>>;

    /// Served at once; whoever comes then is turned away.
    static constexpr std::size_t mostConnections = 64;

    /// Throws boost::system::system_error when the port cannot be had; port 0 is any free one.
    ViewerLocalServer(boost::asio::io_context& loop, const Endpoint& endpoint, Handler handler);

    /// That nobody reaches from elsewhere.
    static Endpoint loopback(std::uint16_t port);

    std::uint16_t port() const { return endpoint_.port(); }
    /// As it stands in a URL: "127.0.0.1:8080".
    std::string authority() const;
    /// Serves until `stop`, and until every connection has ended.
    ViewerTask<void> serve();
    void stop();

    /// The bytes of an answer with a body.
    static std::shared_ptr<const std::string> answer(unsigned status, std::string_view type,
                                                     std::string_view body,
                                                     const Fields& fields = {});

  private:
    ViewerTask<void> attend(std::shared_ptr<ViewerLocalConnection> connection);
    ViewerTask<void> respond(std::shared_ptr<ViewerLocalConnection> connection);
    bool isOwnName(std::string_view host) const;

    boost::asio::io_context& loop_;
    boost::asio::ip::tcp::acceptor acceptor_;
    const Endpoint endpoint_;
    Handler handler_;
    std::set<std::shared_ptr<ViewerLocalConnection>> connections_;
    bool isStopped_ = false;
    ViewerEvent ended_;
};

}  // namespace velmora
