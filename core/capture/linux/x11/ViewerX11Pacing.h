#pragma once

#include <chrono>
#include <cstddef>
#include <memory>

#include "core/runtime/ViewerLock.h"

namespace velmora {

/// Leaves the X server at least half of its time, whatever the captures of this process ask of it
/// together: after they have kept it busy it is left alone for as long, though for a second at
/// most. A fetch counts from its request to its answer; of fetches at the same time each moment
/// counts once. It is told the time. Shared by the captures; any thread.
class ViewerX11Pacing final {
  public:
    using Clock = std::chrono::steady_clock;
    using Instant = Clock::time_point;

    static constexpr std::chrono::seconds maximumPause{1};

    /// The one that all captures of this process share.
    static const std::shared_ptr<ViewerX11Pacing>& ofProcess();

    ViewerX11Pacing() = default;
    ViewerX11Pacing(const ViewerX11Pacing&) = delete;
    ViewerX11Pacing& operator=(const ViewerX11Pacing&) = delete;

    /// No fetch begins before. It may move on as long as other fetches are under way.
    Instant nextFetch() const;

    /// Each `begin` is followed by one `end`, however the fetch went.
    void begin(Instant now);
    void end(Instant now);

  private:
    mutable ViewerLock lock_;
    std::size_t underWay_ VIEWER_GUARDED_BY(lock_) = 0;
    /// Until when the server's time has been counted; has a meaning while fetches are under way.
    Instant counted_ VIEWER_GUARDED_BY(lock_);
    Instant nextFetch_ VIEWER_GUARDED_BY(lock_);
};

}  // namespace velmora
