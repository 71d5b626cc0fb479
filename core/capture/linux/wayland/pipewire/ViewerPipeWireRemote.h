#pragma once

#include <functional>
#include <memory>

#include "core/capture/linux/wayland/ViewerScreenCastRemote.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireThread.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"

namespace velmora {

/// A connection over a portal's descriptor through the PipeWire library, on a thread of its own.
/// Nothing here waits for PipeWire, whatever becomes of it. Made, used and destroyed on the main
/// thread; its streams may outlive it and end with it.
class ViewerPipeWireRemote final : public ViewerScreenCastRemote {
  public:
    /// `descriptor` is the remote's from now on. `executor` is the main thread's and `clock` tells
    /// its time. `lost` runs once, there, when the connection broke or could not be made: never
    /// after this object is gone, and never before the constructor has returned.
    ViewerPipeWireRemote(ViewerExecutor executor, std::shared_ptr<ViewerContinuousClock> clock,
                         int descriptor, std::function<void()> lost);
    ~ViewerPipeWireRemote() override;
    ViewerPipeWireRemote(const ViewerPipeWireRemote&) = delete;
    ViewerPipeWireRemote& operator=(const ViewerPipeWireRemote&) = delete;

    void describe(Nodes nodes) override;
    std::shared_ptr<ViewerDisplayStream> makeStream(const ViewerGrantedStream& stream,
                                                    const ViewerStreamSettings& settings,
                                                    StillPicture still) override;
    void outputHasResized(const ViewerGrantedStream& stream,
                          ViewerWaylandOutput::PixelSize size) override;
    void endStreams() override;

  private:
    const ViewerExecutor executor_;
    const std::shared_ptr<ViewerContinuousClock> clock_;
    /// What this object has given away holds it weakly: once it is gone nothing is told.
    const std::shared_ptr<const std::function<void()>> lost_;
    const std::shared_ptr<ViewerPipeWireThread> thread_;
};

}  // namespace velmora
