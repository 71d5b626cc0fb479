#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "core/capture/linux/imaging/ViewerRectangleSet.h"

namespace velmora {

/// What the capture of one monitor does next, and when: what of its picture is out of date, when
/// that may be fetched, and which rows are compared next in case nobody has told of a
/// change. A plain value that is told the time.
class ViewerCaptureSchedule final {
  public:
    using Clock = std::chrono::steady_clock;
    using Instant = Clock::time_point;

    /// `rest` is for a time in which nothing can be done about a change, `listen` for one in which
    /// a notice of a change may lead to another step at once.
    enum class Step { renew, compare, rest, listen };

    struct Intervals final {
        /// The least time between two pictures.
        Clock::duration frame{};
        /// The time between two comparisons of a tenth of the rows; nothing: there are none.
        std::optional<Clock::duration> comparison;
    };

    /// Of a picture of this size, none of which was fetched yet.
    ViewerCaptureSchedule(const ViewerRectangle& picture, const Intervals& intervals, Instant now);

    /// There are changes to be told of, until that is taken.
    void noticeDamage() { isDamaged_ = true; }
    bool takeDamage() { return std::exchange(isDamaged_, false); }

    /// Parts of the picture that are known to be out of date, until they are taken.
    void outdate(const ViewerRectangle& part) { outdated_.add(part); }
    void outdateAll() { outdated_.add(picture_); }
    bool isCurrent() const { return outdated_.isEmpty(); }
    std::vector<ViewerRectangle> takeOutdated();

    /// Nothing is fetched before.
    void holdUntil(Instant until) { held_ = until; }
    Step stepAt(Instant now) const;
    /// When resting or listening ends also without a notice.
    Instant wakeAfter(Instant now) const;

    void beginFrame(Instant now) { nextFrame_ = now + intervals_.frame; }
    ViewerRectangle rowsToCompare() const;
    /// How many comparisons it takes until all rows had their turn.
    std::int64_t comparisonsPerRound() const;
    /// `found` is around all that was different in those rows. What nothing had told of renews the
    /// whole picture, and from then on comparisons are as frequent as pictures, until all rows had
    /// their turn and nothing more was found: this screen does not tell of everything.
    void endComparison(const ViewerRectangle& found, Instant now);

  private:
    bool isFrameWanted() const { return isDamaged_ || !isCurrent(); }

    ViewerRectangle picture_;
    Intervals intervals_;
    bool isDamaged_ = false;
    ViewerRectangleSet outdated_;
    Instant held_;
    Instant nextFrame_;
    Instant nextComparison_;
    /// The first row that is compared next.
    std::int64_t comparedRow_ = 0;
    /// How many comparisons more have to find nothing before they become rare again.
    std::int64_t comparisonsInDoubt_ = 0;
};

}  // namespace velmora
