#pragma once

#include <boost/asio/cancellation_signal.hpp>
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
    /// for the mark itself, with `isTaskCancelled()`.
    void cancel();

  private:
    static ViewerTask<void> run(ViewerTask<void> body);

    const ViewerExecutor executor_;
    boost::asio::cancellation_signal signal_;
};

/// Starts `body` on `executor` as a task of its own and returns its handle.
std::shared_ptr<ViewerTaskHandle> startTask(ViewerExecutor executor, ViewerTask<void> body);

/// Whether the surrounding task was cancelled.
ViewerTask<bool> isTaskCancelled();

}  // namespace velmora
