#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "core/capture/linux/wayland/pipewire/ViewerPipeWireRemote.h"
#include "tests/capture/linux/x11/RecordedStream.h"
#include "tests/support/pipewire/PipeWireServer.h"
#include "tests/support/pipewire/ScriptedPipeWireSource.h"

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
    /// The output behind the node with this number is this large from now on.
    void resizeOutput(std::uint32_t node, ViewerWaylandOutput::PixelSize size);
    /// Ends the remote while this object stays.
    void drop();

  private:
    struct Losses;

    const std::shared_ptr<Losses> losses_;
    std::unique_ptr<ViewerPipeWireRemote> remote_;
};

/// A stream of one node.
class CapturedNode final : public RecordedStream {
  public:
    CapturedNode(RemoteOnLoop& remote, const ViewerGrantedStream& stream,
                 const RemoteOnLoop::StillPicture& still = {},
                 StreamRecorder::Judgement isAllowed = {});
    /// Of the node with this number.
    CapturedNode(RemoteOnLoop& remote, std::uint32_t node,
                 const RemoteOnLoop::StillPicture& still = {},
                 StreamRecorder::Judgement isAllowed = {});

    /// Sends a picture until another frame comes: PipeWire loses what is sent while the reader is
    /// not all there yet, after a start as after a pause. False when none comes, or the stream
    /// stops.
    bool receivesNext(ScriptedPipeWireSource& screen,
                      const ScriptedPipeWireSource::Picture& picture);
    /// The same for a picture of one colour.
    bool receivesNext(ScriptedPipeWireSource& screen, std::uint32_t colour) {
        return receivesNext(screen, {ScriptedPipeWireSource::all(colour)});
    }
};

}  // namespace velmora
