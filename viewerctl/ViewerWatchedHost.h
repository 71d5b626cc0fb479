#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <set>
#include <string>

#include "viewerctl/ViewerBackOff.h"
#include "viewerctl/ViewerBell.h"
#include "viewerctl/ViewerHostClient.h"
#include "viewerctl/ViewerTask.h"
#include "viewerctl/ViewerWatchState.h"

namespace velmora {

/// Asks a host again and again for the pictures of the display that is watched, and now and then
/// for its displays. Must outlive its tasks. On the loop's thread.
class ViewerWatchedHost final {
  public:
    /// `rate` is in pictures a second, at most; `spawn` runs a task that this object outlives.
    ViewerWatchedHost(boost::asio::io_context& loop, ViewerHostClient& client,
                      ViewerHostAddress host, double rate,
                      std::function<void(ViewerTask<void>)> spawn);

    /// Called whenever something else is seen.
    void atChange(std::function<void()> action) { changed_ = std::move(action); }

    const ViewerHostAddress& address() const { return host_; }
    ViewerWatchState& state() { return state_; }
    bool isPaused() const { return isPaused_; }

    void choose(const ViewerHostDisplay& display);
    void togglePause();

    /// Both until the client is stopped and `stop` has been called.
    ViewerTask<void> keepPicture();
    ViewerTask<void> keepListing();
    void stop();

  private:
    bool mayAsk() const;
    ViewerTask<void> ask(std::string displayID, std::uint64_t choice);
    void note(const ViewerOutcome<ViewerHostFrame>& frame);
    bool wantsListing() const;

    ViewerHostClient& client_;
    const ViewerHostAddress host_;
    const std::chrono::nanoseconds period_;
    const std::function<void(ViewerTask<void>)> spawn_;
    std::function<void()> changed_;
    ViewerWatchState state_;
    bool isPaused_ = false;
    /// The choices of the displays that are being asked for.
    std::set<std::uint64_t> asked_;
    /// When to ask for the next picture.
    ViewerBell::TimePoint next_;
    ViewerBackOff backOff_;
    ViewerBell pictureBell_;
    ViewerBell listingBell_;
};

}  // namespace velmora
