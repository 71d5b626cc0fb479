#include "viewerctl/ViewerWallRoom.h"

#include <algorithm>
#include <set>
#include <string>
#include <utility>

namespace velmora {

ViewerWallRoom::ViewerWallRoom(boost::asio::io_context& loop, std::vector<ViewerListedHost> hosts)
    : loop_(loop) {
    std::set<std::string> known;
    for (ViewerListedHost& host : hosts) {
        if (known.insert(host.address.authority()).second) {
            hosts_.push_back(std::make_unique<ViewerWallHost>(loop, std::move(host)));
        }
    }
}

std::shared_ptr<ViewerWallTile> ViewerWallRoom::tile(std::uint32_t number) const {
    const auto found = tiles_.find(number);
    return found == tiles_.end() ? nullptr : found->second;
}

bool ViewerWallRoom::takeListing(std::size_t index, const ViewerHostDisplayListing& listing) {
    ViewerWallHost& host = *hosts_[index];
    bool isChanged = host.machine != listing.machineName;
    host.machine = listing.machineName;
    std::vector<std::uint32_t> numbers;
    for (const ViewerHostDisplay& display : listing.displays) {
        ViewerWallTile& tile = tileOf(index, display);
        isChanged = isChanged || tile.display != display;
        tile.display = display;
        if (std::find(numbers.begin(), numbers.end(), tile.number) == numbers.end()) {
            numbers.push_back(tile.number);
        }
    }
    isChanged = isChanged || numbers != host.tiles;
    for (const std::uint32_t number : host.tiles) {
        tiles_.at(number)->isListed = false;
    }
    for (const std::uint32_t number : numbers) {
        tiles_.at(number)->isListed = true;
    }
    host.tiles = std::move(numbers);
    forgetUnlisted(host);
    return isChanged;
}

ViewerWallTile& ViewerWallRoom::tileOf(std::size_t index, const ViewerHostDisplay& display) {
    const auto [entry, isNew] = hosts_[index]->numbers.emplace(display.id, lastNumber_ + 1);
    if (isNew) {
        ++lastNumber_;
        tiles_.emplace(lastNumber_,
                       std::make_shared<ViewerWallTile>(loop_, lastNumber_, index, display));
    }
    return *tiles_.at(entry->second);
}

/// A host may list others each time: only so many are remembered.
void ViewerWallRoom::forgetUnlisted(ViewerWallHost& host) {
    const bool areTooMany = host.numbers.size() > host.tiles.size() + mostUnlisted;
    for (auto each = host.numbers.begin(); each != host.numbers.end();) {
        ViewerWallTile& tile = *tiles_.at(each->second);
        if (!tile.isListed) {
            tile.picture.reset();
            tile.bell.ring();
        }
        if (!tile.isListed && !tile.isPolled && areTooMany) {
            tiles_.erase(each->second);
            each = host.numbers.erase(each);
        } else {
            ++each;
        }
    }
}

void ViewerWallRoom::forgetUnseenPictures() {
    std::size_t bytes = 0;
    for (const auto& [number, tile] : tiles_) {
        bytes += tile->looks.empty() && tile->picture ? tile->picture->jpeg.size() : 0;
    }
    for (auto each = tiles_.begin(); each != tiles_.end() && bytes > mostUnseen; ++each) {
        if (each->second->looks.empty()) {
            each->second->picture.reset();
        }
    }
}

}  // namespace velmora
