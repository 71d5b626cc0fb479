#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"
#include "core/protocol/ViewerBytes.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {

/// What one stream of a chance platform has been through. Outlives the stream.
struct ChanceStreamCourse final {
    /// The stream's place in the order in which streams were made, from 0.
    std::size_t number = 0;
    std::weak_ptr<ViewerStreamReceiver> receiver;
    std::size_t deliveries = 0;
    bool isStartAnswered = false;
    /// A stop that came before the start was answered ends the start.
    bool isCancelled = false;
    bool hasRun = false;
    bool isRunning = false;
    bool hasDied = false;
    /// It ran although the start was never answered.
    bool ranInSilence = false;
    /// The start succeeded more than 4 seconds after it was asked for.
    bool startedLate = false;
    /// A stop was asked for while it ran.
    bool wasStoppedRunning = false;
    /// A stop that was asked for is refused or never answered.
    bool defiesStop = false;
    bool isDestroyed = false;
};

/// A platform whose streams start at once, late, never or not at all, deliver pictures when they
/// like, may die, and stop when they like, as chance will have it. A completion that is not
/// answered is kept. What it does without being asked happens on queues of its own, like on a
/// platform's threads. Destroyed before its world.
class ChanceScreenCapture final : public ViewerScreenCapture,
                                  public std::enable_shared_from_this<ChanceScreenCapture> {
  public:
    using Duration = ViewerContinuousClock::Duration;

    explicit ChanceScreenCapture(SimulatedWorld& world) : world_(world) {}

    bool preflightAccess() override { return true; }
    void lookAtAccess(AccessCompletion completion) override {
        completion(ViewerCaptureAccess::granted);
    }
    void requestAccess(RequestCompletion completion) override { completion(true); }
    void shareableDisplays(DisplaysCompletion completion) override { completion(nullptr); }
    std::shared_ptr<ViewerDisplayStream> makeStream(const ViewerNativeDisplay& display,
                                                    const ViewerStreamSettings& settings) override;

    ViewerContinuousClock::Instant now() const { return world_.now(); }
    bool oneIn(std::size_t bound) { return world_.choose(bound) == 0; }
    Duration delayBelow(std::size_t milliseconds) {
        return std::chrono::milliseconds(world_.choose(milliseconds));
    }
    /// At once, soon, or around and beyond the time that a platform's answer is waited for.
    Duration answerDelay();
    void after(Duration delay, std::function<void()> event);
    /// Delivers pictures now and then, and for a while after the stream has ended, as a busy queue
    /// does.
    void deliverNowAndThen(const std::shared_ptr<ChanceStreamCourse>& course,
                           const std::shared_ptr<ViewerStreamReceiver>& receiver);
    void die(const std::shared_ptr<ChanceStreamCourse>& course);
    void noteFailure() { ++failures_; }
    /// Holds a completion that is never answered, and with it whatever it holds, as a system does.
    void keep(ViewerDisplayStream::Completion completion) {
        kept_.push_back(std::move(completion));
    }
    /// Lets go of what is held, as a system does at the end of the process.
    void letGo() { std::exchange(kept_, {}).clear(); }

    const std::vector<std::shared_ptr<ChanceStreamCourse>>& streams() const { return streams_; }
    /// The number of the stream that delivered the picture.
    std::size_t streamOf(const ViewerBytes& jpeg) const {
        return origins_.at(std::string(jpeg.text()));
    }
    /// The number of the first stream that nobody knows to be dead.
    std::size_t firstLiving() const { return firstLiving_; }
    /// Refusals, failed starts and deaths so far.
    int failures() const { return failures_; }
    std::size_t pendingEvents() const { return pendingEvents_; }

  private:
    SimulatedWorld& world_;
    std::vector<std::shared_ptr<ChanceStreamCourse>> streams_;
    /// From a picture's encoding to its stream.
    std::map<std::string, std::size_t> origins_;
    std::size_t firstLiving_ = 0;
    int failures_ = 0;
    std::size_t pendingEvents_ = 0;
    std::vector<ViewerDisplayStream::Completion> kept_;
};

}  // namespace velmora
