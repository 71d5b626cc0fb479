#pragma once

#import <dispatch/dispatch.h>

#include <boost/asio/execution.hpp>
#include <boost/asio/execution_context.hpp>
#include <memory>
#include <utility>

namespace velmora {

/// A serial dispatch queue as Asio's executor, so that tasks run on the very queues that the
/// platform delivers its events on. A function never runs inside the call that submits it. Any
/// thread.
class ViewerDispatchExecutor final {
  public:
    explicit ViewerDispatchExecutor(dispatch_queue_t queue) : queue_(queue) {}

    dispatch_queue_t queue() const { return queue_; }

    friend bool operator==(const ViewerDispatchExecutor& a,
                           const ViewerDispatchExecutor& b) noexcept {
        return a.queue_ == b.queue_;
    }

    template <typename Function>
    void execute(Function function) const {
        auto submitted = std::make_unique<Function>(std::move(function));
        dispatch_async_f(queue_, submitted.release(), [](void* context) {
            const std::unique_ptr<Function> work(static_cast<Function*>(context));
            @autoreleasepool {
                std::move (*work)();
            }
        });
    }

    boost::asio::execution_context& query(boost::asio::execution::context_t) const noexcept {
        return services();
    }
    static constexpr boost::asio::execution::blocking_t query(
        boost::asio::execution::blocking_t) noexcept {
        return boost::asio::execution::blocking.never;
    }
    ViewerDispatchExecutor require(boost::asio::execution::blocking_t::never_t) const noexcept {
        return *this;
    }

  private:
    /// What Asio keeps for executors. Never destroyed: queues may run until the process ends.
    static boost::asio::execution_context& services() {
        static auto& context = *new boost::asio::execution_context;
        return context;
    }

    dispatch_queue_t queue_;
};

}  // namespace velmora
