#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "core/capture/linux/ViewerLinuxStream.h"
#include "core/capture/linux/wayland/ViewerScreenCastRemote.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireCapture.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireThread.h"
#include "core/capture/linux/wayland/pipewire/ViewerStillPicture.h"

namespace velmora {

/// The capture of one granted node as a stream, on the thread of its connection. Nothing of it
/// exists in PipeWire before its start and after its stop, and nothing here blocks. Owned by the
/// session and, while it captures, by the thread; any thread.
class ViewerPipeWireStream final : public ViewerLinuxStream {
  public:
    using StillPicture = ViewerScreenCastRemote::StillPicture;

    /// `still` may be empty.
    ViewerPipeWireStream(ViewerExecutor executor, std::shared_ptr<ViewerContinuousClock> clock,
                         std::shared_ptr<ViewerPipeWireThread> thread,
                         const ViewerGrantedStream& stream, const ViewerStreamSettings& settings,
                         StillPicture still);

  private:
    /// Streams of one connection share its thread, so the label names no queue here.
    void begin(const std::string& queueLabel) override;
    /// Soon, so that the capture's handlers have returned.
    void giveUp() override;

    /// These run on the connection's thread.
    void connect(ViewerPipeWireConnection& connection);
    void askForStillPicture();
    void takeStill(const std::optional<ViewerStillPicture>& picture);

    const std::shared_ptr<ViewerPipeWireThread> thread_;
    const ViewerGrantedStream stream_;
    const StillPicture still_;
    /// The connection's thread alone touches it.
    std::optional<ViewerPipeWireCapture> capture_;
};

}  // namespace velmora
