#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"
#include "tests/support/capture/ScriptedDisplayStream.h"
#include "tests/support/runtime/CallLog.h"

namespace velmora {

/// A platform with the displays, screens and streams that the test puts in. One thread.
class FakeScreenCapture final : public ViewerScreenCapture {
  public:
    explicit FakeScreenCapture(CallLog calls = makeCallLog()) : calls_(std::move(calls)) {}
    FakeScreenCapture(const FakeScreenCapture&) = delete;
    FakeScreenCapture& operator=(const FakeScreenCapture&) = delete;
    /// Drops every completion that is still held.
    ~FakeScreenCapture() override;

    bool preflightAccess() override { return isGranted; }
    void lookAtAccess(AccessCompletion completion) override;
    void requestAccess(RequestCompletion completion) override;
    void withdrawRequest() override { calls_->emplace_back("withdraw"); }
    void shareableDisplays(DisplaysCompletion completion) override;
    std::shared_ptr<const Displays> displaysAtHand() override {
        return areAtHand ? reported : nullptr;
    }
    std::vector<ViewerNativeScreen> screens() override;
    std::shared_ptr<ViewerDisplayStream> makeStream(const ViewerNativeDisplay& display,
                                                    const ViewerStreamSettings& settings) override;
    void watchSession(std::function<void()> ended) override;

    /// Reports a new list from now on.
    void report(Displays displays);
    /// Answers the listing that has been held longest with what is reported now.
    void completeListing();

    /// Answers the looks at the permission that wait.
    void answerLooks(ViewerCaptureAccess access);
    /// Answers the requests that wait.
    void answerRequests(bool hasAccess);

    /// Tells whoever watches the session that it has ended, as often as the test likes.
    void endSession();

    /// What is known of the permission.
    bool isGranted = true;
    /// What a look at the permission finds; without it, the look waits for `answerLooks`.
    std::optional<ViewerCaptureAccess> seenAccess = ViewerCaptureAccess::granted;
    /// What the system's request for the permission answers; without it, it waits for
    /// `answerRequests`.
    std::optional<bool> requestedAccess = false;
    std::vector<AccessCompletion> heldLooks;
    std::vector<RequestCompletion> heldRequests;
    /// Null makes a listing fail.
    std::shared_ptr<const Displays> reported;
    /// Whether what is reported is at hand.
    bool areAtHand = false;
    std::vector<ViewerNativeScreen> attached;
    bool holdsListings = false;
    std::vector<DisplaysCompletion> heldListings;
    int listings = 0;
    int screenReadings = 0;
    /// Every stream ever made. A new one's course is changed by `direct` first, where it is set.
    std::vector<std::shared_ptr<ScriptedStreamCourse>> streams;
    std::function<void(ScriptedStreamCourse&)> direct;

  private:
    /// Looks, requests and the watch.
    const CallLog calls_;
    std::function<void()> sessionEnded_;
};

}  // namespace velmora
