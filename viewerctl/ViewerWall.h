#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <vector>

#include "viewerctl/ViewerAnswerCheck.h"
#include "viewerctl/ViewerEvent.h"
#include "viewerctl/ViewerHostClient.h"
#include "viewerctl/ViewerTask.h"
#include "viewerctl/ViewerWallHost.h"
#include "viewerctl/ViewerWallLook.h"
#include "viewerctl/ViewerWallPage.h"
#include "viewerctl/ViewerWallRoom.h"
#include "viewerctl/ViewerWallTile.h"

namespace velmora {

/// What is known of many hosts and their displays, kept up to date while pages look: hosts are
/// asked for their displays now and then, displays for pictures as often as the most curious page
/// wants, once for all pages. What nobody looks at is not asked for. Must outlive its tasks, which
/// end after `stop`. On the loop's thread.
class ViewerWall final {
  public:
    ViewerWall(boost::asio::io_context& loop, ViewerHostClient& client,
               std::vector<ViewerListedHost> hosts);

    /// Until `stop`, which the client's has to come before.
    ViewerTask<void> run();
    void stop();

    void add(ViewerWallPage& page);
    void remove(ViewerWallPage& page);
    /// What the page shows now, instead of what it showed before. Unknown tiles are left out.
    void look(ViewerWallPage& page, const ViewerWallLook::Tiles& tiles);

    const ViewerWallRoom::Hosts& hosts() const { return room_.hosts(); }
    /// Nothing for an unknown number.
    std::shared_ptr<const ViewerWallTile> tile(std::uint32_t number) const {
        return room_.tile(number);
    }

  private:
    ViewerTask<void> watchHost(std::size_t index);
    ViewerTask<void> pollTile(std::shared_ptr<ViewerWallTile> tile);
    void noteListing(std::size_t index, ViewerOutcome<ViewerHostDisplayListing> outcome);
    void tellOfHost(std::size_t index);
    void lookAt(const std::shared_ptr<ViewerWallTile>& tile, ViewerWallPage& page,
                std::chrono::milliseconds interval);
    void noteFrame(ViewerWallTile& tile, const ViewerOutcome<ViewerHostFrame>& frame);
    void takePicture(ViewerWallTile& tile, const ViewerHostFrame& frame);
    void setState(ViewerWallTile& tile, ViewerTileState state,
                  std::optional<ViewerFailure> failure);
    void listSoon(ViewerWallHost& host);
    void pollIfWanted(const std::shared_ptr<ViewerWallTile>& tile);
    std::chrono::milliseconds listingPause();
    std::chrono::milliseconds shareOf(std::chrono::milliseconds interval);
    bool isWanted(const ViewerWallTile& tile) const;
    void noteTaskEnd();

    boost::asio::io_context& loop_;
    ViewerHostClient& client_;
    ViewerWallRoom room_;
    std::set<ViewerWallPage*> pages_;
    std::map<ViewerWallPage*, std::vector<std::uint32_t>> looks_;
    std::mt19937 chance_;
    bool isStopped_ = false;
    std::size_t tasks_ = 0;
    ViewerEvent ended_;
};

}  // namespace velmora
