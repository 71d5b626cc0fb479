#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "viewerctl/ViewerBell.h"
#include "viewerctl/ViewerChanges.h"
#include "viewerctl/ViewerEvent.h"
#include "viewerctl/ViewerLocalServer.h"
#include "viewerctl/ViewerTask.h"
#include "viewerctl/ViewerWall.h"
#include "viewerctl/ViewerWallPage.h"

namespace velmora {

/// A page of the wall in a browser, spoken to over a WebSocket. It is sent the newest when it can
/// take it: what it misses is left out, nothing piles up. Must outlive its task. On the loop's
/// thread.
class ViewerLivePage final : public ViewerWallPage {
  public:
    /// The protocol that both speak; the other one that a page offers is its token.
    static constexpr std::string_view subprotocol = "velmora-wall-1";

    ViewerLivePage(boost::asio::io_context& loop, ViewerWall& wall,
                   std::shared_ptr<ViewerLocalConnection> connection);

    /// Until the page goes, says what no page says, or its connection is closed.
    ViewerTask<void> run(ViewerLocalRequest request);

    void noteHost(std::size_t host) override;
    void noteTile(std::uint32_t tile) override;
    void notePicture(std::uint32_t tile) override;

  private:
    using Stream = boost::beast::websocket::stream<boost::asio::ip::tcp::socket&, false>;

    ViewerTask<bool> accept(ViewerLocalRequest request);
    ViewerTask<void> read();
    ViewerTask<void> write();
    ViewerTask<bool> writeNext();
    ViewerTask<bool> sendText(std::string text);
    ViewerTask<bool> sendPicture(std::uint32_t number);
    bool hasChanges() const;

    boost::asio::io_context& loop_;
    ViewerWall& wall_;
    const std::shared_ptr<ViewerLocalConnection> connection_;
    Stream stream_;
    ViewerChanges<std::size_t> hosts_;
    ViewerChanges<std::uint32_t> tiles_;
    ViewerChanges<std::uint32_t> pictures_;
    bool isEnding_ = false;
    /// Whether the page is being told why its connection ends.
    bool isClosing_ = false;
    /// Rings when there is something to write.
    ViewerBell bell_;
    ViewerEvent writeEnded_;
};

}  // namespace velmora
