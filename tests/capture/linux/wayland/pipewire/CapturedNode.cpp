#include "tests/capture/linux/wayland/pipewire/CapturedNode.h"

#include <atomic>
#include <boost/asio/post.hpp>
#include <future>
#include <utility>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "core/runtime/ViewerCheck.h"
#include "tests/capture/linux/x11/LoopThread.h"

namespace velmora {

namespace {

constexpr auto patience = StreamRecorder::patience;

void onLoop(const std::function<void()>& action) {
    std::promise<void> done;
    boost::asio::post(LoopThread::executor(), [&] {
        action();
        done.set_value();
    });
    done.get_future().wait();
}

/// Waits for a completion, which must come once.
class Outcome final {
  public:
    ViewerDisplayStream::Completion completion() {
        return [state = state_](bool succeeded) {
            viewerCheck(state->calls++ == 0, "a completion ran twice");
            state->answer.set_value(succeeded);
        };
    }
    bool wait() {
        auto answer = state_->answer.get_future();
        return answer.wait_for(patience) == std::future_status::ready && answer.get();
    }

  private:
    struct State final {
        std::atomic<int> calls = 0;
        std::promise<bool> answer;
    };
    const std::shared_ptr<State> state_ = std::make_shared<State>();
};

ViewerGrantedStream grantOf(std::uint32_t node) {
    ViewerGrantedStream result;
    result.node = node;
    return result;
}

}  // namespace

struct RemoteOnLoop::Losses final {
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::size_t count = 0;
};

RemoteOnLoop::RemoteOnLoop(int descriptor) : losses_(std::make_shared<Losses>()) {
    onLoop([&] {
        remote_ = std::make_unique<ViewerPipeWireRemote>(
            LoopThread::executor(), LoopThread::clock(), descriptor, [losses = losses_] {
                const std::lock_guard guard(losses->mutex);
                ++losses->count;
                losses->changed.notify_all();
            });
    });
}

RemoteOnLoop::~RemoteOnLoop() {
    drop();
}

void RemoteOnLoop::endStreams() {
    onLoop([this] { remote_->endStreams(); });
}

void RemoteOnLoop::drop() {
    onLoop([this] { remote_.reset(); });
}

std::optional<std::vector<ViewerStreamNode>> RemoteOnLoop::describe() {
    std::promise<std::optional<std::vector<ViewerStreamNode>>> answer;
    onLoop([&] {
        remote_->describe([&](std::optional<std::vector<ViewerStreamNode>> nodes) {
            answer.set_value(std::move(nodes));
        });
    });
    return answer.get_future().get();
}

std::shared_ptr<ViewerDisplayStream> RemoteOnLoop::makeStream(const ViewerGrantedStream& stream,
                                                              const StillPicture& still) {
    std::shared_ptr<ViewerDisplayStream> result;
    onLoop([&] { result = remote_->makeStream(stream, streamSettings(), still); });
    return result;
}

bool RemoteOnLoop::waitForLoss() const {
    std::unique_lock guard(losses_->mutex);
    return losses_->changed.wait_for(guard, patience, [this] { return losses_->count > 0; });
}

std::size_t RemoteOnLoop::losses() const {
    const std::lock_guard guard(losses_->mutex);
    return losses_->count;
}

ViewerStreamSettings streamSettings() {
    ViewerStreamSettings settings;
    settings.frameIntervalValue = 1;
    settings.frameIntervalTimescale = ViewerHostProtocolV1::captureFramesPerSecond;
    return settings;
}

CapturedNode::CapturedNode(RemoteOnLoop& remote, const ViewerGrantedStream& stream,
                           const RemoteOnLoop::StillPicture& still,
                           StreamRecorder::Judgement isAllowed)
    : recorder_(std::make_shared<StreamRecorder>(std::move(isAllowed))),
      stream_(remote.makeStream(stream, still)) {
    viewerCheck(stream_->addOutput(recorder_, "com.quilmer.velmora.viewer-host.capture.7"),
                "a new stream takes a receiver");
}

CapturedNode::CapturedNode(RemoteOnLoop& remote, std::uint32_t node,
                           const RemoteOnLoop::StillPicture& still,
                           StreamRecorder::Judgement isAllowed)
    : CapturedNode(remote, grantOf(node), still, std::move(isAllowed)) {}

bool CapturedNode::start() {
    Outcome outcome;
    stream_->start(outcome.completion());
    return outcome.wait();
}

bool CapturedNode::stop() {
    Outcome outcome;
    stream_->stop(outcome.completion());
    return outcome.wait();
}

bool CapturedNode::endsOnce() {
    return recorder_->waitForStop() && stop() && recorder_->stops() == 1;
}

std::weak_ptr<StreamRecorder> CapturedNode::drop() {
    const std::weak_ptr<StreamRecorder> result = recorder_;
    stream_.reset();
    recorder_.reset();
    return result;
}

}  // namespace velmora
