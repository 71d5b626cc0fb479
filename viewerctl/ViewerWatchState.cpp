#include "viewerctl/ViewerWatchState.h"

#include <algorithm>

namespace velmora {

namespace {

/// Over which a rate is told.
constexpr std::chrono::seconds rateWindow{5};
/// Pictures that come as close together as this tell nothing of it.
constexpr std::chrono::seconds shortestSpan{1};

}  // namespace

void ViewerWatchState::noteListing(const ViewerHostDisplayListing& listing) {
    machineName_ = listing.machineName;
    displays_ = listing.displays;
    if (!display_ && !displays_.empty()) {
        choose(displays_.front());
    } else if (const std::size_t place = number(); place > 0) {
        display_ = displays_[place - 1];  // it may have another name or size
    }
}

void ViewerWatchState::choose(const ViewerHostDisplay& display) {
    display_ = display;
    ++choice_;
    frame_.reset();
    trouble_.reset();
    arrivals_.clear();
}

std::size_t ViewerWatchState::number() const {
    const auto found = std::find_if(
        displays_.begin(), displays_.end(),
        [&](const ViewerHostDisplay& each) { return display_ && each.id == display_->id; });
    return found == displays_.end() ? 0 : static_cast<std::size_t>(found - displays_.begin()) + 1;
}

std::optional<ViewerHostDisplay> ViewerWatchState::neighbour(int step) const {
    const auto count = static_cast<int>(displays_.size());
    const auto place = static_cast<int>(number());
    if (count == 0 || (count == 1 && place == 1)) {
        return std::nullopt;
    }
    // From one that is gone on, the next is the first, and the one before is the last.
    const int next = place == 0 ? (step > 0 ? 0 : count - 1) : (place - 1 + step + count) % count;
    return displays_[static_cast<std::size_t>(next)];
}

std::optional<ViewerHostDisplay> ViewerWatchState::numbered(int wanted) const {
    const auto place = static_cast<std::size_t>(wanted);
    if (place < 1 || place > displays_.size() || place == number()) {
        return std::nullopt;
    }
    return displays_[place - 1];
}

void ViewerWatchState::notePicture(const ViewerHostFrame& frame, TimePoint now) {
    arrivals_.push_back(now);
    while (arrivals_.front() + rateWindow < now) {
        arrivals_.pop_front();
    }
    const bool isSame = frame_ && frame_->jpeg == frame.jpeg;
    if (!isSame) {
        sameSince_ = now;
        ++pictureNumber_;
    }
    if (!isSame || (trouble_ && trouble_->failure != ViewerFailure::badPicture)) {
        trouble_.reset();
    }
    frame_ = frame;
}

void ViewerWatchState::noteFailure(ViewerFailure failure, TimePoint now) {
    if (!trouble_ || trouble_->failure != failure) {
        trouble_ = Trouble{failure, now};
    }
}

void ViewerWatchState::noteBadPicture(std::uint64_t number, TimePoint now) {
    if (frame_ && number == pictureNumber_) {
        noteFailure(ViewerFailure::badPicture, now);
    }
}

double ViewerWatchState::rate(TimePoint now) const {
    const auto first = std::find_if(arrivals_.begin(), arrivals_.end(),
                                    [&](TimePoint each) { return each + rateWindow >= now; });
    const auto count = arrivals_.end() - first;
    const std::chrono::duration<double> span =
        count == 0 ? ViewerWatchState::TimePoint::duration::zero() : arrivals_.back() - *first;
    return span < shortestSpan ? 0 : static_cast<double>(count - 1) / span.count();
}

}  // namespace velmora
