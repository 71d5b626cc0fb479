#include "viewerctl/ViewerLivePage.h"

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/system/error_code.hpp>
#include <utility>

#include "viewerctl/ViewerWallLook.h"
#include "viewerctl/ViewerWallMessage.h"

namespace velmora {

namespace {

namespace asio = boost::asio;
namespace websocket = boost::beast::websocket;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds handshakeLimit{5};
/// Half of it without a word, and the page is asked for one.
constexpr std::chrono::seconds silenceLimit{20};
/// What the system keeps for a slow page, in bytes: no more than a few old pictures.
constexpr int sendBuffer = 262'144;

}  // namespace

ViewerLivePage::ViewerLivePage(asio::io_context& loop, ViewerWall& wall,
                               std::shared_ptr<ViewerLocalConnection> connection)
    : loop_(loop),
      wall_(wall),
      connection_(std::move(connection)),
      stream_(connection_->socket()),
      bell_(loop),
      writeEnded_(loop) {
    boost::system::error_code ignored;  // a slow page would see older pictures, nothing else
    const websocket::stream_base::timeout timeout{handshakeLimit, silenceLimit, true};
    stream_.set_option(timeout);
    connection_->socket().set_option(asio::socket_base::send_buffer_size(sendBuffer), ignored);
    stream_.set_option(websocket::stream_base::decorator([](websocket::response_type& response) {
        response.set(boost::beast::http::field::sec_websocket_protocol,
                     boost::beast::string_view(subprotocol.data(), subprotocol.size()));
    }));
    stream_.read_message_max(ViewerWallLook::longestMessage);
    stream_.auto_fragment(false);
}

ViewerTask<void> ViewerLivePage::run(ViewerLocalRequest request) {
    const bool isAccepted = co_await accept(std::move(request));
    if (!isAccepted) {
        co_return;
    }
    wall_.add(*this);
    asio::co_spawn(loop_, write(), asio::detached);
    co_await read();
    wall_.remove(*this);
    isEnding_ = true;
    connection_->close();
    bell_.ring();
    (void)co_await writeEnded_.wait();  // has no deadline of its own
}

ViewerTask<bool> ViewerLivePage::accept(ViewerLocalRequest request) {
    boost::system::error_code error;
    co_await stream_.async_accept(request, asio::redirect_error(asio::use_awaitable, error));
    co_return !error;
}

ViewerTask<void> ViewerLivePage::read() {
    bool goesOn = true;
    while (goesOn) {
        boost::beast::flat_buffer message;
        boost::system::error_code error;
        co_await stream_.async_read(message, asio::redirect_error(asio::use_awaitable, error));
        goesOn = !error;
        const std::string_view text(static_cast<const char*>(message.data().data()),
                                    message.size());
        const auto tiles = goesOn && stream_.got_text() ? ViewerWallLook::parse(text)
                                                        : std::optional<ViewerWallLook::Tiles>();
        if (tiles) {
            wall_.look(*this, *tiles);
        } else if (goesOn) {
            goesOn = false;
            isClosing_ = true;
            const websocket::close_reason reason(websocket::close_code::policy_error);
            co_await stream_.async_close(reason, asio::redirect_error(asio::use_awaitable, error));
        }
    }
}

ViewerTask<void> ViewerLivePage::write() {
    bool goesOn = co_await sendText(ViewerWallMessage::ofHosts(wall_.hosts()));
    while (goesOn && !isEnding_) {
        if (hasChanges()) {
            goesOn = co_await writeNext();
        } else {
            (void)co_await bell_.wait();  // has no deadline
        }
    }
    if (!isClosing_) {
        connection_->close();  // ends the reading
    }
    writeEnded_.set();
}

ViewerTask<bool> ViewerLivePage::writeNext() {
    const auto now = Clock::now();
    if (!hosts_.empty()) {
        const std::size_t index = hosts_.take();
        const auto displayOf = [this](std::uint32_t number) -> const ViewerWallTile& {
            return *wall_.tile(number);
        };
        std::string text = ViewerWallMessage::ofHost(index, *wall_.hosts()[index], displayOf, now);
        return sendText(std::move(text));
    }
    if (!tiles_.empty()) {
        const auto tile = wall_.tile(tiles_.take());
        return sendText(tile && tile->state ? ViewerWallMessage::ofTile(*tile, now)
                                            : std::string());
    }
    return sendPicture(pictures_.take());
}

ViewerTask<bool> ViewerLivePage::sendText(std::string text) {
    if (text.empty()) {
        co_return true;
    }
    boost::system::error_code error;
    stream_.text(true);
    const asio::const_buffer buffer = asio::buffer(text);
    co_await stream_.async_write(buffer, asio::redirect_error(asio::use_awaitable, error));
    co_return !error;
}

ViewerTask<bool> ViewerLivePage::sendPicture(std::uint32_t number) {
    const auto tile = wall_.tile(number);
    if (!tile || !tile->picture) {
        co_return true;
    }
    const std::string head = ViewerWallMessage::beforePicture(*tile, Clock::now());
    const ViewerBytes jpeg = tile->picture->jpeg;
    const std::array<asio::const_buffer, 2> buffers{asio::buffer(head),
                                                    asio::buffer(jpeg.data(), jpeg.size())};
    boost::system::error_code error;
    stream_.binary(true);
    co_await stream_.async_write(buffers, asio::redirect_error(asio::use_awaitable, error));
    co_return !error;
}

bool ViewerLivePage::hasChanges() const {
    return !hosts_.empty() || !tiles_.empty() || !pictures_.empty();
}

void ViewerLivePage::noteHost(std::size_t host) {
    hosts_.add(host);
    bell_.ring();
}

void ViewerLivePage::noteTile(std::uint32_t tile) {
    tiles_.add(tile);
    bell_.ring();
}

void ViewerLivePage::notePicture(std::uint32_t tile) {
    pictures_.add(tile);
    bell_.ring();
}

}  // namespace velmora
