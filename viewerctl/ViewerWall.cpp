#include "viewerctl/ViewerWall.h"

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/error_code.hpp>
#include <random>
#include <utility>

namespace velmora {

namespace {

namespace asio = boost::asio;
using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;

/// Between two questions for a host's displays, which are not asked in step.
constexpr std::chrono::milliseconds shortestListingPause{9'000};
constexpr std::chrono::milliseconds longestListingPause{11'000};
/// After how long a display whose turn has not come looks again.
constexpr std::chrono::milliseconds restPause{200};

/// Whether the host, not the display, may be what is wrong.
bool isOfHost(ViewerFailure failure) {
    switch (failure) {
        case ViewerFailure::noPicture:
        case ViewerFailure::badPicture:
        case ViewerFailure::notAViewerHost:
        case ViewerFailure::interrupted:
            return false;
        default:
            return true;
    }
}

/// Until `deadline`, or until somebody cancels the timer.
ViewerTask<void> sleep(std::shared_ptr<ViewerWallTile> tile, TimePoint deadline) {
    tile->wake.expires_at(deadline);
    boost::system::error_code cancelled;
    co_await tile->wake.async_wait(asio::redirect_error(asio::use_awaitable, cancelled));
}

}  // namespace

ViewerWall::ViewerWall(asio::io_context& loop, ViewerHostClient& client,
                       std::vector<ViewerListedHost> hosts)
    : loop_(loop), client_(client), chance_(std::random_device()()), ended_(loop) {
    for (ViewerListedHost& host : hosts) {
        hosts_.push_back(std::make_unique<ViewerWallHost>(loop, std::move(host)));
    }
}

ViewerTask<void> ViewerWall::run() {
    tasks_ += hosts_.size();
    for (std::size_t index = 0; index < hosts_.size(); ++index) {
        asio::co_spawn(loop_, watchHost(index), asio::detached);
    }
    (void)co_await ended_.wait();  // has no deadline of its own
}

void ViewerWall::stop() {
    isStopped_ = true;
    for (const auto& host : hosts_) {
        host->wake.cancel();
    }
    for (const auto& [number, tile] : tiles_) {
        tile->wake.cancel();
    }
}

void ViewerWall::add(ViewerWallPage& page) {
    const bool isFirst = pages_.empty();
    pages_.insert(&page);
    for (std::size_t index = 0; index < hosts_.size(); ++index) {
        if (hosts_[index]->isAsked) {
            page.noteHost(index);
        }
        if (isFirst) {
            hosts_[index]->wake.cancel();
        }
    }
}

void ViewerWall::remove(ViewerWallPage& page) {
    look(page, {});
    looks_.erase(&page);
    pages_.erase(&page);
}

void ViewerWall::look(ViewerWallPage& page, const ViewerWallLook::Tiles& tiles) {
    std::vector<std::uint32_t>& seen = looks_[&page];
    for (const std::uint32_t number : seen) {
        const auto found = tiles_.find(number);
        if (found != tiles_.end() && !tiles.contains(number)) {
            found->second->looks.erase(&page);
            found->second->wake.cancel();
        }
    }
    seen.clear();
    for (const auto& [number, interval] : tiles) {
        const auto found = tiles_.find(number);
        if (found != tiles_.end()) {
            ViewerWallTile& tile = *found->second;
            seen.push_back(number);
            if (tile.looks.insert_or_assign(&page, interval).second) {
                page.noteTile(number);
                page.notePicture(number);
            }
            tile.wake.cancel();
            pollIfWanted(found->second);
        }
    }
}

const ViewerWallTile* ViewerWall::tile(std::uint32_t number) const {
    const auto found = tiles_.find(number);
    return found == tiles_.end() ? nullptr : found->second.get();
}

ViewerTask<void> ViewerWall::watchHost(std::size_t index) {
    ViewerWallHost& host = *hosts_[index];  // lives as long as the wall
    while (!isStopped_) {
        const bool isDue = !pages_.empty() && host.nextListing <= Clock::now();
        if (isDue) {
            auto outcome = co_await client_.listing(host.listed.address);
            if (!isStopped_) {
                noteListing(index, std::move(outcome));
            }
        } else {
            host.wake.expires_at(pages_.empty() ? TimePoint::max() : host.nextListing);
            boost::system::error_code cancelled;
            co_await host.wake.async_wait(asio::redirect_error(asio::use_awaitable, cancelled));
        }
    }
    noteTaskEnd();
}

void ViewerWall::noteListing(std::size_t index, ViewerOutcome<ViewerHostDisplayListing> outcome) {
    ViewerWallHost& host = *hosts_[index];
    const auto failure = outcome ? std::nullopt : std::optional(outcome.failure());
    bool isChanged = !host.isAsked || failure != host.failure;
    if (isChanged) {
        host.isAsked = true;
        host.failure = failure;
        host.since = Clock::now();
    }
    if (outcome) {
        host.backOff.reset();
        std::uniform_int_distribution<std::chrono::milliseconds::rep> pause(
            shortestListingPause.count(), longestListingPause.count());
        host.nextListing = Clock::now() + std::chrono::milliseconds(pause(chance_));
        isChanged = takeDisplays(index, *outcome) || isChanged;
    } else {
        host.nextListing = Clock::now() + host.backOff.next();
    }
    if (isChanged) {
        for (ViewerWallPage* const page : pages_) {
            page->noteHost(index);
        }
        for (const std::uint32_t number : host.tiles) {
            tiles_[number]->wake.cancel();
            pollIfWanted(tiles_[number]);
        }
    }
}

bool ViewerWall::takeDisplays(std::size_t index, const ViewerHostDisplayListing& listing) {
    ViewerWallHost& host = *hosts_[index];
    bool isChanged = host.machine != listing.machineName;
    host.machine = listing.machineName;
    std::vector<std::uint32_t> numbers;
    for (const ViewerHostDisplay& display : listing.displays) {
        const auto [entry, isNew] = host.numbers.emplace(display.id, lastNumber_ + 1);
        if (isNew) {
            ++lastNumber_;
            tiles_.emplace(lastNumber_,
                           std::make_shared<ViewerWallTile>(loop_, lastNumber_, index, display));
        }
        ViewerWallTile& tile = *tiles_[entry->second];
        isChanged = isChanged || tile.display != display;
        tile.display = display;
        if (std::find(numbers.begin(), numbers.end(), entry->second) == numbers.end()) {
            numbers.push_back(entry->second);
        }
    }
    isChanged = isChanged || numbers != host.tiles;
    host.tiles = std::move(numbers);
    return isChanged;
}

bool ViewerWall::isWanted(const ViewerWallTile& tile) const {
    return !isStopped_ && !tile.looks.empty() && hosts_[tile.host]->answers();
}

void ViewerWall::pollIfWanted(const std::shared_ptr<ViewerWallTile>& tile) {
    if (isWanted(*tile) && !tile->isPolled) {
        tile->isPolled = true;
        ++tasks_;
        asio::co_spawn(loop_, pollTile(tile), asio::detached);
    }
}

ViewerTask<void> ViewerWall::pollTile(std::shared_ptr<ViewerWallTile> tile) {
    ViewerWallHost& host = *hosts_[tile->host];  // lives as long as the wall
    while (isWanted(*tile)) {
        const auto now = Clock::now();
        const TimePoint due = std::max(tile->lastRequest + *tile->interval(), tile->notBefore);
        if (due > now) {
            co_await sleep(tile, due);
        } else if (!host.turns.begin(tile->number, now)) {
            setState(*tile, ViewerTileState::resting, std::nullopt);
            co_await sleep(tile, now + restPause);
        } else {
            tile->lastRequest = now;
            const auto frame = co_await client_.frame(host.listed.address, tile->display.id);
            host.turns.end(tile->number, Clock::now());
            noteFrame(*tile, frame);
        }
    }
    host.turns.leave(tile->number);
    tile->isPolled = false;
    noteTaskEnd();
}

void ViewerWall::noteFrame(ViewerWallTile& tile, const ViewerOutcome<ViewerHostFrame>& frame) {
    if (isStopped_) {
        return;
    }
    if (frame) {
        tile.backOff.reset();
        setState(tile, ViewerTileState::live, std::nullopt);
        takePicture(tile, *frame);
        return;
    }
    tile.notBefore = Clock::now() + tile.backOff.next();
    const bool isEmpty = frame.failure() == ViewerFailure::noPicture;
    setState(tile, isEmpty ? ViewerTileState::noPicture : ViewerTileState::failed,
             isEmpty ? std::nullopt : std::optional(frame.failure()));
    if (isOfHost(frame.failure())) {
        listSoon(*hosts_[tile.host]);
    }
}

void ViewerWall::takePicture(ViewerWallTile& tile, const ViewerHostFrame& frame) {
    if (tile.picture && tile.picture->jpeg == frame.jpeg) {
        return;
    }
    tile.picture = frame;
    tile.pictureSince = Clock::now();
    for (const auto& [page, interval] : tile.looks) {
        page->notePicture(tile.number);
    }
}

void ViewerWall::setState(ViewerWallTile& tile, ViewerTileState state,
                          std::optional<ViewerFailure> failure) {
    if (tile.state == state && tile.failure == failure) {
        return;
    }
    tile.state = state;
    tile.failure = failure;
    tile.stateSince = Clock::now();
    for (const auto& [page, interval] : tile.looks) {
        page->noteTile(tile.number);
    }
}

void ViewerWall::listSoon(ViewerWallHost& host) {
    host.nextListing = std::min(host.nextListing, Clock::now());
    host.wake.cancel();
}

void ViewerWall::noteTaskEnd() {
    if (--tasks_ == 0) {
        ended_.set();
    }
}

}  // namespace velmora
