#include "core/capture/linux/wayland/pipewire/ViewerPipeWireRemote.h"

#include <boost/asio/post.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "core/capture/linux/wayland/pipewire/ViewerPipeWireConnection.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireStream.h"
#include "core/runtime/ViewerIfAlive.h"

namespace velmora {

namespace {

using Nodes = ViewerScreenCastRemote::Nodes;

/// One answer to the main thread, on which alone it is used: the first that comes counts.
class Answer final {
  public:
    explicit Answer(Nodes receiver) : receiver_(std::move(receiver)) {}

    void give(std::optional<std::vector<ViewerStreamNode>> nodes) {
        if (const Nodes receiver = std::exchange(receiver_, {})) {
            receiver(std::move(nodes));
        }
    }

  private:
    Nodes receiver_;
};

std::shared_ptr<ViewerPipeWireThread> startThread(
    const ViewerExecutor& executor, int descriptor,
    const std::shared_ptr<const std::function<void()>>& lost) {
    return ViewerPipeWireThread::start(
        descriptor, [executor, tell = ifAlive(std::weak_ptr<const std::function<void()>>(lost),
                                              [](const std::function<void()>& told) { told(); })] {
            boost::asio::post(executor, tell);
        });
}

}  // namespace

ViewerPipeWireRemote::ViewerPipeWireRemote(ViewerExecutor executor,
                                           std::shared_ptr<ViewerContinuousClock> clock,
                                           int descriptor, std::function<void()> lost)
    : executor_(std::move(executor)),
      clock_(std::move(clock)),
      lost_(std::make_shared<const std::function<void()>>(std::move(lost))),
      thread_(startThread(executor_, descriptor, lost_)) {}

ViewerPipeWireRemote::~ViewerPipeWireRemote() {
    thread_->quit();
}

void ViewerPipeWireRemote::describe(Nodes nodes) {
    const auto answer = std::make_shared<Answer>(std::move(nodes));
    const auto give = [answer,
                       executor = executor_](std::optional<std::vector<ViewerStreamNode>> found) {
        boost::asio::post(executor, [answer, found = std::move(found)] { answer->give(found); });
    };
    clock_->schedule(clock_->now() + ViewerScreenCapture::answerLimit, executor_,
                     [answer] { answer->give(std::nullopt); });
    const bool isAsked =
        thread_->post([give](ViewerPipeWireConnection& connection) { connection.describe(give); });
    if (!isAsked) {
        give(std::nullopt);
    }
}

std::shared_ptr<ViewerDisplayStream> ViewerPipeWireRemote::makeStream(
    const ViewerGrantedStream& stream, const ViewerStreamSettings& settings, StillPicture still) {
    return ViewerLinuxStream::handedOut(std::make_shared<ViewerPipeWireStream>(
        executor_, clock_, thread_, stream, settings, std::move(still)));
}

void ViewerPipeWireRemote::outputHasResized(const ViewerGrantedStream& stream,
                                            ViewerWaylandOutput::PixelSize size) {
    // On a thread that takes no more work there are no streams.
    (void)thread_->post([stream, size](ViewerPipeWireConnection& connection) {
        connection.outputHasResized(stream, size);
    });
}

void ViewerPipeWireRemote::endStreams() {
    // On a thread that takes no more work there are no streams.
    (void)thread_->post([](ViewerPipeWireConnection& connection) { connection.endStreams(); });
}

}  // namespace velmora
