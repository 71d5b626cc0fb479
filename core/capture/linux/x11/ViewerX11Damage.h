#pragma once

#include <xcb/damage.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "core/capture/linux/x11/ViewerX11Connection.h"

namespace velmora {

/// What the server says has changed on the root window. It is a hint: some compositors and drivers
/// change the screen without saying so. Belongs to one capture; used on its thread.
class ViewerX11Damage final {
  public:
    /// Asks for notices. A server without the DAMAGE or XFIXES extension never sends one.
    explicit ViewerX11Damage(std::shared_ptr<ViewerX11Connection> connection);
    ViewerX11Damage(const ViewerX11Damage&) = delete;
    ViewerX11Damage& operator=(const ViewerX11Damage&) = delete;

    /// Whether the event says that something changed. After one such notice none comes until the
    /// changes were taken.
    bool isNotice(const xcb_generic_event_t& event) const;

    /// Takes what changed since it was last taken, in pixels of the root window: what changes from
    /// now on makes a notice. Nothing when the server does not answer. Blocks for one round trip.
    std::optional<std::vector<ViewerRectangle>> take();

  private:
    const std::shared_ptr<ViewerX11Connection> connection_;
    /// The number of the extension's first event, or nothing when there are no notices.
    std::optional<std::uint8_t> firstEvent_;
    xcb_damage_damage_t damage_ = XCB_NONE;
    xcb_xfixes_region_t changes_ = XCB_NONE;
};

}  // namespace velmora
