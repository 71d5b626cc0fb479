#pragma once

#include <functional>
#include <string_view>
#include <utility>

#include "core/runtime/ViewerExecutors.h"

namespace velmora {

/// Every executor is one and the same, as where one loop does everything.
class OneLoop final : public ViewerExecutors {
  public:
    explicit OneLoop(ViewerExecutor loop) : loop_(std::move(loop)) {}

    ViewerExecutor mainExecutor() override { return loop_; }
    ViewerExecutor taskExecutor() override {
        if (onTask) {
            onTask();
        }
        return loop_;
    }
    ViewerExecutor makeSerialExecutor(std::string_view) override { return loop_; }

    /// Called before a task gets its executor.
    std::function<void()> onTask;

  private:
    const ViewerExecutor loop_;
};

}  // namespace velmora
