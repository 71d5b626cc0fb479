#include "core/http/ViewerHTTPServer.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

#include "core/http/ViewerHTTPServerError.h"
#include "core/runtime/ViewerIfAlive.h"

namespace velmora {

namespace {

/// Of how many handlers the memory is kept for later ones, for each that is served at once: its
/// own, and that of one whose last holder has yet to let go.
constexpr std::size_t handlersKept = 2;

}  // namespace

ViewerHTTPServer::ViewerHTTPServer(std::shared_ptr<ViewerHostFrameProviding> provider,
                                   std::uint16_t requestedPort, std::string machineName,
                                   std::shared_ptr<ViewerTransport> transport,
                                   ViewerExecutors& executors,
                                   std::shared_ptr<ViewerContinuousClock> clock,
                                   std::size_t connectionLimit)
    : provider_(std::move(provider)),
      router_(std::make_shared<const ViewerHostRouter>(provider_, std::move(machineName))),
      requestedPort_(requestedPort),
      transport_(std::move(transport)),
      executors_(executors),
      clock_(std::move(clock)),
      handlerMemory_(std::make_shared<ViewerRecycler>(handlersKept * connectionLimit)),
      queue_(executors_.makeSerialExecutor("com.quilmer.velmora.viewer-host.http")),
      connectionLimit_(connectionLimit) {
    handlers_.reserve(connectionLimit_);
}

ViewerHTTPServer::~ViewerHTTPServer() {
    failStart(ViewerHTTPServerError::stoppedBeforeReady());
}

ViewerTask<ViewerHTTPServer::StartOutcome> ViewerHTTPServer::start() {
    // The suspended caller must not hold the server: the server holds its continuation.
    return StartContinuation::wait([server = shared_from_this()](StartContinuation caller) {
        server->beginStart(std::move(caller));
    });
}

void ViewerHTTPServer::beginStart(StartContinuation caller) {
    {
        const ViewerLockGuard guard(lock_);
        if (!listener_ && !startContinuation_ && !stopping_) {
            std::swap(startContinuation_, caller);
        }
    }
    if (caller) {
        caller.complete(
            ViewerHTTPStartFailure(ViewerHTTPServerError::startupFailed("already started")));
        return;
    }
    openListener();
}

void ViewerHTTPServer::openListener() {
    if (!transport_->isUsablePort(requestedPort_)) {
        failStart(ViewerHTTPServerError::invalidPort());
        return;
    }
    ViewerListenerCreation creation = transport_->makeListener(requestedPort_);
    if (auto* error = std::get_if<ViewerPlatformError>(&creation)) {
        completeStart(ViewerHTTPStartFailure(std::move(*error)));
        return;
    }
    const auto listener = std::get<std::shared_ptr<ViewerListener>>(std::move(creation));
    setHandlers(*listener);
    {
        const ViewerLockGuard guard(lock_);
        if (stopping_) {
            return;  // stopped meanwhile from another thread, the caller has been told
        }
        listener_ = listener;
    }
    listener->start(queue_);
}

void ViewerHTTPServer::setHandlers(ViewerListener& listener) {
    listener.setStateHandler(ifAlive(weak_from_this(), &ViewerHTTPServer::listenerChanged));
    listener.setConnectionHandler(ifAlive(weak_from_this(), &ViewerHTTPServer::acceptConnection));
}

void ViewerHTTPServer::listenerChanged(ViewerListenerState state,
                                       const std::string& errorDescription) {
    switch (state) {
        case ViewerListenerState::ready: {
            std::shared_ptr<ViewerListener> listener;
            {
                const ViewerLockGuard guard(lock_);
                listener = listener_;
            }
            const std::optional<std::uint16_t> port = listener ? listener->port() : std::nullopt;
            if (port) {
                completeStart(*port);
            } else {
                failStart(ViewerHTTPServerError::invalidPort());
            }
            return;
        }
        case ViewerListenerState::failed:
            failStart(ViewerHTTPServerError::startupFailed(errorDescription));
            return;
        case ViewerListenerState::cancelled:
            failStart(ViewerHTTPServerError::stoppedBeforeReady());
            return;
        case ViewerListenerState::setup:
        case ViewerListenerState::waiting:
            return;
    }
}

void ViewerHTTPServer::failStart(ViewerHTTPServerError error) {
    completeStart(ViewerHTTPStartFailure(std::move(error)));
}

void ViewerHTTPServer::completeStart(StartOutcome outcome) {
    StartContinuation caller;
    {
        const ViewerLockGuard guard(lock_);
        std::swap(caller, startContinuation_);
    }
    if (caller) {
        caller.complete(std::move(outcome));
    }
}

void ViewerHTTPServer::acceptConnection(std::shared_ptr<ViewerConnection> connection) {
    const ViewerUUID id = makeRandomUUID();
    std::shared_ptr<ViewerConnectionHandler> handler;
    {
        const ViewerLockGuard guard(lock_);
        if (!stopping_) {
            if (handlers_.size() >= connectionLimit_) {
                pendingConnections_.push_back(connection);
                return;
            }
            handler = makeHandler(id, connection);
            handlers_.emplace_back(id, handler);
        }
    }
    if (handler) {
        handler->start();
    } else {
        connection->cancel();
    }
}

std::shared_ptr<ViewerConnectionHandler> ViewerHTTPServer::makeHandler(
    const ViewerUUID& id, std::shared_ptr<ViewerConnection> connection) {
    auto onFinish =
        ifAlive(weak_from_this(), [id](ViewerHTTPServer& server) { server.handlerFinished(id); });
    return std::allocate_shared<ViewerConnectionHandler>(
        ViewerRecyclingAllocator<ViewerConnectionHandler>(handlerMemory_), std::move(connection),
        router_, queue_, std::move(onFinish), executors_, clock_);
}

void ViewerHTTPServer::handlerFinished(const ViewerUUID& id) {
    // Dropped after the lock is released: with the handler its connection may go.
    std::shared_ptr<ViewerConnectionHandler> finished;
    std::shared_ptr<ViewerConnection> next;
    bool isLastOfStop = false;
    {
        const ViewerLockGuard guard(lock_);
        const auto entry = std::ranges::find(handlers_, id, &Handlers::value_type::first);
        if (entry != handlers_.end()) {
            finished = std::move(entry->second);
            handlers_.erase(entry);
        }
        if (stopping_) {
            isLastOfStop = handlers_.empty();
        } else if (!pendingConnections_.empty()) {
            next = std::move(pendingConnections_.front());
            pendingConnections_.pop_front();
        }
    }
    if (next) {
        acceptConnection(std::move(next));
    }
    if (isLastOfStop) {
        resumeStopWaiters();
    }
}

ViewerTask<void> ViewerHTTPServer::stop() {
    return stop(shared_from_this());
}

ViewerTask<void> ViewerHTTPServer::stop(std::shared_ptr<ViewerHTTPServer> server) {
    const bool isFirst = server->beginStop();
    co_await server->waitForHandlers();
    if (isFirst) {
        // Only now does no routing task ask for frames any more.
        co_await server->provider_->shutdown();
        server->resumeStopWaiters();
    }
}

bool ViewerHTTPServer::beginStop() {
    std::shared_ptr<ViewerListener> listener;
    std::deque<std::shared_ptr<ViewerConnection>> pendingConnections;
    std::vector<std::shared_ptr<ViewerConnectionHandler>> handlers;
    StartContinuation caller;
    {
        const ViewerLockGuard guard(lock_);
        if (stopping_) {
            return false;
        }
        stopping_ = true;
        std::swap(listener, listener_);
        std::swap(pendingConnections, pendingConnections_);
        std::swap(caller, startContinuation_);
        // The handlers stay registered, so that their end can be waited for.
        for (const auto& [id, handler] : handlers_) {
            handlers.push_back(handler);
        }
    }
    if (listener) {
        listener->cancel();
    }
    for (const auto& handler : handlers) {
        handler->cancel();
    }
    for (const auto& connection : pendingConnections) {
        connection->cancel();
    }
    if (caller) {
        caller.complete(ViewerHTTPStartFailure(ViewerHTTPServerError::stoppedBeforeReady()));
    }
    return true;
}

ViewerTask<void> ViewerHTTPServer::waitForHandlers() {
    return waitForHandlers(shared_from_this());
}

ViewerTask<void> ViewerHTTPServer::waitForHandlers(std::shared_ptr<ViewerHTTPServer> server) {
    (void)co_await StopContinuation::wait(
        [&server](StopContinuation caller) { server->addStopWaiter(std::move(caller)); });
}

void ViewerHTTPServer::addStopWaiter(StopContinuation caller) {
    {
        const ViewerLockGuard guard(lock_);
        if (!handlers_.empty()) {
            stopContinuations_.push_back(std::move(caller));
            return;
        }
    }
    caller.complete({});
}

void ViewerHTTPServer::resumeStopWaiters() {
    std::vector<StopContinuation> callers;
    {
        const ViewerLockGuard guard(lock_);
        std::swap(callers, stopContinuations_);
    }
    for (auto& caller : callers) {
        caller.complete({});
    }
}

}  // namespace velmora
