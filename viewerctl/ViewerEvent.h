#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>

#include "viewerctl/ViewerTask.h"

namespace velmora {

/// Something that happens once and that coroutines of the loop wait for. Owned by whoever makes it
/// happen; must outlive those who wait. On the loop's thread.
class ViewerEvent final {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    explicit ViewerEvent(boost::asio::io_context& loop);

    void set();
    bool isSet() const { return isSet_; }
    /// Until it happens, or until `deadline`; whether it has happened. Any number may wait without
    /// a deadline, or one with one.
    ViewerTask<bool> wait(TimePoint deadline = TimePoint::max());

  private:
    boost::asio::steady_timer timer_;
    bool isSet_ = false;
};

}  // namespace velmora
