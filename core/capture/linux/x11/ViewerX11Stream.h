#pragma once

#include <memory>
#include <string>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/x11/ViewerX11Connector.h"

namespace velmora {

/// The capture of one monitor as a stream, on a thread and a connection of its own. The display
/// only says which monitor is meant: its place and the size of the delivered pictures are read when
/// the stream starts. Nothing here blocks, also when the server hangs. Owned by the session; any
/// thread.
class ViewerX11Stream final : public ViewerDisplayStream {
  public:
    /// Of the settings only the time between pictures counts: everything else is what they are. The
    /// clock is that of the executor, on which it is told when a start has taken long enough.
    ViewerX11Stream(ViewerExecutor executor, std::shared_ptr<ViewerContinuousClock> clock,
                    std::shared_ptr<ViewerX11Connector> connector,
                    const ViewerNativeDisplay& display, const ViewerStreamSettings& settings);
    ~ViewerX11Stream() override;

    /// False once the stream was started.
    bool addOutput(std::shared_ptr<ViewerStreamReceiver> receiver, std::string queueLabel) override;
    /// Completes with true after the first frame was handed over, or after 100 ms without one; with
    /// false when the stream has failed or is stopped before. A stream starts once.
    void start(Completion completion) override;
    /// Completes when the stream uses its receiver no more.
    void stop(Completion completion) override;

  private:
    class Run;

    const std::shared_ptr<Run> run_;
};

}  // namespace velmora
