#include "core/capture/linux/ViewerLinuxStream.h"

#include <boost/asio/dispatch.hpp>
#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerIfAlive.h"

namespace velmora {

namespace {

/// A screen whose first picture takes longer than this is waited for by whoever wants the frame.
constexpr std::chrono::milliseconds startLimit{100};

std::chrono::nanoseconds frameIntervalOf(const ViewerStreamSettings& settings) {
    viewerCheck(settings.frameIntervalValue >= 0 && settings.frameIntervalTimescale > 0,
                "a stream has a time between its pictures");
    return std::chrono::nanoseconds(std::chrono::seconds(settings.frameIntervalValue)) /
           settings.frameIntervalTimescale;
}

}  // namespace

std::shared_ptr<ViewerDisplayStream> ViewerLinuxStream::handedOut(
    const std::shared_ptr<ViewerLinuxStream>& stream) {
    return {stream.get(), [stream](ViewerDisplayStream*) { stream->stop({}); }};
}

ViewerLinuxStream::ViewerLinuxStream(ViewerExecutor executor,
                                     std::shared_ptr<ViewerContinuousClock> clock,
                                     const ViewerStreamSettings& settings)
    : executor_(std::move(executor)),
      clock_(std::move(clock)),
      frameInterval_(frameIntervalOf(settings)) {}

bool ViewerLinuxStream::addOutput(std::shared_ptr<ViewerStreamReceiver> receiver,
                                  std::string queueLabel) {
    const ViewerLockGuard guard(lock_);
    if (phase_ != Phase::idle) {
        return false;
    }
    receiver_.swap(receiver);
    queueLabel_.swap(queueLabel);
    return true;
}

void ViewerLinuxStream::start(Completion completion) {
    bool isAccepted = false;
    {
        const ViewerLockGuard guard(lock_);
        isAccepted = phase_ == Phase::idle && receiver_ != nullptr;
        if (isAccepted) {
            phase_ = Phase::running;
            startCompletion_ = completion;
        }
    }
    if (!isAccepted) {
        completion(false);
        return;
    }
    limitStart();
    begin(queueLabel_);
}

void ViewerLinuxStream::limitStart() {
    const auto expire = ifAlive(weak_from_this(), [](ViewerLinuxStream& self) {
        (void)self.completeStart(true);  // Mostly it has completed before.
    });
    // A loop's clock takes deadlines on the loop alone.
    boost::asio::dispatch(executor_, [executor = executor_, clock = clock_, expire] {
        clock->schedule(clock->now() + startLimit, executor, expire);
    });
}

void ViewerLinuxStream::stop(Completion completion) {
    Phase phase{};
    {
        const ViewerLockGuard guard(lock_);
        isStopRequested_ = true;
        if (phase_ == Phase::idle) {
            phase_ = Phase::ended;
        }
        if (phase_ != Phase::ended && completion) {
            stopCompletions_.push_back(completion);
        }
        phase = phase_;
    }
    (void)completeStart(false);  // Mostly it has completed long ago.
    if (phase == Phase::running) {
        giveUp();
    } else if (phase == Phase::ended && completion) {
        completion(true);
    }
}

bool ViewerLinuxStream::isStopRequested() {
    const ViewerLockGuard guard(lock_);
    return isStopRequested_;
}

void ViewerLinuxStream::deliver(const ViewerPixelBuffer& pixels) {
    ViewerStreamOutput output;
    output.isValid = true;
    output.hasAttachments = true;
    output.status = ViewerStreamOutput::completeStatus;
    output.pixels = &pixels;
    receiver_->streamDidOutput(output);
    (void)completeStart(true);  // Every picture but the first finds it completed.
}

bool ViewerLinuxStream::completeStart(bool succeeded) {
    Completion completion;
    {
        const ViewerLockGuard guard(lock_);
        completion.swap(startCompletion_);
    }
    if (!completion) {
        return false;
    }
    completion(succeeded);
    return true;
}

void ViewerLinuxStream::end() {
    bool isUnexpected = false;
    {
        const ViewerLockGuard guard(lock_);
        if (phase_ == Phase::ending || phase_ == Phase::ended) {
            return;
        }
        phase_ = Phase::ending;
        isUnexpected = !isStopRequested_;
    }
    if (isUnexpected && !completeStart(false)) {
        receiver_->streamDidStop();
    }
    // Only now, so that the receiver hears nothing after a stop that came meanwhile.
    std::vector<Completion> completions;
    {
        const ViewerLockGuard guard(lock_);
        phase_ = Phase::ended;
        stopCompletions_.swap(completions);
    }
    for (const Completion& each : completions) {
        each(true);
    }
}

}  // namespace velmora
