#pragma once

#include <boost/asio/async_result.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <memory>
#include <type_traits>
#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerTask.h"

namespace velmora {

/// A suspended task waiting for one value. Whoever holds it completes it exactly once, from any
/// thread; the task goes on on its own executor. Completing an empty one is a programming fault.
/// One that is destroyed without having been completed ends its task where it waits.
template <typename T>
class ViewerOneShot final {
  public:
    ViewerOneShot() = default;

    explicit operator bool() const { return suspended_ != nullptr; }

    void complete(T value) {
        viewerCheck(suspended_ != nullptr, "a one-shot continuation completes exactly once");
        const ViewerExecutor executor = suspended_->executor;
        boost::asio::post(executor,
                          [task = std::move(suspended_), value = std::move(value)]() mutable {
                              task->resume(std::move(value));
                          });
    }

    /// Suspends the calling task and hands its continuation to `receive`, which runs synchronously
    /// before the suspension and may complete the continuation at once or store it.
    template <typename Receive>
    static ViewerTask<T> wait(Receive receive) {
        const ViewerExecutor executor = co_await boost::asio::this_coro::executor;
        const boost::asio::use_awaitable_t<ViewerExecutor> token;
        co_return co_await boost::asio::async_initiate<
            const boost::asio::use_awaitable_t<ViewerExecutor>, void(T)>(
            [](auto&& handler, ViewerExecutor taskExecutor, Receive receiver) {
                using Handler = std::decay_t<decltype(handler)>;
                ViewerOneShot continuation;
                continuation.suspended_ = std::make_unique<SuspendedTask<Handler>>(
                    std::move(taskExecutor), std::forward<decltype(handler)>(handler));
                receiver(std::move(continuation));
            },
            token, executor, std::move(receive));
    }

  private:
    struct Suspended {
        explicit Suspended(ViewerExecutor taskExecutor) : executor(std::move(taskExecutor)) {}
        virtual ~Suspended() = default;
        virtual void resume(T value) = 0;
        ViewerExecutor executor;
    };

    template <typename Handler>
    struct SuspendedTask final : Suspended {
        SuspendedTask(ViewerExecutor taskExecutor, Handler taskHandler)
            : Suspended(std::move(taskExecutor)), handler(std::move(taskHandler)) {}
        void resume(T value) override { std::move(handler)(std::move(value)); }
        Handler handler;
    };

    std::unique_ptr<Suspended> suspended_;
};

}  // namespace velmora
