#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "core/protocol/ViewerHostDisplayListing.h"
#include "core/protocol/ViewerHostFrame.h"
#include "viewerctl/ViewerFailure.h"

namespace velmora {

/// What has been seen of a host and of the one display that is watched. One thread.
class ViewerWatchState final {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// A failure, and when it began.
    struct Trouble final {
        ViewerFailure failure;
        TimePoint since;
    };

    /// The watched display stays so when it is not listed any more. Without one it is the first.
    void noteListing(const ViewerHostDisplayListing& listing);
    /// Watches another display from now on; what was seen of the last one is forgotten.
    void choose(const ViewerHostDisplay& display);
    /// The one of the listing at that place from the watched one on, forward or back, around the
    /// ends; nothing where there is no other.
    std::optional<ViewerHostDisplay> neighbour(int step) const;
    /// The one at a number of the listing, counted from 1; nothing where there is none, or it is
    /// the watched one.
    std::optional<ViewerHostDisplay> numbered(int number) const;

    void notePicture(const ViewerHostFrame& frame, TimePoint now);
    /// The last picture stays.
    void noteFailure(ViewerFailure failure, TimePoint now);
    /// The picture of that number cannot be decoded.
    void noteBadPicture(std::uint64_t number, TimePoint now);

    const std::string& machineName() const { return machineName_; }
    const std::vector<ViewerHostDisplay>& displays() const { return displays_; }
    const std::optional<ViewerHostDisplay>& display() const { return display_; }
    /// The place of the watched display in the listing, counted from 1; 0 when it is not listed.
    std::size_t number() const;
    /// Counts the displays that were chosen.
    std::uint64_t choice() const { return choice_; }
    const std::optional<ViewerHostFrame>& frame() const { return frame_; }
    /// Counts the pictures whose bytes were others than those before.
    std::uint64_t pictureNumber() const { return pictureNumber_; }
    /// Since when the bytes of the picture are the same.
    TimePoint sameSince() const { return sameSince_; }
    const std::optional<Trouble>& trouble() const { return trouble_; }
    /// Pictures a second that came lately, the same ones too; 0 where too few did.
    double rate(TimePoint now) const;

  private:
    std::string machineName_;
    std::vector<ViewerHostDisplay> displays_;
    std::optional<ViewerHostDisplay> display_;
    std::uint64_t choice_ = 0;
    std::optional<ViewerHostFrame> frame_;
    std::uint64_t pictureNumber_ = 0;
    TimePoint sameSince_;
    std::optional<Trouble> trouble_;
    /// When pictures came, not longer ago than rates look back.
    std::deque<TimePoint> arrivals_;
};

}  // namespace velmora
