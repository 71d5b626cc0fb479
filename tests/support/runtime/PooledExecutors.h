#pragma once

#include <boost/asio/execution.hpp>
#include <boost/asio/execution_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <deque>
#include <string_view>
#include <utility>

#include "core/runtime/ViewerExecutors.h"
#include "core/runtime/ViewerLock.h"

namespace velmora {

/// A queue of a pool. Small enough for an executor to hold it without counting references, whose
/// fences ThreadSanitizer does not understand.
struct PooledQueue final {
    using Strand = boost::asio::strand<boost::asio::thread_pool::executor_type>;

    boost::asio::thread_pool* pool;
    Strand* strand;

    friend bool operator==(const PooledQueue&, const PooledQueue&) noexcept = default;

    template <typename Function>
    void execute(Function&& function) const {
        boost::asio::post(*strand, std::forward<Function>(function));
    }
    boost::asio::execution_context& query(boost::asio::execution::context_t) const noexcept {
        return *pool;
    }
    static constexpr boost::asio::execution::blocking_t query(
        boost::asio::execution::blocking_t) noexcept {
        return boost::asio::execution::blocking.never;
    }
    PooledQueue require(boost::asio::execution::blocking_t::never_t) const noexcept {
        return *this;
    }
};

/// Every queue and every task on whichever of four threads is free. Any thread.
class PooledExecutors final : public ViewerExecutors {
  public:
    ViewerExecutor mainExecutor() override { return makeQueue(); }
    ViewerExecutor taskExecutor() override { return makeQueue(); }
    ViewerExecutor makeSerialExecutor(std::string_view) override { return makeQueue(); }

    void join() { pool_.join(); }

  private:
    ViewerExecutor makeQueue() {
        const ViewerLockGuard guard(lock_);
        return PooledQueue{&pool_, &strands_.emplace_back(pool_.get_executor())};
    }

    ViewerLock lock_;
    boost::asio::thread_pool pool_{4};
    std::deque<PooledQueue::Strand> strands_ VIEWER_GUARDED_BY(lock_);
};

}  // namespace velmora
