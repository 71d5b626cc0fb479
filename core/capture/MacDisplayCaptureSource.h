#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"
#include "core/coordination/ViewerHostCaptureSource.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutors.h"
#include "core/runtime/ViewerIsolation.h"
#include "core/runtime/ViewerLock.h"
#include "core/runtime/ViewerTask.h"

namespace velmora {

/// The displays that the platform's screen capture offers, and the captures of them. Refreshed from
/// the platform on every listing; only a display that the last listing saw can be captured. Owned
/// by the process's entry; any thread.
class MacDisplayCaptureSource final : public ViewerHostCaptureSource,
                                      public std::enable_shared_from_this<MacDisplayCaptureSource> {
  public:
    MacDisplayCaptureSource(std::shared_ptr<ViewerScreenCapture> capture,
                            ViewerExecutors& executors,
                            std::shared_ptr<ViewerContinuousClock> clock);

    /// The main display first, the others by name. Empty when the screen may not be recorded, or
    /// when the platform fails or does not answer in time.
    ViewerTask<ViewerHostDisplays> displays() override;
    std::optional<ViewerHostDisplays> displaysAtHand() override;
    std::shared_ptr<ViewerHostCaptureSession> makeSession(const std::string& displayID) override;

  private:
    struct Listing;

    static ViewerTask<ViewerHostDisplays> list(std::shared_ptr<MacDisplayCaptureSource> self);
    /// The listing of what the platform reports: the last one where nothing has changed.
    std::shared_ptr<const Listing> listingOf(
        std::shared_ptr<const ViewerScreenCapture::Displays> reported,
        std::vector<ViewerNativeScreen> screens);
    /// Replaces the last listing; null forgets every display.
    void remember(std::shared_ptr<const Listing> listing);
    std::shared_ptr<const Listing> lastListing();

    const std::shared_ptr<ViewerScreenCapture> capture_;
    ViewerExecutors& executors_;
    const std::shared_ptr<ViewerContinuousClock> clock_;
    const ViewerIsolation mainThread_;

    ViewerLock lock_;
    std::shared_ptr<const Listing> listing_ VIEWER_GUARDED_BY(lock_);
};

}  // namespace velmora
