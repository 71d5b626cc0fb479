#include "tests/support/x11/XWindow.h"

#include <algorithm>
#include <cstdlib>
#include <span>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

template <typename Reply>
using Owned = std::unique_ptr<Reply, decltype(&std::free)>;

template <typename Reply>
Owned<Reply> owned(Reply* reply) {
    return {reply, &std::free};
}

constexpr std::uint8_t numberBits = 32;

}  // namespace

XWindow::XWindow(const XServer& server, const ViewerRectangle& place)
    : client_(server.connect()), id_(::xcb_generate_id(client_->connection())) {
    xcb_connection_t* const connection = client_->connection();
    const std::uint32_t grey = 0x808080;
    ::xcb_create_window(connection, XCB_COPY_FROM_PARENT, id_, client_->root(),
                        static_cast<std::int16_t>(place.x), static_cast<std::int16_t>(place.y),
                        static_cast<std::uint16_t>(place.width),
                        static_cast<std::uint16_t>(place.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                        XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL, &grey);
    ::xcb_map_window(connection, id_);
    client_->finish();
}

void XWindow::giveFocusTo(xcb_window_t window) {
    ::xcb_set_input_focus(client_->connection(), XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
    client_->finish();
}

void XWindow::beChosen() {
    constexpr std::uint32_t byUser = 2;
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = numberBits;
    message.window = id_;
    message.type = client_->atom("_NET_ACTIVE_WINDOW");
    message.data.data32[0] = byUser;
    ::xcb_send_event(client_->connection(), 0, client_->root(),
                     XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                     reinterpret_cast<const char*>(&message));
    client_->finish();
}

void XWindow::requestClose(xcb_window_t window) {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = numberBits;
    message.window = window;
    message.type = client_->atom("WM_PROTOCOLS");
    message.data.data32[0] = client_->atom("WM_DELETE_WINDOW");
    ::xcb_send_event(client_->connection(), 0, window, XCB_EVENT_MASK_NO_EVENT,
                     reinterpret_cast<const char*>(&message));
    client_->finish();
}

xcb_window_t XWindow::focused(const XServer& server) {
    const auto client = server.connect();
    xcb_connection_t* const connection = client->connection();
    const auto reply =
        owned(::xcb_get_input_focus_reply(connection, ::xcb_get_input_focus(connection), nullptr));
    viewerCheck(reply != nullptr, "an X server does not tell who gets the keys");
    return reply->focus;
}

bool XWindow::isAnyAt(const XServer& server, const ViewerRectangle& place) {
    const auto client = server.connect();
    xcb_connection_t* const connection = client->connection();
    const auto tree = owned(
        ::xcb_query_tree_reply(connection, ::xcb_query_tree(connection, client->root()), nullptr));
    viewerCheck(tree != nullptr, "an X server does not tell its windows");
    const std::span windows(::xcb_query_tree_children(tree.get()), tree->children_len);
    return std::ranges::any_of(windows, [&](xcb_window_t window) {
        const auto attributes = owned(::xcb_get_window_attributes_reply(
            connection, ::xcb_get_window_attributes(connection, window), nullptr));
        const auto geometry = owned(
            ::xcb_get_geometry_reply(connection, ::xcb_get_geometry(connection, window), nullptr));
        // It may be gone meanwhile.
        return attributes && geometry && attributes->map_state == XCB_MAP_STATE_VIEWABLE &&
               !intersection(place, {geometry->x, geometry->y, geometry->width, geometry->height})
                    .isEmpty();
    });
}

pid_t XWindow::owner(const XServer& server, xcb_window_t window) {
    const auto process = numbers(server, "_NET_WM_PID", window);
    viewerCheck(process.size() == 1, "a window does not tell its process");
    return static_cast<pid_t>(process.front());
}

std::vector<std::string> XWindow::atoms(const XServer& server, xcb_window_t window,
                                        const std::string& property) {
    const auto client = server.connect();
    xcb_connection_t* const connection = client->connection();
    std::vector<std::string> names;
    for (const xcb_atom_t atom : numbers(server, property, window)) {
        const auto reply = owned(
            ::xcb_get_atom_name_reply(connection, ::xcb_get_atom_name(connection, atom), nullptr));
        viewerCheck(reply != nullptr, "an X server does not tell a name");
        names.emplace_back(::xcb_get_atom_name_name(reply.get()),
                           static_cast<std::size_t>(::xcb_get_atom_name_name_length(reply.get())));
    }
    return names;
}

std::vector<std::uint32_t> XWindow::numbers(const XServer& server, const std::string& property,
                                            xcb_window_t window) {
    constexpr std::uint32_t limit = 64;
    const auto client = server.connect();
    xcb_connection_t* const connection = client->connection();
    const auto reply = owned(::xcb_get_property_reply(
        connection,
        ::xcb_get_property(connection, 0, window == XCB_NONE ? client->root() : window,
                           client->atom(property), XCB_ATOM_ANY, 0, limit),
        nullptr));
    if (reply == nullptr || reply->format != numberBits) {
        return {};  // the window is gone, or has no such property
    }
    const auto* const values =
        static_cast<const std::uint32_t*>(::xcb_get_property_value(reply.get()));
    return {values, values + reply->value_len};
}

}  // namespace velmora
