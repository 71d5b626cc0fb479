#include "core/runtime/ViewerTaskHandle.h"

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <exception>
#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

ViewerTaskHandle::ViewerTaskHandle(ViewerExecutor executor) : executor_(std::move(executor)) {}

void ViewerTaskHandle::start(ViewerTask<void> body) {
    // The completion keeps the signal alive for as long as the task may look at it.
    auto completion = [self = shared_from_this()](const std::exception_ptr& exception) {
        viewerCheck(exception == nullptr, "a task never throws");
    };
    boost::asio::co_spawn(executor_, run(std::move(body)),
                          boost::asio::bind_cancellation_slot(signal_.slot(), completion));
}

void ViewerTaskHandle::cancel() {
    // Always behind the start: the first thing a task does is to switch throwing off.
    boost::asio::post(executor_, [self = shared_from_this()] {
        self->signal_.emit(boost::asio::cancellation_type::terminal);
    });
}

ViewerTask<void> ViewerTaskHandle::run(ViewerTask<void> body) {
    co_await boost::asio::this_coro::throw_if_cancelled(false);
    co_await std::move(body);
}

std::shared_ptr<ViewerTaskHandle> startTask(ViewerExecutor executor, ViewerTask<void> body) {
    auto handle = std::make_shared<ViewerTaskHandle>(std::move(executor));
    handle->start(std::move(body));
    return handle;
}

ViewerTask<bool> isTaskCancelled() {
    const auto state = co_await boost::asio::this_coro::cancellation_state;
    co_return state.cancelled() != boost::asio::cancellation_type::none;
}

}  // namespace velmora
