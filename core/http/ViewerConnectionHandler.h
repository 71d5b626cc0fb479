#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "core/http/ViewerTransport.h"
#include "core/protocol/ViewerHostHTTPResponse.h"
#include "core/protocol/ViewerHostRequest.h"
#include "core/protocol/ViewerHostRequestParseResult.h"
#include "core/protocol/ViewerHostRouter.h"
#include "core/runtime/ViewerAction.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"
#include "core/runtime/ViewerExecutors.h"
#include "core/runtime/ViewerLock.h"
#include "core/runtime/ViewerTask.h"
#include "core/runtime/ViewerTaskHandle.h"

namespace velmora {

/// Serves one connection: reads one request, answers it, ends the connection, all within 5 seconds.
/// Owned by the server until it has finished; the connection, the clock and the routing task hold
/// it weakly. `start` and `cancel` may be called from any thread.
class ViewerConnectionHandler final : public ViewerConnectionReceiver,
                                      public std::enable_shared_from_this<ViewerConnectionHandler> {
  public:
    /// `queue` is where the connection's events run, one at a time. `onFinish` is called exactly
    /// once, on any thread, unless the handler is dropped before its end. The executors outlive the
    /// handler.
    ViewerConnectionHandler(std::shared_ptr<ViewerConnection> connection,
                            std::shared_ptr<const ViewerHostRouter> router, ViewerExecutor queue,
                            ViewerAction onFinish, ViewerExecutors& executors,
                            std::shared_ptr<ViewerContinuousClock> clock);
    ViewerConnectionHandler(const ViewerConnectionHandler&) = delete;
    ViewerConnectionHandler& operator=(const ViewerConnectionHandler&) = delete;
    ~ViewerConnectionHandler() override;

    /// Called once.
    void start();
    /// Ends the connection. With a routing task running the handler finishes when that ends, else
    /// at once. Any number of times.
    void cancel();

    void connectionDidChange(ViewerConnectionState state) override;
    void connectionDidReceive(const ViewerDelivery& delivery) override;
    void connectionDidSend() override;

  private:
    using Routing = ViewerTask<ViewerHostHTTPResponse>;

    /// What is left to do at the end, taken out under the lock.
    struct Ending final {
        std::shared_ptr<ViewerTaskHandle> task;
        ViewerContinuousClock::TimerId deadline;
    };

    void armDeadline();
    void receiveNext();
    /// What everything received so far amounts to; a head that there is no memory for is too large.
    /// The connection is told to expect what is not part of a request's head.
    ViewerHostRequestParseResult collect(std::span<const std::uint8_t> content);
    /// Everything received so far, with what came last.
    std::span<const std::uint8_t> receivedWith(std::span<const std::uint8_t> content);
    /// Keeps what is not a whole request yet.
    void keep(std::span<const std::uint8_t> data);
    void route(const ViewerHostRequest& request);
    static ViewerTask<void> await(std::weak_ptr<ViewerConnectionHandler> weak,
                                  std::shared_ptr<ViewerTaskHandle> task, Routing routing);
    void send(const ViewerHostHTTPResponse& response);
    void finish();
    /// Makes the caller the one who ends the handler, unless somebody was first.
    std::optional<Ending> claimEnd() VIEWER_REQUIRES(lock_);
    void conclude(Ending ending);
    bool isFinished();

    const std::shared_ptr<ViewerConnection> connection_;
    const std::shared_ptr<const ViewerHostRouter> router_;
    const ViewerExecutor queue_;
    const ViewerAction onFinish_;
    ViewerExecutors& executors_;
    const std::shared_ptr<ViewerContinuousClock> clock_;
    /// Everything received so far, unless the first delivery is all of it. Touched on the queue
    /// only.
    std::vector<std::uint8_t> requestData_;

    ViewerLock lock_;
    std::shared_ptr<ViewerTaskHandle> requestTask_ VIEWER_GUARDED_BY(lock_);
    /// Empty while none is armed.
    ViewerContinuousClock::TimerId deadline_ VIEWER_GUARDED_BY(lock_);
    bool finished_ VIEWER_GUARDED_BY(lock_) = false;
};

}  // namespace velmora
