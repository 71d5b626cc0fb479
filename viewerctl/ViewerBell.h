#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>

#include "viewerctl/ViewerTask.h"

namespace velmora {

/// Something that happens again and again, and that one coroutine of the loop waits for. It is not
/// lost where nobody waits yet. Must outlive who waits. On the loop's thread.
class ViewerBell final {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    explicit ViewerBell(boost::asio::io_context& loop);

    void ring();
    /// Until it has rung since the last wait, or until `deadline`; whether it has rung.
    ViewerTask<bool> wait(TimePoint deadline = TimePoint::max());

  private:
    boost::asio::steady_timer timer_;
    bool hasRung_ = false;
};

}  // namespace velmora
