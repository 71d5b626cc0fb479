#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "core/coordination/ViewerHostFrameProviding.h"
#include "core/http/ViewerConnectionHandler.h"
#include "core/http/ViewerHTTPStartFailure.h"
#include "core/http/ViewerTransport.h"
#include "core/protocol/ViewerHostProtocolV1.h"
#include "core/protocol/ViewerHostRouter.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"
#include "core/runtime/ViewerExecutors.h"
#include "core/runtime/ViewerLock.h"
#include "core/runtime/ViewerOneShot.h"
#include "core/runtime/ViewerRecycler.h"
#include "core/runtime/ViewerTask.h"
#include "core/runtime/ViewerUUID.h"

namespace velmora {

/// The network front of the host: one listener, and one handler for each of at most 16 connections
/// served at once, where no other limit is given; further ones wait in order of arrival.
/// Single-use: once stopped it never starts again. Shared by whoever runs it; its operations may be
/// called from any thread.
class ViewerHTTPServer final : public std::enable_shared_from_this<ViewerHTTPServer> {
  public:
    /// The port in host order that the listener is bound to, or why there is none.
    using StartOutcome = std::variant<std::uint16_t, ViewerHTTPStartFailure>;

    /// Opens nothing. The executors outlive the server.
    ViewerHTTPServer(std::shared_ptr<ViewerHostFrameProviding> provider,
                     std::uint16_t requestedPort, std::string machineName,
                     std::shared_ptr<ViewerTransport> transport, ViewerExecutors& executors,
                     std::shared_ptr<ViewerContinuousClock> clock,
                     std::size_t connectionLimit = ViewerHostProtocolV1::maxConcurrentConnections);
    ViewerHTTPServer(const ViewerHTTPServer&) = delete;
    ViewerHTTPServer& operator=(const ViewerHTTPServer&) = delete;
    /// Ends a `start()` that still waits as `stop()` would.
    ~ViewerHTTPServer();

    /// Completes once the listener is ready or cannot become so.
    ViewerTask<StartOutcome> start();
    /// Ends the listener and every connection, and completes when the last handler has finished.
    /// The first call shuts the provider down then; every call may be made at any time.
    ViewerTask<void> stop();
    /// Completes when no connection is being served, and not before a stop where one was.
    ViewerTask<void> waitForHandlers();
    /// Told by a handler at its end: forgets it, and takes up the next connection that waits.
    void handlerFinished(const ViewerUUID& id);

  private:
    /// No more than the limit, in the order of their start: the order of everything that happens to
    /// them must not hang on random numbers, or no simulated run could be played again.
    using Handlers = std::vector<std::pair<ViewerUUID, std::shared_ptr<ViewerConnectionHandler>>>;
    using StartContinuation = ViewerOneShot<StartOutcome>;
    /// The continuation yields nothing.
    using StopContinuation = ViewerOneShot<std::monostate>;

    static ViewerTask<void> stop(std::shared_ptr<ViewerHTTPServer> server);
    static ViewerTask<void> waitForHandlers(std::shared_ptr<ViewerHTTPServer> server);

    void beginStart(StartContinuation caller);
    void openListener();
    void setHandlers(ViewerListener& listener);
    void listenerChanged(ViewerListenerState state, const std::string& errorDescription);
    void failStart(ViewerHTTPServerError error);
    void completeStart(StartOutcome outcome);
    void acceptConnection(std::shared_ptr<ViewerConnection> connection);
    std::shared_ptr<ViewerConnectionHandler> makeHandler(
        const ViewerUUID& id, std::shared_ptr<ViewerConnection> connection);
    /// Whether this call is the first.
    bool beginStop();
    void addStopWaiter(StopContinuation caller);
    void resumeStopWaiters();

    const std::shared_ptr<ViewerHostFrameProviding> provider_;
    const std::shared_ptr<const ViewerHostRouter> router_;
    const std::uint16_t requestedPort_;
    const std::shared_ptr<ViewerTransport> transport_;
    ViewerExecutors& executors_;
    const std::shared_ptr<ViewerContinuousClock> clock_;
    const std::shared_ptr<ViewerRecycler> handlerMemory_;
    /// Every event of the listener and of its connections is delivered here.
    const ViewerExecutor queue_;
    /// How many connections are served at once.
    const std::size_t connectionLimit_;

    ViewerLock lock_;
    /// Kept when it has failed, so that no second start is possible; absent after a stop.
    std::shared_ptr<ViewerListener> listener_ VIEWER_GUARDED_BY(lock_);
    Handlers handlers_ VIEWER_GUARDED_BY(lock_);
    /// Accepted, not started; the first is the next to be served.
    std::deque<std::shared_ptr<ViewerConnection>> pendingConnections_ VIEWER_GUARDED_BY(lock_);
    StartContinuation startContinuation_ VIEWER_GUARDED_BY(lock_);
    std::vector<StopContinuation> stopContinuations_ VIEWER_GUARDED_BY(lock_);
    bool stopping_ VIEWER_GUARDED_BY(lock_) = false;
};

}  // namespace velmora
