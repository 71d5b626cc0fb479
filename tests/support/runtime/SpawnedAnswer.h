#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerTask.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {

/// Starts a task in a simulated world and keeps what it answers, once it has.
template <typename T>
class SpawnedAnswer final {
  public:
    SpawnedAnswer(SimulatedWorld& world, ViewerTask<T> task)
        : answer_(std::make_shared<std::optional<T>>()) {
        world.spawn(keep(std::move(task), answer_));
    }

    bool isThere() const { return answer_->has_value(); }
    /// Stops the process when the task has not answered yet.
    const T& value() const {
        viewerCheck(isThere(), "the task has answered");
        return **answer_;
    }

  private:
    static ViewerTask<void> keep(ViewerTask<T> task, std::shared_ptr<std::optional<T>> answer) {
        T value = co_await std::move(task);
        viewerCheck(!answer->has_value(), "a task answers once");
        answer->emplace(std::move(value));
    }

    std::shared_ptr<std::optional<T>> answer_;
};

}  // namespace velmora
