#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "core/capture/linux/x11/ViewerX11Connector.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"
#include "core/runtime/ViewerTaskHandle.h"

namespace velmora {

/// Notices the end of the session whose screen an X server shows, also when nobody ever asks for a
/// picture. It keeps a connection of its own, on which it asks for no events, so that what happens
/// on the screen wakes nobody, and waits in the loop for its end. From then on it tries every
/// second whether a server of that name lets this process read its screen; that is the same
/// session, or the next one of the same person. One that refuses is another person's by now, and
/// the end, for this process was let in before it began to watch; one that is not there may be
/// started again, and has a minute; one that does not answer may come round, and is not gone. Made,
/// used and destroyed on the thread of its executor.
class ViewerX11SessionWatch final {
  public:
    /// For so long the server has to be gone, by a clock that goes on while the machine sleeps. The
    /// time counts from the connection's end, or from the first failure after the server was last
    /// there without answering.
    static constexpr std::chrono::seconds patience{60};
    /// Between two tries: the next person's server is found out before their desktop has started a
    /// host.
    static constexpr std::chrono::seconds interval{1};
    /// So many tries in a row have to be refused, since one may fail for want of a thread or while
    /// one server gives way to another.
    static constexpr int refusalsThatCount = 2;

    /// `ended` runs at most once, on the executor, and not after the watch was destroyed.
    ViewerX11SessionWatch(const ViewerExecutor& executor,
                          std::shared_ptr<ViewerContinuousClock> clock,
                          std::shared_ptr<ViewerX11Connector> connector,
                          std::function<void()> ended);
    /// What waits for the server goes within `ViewerScreenCapture::answerLimit`, all else at once.
    ~ViewerX11SessionWatch();
    ViewerX11SessionWatch(const ViewerX11SessionWatch&) = delete;
    ViewerX11SessionWatch& operator=(const ViewerX11SessionWatch&) = delete;

  private:
    const std::shared_ptr<ViewerTaskHandle> task_;
};

}  // namespace velmora
