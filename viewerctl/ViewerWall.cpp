#include "viewerctl/ViewerWall.h"

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
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
/// After a listing, before the next one that something gives cause for.
constexpr std::chrono::seconds soon{1};
/// After how long a display whose turn has not come looks again.
constexpr std::chrono::milliseconds restPause{200};

/// Whether a new listing may tell more of why a picture did not come.
bool asksForListing(ViewerFailure failure) {
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

}  // namespace

ViewerWall::ViewerWall(asio::io_context& loop, ViewerHostClient& client,
                       std::vector<ViewerListedHost> hosts)
    : loop_(loop),
      client_(client),
      room_(loop, std::move(hosts)),
      chance_(std::random_device()()),
      ended_(loop) {}

ViewerTask<void> ViewerWall::run() {
    tasks_ += hosts().size();
    for (std::size_t index = 0; index < hosts().size(); ++index) {
        asio::co_spawn(loop_, watchHost(index), asio::detached);
    }
    (void)co_await ended_.wait();  // has no deadline of its own
}

void ViewerWall::stop() {
    isStopped_ = true;
    for (const auto& host : hosts()) {
        host->bell.ring();
    }
    for (const auto& [number, tile] : room_.tiles()) {
        tile->bell.ring();
    }
}

void ViewerWall::add(ViewerWallPage& page) {
    const bool isFirst = pages_.empty();
    pages_.insert(&page);
    for (std::size_t index = 0; index < hosts().size(); ++index) {
        if (hosts()[index]->isAsked) {
            page.noteHost(index);
        }
        if (isFirst) {
            hosts()[index]->bell.ring();
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
        const auto tile = room_.tile(number);
        if (tile && !tiles.contains(number)) {
            tile->looks.erase(&page);
            tile->bell.ring();
        }
    }
    seen.clear();
    for (const auto& [number, interval] : tiles) {
        if (const auto tile = room_.tile(number)) {
            seen.push_back(number);
            lookAt(tile, page, interval);
        }
    }
    room_.forgetUnseenPictures();
}

void ViewerWall::lookAt(const std::shared_ptr<ViewerWallTile>& tile, ViewerWallPage& page,
                        std::chrono::milliseconds interval) {
    if (tile->looks.insert_or_assign(&page, interval).second) {
        page.noteTile(tile->number);
        page.notePicture(tile->number);
    }
    tile->bell.ring();
    pollIfWanted(tile);
}

ViewerTask<void> ViewerWall::watchHost(std::size_t index) {
    ViewerWallHost& host = *hosts()[index];  // lives as long as the wall
    while (!isStopped_) {
        const bool isDue = !pages_.empty() && host.nextListing <= Clock::now();
        if (isDue) {
            auto outcome = co_await client_.listing(host.listed.address);
            if (!isStopped_) {
                noteListing(index, std::move(outcome));
            }
        } else {
            // Looks again either way.
            (void)co_await host.bell.wait(pages_.empty() ? TimePoint::max() : host.nextListing);
        }
    }
    noteTaskEnd();
}

void ViewerWall::noteListing(std::size_t index, ViewerOutcome<ViewerHostDisplayListing> outcome) {
    ViewerWallHost& host = *hosts()[index];
    const auto now = Clock::now();
    const auto failure = outcome ? std::nullopt : std::optional(outcome.failure());
    bool isChanged = !host.isAsked || failure != host.failure;
    if (isChanged) {
        host.isAsked = true;
        host.failure = failure;
        host.since = now;
    }
    host.lastListing = now;
    host.nextListing = now + (outcome ? listingPause() : host.backOff.next());
    if (outcome) {
        host.backOff.reset();
        const bool hasOthers = room_.takeListing(index, *outcome);
        isChanged = isChanged || hasOthers;
    }
    if (isChanged) {
        tellOfHost(index);
    }
}

/// Between nothing and half of it.
std::chrono::milliseconds ViewerWall::shareOf(std::chrono::milliseconds interval) {
    std::uniform_int_distribution<std::chrono::milliseconds::rep> share(0, interval.count() / 2);
    return std::chrono::milliseconds(share(chance_));
}

std::chrono::milliseconds ViewerWall::listingPause() {
    std::uniform_int_distribution<std::chrono::milliseconds::rep> pause(
        shortestListingPause.count(), longestListingPause.count());
    return std::chrono::milliseconds(pause(chance_));
}

void ViewerWall::tellOfHost(std::size_t index) {
    for (ViewerWallPage* const page : pages_) {
        page->noteHost(index);
    }
    for (const std::uint32_t number : hosts()[index]->tiles) {
        const auto tile = room_.tile(number);
        // Whatever went wrong with it before the host's change counts no more.
        tile->notBefore = TimePoint::min();
        tile->backOff.reset();
        tile->bell.ring();
        pollIfWanted(tile);
    }
}

bool ViewerWall::isWanted(const ViewerWallTile& tile) const {
    return !isStopped_ && !tile.looks.empty() && tile.isListed && hosts()[tile.host]->answers();
}

void ViewerWall::pollIfWanted(const std::shared_ptr<ViewerWallTile>& tile) {
    if (isWanted(*tile) && !tile->isPolled) {
        tile->isPolled = true;
        ++tasks_;
        asio::co_spawn(loop_, pollTile(tile), asio::detached);
    }
}

ViewerTask<void> ViewerWall::pollTile(std::shared_ptr<ViewerWallTile> tile) {
    ViewerWallHost& host = *hosts()[tile->host];  // lives as long as the wall
    bool isFirst = true;
    while (isWanted(*tile)) {
        const auto now = Clock::now();
        const TimePoint due = std::max(tile->lastRequest + *tile->interval(), tile->notBefore);
        if (due > now) {
            (void)co_await tile->bell.wait(due);  // looks again either way
        } else if (!host.turns.begin(tile->number, now)) {
            setState(*tile, ViewerTileState::resting, std::nullopt);
            (void)co_await tile->bell.wait(now + restPause);
        } else {
            // The pause behind the first one differs, so that displays are not asked in step.
            tile->lastRequest = isFirst ? now - shareOf(*tile->interval()) : now;
            isFirst = false;
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
    if (hosts()[tile.host]->answers() && asksForListing(frame.failure())) {
        listSoon(*hosts()[tile.host]);
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
    host.nextListing = std::min(host.nextListing, host.lastListing + soon);
    host.bell.ring();
}

void ViewerWall::noteTaskEnd() {
    if (--tasks_ == 0) {
        ended_.set();
    }
}

}  // namespace velmora
