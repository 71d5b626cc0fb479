#include "tests/capture/linux/wayland/pipewire/CapturedNode.h"

#include <boost/asio/post.hpp>
#include <chrono>
#include <future>
#include <utility>

#include "tests/capture/linux/x11/LoopThread.h"

namespace velmora {

namespace {

void onLoop(const std::function<void()>& action) {
    std::promise<void> done;
    boost::asio::post(LoopThread::executor(), [&] {
        action();
        done.set_value();
    });
    done.get_future().wait();
}

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

void RemoteOnLoop::resizeOutput(std::uint32_t node, ViewerWaylandOutput::PixelSize size) {
    onLoop([&] { remote_->outputHasResized(grantOf(node), size); });
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
    onLoop([&] { result = remote_->makeStream(stream, RecordedStream::settings(), still); });
    return result;
}

bool RemoteOnLoop::waitForLoss() const {
    std::unique_lock guard(losses_->mutex);
    return losses_->changed.wait_for(guard, StreamRecorder::patience,
                                     [this] { return losses_->count > 0; });
}

std::size_t RemoteOnLoop::losses() const {
    const std::lock_guard guard(losses_->mutex);
    return losses_->count;
}

CapturedNode::CapturedNode(RemoteOnLoop& remote, const ViewerGrantedStream& stream,
                           const RemoteOnLoop::StillPicture& still,
                           StreamRecorder::Judgement isAllowed)
    : RecordedStream(remote.makeStream(stream, still), std::move(isAllowed)) {}

CapturedNode::CapturedNode(RemoteOnLoop& remote, std::uint32_t node,
                           const RemoteOnLoop::StillPicture& still,
                           StreamRecorder::Judgement isAllowed)
    : CapturedNode(remote, grantOf(node), still, std::move(isAllowed)) {}

bool CapturedNode::receivesNext(ScriptedPipeWireSource& screen,
                                const ScriptedPipeWireSource::Picture& picture) {
    constexpr std::chrono::milliseconds betweenPictures{200};
    const std::size_t before = recorder().frames();
    const auto end = std::chrono::steady_clock::now() + StreamRecorder::patience;
    while (recorder().frames() == before && recorder().stops() == 0 &&
           std::chrono::steady_clock::now() < end) {
        if (!screen.send(picture)) {
            return false;
        }
        (void)recorder().waitForFrames(before + 1, betweenPictures);  // Else there is another one.
    }
    return recorder().frames() > before;
}

}  // namespace velmora
