#include "core/capture/linux/wayland/pipewire/ViewerPipeWireStream.h"

#include <boost/asio/dispatch.hpp>
#include <chrono>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "core/capture/linux/wayland/pipewire/ViewerPipeWireCapture.h"
#include "core/capture/linux/wayland/pipewire/ViewerStillPicture.h"
#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerLock.h"
#include "core/runtime/linux/ViewerDetachedThread.h"

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

/// What a stream shares with its thread. It goes through its phases in their order and lives as
/// long as the stream or the capture.
class ViewerPipeWireStream::Run final : public std::enable_shared_from_this<Run> {
  public:
    using StillPicture = ViewerScreenCastRemote::StillPicture;

    Run(ViewerExecutor executor, std::shared_ptr<ViewerContinuousClock> clock,
        std::shared_ptr<ViewerPipeWireThread> thread, ViewerGrantedStream stream,
        std::chrono::nanoseconds frameInterval, StillPicture still)
        : executor_(std::move(executor)),
          clock_(std::move(clock)),
          thread_(std::move(thread)),
          stream_(std::move(stream)),
          frameInterval_(frameInterval),
          still_(std::move(still)) {}

    bool addOutput(std::shared_ptr<ViewerStreamReceiver> receiver);
    void start(Completion completion);
    void stop(Completion completion);

  private:
    enum class Phase { idle, running, ending, ended };

    void limitStart();
    /// These run on the connection's thread.
    void begin(ViewerPipeWireConnection& connection);
    void connect(ViewerPipeWireConnection& connection);
    void deliver(const ViewerPixelBuffer& pixels);
    void askForStillPicture();
    /// `pictures` is how many the stream had delivered when the copy was asked for.
    void deliverStill(const ViewerStillPicture& picture, std::uint64_t pictures);
    /// Gives the capture up once its handlers have returned.
    void finishSoon();
    void finish();

    bool isStopRequested();
    /// False when the start has completed already.
    bool completeStart(bool succeeded);
    void end();

    const ViewerExecutor executor_;
    const std::shared_ptr<ViewerContinuousClock> clock_;
    const std::shared_ptr<ViewerPipeWireThread> thread_;
    const ViewerGrantedStream stream_;
    const std::chrono::nanoseconds frameInterval_;
    const StillPicture still_;

    ViewerLock lock_;
    Phase phase_ VIEWER_GUARDED_BY(lock_) = Phase::idle;
    bool isStopRequested_ VIEWER_GUARDED_BY(lock_) = false;
    Completion startCompletion_ VIEWER_GUARDED_BY(lock_);
    std::vector<Completion> stopCompletions_ VIEWER_GUARDED_BY(lock_);
    /// Never changed once the stream was started.
    std::shared_ptr<ViewerStreamReceiver> receiver_;
    /// The connection's thread alone touches it.
    std::optional<ViewerPipeWireCapture> capture_;
};

bool ViewerPipeWireStream::Run::addOutput(std::shared_ptr<ViewerStreamReceiver> receiver) {
    const ViewerLockGuard guard(lock_);
    if (phase_ != Phase::idle) {
        return false;
    }
    receiver_.swap(receiver);
    return true;
}

void ViewerPipeWireStream::Run::start(Completion completion) {
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
    const auto work = [self = shared_from_this()](ViewerPipeWireConnection& connection) {
        self->begin(connection);
    };
    if (!thread_->post(work)) {
        end();
    }
}

void ViewerPipeWireStream::Run::limitStart() {
    const auto expire = [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            (void)self->completeStart(true);  // Mostly it has completed before.
        }
    };
    // A loop's clock takes deadlines on the loop alone.
    boost::asio::dispatch(executor_, [executor = executor_, clock = clock_, expire] {
        clock->schedule(clock->now() + startLimit, executor, expire);
    });
}

void ViewerPipeWireStream::Run::begin(ViewerPipeWireConnection& connection) {
    connection.whenListed([self = shared_from_this(), &connection] { self->connect(connection); });
}

void ViewerPipeWireStream::Run::connect(ViewerPipeWireConnection& connection) {
    if (isStopRequested()) {
        return;
    }
    const std::optional<std::uint64_t> serial =
        connection.isLost() ? std::nullopt : connection.serialOf(stream_);
    if (!serial) {
        end();
        return;
    }
    ViewerPipeWireCapture::Handlers handlers;
    handlers.deliver = [this](const ViewerPixelBuffer& pixels) { deliver(pixels); };
    handlers.fallSilent = [this] { askForStillPicture(); };
    handlers.end = [this] { finishSoon(); };
    capture_.emplace(connection, *serial, frameInterval_, std::move(handlers));
    if (!capture_->connect()) {
        finishSoon();
    }
}

void ViewerPipeWireStream::Run::deliver(const ViewerPixelBuffer& pixels) {
    ViewerStreamOutput output;
    output.isValid = true;
    output.hasAttachments = true;
    output.status = ViewerStreamOutput::completeStatus;
    output.pixels = &pixels;
    receiver_->streamDidOutput(output);
    (void)completeStart(true);  // Every picture but the first finds it completed.
}

void ViewerPipeWireStream::Run::askForStillPicture() {
    if (!still_) {
        return;
    }
    const std::uint64_t pictures = capture_->pictures();
    const auto take = [weak = weak_from_this(), thread = thread_, still = still_, pictures] {
        const std::optional<ViewerStillPicture> picture = ViewerStillPicture::take(still);
        if (picture) {
            // A thread that has ended delivers nothing more.
            (void)thread->post([weak, picture, pictures](ViewerPipeWireConnection&) {
                if (const auto self = weak.lock()) {
                    self->deliverStill(*picture, pictures);
                }
            });
        }
    };
    // Without a thread there is no picture, as without a still one.
    (void)startDetachedThread("still-picture", take);
}

void ViewerPipeWireStream::Run::deliverStill(const ViewerStillPicture& picture,
                                             std::uint64_t pictures) {
    // What the stream itself has delivered since is newer.
    if (capture_ && capture_->pictures() == pictures && !isStopRequested()) {
        capture_->forgetPicture();
        deliver(picture.pixels());
    }
}

void ViewerPipeWireStream::Run::stop(Completion completion) {
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
        finishSoon();
    } else if (phase == Phase::ended && completion) {
        completion(true);
    }
}

void ViewerPipeWireStream::Run::finishSoon() {
    const auto work = [self = shared_from_this()](ViewerPipeWireConnection&) { self->finish(); };
    if (!thread_->post(work)) {
        // The thread gave every capture up before it ended.
        end();
    }
}

void ViewerPipeWireStream::Run::finish() {
    capture_.reset();
    end();
}

bool ViewerPipeWireStream::Run::isStopRequested() {
    const ViewerLockGuard guard(lock_);
    return isStopRequested_;
}

bool ViewerPipeWireStream::Run::completeStart(bool succeeded) {
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

void ViewerPipeWireStream::Run::end() {
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

ViewerPipeWireStream::ViewerPipeWireStream(ViewerExecutor executor,
                                           std::shared_ptr<ViewerContinuousClock> clock,
                                           std::shared_ptr<ViewerPipeWireThread> thread,
                                           const ViewerGrantedStream& stream,
                                           const ViewerStreamSettings& settings,
                                           ViewerScreenCastRemote::StillPicture still)
    : run_(std::make_shared<Run>(std::move(executor), std::move(clock), std::move(thread), stream,
                                 frameIntervalOf(settings), std::move(still))) {}

ViewerPipeWireStream::~ViewerPipeWireStream() {
    run_->stop({});
}

bool ViewerPipeWireStream::addOutput(std::shared_ptr<ViewerStreamReceiver> receiver,
                                     std::string queueLabel) {
    (void)queueLabel;  // There is no queue of its own to be named.
    return run_->addOutput(std::move(receiver));
}

void ViewerPipeWireStream::start(Completion completion) {
    run_->start(std::move(completion));
}

void ViewerPipeWireStream::stop(Completion completion) {
    run_->stop(std::move(completion));
}

}  // namespace velmora
