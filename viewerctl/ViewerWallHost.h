#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "viewerctl/ViewerBackOff.h"
#include "viewerctl/ViewerBell.h"
#include "viewerctl/ViewerFailure.h"
#include "viewerctl/ViewerHostList.h"
#include "viewerctl/ViewerTurns.h"

namespace velmora {

/// A host on the wall, and what is known of it. Owned by the wall; on the loop's thread.
struct ViewerWallHost final {
    using TimePoint = std::chrono::steady_clock::time_point;

    ViewerWallHost(boost::asio::io_context& loop, ViewerListedHost where);

    bool answers() const { return isAsked && !failure; }

    const ViewerListedHost listed;
    bool isAsked = false;
    std::optional<ViewerFailure> failure;
    /// Since when it answers, or fails for this reason.
    TimePoint since;
    std::string machine;
    /// The displays of its newest listing.
    std::vector<std::uint32_t> tiles;
    /// Those and some that it had listed before, by the display's id.
    std::map<std::string, std::uint32_t> numbers;

    ViewerTurns turns;
    TimePoint lastListing = TimePoint::min();
    TimePoint nextListing = TimePoint::min();
    ViewerBackOff backOff;
    /// Rings for its task when something has changed.
    ViewerBell bell;
};

}  // namespace velmora
