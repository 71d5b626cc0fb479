#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "core/capture/linux/wayland/pipewire/ViewerPipeWireRemote.h"
#include "tests/capture/linux/x11/StreamRecorder.h"
#include "tests/support/pipewire/PipeWireServer.h"

namespace velmora {

/// A remote on the thread of a loop, as a host has one. Any thread, one at a time.
class RemoteOnLoop final {
  public:
    using StillPicture = ViewerScreenCastRemote::StillPicture;

    explicit RemoteOnLoop(const PipeWireServer& server) : RemoteOnLoop(server.connect()) {}
    /// Over a descriptor that is the remote's from now on.
    explicit RemoteOnLoop(int descriptor);
    ~RemoteOnLoop();
    RemoteOnLoop(const RemoteOnLoop&) = delete;
    RemoteOnLoop& operator=(const RemoteOnLoop&) = delete;

    std::optional<std::vector<ViewerStreamNode>> describe();
    std::shared_ptr<ViewerDisplayStream> makeStream(const ViewerGrantedStream& stream,
                                                    const StillPicture& still);
    /// False when it takes too long.
    bool waitForLoss() const;
    std::size_t losses() const;
    void endStreams();
    /// Ends the remote while this object stays.
    void drop();

  private:
    struct Losses;

    const std::shared_ptr<Losses> losses_;
    std::unique_ptr<ViewerPipeWireRemote> remote_;
};

/// The settings of a stream of the host's.
ViewerStreamSettings streamSettings();

/// A stream of one node, and the receiver that it delivers to.
class CapturedNode final {
  public:
    CapturedNode(RemoteOnLoop& remote, const ViewerGrantedStream& stream,
                 const RemoteOnLoop::StillPicture& still = {},
                 StreamRecorder::Judgement isAllowed = {});
    /// Of the node with this number.
    CapturedNode(RemoteOnLoop& remote, std::uint32_t node,
                 const RemoteOnLoop::StillPicture& still = {},
                 StreamRecorder::Judgement isAllowed = {});

    StreamRecorder& recorder() { return *recorder_; }
    ViewerDisplayStream& stream() { return *stream_; }
    /// Starts or stops the stream and waits for what comes of it; false also when nothing does.
    bool start();
    bool stop();
    /// Whether the stream gives notice of its end, and does so once.
    bool endsOnce();
    /// Destroys the stream and gives up the receiver, which the test may still look at.
    std::weak_ptr<StreamRecorder> drop();

  private:
    std::shared_ptr<StreamRecorder> recorder_;
    std::shared_ptr<ViewerDisplayStream> stream_;
};

}  // namespace velmora
