#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <optional>

#include "core/capture/linux/x11/ViewerX11Connection.h"

namespace velmora {

/// The server's notices that its monitors may have changed: asked for on one connection, and told
/// from the connection's other events. Any thread.
class ViewerX11Notices final {
  public:
    /// Asks for the notices; they come from now on. Waits for the server the first time that the
    /// connection needs RandR.
    explicit ViewerX11Notices(const ViewerX11Connection& connection);

    bool concernsDisplays(const xcb_generic_event_t& event) const;

  private:
    /// The number of RandR's first event, or nothing when the server has no RandR.
    std::optional<std::uint8_t> firstRandrEvent_;
};

}  // namespace velmora
