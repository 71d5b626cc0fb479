#pragma once

#import <ScreenCaptureKit/ScreenCaptureKit.h>

#include <memory>
#include <string>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/mac/ViewerScreenCaptureKitReceiver.h"

namespace velmora {

/// One capture of one display through ScreenCaptureKit. Owned by the session; one thread at a time.
/// The system would go on capturing for a stream that is dropped: one that is destroyed stops.
class ViewerScreenCaptureKitStream final : public ViewerDisplayStream {
  public:
    ViewerScreenCaptureKitStream(SCDisplay* display, const ViewerStreamSettings& settings);
    ~ViewerScreenCaptureKitStream() override;
    ViewerScreenCaptureKitStream(const ViewerScreenCaptureKitStream&) = delete;
    ViewerScreenCaptureKitStream& operator=(const ViewerScreenCaptureKitStream&) = delete;

    /// Once, before the start.
    bool addOutput(std::shared_ptr<ViewerStreamReceiver> receiver, std::string queueLabel) override;
    void start(Completion completion) override;
    void stop(Completion completion) override;

  private:
    SCContentFilter* const filter_;
    SCStreamConfiguration* const configuration_;
    /// The system does not promise to keep what it calls.
    ViewerScreenCaptureKitReceiver* receiver_ = nil;
    SCStream* stream_ = nil;
};

}  // namespace velmora
