#include "core/capture/linux/wayland/pipewire/ViewerPipeWireStream.h"

#include <utility>

#include "core/runtime/ViewerIfAlive.h"
#include "core/runtime/ViewerMemoryLack.h"
#include "core/runtime/linux/ViewerDetachedThread.h"

namespace velmora {

ViewerPipeWireStream::ViewerPipeWireStream(ViewerExecutor executor,
                                           std::shared_ptr<ViewerContinuousClock> clock,
                                           std::shared_ptr<ViewerPipeWireThread> thread,
                                           const ViewerGrantedStream& stream,
                                           const ViewerStreamSettings& settings, StillPicture still)
    : ViewerLinuxStream(std::move(executor), std::move(clock), settings),
      thread_(std::move(thread)),
      stream_(stream),
      still_(std::move(still)) {}

void ViewerPipeWireStream::begin(const std::string& queueLabel) {
    (void)queueLabel;
    const auto work = [this, self = shared_from_this()](ViewerPipeWireConnection& connection) {
        connection.whenListed([this, self, &connection] { connect(connection); });
    };
    if (!thread_->post(work)) {
        end();
    }
}

void ViewerPipeWireStream::connect(ViewerPipeWireConnection& connection) {
    if (isStopRequested()) {
        return;
    }
    const std::optional<std::uint64_t> serial = connection.serialOf(stream_);
    if (!serial) {
        end();
        return;
    }
    ViewerPipeWireCapture::Handlers handlers;
    handlers.deliver = [this](const ViewerPixelBuffer& pixels) { deliver(pixels); };
    handlers.fallSilent = [this] { askForStillPicture(); };
    handlers.end = [this] { giveUp(); };
    capture_.emplace(connection, *serial, frameInterval(), std::move(handlers));
    if (!capture_->connect()) {
        giveUp();
    }
}

void ViewerPipeWireStream::giveUp() {
    const auto work = [this, self = shared_from_this()](ViewerPipeWireConnection&) {
        capture_.reset();
        end();
    };
    if (!thread_->post(work)) {
        // The thread gave every capture up before it ended.
        end();
    }
}

void ViewerPipeWireStream::askForStillPicture() {
    if (!still_) {
        capture_->listenOn();
        return;
    }
    const auto take = [this, weak = weak_from_this(), thread = thread_, still = still_] {
        const std::optional<ViewerStillPicture> picture = ViewerStillPicture::take(still);
        // A thread that has ended delivers nothing more.
        (void)thread->post(
            ifAlive(weak, [this, picture](const ViewerLinuxStream&, ViewerPipeWireConnection&) {
                takeStill(picture);
            }));
    };
    // Without a thread there is no picture, as without a still one.
    (void)startDetachedThread("still-picture", take);
}

void ViewerPipeWireStream::takeStill(const std::optional<ViewerStillPicture>& picture) {
    // What the stream itself has delivered since is newer.
    if (!capture_ || capture_->hasShown() || isStopRequested()) {
        return;
    }
    if (!picture) {
        // The output may just have been another, or the compositor busy.
        capture_->listenOn();
        return;
    }
    try {
        deliver(picture->pixels());
    } catch (const ViewerMemoryLack&) {
        giveUp();
    }
}

}  // namespace velmora
