#include "core/capture/linux/imaging/ViewerCaptureSchedule.h"

#include <algorithm>

namespace velmora {

namespace {

/// How many pixels of the picture cost as much as fetching one more rectangle.
constexpr std::int64_t joiningArea = 512;
constexpr std::int64_t comparisonsPerPicture = 10;

std::int64_t quotientRoundedUp(std::int64_t dividend, std::int64_t divisor) {
    return (dividend + divisor - 1) / divisor;
}

std::int64_t rowsPerComparison(const ViewerRectangle& picture) {
    return quotientRoundedUp(picture.height, comparisonsPerPicture);
}

}  // namespace

ViewerCaptureSchedule::ViewerCaptureSchedule(const ViewerRectangle& picture,
                                             const Intervals& intervals, Instant now)
    : picture_(picture),
      intervals_(intervals),
      outdated_(joiningArea),
      nextFrame_(now),
      nextComparison_(intervals.comparison ? now + *intervals.comparison : Instant::max()) {
    outdateAll();
}

std::vector<ViewerRectangle> ViewerCaptureSchedule::takeOutdated() {
    std::vector<ViewerRectangle> result = outdated_.rectangles();
    outdated_.clear();
    return result;
}

ViewerCaptureSchedule::Step ViewerCaptureSchedule::stepAt(Instant now) const {
    const bool mayRenew = now >= std::max(nextFrame_, held_);
    const bool isRenewalDue = mayRenew && isFrameWanted();
    const bool isComparisonDue = now >= std::max(nextComparison_, held_);
    if (isRenewalDue && isComparisonDue) {
        // What has been due for longer, so that neither waits for ever where both are slow.
        return nextFrame_ < nextComparison_ ? Step::renew : Step::compare;
    }
    if (isRenewalDue || isComparisonDue) {
        return isRenewalDue ? Step::renew : Step::compare;
    }
    return mayRenew ? Step::listen : Step::rest;
}

ViewerCaptureSchedule::Instant ViewerCaptureSchedule::wakeAfter(Instant now) const {
    const Instant frame = std::max(nextFrame_, held_);
    const Instant comparison = std::max(nextComparison_, held_);
    return now < frame ? std::min(frame, comparison) : comparison;
}

ViewerRectangle ViewerCaptureSchedule::rowsToCompare() const {
    const std::int64_t rows = std::min(rowsPerComparison(picture_), picture_.height - comparedRow_);
    return {0, comparedRow_, picture_.width, rows};
}

std::int64_t ViewerCaptureSchedule::comparisonsPerRound() const {
    return quotientRoundedUp(picture_.height, rowsPerComparison(picture_));
}

void ViewerCaptureSchedule::endComparison(const ViewerRectangle& found, Instant now) {
    comparedRow_ = rowsToCompare().bottom() % picture_.height;
    if (!found.isEmpty() && !outdated_.covers(found)) {
        outdateAll();
        comparisonsInDoubt_ = comparisonsPerRound();
    } else if (comparisonsInDoubt_ > 0) {
        --comparisonsInDoubt_;
    }
    if (intervals_.comparison) {
        nextComparison_ =
            now + (comparisonsInDoubt_ > 0 ? intervals_.frame : *intervals_.comparison);
    }
}

}  // namespace velmora
