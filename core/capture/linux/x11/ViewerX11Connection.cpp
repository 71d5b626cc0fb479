#include "core/capture/linux/x11/ViewerX11Connection.h"

#include <sys/socket.h>

#include <cstdlib>

namespace velmora {

namespace {

const xcb_screen_t* screenAt(xcb_connection_t* connection, int number) {
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    while (screens.rem > 1 && number > 0) {
        xcb_screen_next(&screens);
        --number;
    }
    return screens.rem > 0 && number == 0 ? screens.data : nullptr;
}

}  // namespace

std::string ViewerX11Connection::displayNameFromEnvironment() {
    const char* name = std::getenv("DISPLAY");
    return name != nullptr ? name : "";
}

std::shared_ptr<ViewerX11Connection> ViewerX11Connection::connect(const std::string& displayName) {
    // xcb would take an empty name for "look into the environment".
    if (displayName.empty()) {
        return nullptr;
    }
    int screenNumber = 0;
    xcb_connection_t* const connection = xcb_connect(displayName.c_str(), &screenNumber);
    const xcb_screen_t* screen = nullptr;
    if (xcb_connection_has_error(connection) == 0) {
        screen = screenAt(connection, screenNumber);
    }
    if (screen == nullptr) {
        xcb_disconnect(connection);
        return nullptr;
    }
    return std::shared_ptr<ViewerX11Connection>(new ViewerX11Connection(connection, screen));
}

ViewerX11Connection::ViewerX11Connection(xcb_connection_t* connection, const xcb_screen_t* screen)
    : connection_(connection), screen_(screen) {}

ViewerX11Connection::~ViewerX11Connection() {
    xcb_disconnect(connection_);
}

bool ViewerX11Connection::isDead() const {
    return xcb_connection_has_error(connection_) != 0;
}

void ViewerX11Connection::abort() {
    // The descriptor stays open as long as the object lives, and the caller is one of its owners.
    // It fails only when the peer is gone already.
    (void)::shutdown(xcb_get_file_descriptor(connection_), SHUT_RDWR);
}

}  // namespace velmora
