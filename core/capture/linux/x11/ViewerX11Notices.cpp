#include "core/capture/linux/x11/ViewerX11Notices.h"

#include <xcb/randr.h>

#include "core/capture/linux/x11/ViewerX11Event.h"

namespace velmora {

ViewerX11Notices::ViewerX11Notices(const ViewerX11Connection& connection) {
    xcb_connection_t* const xcb = connection.xcb();
    // A monitor that a client defines or deletes shows only in the root window's notice of its
    // size.
    const std::uint32_t rootEvents = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(xcb, connection.root(), XCB_CW_EVENT_MASK, &rootEvents);
    const xcb_query_extension_reply_t* const randr = xcb_get_extension_data(xcb, &xcb_randr_id);
    if (randr != nullptr && randr->present != 0) {
        firstRandrEvent_ = randr->first_event;
        xcb_randr_select_input(
            xcb, connection.root(),
            XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE | XCB_RANDR_NOTIFY_MASK_OUTPUT_PROPERTY |
                XCB_RANDR_NOTIFY_MASK_RESOURCE_CHANGE);
    }
}

bool ViewerX11Notices::concernsDisplays(const xcb_generic_event_t& event) const {
    const std::uint8_t type = eventTypeOf(event);
    return type == XCB_CONFIGURE_NOTIFY ||
           (firstRandrEvent_ && (type == *firstRandrEvent_ + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
                                 type == *firstRandrEvent_ + XCB_RANDR_NOTIFY));
}

}  // namespace velmora
