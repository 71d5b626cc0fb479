#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"
#include "tests/simulation/SimulatedDisplays.h"
#include "tests/simulation/SimulatedStream.h"
#include "tests/simulation/SimulationCourse.h"

namespace velmora {

/// The simulated machine's screen capture: permission, listings and streams, each answered in time,
/// late, never, or with a failure. One thread.
class SimulatedCapture final : public ViewerScreenCapture {
  public:
    explicit SimulatedCapture(SimulationCourse& course);

    bool preflightAccess() override;
    void lookAtAccess(AccessCompletion completion) override;
    void requestAccess(RequestCompletion completion) override;
    void shareableDisplays(DisplaysCompletion completion) override;
    /// Asked for only where one loop does everything.
    std::shared_ptr<const Displays> displaysAtHand() override;
    std::vector<ViewerNativeScreen> screens() override { return displays_.screens(); }
    std::shared_ptr<ViewerDisplayStream> makeStream(const ViewerNativeDisplay& display,
                                                    const ViewerStreamSettings& settings) override;
    void watchSession(std::function<void()> ended) override;

    SimulatedDisplays& displays() { return displays_; }
    bool isLooking() const { return looks_ > 0; }
    bool isRequesting() const { return requests_ > 0; }
    bool isSessionWatched() const { return sessionEnded_ != nullptr; }
    void endSession() { sessionEnded_(); }
    /// Drops what it holds, as a system does at the end of a process.
    void letGo();

  private:
    void answerLook(const AccessCompletion& completion, ViewerCaptureAccess access, bool isInTime);
    void answerListing(ListingHistory& listing, const DisplaysCompletion& completion,
                       bool succeeded);
    ListingHistory& addListing();
    SimulationCourse::Duration delayOfListing();

    SimulationCourse& course_;
    SimulatedDisplays displays_;
    /// Whether the permission is there from the beginning.
    const bool isGranted_;
    /// Whether every other listing fails.
    const bool isFickle_;
    std::size_t looks_ = 0;
    std::size_t requests_ = 0;
    std::function<void()> sessionEnded_;
    SimulatedStream::Kept kept_;
    std::vector<std::function<void()>> keptOthers_;
};

}  // namespace velmora
