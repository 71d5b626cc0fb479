#include "core/http/ViewerConnectionHandler.h"

#include <cstddef>
#include <utility>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "core/protocol/ViewerHostRequestParser.h"
#include "core/runtime/ViewerIfAlive.h"
#include "core/runtime/ViewerMemoryLack.h"

namespace velmora {

namespace {

/// The most bytes that one receive brings.
constexpr std::size_t maxDeliveryBytes = 1024;

}  // namespace

ViewerConnectionHandler::ViewerConnectionHandler(std::shared_ptr<ViewerConnection> connection,
                                                 std::shared_ptr<const ViewerHostRouter> router,
                                                 ViewerExecutor queue, ViewerAction onFinish,
                                                 ViewerExecutors& executors,
                                                 std::shared_ptr<ViewerContinuousClock> clock)
    : connection_(std::move(connection)),
      router_(std::move(router)),
      queue_(std::move(queue)),
      onFinish_(std::move(onFinish)),
      executors_(executors),
      clock_(std::move(clock)) {}

ViewerConnectionHandler::~ViewerConnectionHandler() {
    clock_->withdraw(deadline_);
}

void ViewerConnectionHandler::start() {
    connection_->start(queue_, weak_from_this());
    armDeadline();
}

void ViewerConnectionHandler::connectionDidChange(ViewerConnectionState state) {
    switch (state) {
        case ViewerConnectionState::ready:
            receiveNext();
            return;
        case ViewerConnectionState::failed:
        case ViewerConnectionState::cancelled:
            cancel();
            return;
        case ViewerConnectionState::setup:
        case ViewerConnectionState::waiting:
        case ViewerConnectionState::preparing:
            return;  // the deadline covers a connection that never becomes ready
    }
}

void ViewerConnectionHandler::armDeadline() {
    const auto timer =
        clock_->schedule(clock_->now() + ViewerHostProtocolV1::requestTimeout, queue_,
                         ifAlive(weak_from_this(), &ViewerConnectionHandler::cancel));
    {
        const ViewerLockGuard guard(lock_);
        if (!finished_) {
            deadline_ = timer;
            return;
        }
    }
    clock_->withdraw(timer);  // cancelled from another thread while it started
}

void ViewerConnectionHandler::receiveNext() {
    connection_->receive(maxDeliveryBytes);
}

void ViewerConnectionHandler::connectionDidReceive(const ViewerDelivery& delivery) {
    if (isFinished()) {
        return;  // cancelled: whatever still arrives is not answered
    }
    auto result = collect(delivery.content);
    switch (result.which()) {
        case ViewerHostRequestParseResult::Case::request:
            route(result.payload());
            return;
        case ViewerHostRequestParseResult::Case::methodNotAllowed:
            send(ViewerHostHTTPResponse::methodNotAllowed());
            return;
        case ViewerHostRequestParseResult::Case::headersTooLarge:
            send(ViewerHostHTTPResponse::headersTooLarge());
            return;
        case ViewerHostRequestParseResult::Case::incomplete:
            if (delivery.isComplete || delivery.hasError) {
                finish();
            } else {
                receiveNext();
            }
            return;
    }
}

ViewerHostRequestParseResult ViewerConnectionHandler::collect(
    std::span<const std::uint8_t> content) {
    try {
        const ViewerMemoryAttempt attempt;
        const auto data = receivedWith(content);
        auto result = ViewerHostRequestParser::parse(data);
        if (result.which() == ViewerHostRequestParseResult::Case::incomplete) {
            keep(data);
        } else if (result.which() != ViewerHostRequestParseResult::Case::request ||
                   ViewerHostRequestParser::hasMoreThanHead(data)) {
            connection_->expectMore();
        }
        return result;
    } catch (const ViewerMemoryLack&) {
        connection_->expectMore();
        return ViewerHostRequestParseResult::headersTooLarge();
    }
}

std::span<const std::uint8_t> ViewerConnectionHandler::receivedWith(
    std::span<const std::uint8_t> content) {
    // Mostly all of a request comes at once and need not be kept.
    if (requestData_.empty()) {
        return content;
    }
    requestData_.insert(requestData_.end(), content.begin(), content.end());
    return requestData_;
}

void ViewerConnectionHandler::keep(std::span<const std::uint8_t> data) {
    if (requestData_.empty()) {
        requestData_.assign(data.begin(), data.end());
    }
}

void ViewerConnectionHandler::route(const ViewerHostRequest& request) {
    ViewerHostAnswer answer = router_->answer(request, queue_);
    if (const auto* const response = std::get_if<ViewerHostHTTPResponse>(&answer)) {
        send(*response);
        return;
    }
    const auto task = std::make_shared<ViewerTaskHandle>(executors_.taskExecutor());
    {
        const ViewerLockGuard guard(lock_);
        if (finished_) {
            return;
        }
        // Stored before it starts: on the queue's own loop it may run to its end at once.
        requestTask_ = task;
    }
    task->start(await(weak_from_this(), task, std::get<Routing>(std::move(answer))));
}

ViewerTask<void> ViewerConnectionHandler::await(std::weak_ptr<ViewerConnectionHandler> weak,
                                                std::shared_ptr<ViewerTaskHandle> task,
                                                Routing routing) {
    const ViewerHostHTTPResponse response = co_await std::move(routing);
    const auto handler = weak.lock();
    if (!handler) {
        co_return;
    }
    if (task->isCancelled()) {
        handler->finish();
    } else {
        handler->send(response);
    }
}

void ViewerConnectionHandler::send(const ViewerHostHTTPResponse& response) {
    connection_->send(response.serialized());
}

void ViewerConnectionHandler::connectionDidSend() {
    connection_->cancel();
    finish();
}

void ViewerConnectionHandler::cancel() {
    std::shared_ptr<ViewerTaskHandle> task;
    std::optional<Ending> ending;
    {
        const ViewerLockGuard guard(lock_);
        task = requestTask_;
        if (!task) {
            ending = claimEnd();  // in the same breath, so that no routing task starts any more
        }
    }
    if (task) {
        task->cancel();
    }
    connection_->cancel();
    if (ending) {
        conclude(std::move(*ending));
    }
}

void ViewerConnectionHandler::finish() {
    std::optional<Ending> ending;
    {
        const ViewerLockGuard guard(lock_);
        ending = claimEnd();
    }
    if (ending) {
        conclude(std::move(*ending));
    }
}

std::optional<ViewerConnectionHandler::Ending> ViewerConnectionHandler::claimEnd() {
    if (finished_) {
        return std::nullopt;
    }
    finished_ = true;
    return Ending{std::move(requestTask_), std::exchange(deadline_, {})};
}

void ViewerConnectionHandler::conclude(Ending ending) {
    if (ending.task) {
        ending.task->cancel();
    }
    clock_->withdraw(ending.deadline);
    onFinish_();
}

bool ViewerConnectionHandler::isFinished() {
    const ViewerLockGuard guard(lock_);
    return finished_;
}

}  // namespace velmora
