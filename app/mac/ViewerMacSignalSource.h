#pragma once

#import <dispatch/dispatch.h>

#include <functional>

#include "app/ViewerApplicationShell.h"

namespace velmora {

/// A dispatch source over one ignored signal on the main queue. Main thread only.
class ViewerMacSignalSource final : public ViewerSignalSource {
  public:
    ViewerMacSignalSource(int signal, std::function<void()> handler);
    ~ViewerMacSignalSource() override;
    ViewerMacSignalSource(const ViewerMacSignalSource&) = delete;
    ViewerMacSignalSource& operator=(const ViewerMacSignalSource&) = delete;

    void cancel() override;

  private:
    const dispatch_source_t source_;
};

}  // namespace velmora
