#pragma once

#include <xcb/xcb.h>

#include <memory>

#include "core/capture/linux/x11/ViewerX11Connection.h"

namespace velmora {

/// Whether the X server has its virtual terminal: while another one is shown nobody sees the
/// server's screen, and what can be read of it means nothing. Belongs to one capture; used on its
/// thread.
class ViewerX11VirtualTerminal final {
  public:
    /// Asks for notices, beside those that the connection gets already. Blocks for one round trip.
    explicit ViewerX11VirtualTerminal(std::shared_ptr<ViewerX11Connection> connection);
    ViewerX11VirtualTerminal(const ViewerX11VirtualTerminal&) = delete;
    ViewerX11VirtualTerminal& operator=(const ViewerX11VirtualTerminal&) = delete;

    /// Whether the event says that this may have changed.
    bool isNotice(const xcb_generic_event_t& event) const;

    /// True also on a server that does not tell. Blocks for one round trip.
    bool isPresent() const;

  private:
    const std::shared_ptr<ViewerX11Connection> connection_;
    xcb_atom_t property_ = XCB_NONE;
};

}  // namespace velmora
