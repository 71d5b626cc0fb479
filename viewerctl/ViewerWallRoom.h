#pragma once

#include <boost/asio/io_context.hpp>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "core/protocol/ViewerHostDisplayListing.h"
#include "viewerctl/ViewerHostList.h"
#include "viewerctl/ViewerWallHost.h"
#include "viewerctl/ViewerWallTile.h"

namespace velmora {

/// The hosts of a wall in their order, and the displays that they have listed. However often hosts
/// list others, what is kept stays bounded. Owned by the wall; on the loop's thread.
class ViewerWallRoom final {
  public:
    using Hosts = std::vector<std::unique_ptr<ViewerWallHost>>;
    using Tiles = std::map<std::uint32_t, std::shared_ptr<ViewerWallTile>>;

    /// Displays that a host remembers though it does not list them any more, in case they come
    /// back.
    static constexpr std::size_t mostUnlisted = 64;
    /// What is kept of pictures that nobody looks at any more, in bytes, in case somebody looks
    /// again.
    static constexpr std::size_t mostUnseen = 67'108'864;

    /// A host that is named twice stands where it is named first.
    ViewerWallRoom(boost::asio::io_context& loop, std::vector<ViewerListedHost> hosts);

    const Hosts& hosts() const { return hosts_; }
    const Tiles& tiles() const { return tiles_; }
    /// Nothing for an unknown number.
    std::shared_ptr<ViewerWallTile> tile(std::uint32_t number) const;

    /// Takes the newest listing of the host at that place; whether it differs from the one before.
    /// A display keeps its tile as long as it is remembered.
    bool takeListing(std::size_t index, const ViewerHostDisplayListing& listing);
    /// Drops the pictures that nobody looks at when they take too much.
    void forgetUnseenPictures();

  private:
    ViewerWallTile& tileOf(std::size_t index, const ViewerHostDisplay& display);
    void forgetUnlisted(ViewerWallHost& host);

    boost::asio::io_context& loop_;
    Hosts hosts_;
    Tiles tiles_;
    std::uint32_t lastNumber_ = 0;
};

}  // namespace velmora
