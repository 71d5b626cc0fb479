#include "core/capture/MacDisplayCaptureSession.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>

#include "core/capture/ViewerJPEGEncoder.h"
#include "core/capture/ViewerTargetSize.h"
#include "core/protocol/ViewerHostProtocolV1.h"
#include "core/runtime/ViewerBoundedCall.h"
#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerLock.h"

namespace velmora {

/// Tells whether a stream ended by itself. Shared by the stream's receiver and the session; any
/// thread.
class MacDisplayStreamHealth final {
  public:
    void markStopped() {
        const ViewerLockGuard guard(lock_);
        stopped_ = true;
    }

    bool isStopped() {
        const ViewerLockGuard guard(lock_);
        return stopped_;
    }

  private:
    ViewerLock lock_;
    bool stopped_ VIEWER_GUARDED_BY(lock_) = false;
};

namespace {

/// Encodes the frames of one stream for its session. Owned by the stream.
class MacDisplayStreamOutput final : public ViewerStreamReceiver {
  public:
    MacDisplayStreamOutput(std::shared_ptr<ViewerFrameAccumulator> accumulator,
                           std::shared_ptr<MacDisplayStreamHealth> health)
        : accumulator_(std::move(accumulator)),
          epoch_(accumulator_->epoch()),
          health_(std::move(health)) {}

    void streamDidOutput(const ViewerStreamOutput& output) override {
        const bool isNewPicture = output.type == ViewerStreamOutputType::screen && output.isValid &&
                                  output.hasAttachments &&
                                  output.status == ViewerStreamOutput::completeStatus &&
                                  output.pixels != nullptr;
        if (!isNewPicture) {
            return;
        }
        auto jpeg = ViewerJPEGEncoder::encode(*output.pixels, ViewerJPEGEncoder::captureQuality);
        if (jpeg.has_value()) {
            (void)accumulator_->submit(*std::move(jpeg), epoch_);  // read by whoever asks for it
        }
    }

    void streamDidStop() override { health_->markStopped(); }

  private:
    const std::shared_ptr<ViewerFrameAccumulator> accumulator_;
    const ViewerFrameAccumulator::Epoch epoch_;
    const std::shared_ptr<MacDisplayStreamHealth> health_;
};

constexpr std::chrono::milliseconds firstFramePollInterval{20};
constexpr int firstFramePolls = 100;
constexpr std::int64_t queueDepth = 2;
/// The four-character code "BGRA".
constexpr std::uint32_t pixelFormat = 0x42475241;

std::int64_t wholePixels(double side) {
    constexpr double bound = 0x1p63;
    viewerCheck(side >= -bound && side < bound, "a preview's side is a 64-bit integer");
    return static_cast<std::int64_t>(side);
}

ViewerStreamSettings settingsFor(const ViewerNativeDisplay& display) {
    const ViewerTargetSize size = ViewerJPEGEncoder::targetSize(display.width, display.height);
    ViewerStreamSettings settings;
    settings.width = wholePixels(size.width);
    settings.height = wholePixels(size.height);
    settings.frameIntervalValue = 1;
    settings.frameIntervalTimescale = ViewerHostProtocolV1::captureFramesPerSecond;
    settings.queueDepth = queueDepth;
    settings.pixelFormat = pixelFormat;
    return settings;
}

/// Waits until the stream has stopped, or long enough. Whether it succeeds is of no concern.
ViewerTask<void> stopStream(std::shared_ptr<ViewerDisplayStream> stream,
                            std::shared_ptr<ViewerContinuousClock> clock) {
    const auto call = [&stream](ViewerDisplayStream::Completion completion) {
        stream->stop(std::move(completion));
    };
    (void)co_await ViewerBoundedCall<bool>::answer(std::move(clock),
                                                   ViewerScreenCapture::answerLimit, call);
}

/// Stops a stream that is given up: nobody waits for that.
void stopUnwatched(ViewerDisplayStream& stream) {
    stream.stop([](bool) {});
}

}  // namespace

MacDisplayCaptureSession::MacDisplayCaptureSession(ViewerNativeDisplay display,
                                                   std::shared_ptr<ViewerScreenCapture> capture,
                                                   ViewerExecutors& executors,
                                                   std::shared_ptr<ViewerContinuousClock> clock)
    : display_(std::move(display)),
      capture_(std::move(capture)),
      clock_(std::move(clock)),
      isolation_(executors.makeSerialExecutor("com.quilmer.velmora.viewer-host.session." +
                                              std::to_string(display_.number))),
      accumulator_(
          std::make_shared<ViewerFrameAccumulator>(ViewerFrameAccumulator::makeSequencePrefix())),
      health_(std::make_shared<MacDisplayStreamHealth>()) {}

ViewerTask<std::optional<ViewerHostFrame>> MacDisplayCaptureSession::latestFrame() {
    return isolation_.run(latestFrameIsolated(shared_from_this()));
}

std::optional<ViewerHostFrame> MacDisplayCaptureSession::frameAtHand(const ViewerExecutor& caller) {
    if (!isolation_.isEnteredBy(caller)) {
        return std::nullopt;
    }
    isolation_.assertInside();
    if (isStopped_ || health_->isStopped()) {
        return std::nullopt;
    }
    return accumulator_->latest();
}

ViewerTask<void> MacDisplayCaptureSession::stop() {
    return isolation_.run(stopIsolated(shared_from_this()));
}

ViewerTask<std::optional<ViewerHostFrame>> MacDisplayCaptureSession::latestFrameIsolated(
    Self self) {
    self->isolation_.assertInside();
    if (self->isStopped_) {
        co_return std::nullopt;
    }
    if (self->health_->isStopped()) {
        self->dropStream();
    }
    if (!self->stream_) {
        const bool isStarted = co_await start(self);
        if (!isStarted) {
            co_return std::nullopt;
        }
    }
    std::optional<ViewerHostFrame> frame = self->accumulator_->latest();
    if (frame.has_value()) {
        co_return frame;
    }
    co_return co_await awaitFirstFrame(self);
}

ViewerTask<std::optional<ViewerHostFrame>> MacDisplayCaptureSession::awaitFirstFrame(Self self) {
    self->isolation_.assertInside();
    for (int poll = 0; poll < firstFramePolls; ++poll) {
        const bool passed = co_await self->clock_->sleep(firstFramePollInterval);
        if (!passed || self->health_->isStopped()) {
            co_return std::nullopt;
        }
        std::optional<ViewerHostFrame> frame = self->accumulator_->latest();
        if (frame.has_value()) {
            co_return frame;
        }
    }
    co_return std::nullopt;
}

ViewerTask<bool> MacDisplayCaptureSession::start(Self self) {
    self->isolation_.assertInside();
    const auto output = std::make_shared<MacDisplayStreamOutput>(self->accumulator_, self->health_);
    const auto stream = self->capture_->makeStream(self->display_, settingsFor(self->display_));
    const bool isRegistered = stream->addOutput(
        output, "com.quilmer.velmora.viewer-host.capture." + std::to_string(self->display_.number));
    if (!isRegistered) {
        co_return false;
    }
    self->stream_ = stream;
    const auto call = [&stream](ViewerDisplayStream::Completion completion) {
        stream->start(std::move(completion));
    };
    // By then nobody knows the stream any more.
    const ViewerDisplayStream::Completion stopLate = [stream](bool succeeded) {
        if (succeeded) {
            stopUnwatched(*stream);
        }
    };
    const auto answer = co_await ViewerBoundedCall<bool>::answer(
        self->clock_, ViewerScreenCapture::answerLimit, call, stopLate);
    if (!answer.has_value()) {
        // It may record all the same, for as long as its start keeps it.
        stopUnwatched(*stream);
    }
    if (!answer.value_or(false)) {
        // Meanwhile the stream may have died, and another request may have started the next one.
        if (self->stream_ == stream) {
            self->dropStream();
        }
        co_return false;
    }
    if (self->isStopped_) {
        // A stop during the start may not have reached the stream.
        co_await stopStream(stream, self->clock_);
        self->stream_ = nullptr;
        co_return false;
    }
    co_return true;
}

ViewerTask<void> MacDisplayCaptureSession::stopIsolated(Self self) {
    self->isolation_.assertInside();
    if (self->isStopped_) {
        co_return;
    }
    self->isStopped_ = true;
    if (self->stream_) {
        co_await stopStream(self->stream_, self->clock_);
        self->stream_ = nullptr;
    }
}

void MacDisplayCaptureSession::dropStream() {
    stream_ = nullptr;
    health_ = std::make_shared<MacDisplayStreamHealth>();
    accumulator_->clear();
}

}  // namespace velmora
