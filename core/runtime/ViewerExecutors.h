#pragma once

#include <string_view>

#include "core/runtime/ViewerExecutor.h"

namespace velmora {

/// Hands out the executors that the product's objects run on. Where all of them are one and the
/// same loop a change of executor costs nothing; where they differ, each runs one function at a
/// time. Any thread; outlives everything that was given one of its executors.
class ViewerExecutors {
  public:
    virtual ~ViewerExecutors() = default;

    /// The main thread's executor.
    virtual ViewerExecutor mainExecutor() = 0;
    /// The executor for a task that belongs to no object, a fresh one for each task where tasks run
    /// side by side.
    virtual ViewerExecutor taskExecutor() = 0;
    /// A serial queue of its own for one object. The label names the queue in debugging tools.
    virtual ViewerExecutor makeSerialExecutor(std::string_view label) = 0;
};

}  // namespace velmora
