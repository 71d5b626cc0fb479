#pragma once

#import <dispatch/dispatch.h>

#include <functional>

#include "app/ViewerApplicationShell.h"

namespace velmora {

/// A dispatch source over one ignored signal on the main queue. Main thread only.
class ViewerDispatchSignalSource final : public ViewerSignalSource {
  public:
    ViewerDispatchSignalSource(int signal, std::function<void()> handler);
    ~ViewerDispatchSignalSource() override;
    ViewerDispatchSignalSource(const ViewerDispatchSignalSource&) = delete;
    ViewerDispatchSignalSource& operator=(const ViewerDispatchSignalSource&) = delete;

    void cancel() override;

  private:
    const dispatch_source_t source_;
};

}  // namespace velmora
