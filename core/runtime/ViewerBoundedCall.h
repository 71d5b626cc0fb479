#pragma once

#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerLock.h"
#include "core/runtime/ViewerOneShot.h"
#include "core/runtime/ViewerTask.h"

namespace velmora {

/// One call of an operation that answers with a T through a completion: on any thread, before or
/// after the call returns, or never. The task that makes the call waits for the answer for a
/// limited time. The call lives until the operation drops the completion.
template <typename T>
class ViewerBoundedCall final : public std::enable_shared_from_this<ViewerBoundedCall<T>> {
  public:
    using Completion = std::function<void(T)>;
    using Clock = std::shared_ptr<ViewerContinuousClock>;
    using Duration = ViewerContinuousClock::Duration;

    explicit ViewerBoundedCall(ViewerExecutor executor) : executor_(std::move(executor)) {}
    ViewerBoundedCall(const ViewerBoundedCall&) = delete;
    ViewerBoundedCall& operator=(const ViewerBoundedCall&) = delete;

    /// Runs `call`, a function that takes the completion, and yields the answer, or nothing when
    /// `limit` passed on `clock` before it. An answer after that goes to `late`, on the task's
    /// executor. A cancellation of the task does not shorten the wait: the operation goes on, and
    /// its outcome has to be known.
    template <typename Call>
    static ViewerTask<std::optional<T>> answer(Clock clock, Duration limit, Call call,
                                               Completion late = nullptr) {
        const ViewerExecutor executor = co_await boost::asio::this_coro::executor;
        auto pending = std::make_shared<ViewerBoundedCall>(executor);
        call([pending](T value) { pending->complete(std::move(value)); });
        // Every frame request passes here, and its answer normally is there already: no timer then.
        std::optional<T> immediate = pending->takeImmediate();
        if (immediate.has_value()) {
            co_return immediate;
        }
        // The waiting task lets go of the call, which owns the task's continuation.
        co_return co_await ViewerOneShot<std::optional<T>>::wait(
            [&](ViewerOneShot<std::optional<T>> continuation) {
                std::exchange(pending, nullptr)
                    ->suspend(std::move(continuation), std::move(clock), limit, std::move(late));
            });
    }

  private:
    /// Any thread.
    void complete(T value) {
        {
            const ViewerLockGuard guard(lock_);
            if (!isSuspending_) {
                immediate_ = std::move(value);
                return;
            }
        }
        // The clock and the continuation belong to the task's executor. What is posted runs after
        // the suspension, because that executor is still busy with it.
        boost::asio::post(executor_,
                          [self = this->shared_from_this(), value = std::move(value)]() mutable {
                              self->finish(std::move(value));
                          });
    }

    /// The answer that has come by now. Without one the task is about to be suspended.
    std::optional<T> takeImmediate() {
        const ViewerLockGuard guard(lock_);
        isSuspending_ = !immediate_.has_value();
        return std::move(immediate_);
    }

    void suspend(ViewerOneShot<std::optional<T>> continuation, Clock clock, Duration limit,
                 Completion late) {
        continuation_ = std::move(continuation);
        clock_ = std::move(clock);
        late_ = std::move(late);
        timer_ = clock_->schedule(clock_->now() + limit, executor_,
                                  [self = this->shared_from_this()] { self->expire(); });
    }

    void finish(T value) {
        // The operation may keep the completion for long; it must not keep what is done with.
        const Completion late = std::exchange(late_, nullptr);
        const Clock clock = std::exchange(clock_, nullptr);
        if (continuation_) {
            clock->withdraw(timer_);
            auto task = std::move(continuation_);
            task.complete(std::move(value));
        } else if (late) {
            late(std::move(value));
        }
    }

    void expire() {
        clock_ = nullptr;
        if (continuation_) {
            auto task = std::move(continuation_);
            task.complete(std::nullopt);
        }
    }

    const ViewerExecutor executor_;

    ViewerLock lock_;
    bool isSuspending_ VIEWER_GUARDED_BY(lock_) = false;
    std::optional<T> immediate_ VIEWER_GUARDED_BY(lock_);

    // Set when the task is suspended; touched on the executor only.
    ViewerOneShot<std::optional<T>> continuation_;
    Clock clock_;
    Completion late_;
    ViewerContinuousClock::TimerId timer_;
};

}  // namespace velmora
