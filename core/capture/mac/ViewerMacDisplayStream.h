#pragma once

#import <ScreenCaptureKit/ScreenCaptureKit.h>

#include <memory>
#include <string>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/mac/ViewerMacStreamReceiver.h"

namespace velmora {

/// One capture of one display through ScreenCaptureKit. Owned by the session; one thread at a time.
/// The system would go on capturing for a stream that is dropped: one that is destroyed stops.
class ViewerMacDisplayStream final : public ViewerDisplayStream {
  public:
    ViewerMacDisplayStream(SCDisplay* display, const ViewerStreamSettings& settings);
    ~ViewerMacDisplayStream() override;
    ViewerMacDisplayStream(const ViewerMacDisplayStream&) = delete;
    ViewerMacDisplayStream& operator=(const ViewerMacDisplayStream&) = delete;

    /// Once, before the start.
    bool addOutput(std::shared_ptr<ViewerStreamReceiver> receiver, std::string queueLabel) override;
    void start(Completion completion) override;
    void stop(Completion completion) override;

  private:
    SCContentFilter* const filter_;
    SCStreamConfiguration* const configuration_;
    /// The system does not promise to keep what it calls.
    ViewerMacStreamReceiver* receiver_ = nil;
    SCStream* stream_ = nil;
};

}  // namespace velmora
