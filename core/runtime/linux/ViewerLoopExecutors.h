#pragma once

#include "core/runtime/ViewerExecutors.h"

namespace velmora {

/// One loop for everything: every executor is the main thread's. A request is then answered on the
/// loop that read it, and entering an actor changes nothing.
class ViewerLoopExecutors final : public ViewerExecutors {
  public:
    explicit ViewerLoopExecutors(ViewerExecutor loop);

    ViewerExecutor mainExecutor() override;
    ViewerExecutor taskExecutor() override;
    ViewerExecutor makeSerialExecutor(std::string_view label) override;

  private:
    const ViewerExecutor loop_;
};

}  // namespace velmora
