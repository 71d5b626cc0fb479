#pragma once

#include <memory>

#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"

namespace velmora {

/// A loop on a thread of its own, as a host has one, from its first use to the end of the process.
/// Any thread.
namespace LoopThread {

ViewerExecutor executor();
std::shared_ptr<ViewerContinuousClock> clock();

}  // namespace LoopThread

}  // namespace velmora
