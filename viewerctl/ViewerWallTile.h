#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>

#include "core/protocol/ViewerHostDisplay.h"
#include "core/protocol/ViewerHostFrame.h"
#include "viewerctl/ViewerBackOff.h"
#include "viewerctl/ViewerBell.h"
#include "viewerctl/ViewerFailure.h"

namespace velmora {

class ViewerWallPage;

/// How it stands with a display that somebody looks at.
enum class ViewerTileState { live, resting, noPicture, failed };

/// A display of a host on the wall, and what is known of it. Owned by the wall; on the loop's
/// thread.
struct ViewerWallTile final {
    using TimePoint = std::chrono::steady_clock::time_point;

    /// Between requests of a display that has no picture while its host answers: somebody looks
    /// and wants to see it soon when it has one.
    static constexpr std::chrono::seconds longestPause{5};

    ViewerWallTile(boost::asio::io_context& loop, std::uint32_t ownNumber, std::size_t ownHost,
                   ViewerHostDisplay ownDisplay);

    /// The shortest time between two pictures that anybody wants; nothing when nobody looks.
    std::optional<std::chrono::milliseconds> interval() const;

    const std::uint32_t number;
    const std::size_t host;
    ViewerHostDisplay display;
    /// Whether the host's newest listing has it.
    bool isListed = true;
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
    ViewerBackOff backOff{longestPause};
    /// Rings for its task when something has changed.
    ViewerBell bell;
};

}  // namespace velmora
