#include "core/capture/linux/x11/ViewerX11VirtualTerminal.h"

#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "core/capture/linux/x11/ViewerX11Event.h"
#include "core/capture/linux/x11/ViewerX11Reply.h"

namespace velmora {

namespace {

/// On the root window: a number of 32 bits, 0 while the terminal is switched away.
constexpr std::string_view propertyName = "XFree86_has_VT";
constexpr std::uint8_t numberBits = 32;

}  // namespace

ViewerX11VirtualTerminal::ViewerX11VirtualTerminal(std::shared_ptr<ViewerX11Connection> connection)
    : connection_(std::move(connection)) {
    xcb_connection_t* const xcb = connection_->xcb();
    const xcb_intern_atom_cookie_t atom =
        xcb_intern_atom(xcb, 0, propertyName.size(), propertyName.data());
    const xcb_get_window_attributes_cookie_t attributes =
        xcb_get_window_attributes(xcb, connection_->root());
    const ViewerX11Reply<xcb_intern_atom_reply_t> name(xcb_intern_atom_reply(xcb, atom, nullptr));
    const ViewerX11Reply<xcb_get_window_attributes_reply_t> asked(
        xcb_get_window_attributes_reply(xcb, attributes, nullptr));
    if (name != nullptr && asked != nullptr) {
        property_ = name->atom;
        const std::uint32_t events = asked->your_event_mask | XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(xcb, connection_->root(), XCB_CW_EVENT_MASK, &events);
    }
}

bool ViewerX11VirtualTerminal::isNotice(const xcb_generic_event_t& event) const {
    return eventTypeOf(event) == XCB_PROPERTY_NOTIFY &&
           reinterpret_cast<const xcb_property_notify_event_t&>(event).atom == property_;
}

bool ViewerX11VirtualTerminal::isPresent() const {
    const xcb_get_property_cookie_t property = xcb_get_property(
        connection_->xcb(), 0, connection_->root(), property_, XCB_GET_PROPERTY_TYPE_ANY, 0, 1);
    const ViewerX11Reply<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(connection_->xcb(), property, nullptr));
    if (reply == nullptr || reply->format != numberBits || reply->value_len == 0) {
        return true;
    }
    std::uint32_t value = 0;
    std::memcpy(&value, xcb_get_property_value(reply.get()), sizeof value);
    return value != 0;
}

}  // namespace velmora
