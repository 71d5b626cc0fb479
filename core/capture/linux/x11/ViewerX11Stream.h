#pragma once

#include <memory>
#include <string>

#include "core/capture/linux/ViewerLinuxStream.h"
#include "core/capture/linux/x11/ViewerX11Connector.h"

namespace velmora {

/// The capture of one monitor as a stream, on a thread and a connection of its own. The display
/// only says which monitor is meant: its place and the size of the delivered pictures are read when
/// the stream starts. Nothing here blocks, also when the server hangs. Owned by the session and the
/// capture's thread; any thread.
class ViewerX11Stream final : public ViewerLinuxStream {
  public:
    ViewerX11Stream(ViewerExecutor executor, std::shared_ptr<ViewerContinuousClock> clock,
                    std::shared_ptr<ViewerX11Connector> connector,
                    const ViewerNativeDisplay& display, const ViewerStreamSettings& settings);

  private:
    void begin(const std::string& queueLabel) override;
    void giveUp() override;

    void connected(const std::shared_ptr<ViewerX11Connection>& connection,
                   const std::string& queueLabel);
    /// On the capture's thread.
    void capture(const std::shared_ptr<ViewerX11Connection>& connection);

    const std::shared_ptr<ViewerX11Connector> connector_;
    const std::string uuidText_;

    ViewerX11Connector::RequestId request_ VIEWER_GUARDED_BY(lock_) = 0;
    /// The capture's, while there is one.
    std::weak_ptr<ViewerX11Connection> connection_ VIEWER_GUARDED_BY(lock_);
};

}  // namespace velmora
