#include "core/capture/linux/x11/ViewerX11Stream.h"

#include <pthread.h>

#include <boost/asio/dispatch.hpp>
#include <chrono>
#include <cstddef>
#include <utility>
#include <vector>

#include "core/capture/linux/x11/ViewerX11MonitorCapture.h"
#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerLock.h"
#include "core/runtime/linux/ViewerDetachedThread.h"

namespace velmora {

namespace {

/// A screen whose first frame takes longer than this is waited for by whoever wants the frame.
constexpr std::chrono::milliseconds startLimit{100};

/// The last parts of a queue's label that fit into a thread's name.
std::string threadName(const std::string& queueLabel) {
    constexpr std::size_t maximumLength = 15;
    std::string result = queueLabel;
    while (result.size() > maximumLength && result.find('.') != std::string::npos) {
        result.erase(0, result.find('.') + 1);
    }
    return result.substr(0, maximumLength);
}

std::chrono::nanoseconds frameIntervalOf(const ViewerStreamSettings& settings) {
    viewerCheck(settings.frameIntervalValue >= 0 && settings.frameIntervalTimescale > 0,
                "a stream has a time between its pictures");
    return std::chrono::nanoseconds(std::chrono::seconds(settings.frameIntervalValue)) /
           settings.frameIntervalTimescale;
}

}  // namespace

/// What a stream shares with its threads. It goes through its phases in their order and lives as
/// long as the stream or the capture.
class ViewerX11Stream::Run final : public std::enable_shared_from_this<Run> {
  public:
    Run(ViewerExecutor executor, std::shared_ptr<ViewerContinuousClock> clock,
        std::shared_ptr<ViewerX11Connector> connector, std::string uuidText,
        std::chrono::nanoseconds frameInterval)
        : executor_(std::move(executor)),
          clock_(std::move(clock)),
          connector_(std::move(connector)),
          uuidText_(std::move(uuidText)),
          frameInterval_(frameInterval) {}

    bool addOutput(std::shared_ptr<ViewerStreamReceiver> receiver, std::string queueLabel);
    void start(Completion completion);
    void stop(Completion completion);

  private:
    enum class Phase { idle, connecting, capturing, ending, ended };

    void limitStart();
    void connect();
    void connected(const std::shared_ptr<ViewerX11Connection>& connection);
    void capture(const std::shared_ptr<ViewerX11Connection>& connection);
    void deliver(const ViewerPixelBuffer& pixels);
    /// False when the start has completed already.
    bool completeStart(bool succeeded);
    void end();

    const ViewerExecutor executor_;
    const std::shared_ptr<ViewerContinuousClock> clock_;
    const std::shared_ptr<ViewerX11Connector> connector_;
    const std::string uuidText_;
    const std::chrono::nanoseconds frameInterval_;

    ViewerLock lock_;
    Phase phase_ VIEWER_GUARDED_BY(lock_) = Phase::idle;
    bool isStopRequested_ VIEWER_GUARDED_BY(lock_) = false;
    Completion startCompletion_ VIEWER_GUARDED_BY(lock_);
    std::vector<Completion> stopCompletions_ VIEWER_GUARDED_BY(lock_);
    ViewerX11Connector::RequestId request_ VIEWER_GUARDED_BY(lock_) = 0;
    std::shared_ptr<ViewerX11Connection> connection_ VIEWER_GUARDED_BY(lock_);
    /// Never changed once the stream was started.
    std::shared_ptr<ViewerStreamReceiver> receiver_;
    std::string queueLabel_;
};

bool ViewerX11Stream::Run::addOutput(std::shared_ptr<ViewerStreamReceiver> receiver,
                                     std::string queueLabel) {
    const ViewerLockGuard guard(lock_);
    if (phase_ != Phase::idle) {
        return false;
    }
    receiver_.swap(receiver);
    queueLabel_.swap(queueLabel);
    return true;
}

void ViewerX11Stream::Run::start(Completion completion) {
    bool isAccepted = false;
    {
        const ViewerLockGuard guard(lock_);
        isAccepted = phase_ == Phase::idle && receiver_ != nullptr;
        if (isAccepted) {
            phase_ = Phase::connecting;
            startCompletion_ = completion;
        }
    }
    if (!isAccepted) {
        completion(false);
        return;
    }
    limitStart();
    connect();
}

void ViewerX11Stream::Run::limitStart() {
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

void ViewerX11Stream::Run::connect() {
    const ViewerX11Connector::RequestId request = connector_->connect(
        [weak = weak_from_this()](const std::shared_ptr<ViewerX11Connection>& connection) {
            if (const auto self = weak.lock()) {
                self->connected(connection);
            }
        });
    bool isWithdrawn = false;
    {
        const ViewerLockGuard guard(lock_);
        request_ = request;
        isWithdrawn = isStopRequested_;
    }
    if (isWithdrawn) {
        connector_->withdraw(request);
    }
}

void ViewerX11Stream::Run::connected(const std::shared_ptr<ViewerX11Connection>& connection) {
    {
        const ViewerLockGuard guard(lock_);
        if (phase_ != Phase::connecting || isStopRequested_) {
            return;
        }
        if (connection) {
            phase_ = Phase::capturing;
            connection_ = connection;
        }
    }
    const auto body = [self = shared_from_this(), connection] { self->capture(connection); };
    if (!connection || !startDetachedThread("x11-capture", body)) {
        end();
    }
}

void ViewerX11Stream::Run::capture(const std::shared_ptr<ViewerX11Connection>& connection) {
    (void)::pthread_setname_np(::pthread_self(), threadName(queueLabel_).c_str());
    ViewerX11MonitorCapture(connection, uuidText_, frameInterval_)
        .run([this](const ViewerPixelBuffer& pixels) { deliver(pixels); });
    end();
}

void ViewerX11Stream::Run::deliver(const ViewerPixelBuffer& pixels) {
    ViewerStreamOutput output;
    output.isValid = true;
    output.hasAttachments = true;
    output.status = ViewerStreamOutput::completeStatus;
    output.pixels = &pixels;
    receiver_->streamDidOutput(output);
    (void)completeStart(true);  // Every frame but the first finds it completed.
}

void ViewerX11Stream::Run::stop(Completion completion) {
    Phase phase{};
    std::shared_ptr<ViewerX11Connection> connection;
    ViewerX11Connector::RequestId request = 0;
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
        connection = connection_;
        request = request_;
    }
    (void)completeStart(false);  // Mostly it has completed long ago.
    if (connection) {
        connection->abort();
    }
    if (phase == Phase::connecting) {
        connector_->withdraw(request);
        end();
    } else if (phase == Phase::ended && completion) {
        completion(true);
    }
}

bool ViewerX11Stream::Run::completeStart(bool succeeded) {
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

void ViewerX11Stream::Run::end() {
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
    std::shared_ptr<ViewerX11Connection> connection;
    std::vector<Completion> completions;
    {
        const ViewerLockGuard guard(lock_);
        phase_ = Phase::ended;
        connection_.swap(connection);
        stopCompletions_.swap(completions);
    }
    for (const Completion& each : completions) {
        each(true);
    }
}

ViewerX11Stream::ViewerX11Stream(ViewerExecutor executor,
                                 std::shared_ptr<ViewerContinuousClock> clock,
                                 std::shared_ptr<ViewerX11Connector> connector,
                                 const ViewerNativeDisplay& display,
                                 const ViewerStreamSettings& settings)
    : run_(std::make_shared<Run>(std::move(executor), std::move(clock), std::move(connector),
                                 display.uuidText.value_or(std::string()),
                                 frameIntervalOf(settings))) {}

ViewerX11Stream::~ViewerX11Stream() {
    run_->stop({});
}

bool ViewerX11Stream::addOutput(std::shared_ptr<ViewerStreamReceiver> receiver,
                                std::string queueLabel) {
    return run_->addOutput(std::move(receiver), std::move(queueLabel));
}

void ViewerX11Stream::start(Completion completion) {
    run_->start(std::move(completion));
}

void ViewerX11Stream::stop(Completion completion) {
    run_->stop(std::move(completion));
}

}  // namespace velmora
