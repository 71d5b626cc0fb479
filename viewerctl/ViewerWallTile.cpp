#include "viewerctl/ViewerWallTile.h"

#include <algorithm>
#include <utility>

namespace velmora {

ViewerWallTile::ViewerWallTile(boost::asio::io_context& loop, std::uint32_t ownNumber,
                               std::size_t ownHost, ViewerHostDisplay ownDisplay)
    : number(ownNumber), host(ownHost), display(std::move(ownDisplay)), bell(loop) {}

std::optional<std::chrono::milliseconds> ViewerWallTile::interval() const {
    const auto shortest =
        std::min_element(looks.begin(), looks.end(),
                         [](const auto& a, const auto& b) { return a.second < b.second; });
    return shortest == looks.end() ? std::nullopt : std::optional(shortest->second);
}

}  // namespace velmora
