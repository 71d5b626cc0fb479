#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"

namespace velmora {

/// Tells the end of the login manager's session that this process belongs to, be it closing, while
/// processes of it are still there, or gone. Where there is no system bus, no login manager, or no
/// session, or only one that was opened over the network, which says nothing about a screen here,
/// it tells nothing; nor does it when the manager or the bus goes, which takes no session along.
///
/// Not every manager announces that a session is closing, but each announces sessions that come and
/// go: whatever it announces is a reason to ask how ours is, so that it is known at the latest when
/// the next person's begins. Made, used and destroyed on the thread of its executor, a loop of
/// Asio's.
class ViewerLoginSessionWatch final {
  public:
    /// The start is over by then: nobody waits while the library for D-Bus is loaded.
    static constexpr std::chrono::seconds delay{1};
    /// Between two tries to reach a bus that has gone.
    static constexpr std::chrono::seconds interval{3};

    /// `ended` runs at most once, on the executor, and not after the watch was destroyed.
    ViewerLoginSessionWatch(ViewerExecutor executor, std::shared_ptr<ViewerContinuousClock> clock,
                            std::function<void()> ended);
    ~ViewerLoginSessionWatch();
    ViewerLoginSessionWatch(const ViewerLoginSessionWatch&) = delete;
    ViewerLoginSessionWatch& operator=(const ViewerLoginSessionWatch&) = delete;

  private:
    class Course;

    const std::shared_ptr<Course> course_;
};

}  // namespace velmora
