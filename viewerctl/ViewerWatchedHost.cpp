#include "viewerctl/ViewerWatchedHost.h"

#include <utility>

namespace velmora {

namespace {

using Clock = std::chrono::steady_clock;

/// Displays come and go, but seldom.
constexpr std::chrono::seconds betweenListings{10};

}  // namespace

ViewerWatchedHost::ViewerWatchedHost(boost::asio::io_context& loop, ViewerHostClient& client,
                                     ViewerHostAddress host, double rate,
                                     std::function<void(ViewerTask<void>)> spawn)
    : client_(client),
      host_(std::move(host)),
      period_(static_cast<std::chrono::nanoseconds::rep>(1e9 / rate)),
      spawn_(std::move(spawn)),
      next_(Clock::now()),
      pictureBell_(loop),
      listingBell_(loop) {}

void ViewerWatchedHost::choose(const ViewerHostDisplay& display) {
    state_.choose(display);
    backOff_.reset();
    next_ = Clock::now();
    pictureBell_.ring();
    changed_();
}

void ViewerWatchedHost::togglePause() {
    isPaused_ = !isPaused_;
    pictureBell_.ring();
    changed_();
}

/// A request for another display, which may have got stuck, holds up this one's only once there are
/// as many as connections.
bool ViewerWatchedHost::mayAsk() const {
    return state_.display() && !isPaused_ && !asked_.contains(state_.choice()) &&
           asked_.size() < ViewerHostClient::mostConnections;
}

ViewerTask<void> ViewerWatchedHost::keepPicture() {
    while (!client_.isStopped()) {
        const auto now = Clock::now();
        if (mayAsk() && now >= next_) {
            next_ = now + period_;
            asked_.insert(state_.choice());
            spawn_(ask(state_.display()->id, state_.choice()));
        }
        const auto deadline = mayAsk() ? next_ : ViewerBell::TimePoint::max();
        (void)co_await pictureBell_.wait(deadline);  // looks again in any case
    }
}

ViewerTask<void> ViewerWatchedHost::ask(std::string displayID, std::uint64_t choice) {
    const auto frame = co_await client_.frame(host_, std::move(displayID));
    asked_.erase(choice);
    if (choice == state_.choice() && !client_.isStopped()) {
        note(frame);
    }
    pictureBell_.ring();
}

void ViewerWatchedHost::note(const ViewerOutcome<ViewerHostFrame>& frame) {
    const auto now = Clock::now();
    if (frame) {
        state_.notePicture(*frame, now);
        backOff_.reset();
    } else {
        state_.noteFailure(frame.failure(), now);
        next_ = now + backOff_.next();
    }
    if (!frame && frame.failure() == ViewerFailure::noSuchDisplay) {
        listingBell_.ring();
    }
    changed_();
}

/// A host that does not answer has its pictures asked for already.
bool ViewerWatchedHost::wantsListing() const {
    const auto& trouble = state_.trouble();
    return !isPaused_ &&
           (!state_.display() || !trouble || trouble->failure == ViewerFailure::noSuchDisplay ||
            trouble->failure == ViewerFailure::noPicture);
}

ViewerTask<void> ViewerWatchedHost::keepListing() {
    while (!client_.isStopped()) {
        const auto deadline = Clock::now() + betweenListings;
        (void)co_await listingBell_.wait(deadline);  // looks again in any case
        if (client_.isStopped() || !wantsListing()) {
            continue;
        }
        const auto listing = co_await client_.listing(host_);
        if (listing) {
            state_.noteListing(*listing);
            pictureBell_.ring();
        } else if (!state_.display()) {
            state_.noteFailure(listing.failure(), Clock::now());
        }
        changed_();
    }
}

void ViewerWatchedHost::stop() {
    pictureBell_.ring();
    listingBell_.ring();
}

}  // namespace velmora
