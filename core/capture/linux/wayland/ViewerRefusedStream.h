#pragma once

#include <memory>
#include <string>

#include "core/capture/ViewerScreenCapture.h"

namespace velmora {

/// The stream of a display that cannot be captured now: it never starts. Any thread.
class ViewerRefusedStream final : public ViewerDisplayStream {
  public:
    bool addOutput(std::shared_ptr<ViewerStreamReceiver>, std::string) override { return false; }
    void start(Completion completion) override { completion(false); }
    void stop(Completion completion) override { completion(true); }
};

}  // namespace velmora
