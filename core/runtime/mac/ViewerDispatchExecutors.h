#pragma once

#import <dispatch/dispatch.h>

#include <string_view>

#include "core/runtime/ViewerExecutors.h"

namespace velmora {

/// A serial queue for work that a user waits for. The label names it in debugging tools.
dispatch_queue_t makeSerialQueue(std::string_view label);

/// The queue of an executor that these executors handed out.
dispatch_queue_t queueOf(const ViewerExecutor& executor);

/// Every executor is a serial dispatch queue: the main queue, one for each object, one for each
/// task. Holds nothing; any thread.
class ViewerDispatchExecutors final : public ViewerExecutors {
  public:
    ViewerExecutor mainExecutor() override;
    ViewerExecutor taskExecutor() override;
    ViewerExecutor makeSerialExecutor(std::string_view label) override;
};

}  // namespace velmora
