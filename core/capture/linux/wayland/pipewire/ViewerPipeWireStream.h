#pragma once

#include <memory>
#include <string>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/wayland/ViewerScreenCastRemote.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireThread.h"

namespace velmora {

/// The capture of one granted node as a stream, on the thread of its connection. Nothing of it
/// exists in PipeWire before its start and after its stop, and nothing here blocks. Owned by the
/// session; any thread.
class ViewerPipeWireStream final : public ViewerDisplayStream {
  public:
    /// Of the settings only the time between pictures counts: the pictures are as large as what is
    /// seen, reduced. The clock is that of the executor, on which it is told when a start has taken
    /// long enough.
    ViewerPipeWireStream(ViewerExecutor executor, std::shared_ptr<ViewerContinuousClock> clock,
                         std::shared_ptr<ViewerPipeWireThread> thread,
                         const ViewerGrantedStream& stream, const ViewerStreamSettings& settings,
                         ViewerScreenCastRemote::StillPicture still);
    ~ViewerPipeWireStream() override;

    /// False once the stream was started. Streams of one connection share its thread, so the label
    /// names no queue here.
    bool addOutput(std::shared_ptr<ViewerStreamReceiver> receiver, std::string queueLabel) override;
    /// Completes with true after the first picture was handed over, or after 100 ms without one;
    /// with false when the stream has failed or is stopped before. A stream starts once.
    void start(Completion completion) override;
    /// Completes when the stream uses its receiver no more.
    void stop(Completion completion) override;

  private:
    class Run;

    const std::shared_ptr<Run> run_;
};

}  // namespace velmora
