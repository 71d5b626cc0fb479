#include "core/runtime/ViewerTaskHandle.h"

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <exception>
#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerMemoryLack.h"

namespace velmora {

ViewerTaskHandle::ViewerTaskHandle(ViewerExecutor executor) : executor_(std::move(executor)) {}

void ViewerTaskHandle::start(ViewerTask<void> body) {
    // The completion keeps the signal alive for as long as the task may look at it.
    auto completion = [self = shared_from_this()](const std::exception_ptr& exception) {
        endIfMemoryLacked(exception);
        viewerCheck(exception == nullptr, "a task never throws");
    };
    boost::asio::co_spawn(executor_, run(shared_from_this(), std::move(body)),
                          boost::asio::bind_cancellation_slot(signal_.slot(), completion));
}

void ViewerTaskHandle::cancel() {
    unsigned before = progress_.load();
    do {
        if ((before & (cancelled | ended)) != 0) {
            return;
        }
    } while (!progress_.compare_exchange_weak(before, before | cancelled));
    if ((before & begun) == 0) {
        return;  // the task cancels itself when it begins: the signal has no receiver before
    }
    boost::asio::post(executor_, [self = shared_from_this()] { self->wake(); });
}

void ViewerTaskHandle::wake() {
    signal_.emit(boost::asio::cancellation_type::terminal);
    // Asio passes the signal on through the executor, by a plain pointer to what the signal holds.
    boost::asio::post(executor_, [self = shared_from_this()] {});
}

ViewerTask<void> ViewerTaskHandle::run(std::shared_ptr<ViewerTaskHandle> handle,
                                       ViewerTask<void> body) {
    co_await boost::asio::this_coro::throw_if_cancelled(false);
    if ((handle->progress_.fetch_or(begun) & cancelled) != 0) {
        handle->wake();
    }
    co_await std::move(body);
    (void)handle->progress_.fetch_or(ended);  // from here on a cancellation has nothing to reach
}

std::shared_ptr<ViewerTaskHandle> startTask(ViewerExecutor executor, ViewerTask<void> body) {
    auto handle = std::make_shared<ViewerTaskHandle>(std::move(executor));
    handle->start(std::move(body));
    return handle;
}

bool isCancelled(const boost::asio::cancellation_state& task) {
    return task.cancelled() != boost::asio::cancellation_type::none;
}

}  // namespace velmora
