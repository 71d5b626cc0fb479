#pragma once

#include <memory>
#include <optional>

#include "core/capture/ViewerScreenCapture.h"
#include "core/coordination/ViewerFrameAccumulator.h"
#include "core/coordination/ViewerHostCaptureSession.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutors.h"
#include "core/runtime/ViewerIsolation.h"
#include "core/runtime/ViewerTask.h"

namespace velmora {

class MacDisplayStreamHealth;

/// The capture of one display, from the first frame request to `stop()`. It starts a stream when a
/// frame is asked for and none runs, and keeps only the newest frame. An actor; a session that is
/// stopped stays so.
class MacDisplayCaptureSession final
    : public ViewerHostCaptureSession,
      public std::enable_shared_from_this<MacDisplayCaptureSession> {
  public:
    MacDisplayCaptureSession(ViewerNativeDisplay display,
                             std::shared_ptr<ViewerScreenCapture> capture,
                             ViewerExecutors& executors,
                             std::shared_ptr<ViewerContinuousClock> clock);

    /// The newest frame, however old. Waits up to about 2 seconds for the first one of a stream.
    ViewerTask<std::optional<ViewerHostFrame>> latestFrame() override;
    std::optional<ViewerHostFrame> frameAtHand(const ViewerExecutor& caller) override;
    ViewerTask<void> stop() override;

  private:
    using Self = std::shared_ptr<MacDisplayCaptureSession>;

    static ViewerTask<std::optional<ViewerHostFrame>> latestFrameIsolated(Self self);
    static ViewerTask<std::optional<ViewerHostFrame>> awaitFirstFrame(Self self);
    /// Starts a stream. False when that fails, and when the session was stopped meanwhile.
    static ViewerTask<bool> start(Self self);
    static ViewerTask<void> stopIsolated(Self self);
    /// Forgets the stream and its pictures. Whatever it still delivers or reports reaches nobody.
    void dropStream() VIEWER_REQUIRES(isolation_);

    const ViewerNativeDisplay display_;
    const std::shared_ptr<ViewerScreenCapture> capture_;
    const std::shared_ptr<ViewerContinuousClock> clock_;
    const ViewerIsolation isolation_;
    const std::shared_ptr<ViewerFrameAccumulator> accumulator_;

    /// Of the stream below, or of the next one.
    std::shared_ptr<MacDisplayStreamHealth> health_ VIEWER_GUARDED_BY(isolation_);
    std::shared_ptr<ViewerDisplayStream> stream_ VIEWER_GUARDED_BY(isolation_);
    bool isStopped_ VIEWER_GUARDED_BY(isolation_) = false;
};

}  // namespace velmora
