#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/protocol/ViewerHostDisplay.h"
#include "core/protocol/ViewerHostFrame.h"
#include "viewerctl/ViewerBackOff.h"
#include "viewerctl/ViewerFailure.h"
#include "viewerctl/ViewerHostList.h"
#include "viewerctl/ViewerTurns.h"

namespace velmora {

class ViewerWallPage;

/// How it stands with a display that somebody looks at.
enum class ViewerTileState { live, resting, noPicture, failed };

/// A display of a host on the wall, and what is known of it. Owned by the wall; on the loop's
/// thread.
struct ViewerWallTile final {
    using TimePoint = std::chrono::steady_clock::time_point;

    ViewerWallTile(boost::asio::io_context& loop, std::uint32_t ownNumber, std::size_t ownHost,
                   ViewerHostDisplay ownDisplay);

    /// The shortest time between two pictures that anybody wants; nothing when nobody looks.
    std::optional<std::chrono::milliseconds> interval() const;

    const std::uint32_t number;
    const std::size_t host;
    ViewerHostDisplay display;
    std::map<ViewerWallPage*, std::chrono::milliseconds> looks;

    std::optional<ViewerHostFrame> picture;
    /// Since when the picture's bytes are these.
    TimePoint pictureSince;

    /// Nothing before the first answer.
    std::optional<ViewerTileState> state;
    /// Of a tile that has failed.
    std::optional<ViewerFailure> failure;
    TimePoint stateSince;

    /// Whether a task asks for its pictures.
    bool isPolled = false;
    TimePoint lastRequest = TimePoint::min();
    TimePoint notBefore = TimePoint::min();
    ViewerBackOff backOff;
    /// Cancelled when the task should look at what has changed.
    boost::asio::steady_timer wake;
};

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
    /// Numbers of the tiles that it listed last.
    std::vector<std::uint32_t> tiles;
    /// All that it has listed, by the display's id.
    std::map<std::string, std::uint32_t> numbers;

    ViewerTurns turns;
    TimePoint nextListing = TimePoint::min();
    ViewerBackOff backOff;
    /// Cancelled when the listing's time has changed.
    boost::asio::steady_timer wake;
};

}  // namespace velmora
