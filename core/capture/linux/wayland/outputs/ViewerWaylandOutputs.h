#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "core/capture/linux/wayland/outputs/ViewerOutputs.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"
#include "core/runtime/ViewerTask.h"
#include "core/runtime/ViewerTaskHandle.h"

namespace velmora {

/// The outputs of the compositor behind one socket, over one connection that waits in the loop.
/// When it ends, another is tried every few seconds, and the end of the session is told once the
/// compositor was gone for a minute. One that holds its socket but does not answer may come round,
/// and does not count as gone. Made, used and destroyed on the thread of its executor, which is a
/// loop of Asio's.
class ViewerWaylandOutputs final : public ViewerOutputs {
  public:
    /// For so long the compositor has to be gone, by a clock that goes on while the machine sleeps.
    static constexpr std::chrono::seconds patience{60};
    /// Between two tries to connect.
    static constexpr std::chrono::seconds interval{3};

    ViewerWaylandOutputs(ViewerExecutor executor, std::shared_ptr<ViewerContinuousClock> clock,
                         std::string socketPath);
    /// Everything goes at once.
    ~ViewerWaylandOutputs() override;
    ViewerWaylandOutputs(const ViewerWaylandOutputs&) = delete;
    ViewerWaylandOutputs& operator=(const ViewerWaylandOutputs&) = delete;

    void start(std::function<void()> changed) override;
    Current current() override;
    void watchSession(std::function<void()> ended) override;

  private:
    class State;
    using Shared = std::shared_ptr<State>;

    static ViewerTask<void> watch(Shared state);
    /// Connects and stays connected for as long as that goes well.
    static ViewerTask<void> serve(Shared state);
    static ViewerTask<void> awaitEnd(Shared state);

    const ViewerExecutor executor_;
    const Shared state_;
    std::shared_ptr<ViewerTaskHandle> task_;
};

}  // namespace velmora
