"""Faults of order and lifetime, made by hand, that the simulation has to find.

A fault is a name and what it replaces: (file, text, other text), each text standing in its file
exactly once.
"""

SERVER = "core/http/ViewerHTTPServer.cpp"
HANDLER = "core/http/ViewerConnectionHandler.cpp"
ROUTER = "core/protocol/ViewerHostRouter.cpp"
COORDINATOR = "core/coordination/ViewerCaptureCoordinator.cpp"
ACCUMULATOR = "core/coordination/ViewerFrameAccumulator.cpp"
SESSION = "core/capture/MacDisplayCaptureSession.cpp"
SOURCE = "core/capture/MacDisplayCaptureSource.cpp"
TASK = "core/runtime/ViewerTaskHandle.cpp"
ISOLATION = "core/runtime/ViewerIsolation.h"
DELEGATE = "app/ViewerHostApplicationDelegate.cpp"
GATE = "app/ViewerPermissionGate.cpp"

FAULTS = {
    # The server and the line before it.
    "a seventeenth connection is served": [
        (SERVER, "handlers_.size() >= connectionLimit_", "handlers_.size() > connectionLimit_")],
    "the last in line is served first": [
        (SERVER, "std::move(pendingConnections_.front());", "std::move(pendingConnections_.back());"),
        (SERVER, "pendingConnections_.pop_front();", "pendingConnections_.pop_back();")],
    "the next in line is dropped": [
        (SERVER, "        acceptConnection(std::move(next));", "        next.reset();")],
    "a handler that has finished keeps its place": [
        (SERVER, "            handlers_.erase(entry);\n", "")],
    "a stop leaves those in line alone": [
        (SERVER, "    for (const auto& connection : pendingConnections) {\n        connection->cancel();",
         "    for (const auto& connection : pendingConnections) {\n        (void)connection;")],
    "a stop leaves the handlers alone": [
        (SERVER, "        handler->cancel();", "        (void)handler;")],
    "a stop leaves the listener alone": [
        (SERVER, "        listener->cancel();", "        (void)listener;")],
    "the provider is shut down before the last handler": [
        (SERVER, "    co_await server->waitForHandlers();\n", "")],
    "the first handler that finishes ends the stop": [
        (SERVER, "isLastOfStop = handlers_.empty();", "isLastOfStop = true;")],
    "no handler that finishes ends the stop": [
        (SERVER, "isLastOfStop = handlers_.empty();", "isLastOfStop = false;")],
    "a server that stops serves who still comes": [
        (SERVER, "        if (!stopping_) {\n            if (handlers_", "        {\n            if (handlers_")],
    "the provider is never shut down": [
        (SERVER, "    if (isFirst) {", "    if (!isFirst) {")],

    # The handlers.
    "no deadline is set": [
        (HANDLER, "    connection_->start(queue_, weak_from_this());\n    armDeadline();", "    connection_->start(queue_, weak_from_this());")],
    "a cancelled task answers": [
        (HANDLER, "    if (task->isCancelled()) {", "    if (!task) {")],
    "a cancelled task never finishes its handler": [
        (HANDLER, "        handler->finish();\n    } else {", "    } else {")],
    "a handler does not finish when its answer has left": [
        (HANDLER, "    connection_->cancel();\n    finish();", "    connection_->cancel();")],
    "a handler reads on behind the request": [
        (HANDLER, "            route(result.payload());",
         "            receiveNext();\n            route(result.payload());")],
    "a handler outlives a client that leaves without asking": [
        (HANDLER, "                finish();\n            } else {", "            } else {")],
    "a handler finishes while its request is routed": [
        (HANDLER, "        if (!task) {\n            ending", "        {\n            ending")],
    "a handler does not hear that its connection is lost": [
        (HANDLER, "        case ViewerConnectionState::cancelled:\n            cancel();", "        case ViewerConnectionState::cancelled:")],
    "a deadline only lets go of its connection": [
        (HANDLER, "                                                handler->cancel();", "                                                handler->finish();")],
    "an answer leaves its connection open": [
        (HANDLER, "    connection_->cancel();\n    finish();", "    finish();")],

    # The coordinator.
    "a fifth display is captured": [
        (COORDINATOR, "(entries_.size()) >= sessionLimit_", "(entries_.size()) > sessionLimit_")],
    "an idle timer knows only the time": [
        (COORDINATOR, "entry.users == 0 && entry.cleanupGeneration == generation &&", "generation == generation &&")],
    "a use is never over": [
        (COORDINATOR, "    entry.users = std::max<std::int64_t>(entry.users - 1, 0);\n", "")],
    "no idle timer is set": [
        (COORDINATOR, "    entry.cleanupGeneration = makeRandomUUID();\n    scheduleCleanup(entry);",
         "    entry.cleanupGeneration = makeRandomUUID();")],
    "the idle time begins with the request": [
        (COORDINATOR, "    cancelCleanup(*entry);\n    return entry->session;",
         "    scheduleCleanup(*entry);\n    return entry->session;"),
        (COORDINATOR, "    entry.cleanupGeneration = makeRandomUUID();\n    scheduleCleanup(entry);", "")],
    "an idle session is dropped without its stop": [
        (COORDINATOR, "    self->entries_.erase(found);\n    co_await session->stop();", "    self->entries_.erase(found);")],
    "an idle session leaves the table behind its stop": [
        (COORDINATOR, "    const Session session = std::move(found->second.session);\n    self->entries_.erase(found);\n    co_await session->stop();",
         "    const auto [displayID, entry] = *found;\n    co_await entry.session->stop();\n    self->entries_.erase(displayID);")],
    "the end stops every session at once": [
        (COORDINATOR, "        co_await entry.session->stop();", "        (void)startTask(self->isolation_.executor(), entry.session->stop());")],

    # The sessions, their streams and their frames.
    "a dead stream is not noticed": [
        (SESSION, "    if (self->health_->isStopped()) {\n        self->dropStream();\n    }\n", "")],
    "a new stream inherits its predecessor's death": [
        (SESSION, "    health_ = std::make_shared<MacDisplayStreamHealth>();\n    accumulator_", "    accumulator_")],
    "a dead stream's frame is kept": [
        (SESSION, "    accumulator_->clear();\n", "")],
    "a stream that was given up still publishes": [
        (SESSION, "submit(*std::move(jpeg), epoch_)", "submit(*std::move(jpeg))")],
    "a stream that failed to start is kept": [
        (SESSION, "        if (self->stream_ == stream) {\n            self->dropStream();\n        }\n", "")],
    "a start that is never answered is not stopped": [
        (SESSION, "    if (!answer.has_value()) {", "    if (false) {")],
    "a start that comes late is not stopped": [
        (SESSION, "        if (succeeded) {\n            stopUnwatched", "        if (!succeeded) {\n            stopUnwatched")],
    "a stream is known only once it has started": [
        (SESSION, "    self->stream_ = stream;\n    const auto call", "    const auto call"),
        (SESSION, "    if (self->isStopped_) {\n        // A stop during", "    self->stream_ = stream;\n    if (self->isStopped_) {\n        // A stop during")],
    "a session that is stopped leaves its stream alone": [
        (SESSION, "        co_await stopStream(self->stream_, self->clock_);\n        self->stream_ = nullptr;\n    }\n}", "        self->stream_ = nullptr;\n    }\n}")],
    "a stream that took no receiver is started": [
        (SESSION, "    if (!isRegistered) {", "    if (false && !isRegistered) {")],
    "a new stream's pictures count as the old one's": [
        (ACCUMULATOR, "    ++epoch_;\n", "")],
    "numbers begin anew with each stream": [
        (ACCUMULATOR, "    latest_.reset();\n", "    latest_.reset();\n    counter_ = 0;\n")],
    "sessions share their token": [
        (ACCUMULATOR, '    return processFrameToken + "-" + makeRandomToken();', '    static const std::string prefix = processFrameToken + "-" + makeRandomToken();\n    return prefix;')],
    "a changed list of displays is not looked at": [
        (SOURCE, "if (last && last->reported == reported && last->screens == screens)", "if (last)")],
    "a frame is fetched before its display is looked up": [
        (ROUTER, "    // An unknown id must never start a capture.\n", "    (void)co_await provider->frame(std::string(displayID));\n")],

    # Tasks.
    "a cancelled task sleeps on": [
        (TASK, "    boost::asio::post(executor_, [self = shared_from_this()] { self->wake(); });\n", "")],
    "a cancellation stays outside the actor": [
        (ISOLATION, "                } else if (slot.is_connected()) {", "                } else if (false && slot.is_connected()) {")],
    "a task that was cancelled before it began sleeps on": [
        (TASK, "        handle->wake();\n    }", "        (void)handle;\n    }")],
    "a cancellation that came first stays outside the actor": [
        (ISOLATION, "                if (isAlreadyCancelled) {", "                if (false && isAlreadyCancelled) {")],

    # The delegate and the gate.
    "every quit ends the host anew": [
        (DELEGATE, "    terminationStarted_ = true;\n", "")],
    "a hanging stop has no grace": [
        (DELEGATE, "    (void)co_await clock->sleep(terminationGrace);\n", "    (void)co_await clock->sleep(10 * terminationGrace);\n")],
    "the end of the stop is not waited for": [
        (DELEGATE, "    co_await server->stop();\n    finishOn(main, std::move(weak));",
         "    (void)startTask(main, server->stop());\n    finishOn(main, std::move(weak));\n    co_return;")],
    "a quit lets the start go on": [
        (DELEGATE, "        startupTask_->cancel();", "        (void)startupTask_;")],
    "a quit leaves the alert": [
        (DELEGATE, "    services_.alerts->close();\n", "")],
    "a quit leaves the signals": [
        (DELEGATE, "        source->cancel();", "        (void)source;")],
    "a start that a quit has ended counts as failed": [
        (DELEGATE, "    } else if (!self->startupTask_->isCancelled()) {", "    } else {")],
    "a permission that comes after the quit starts the server": [
        (DELEGATE, "    if (self->startupTask_->isCancelled()) {\n        co_return;\n    }\n    if (!isAllowed", "    if (!isAllowed")],
    "an application agrees to end before it has stopped": [
        (DELEGATE, "    return ViewerTerminateReply::cancel;", "    return ViewerTerminateReply::now;")],
    "a session's end is not watched": [
        (DELEGATE, "            application->beginTermination();", "            (void)application;")],
    "the system asks whoever did not agree": [
        (GATE, "    if (!hasConsent || task->isCancelled()) {", "    (void)hasConsent;\n    if (task->isCancelled()) {")],
    "the gate asks though the host is to end": [
        (GATE, "    if (access == ViewerCaptureAccess::granted || task->isCancelled()) {\n        co_return access == ViewerCaptureAccess::granted;\n    }\n    alerts->bringToFront();",
         "    if (access == ViewerCaptureAccess::granted) {\n        co_return access == ViewerCaptureAccess::granted;\n    }\n    alerts->bringToFront();")],
}
