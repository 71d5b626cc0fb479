#include "tests/support/x11/XInput.h"

#include <xcb/xtest.h>

#include <cstdlib>
#include <span>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

template <typename Reply>
using Owned = std::unique_ptr<Reply, decltype(&std::free)>;

}  // namespace

XInput::XInput(const XServer& server) : client_(server.connect()) {}

void XInput::press(xcb_keysym_t key) {
    hold(key);
    release(key);
}

void XInput::hold(xcb_keysym_t key) {
    send(XCB_KEY_PRESS, codeOf(key));
    client_->finish();
}

void XInput::release(xcb_keysym_t key) {
    send(XCB_KEY_RELEASE, codeOf(key));
    client_->finish();
}

void XInput::click(std::int64_t x, std::int64_t y, int times) {
    constexpr std::uint8_t left = 1;
    send(XCB_MOTION_NOTIFY, 0, static_cast<std::int16_t>(x), static_cast<std::int16_t>(y));
    for (int click = 0; click < times; ++click) {
        send(XCB_BUTTON_PRESS, left);
        send(XCB_BUTTON_RELEASE, left);
    }
    client_->finish();
}

bool XInput::isAnythingSelected() const {
    xcb_connection_t* const connection = client_->connection();
    const Owned<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(
            connection, xcb_get_selection_owner(connection, XCB_ATOM_PRIMARY), nullptr),
        &std::free);
    viewerCheck(reply != nullptr, "an X server does not tell the owner of the selection");
    return reply->owner != XCB_NONE;
}

void XInput::send(std::uint8_t type, std::uint8_t detail, std::int16_t x, std::int16_t y) {
    constexpr std::uint8_t anyDevice = 0;
    xcb_test_fake_input(client_->connection(), type, detail, XCB_CURRENT_TIME, client_->root(), x,
                        y, anyDevice);
}

xcb_keycode_t XInput::codeOf(xcb_keysym_t key) const {
    xcb_connection_t* const connection = client_->connection();
    const xcb_setup_t* const setup = xcb_get_setup(connection);
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const Owned<xcb_get_keyboard_mapping_reply_t> mapping(
        xcb_get_keyboard_mapping_reply(
            connection, xcb_get_keyboard_mapping(connection, setup->min_keycode, count), nullptr),
        &std::free);
    viewerCheck(mapping != nullptr, "an X server does not tell its keys");
    const std::span symbols(xcb_get_keyboard_mapping_keysyms(mapping.get()),
                            std::size_t{count} * mapping->keysyms_per_keycode);
    for (std::size_t i = 0; i < symbols.size(); i += mapping->keysyms_per_keycode) {
        if (symbols[i] == key) {
            return static_cast<xcb_keycode_t>(setup->min_keycode +
                                              i / mapping->keysyms_per_keycode);
        }
    }
    viewerCheck(false, "a keyboard has no such key");
    return 0;
}

}  // namespace velmora
