#pragma once

#include <atomic>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/cancellation_state.hpp>
#include <memory>

#include "core/runtime/ViewerExecutor.h"
#include "core/runtime/ViewerTask.h"

namespace velmora {

/// A task that runs by itself, and the means to cancel it. The task goes on when the handle is
/// dropped. Any thread.
class ViewerTaskHandle final : public std::enable_shared_from_this<ViewerTaskHandle> {
  public:
    explicit ViewerTaskHandle(ViewerExecutor executor);
    ViewerTaskHandle(const ViewerTaskHandle&) = delete;
    ViewerTaskHandle& operator=(const ViewerTaskHandle&) = delete;

    /// Starts `body` on the handle's executor, at once when the caller is already on it. Called
    /// once.
    void start(ViewerTask<void> body);

    /// Marks the task as cancelled and wakes it where it sleeps. Waits do not throw: a task looks
    /// for the mark itself, in its cancellation state. Also before `start`; nothing after the end.
    void cancel();

    /// Whether `cancel` was called before the task ended. True as soon as `cancel` has returned,
    /// while the task's own state follows once its executor gets round to it.
    bool isCancelled() const { return (progress_.load() & cancelled) != 0; }

  private:
    static constexpr unsigned begun = 1;
    static constexpr unsigned cancelled = 2;
    static constexpr unsigned ended = 4;

    void wake();
    static ViewerTask<void> run(std::shared_ptr<ViewerTaskHandle> handle, ViewerTask<void> body);

    const ViewerExecutor executor_;
    /// What has happened so far, one bit each.
    std::atomic<unsigned> progress_{0};
    boost::asio::cancellation_signal signal_;
};

/// Starts `body` on `executor` as a task of its own and returns its handle.
std::shared_ptr<ViewerTaskHandle> startTask(ViewerExecutor executor, ViewerTask<void> body);

/// Whether the task of that state, `co_await boost::asio::this_coro::cancellation_state`, was
/// cancelled.
bool isCancelled(const boost::asio::cancellation_state& task);

}  // namespace velmora
