#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/x11/ViewerX11Connection.h"
#include "core/capture/linux/x11/ViewerX11Notices.h"

namespace velmora {

/// What one reading of the displays brought. A plain value.
struct ViewerX11Displays final {
    /// Whether this process may list the displays and read them; nothing when the server did not
    /// say.
    std::optional<bool> access;
    /// Nothing when the server gave no list, or gives this process none.
    std::optional<std::vector<ViewerNativeDisplay>> displays;
    /// False when the displays changed even during the last try: another reading is due.
    bool isSettled = true;
};

/// The connection on which displays are listed, and the server's notices about them. Any thread,
/// but one at a time, except `abort`.
class ViewerX11DisplayReader final {
  public:
    explicit ViewerX11DisplayReader(std::shared_ptr<ViewerX11Connection> connection);
    ViewerX11DisplayReader(const ViewerX11DisplayReader&) = delete;
    ViewerX11DisplayReader& operator=(const ViewerX11DisplayReader&) = delete;

    /// Reads the displays, the first time also whether they may be read. Blocks for some round
    /// trips, with a frozen server until `abort`.
    ViewerX11Displays read();

    /// Takes in the notices that arrived since the last reading, with one system call when there is
    /// none. True when one of them concerns displays. Never blocks.
    bool hasChanged();

    bool isDead() const { return connection_->isDead(); }
    void abort() { connection_->abort(); }

  private:
    const std::shared_ptr<ViewerX11Connection> connection_;
    /// Asked for with the first reading.
    std::optional<ViewerX11Notices> notices_;
    std::optional<bool> access_;
};

}  // namespace velmora
