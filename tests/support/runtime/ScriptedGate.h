#pragma once

#include <cstddef>
#include <utility>
#include <variant>
#include <vector>

#include "core/runtime/ViewerOneShot.h"
#include "core/runtime/ViewerTask.h"

namespace velmora {

/// A place where tasks wait until the test lets them on. Open at first; one thread.
class ScriptedGate final {
  public:
    ViewerTask<void> pass() {
        if (!isClosed_) {
            co_return;
        }
        (void)co_await ViewerOneShot<std::monostate>::wait(
            [this](ViewerOneShot<std::monostate> task) { waiting_.push_back(std::move(task)); });
    }

    void close() { isClosed_ = true; }
    void open() {
        isClosed_ = false;
        for (auto& task : std::exchange(waiting_, {})) {
            task.complete({});
        }
    }
    /// Lets the one on that has waited longest; the gate stays closed.
    void letOneOn() {
        auto first = std::move(waiting_.front());
        waiting_.erase(waiting_.begin());
        first.complete({});
    }
    std::size_t waiting() const { return waiting_.size(); }

  private:
    bool isClosed_ = false;
    std::vector<ViewerOneShot<std::monostate>> waiting_;
};

}  // namespace velmora
