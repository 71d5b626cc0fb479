#include "tests/support/x11/XClient.h"

#include <stdlib.h>
#include <sys/uio.h>
#include <xcb/xcbext.h>

#include <array>
#include <cstddef>
#include <memory>
#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

constexpr std::uint8_t bitsPerByte = 8;

struct Freeing final {
    void operator()(void* reply) const { ::free(reply); }
};
template <typename T>
using Reply = std::unique_ptr<T, Freeing>;

/// RandR's SetMonitor request, whose length libxcb 1.15 gets wrong in its own function for it.
struct SetMonitorRequest final {
    std::uint32_t header = 0;
    xcb_window_t window = XCB_NONE;
    xcb_randr_monitor_info_t monitor{};
    xcb_randr_output_t output = XCB_NONE;

    xcb_void_cookie_t send(xcb_connection_t* connection) {
        const std::size_t unused = monitor.nOutput == 0 ? sizeof output : 0;
        // The library puts what goes before a request into the two entries in front of it.
        std::array<iovec, 3> parts{};
        parts[2] = {this, sizeof *this - unused};
        const xcb_protocol_request_t protocol{1, &xcb_randr_id, XCB_RANDR_SET_MONITOR, 1};
        return {::xcb_send_request(connection, XCB_REQUEST_CHECKED, &parts[2], &protocol)};
    }
};

xcb_connection_t* connect(const std::string& displayName, std::string cookie) {
    std::string name = XClient::authorityName();
    xcb_auth_info_t authority{static_cast<int>(name.size()), name.data(),
                              static_cast<int>(cookie.size()), cookie.data()};
    return ::xcb_connect_to_display_with_auth_info(displayName.c_str(),
                                                   cookie.empty() ? nullptr : &authority, nullptr);
}

}  // namespace

XClient::XClient(const std::string& displayName, std::string cookie)
    : connection_(connect(displayName, std::move(cookie))) {
    viewerCheck(::xcb_connection_has_error(connection_) == 0,
                "the test cannot connect to its X server");
}

XClient::~XClient() {
    ::xcb_disconnect(connection_);
}

const std::string& XClient::authorityName() {
    static const std::string name = "MIT-MAGIC-COOKIE-1";
    return name;
}

xcb_window_t XClient::root() const {
    return ::xcb_setup_roots_iterator(::xcb_get_setup(connection_)).data->root;
}

ViewerRectangle XClient::screen() const {
    const Reply<xcb_get_geometry_reply_t> reply(
        ::xcb_get_geometry_reply(connection_, ::xcb_get_geometry(connection_, root()), nullptr));
    viewerCheck(reply != nullptr, "the test's X server does not tell its size");
    return {0, 0, reply->width, reply->height};
}

void XClient::grab() {
    ::xcb_grab_server(connection_);
    isGrabbing_ = true;
    finish();
}

void XClient::ungrab() {
    ::xcb_ungrab_server(connection_);
    isGrabbing_ = false;
    finish();
}

void XClient::setMonitor(const std::string& name, const ViewerRectangle& place,
                         const std::string& output) const {
    SetMonitorRequest request;
    request.window = root();
    request.monitor.name = atom(name);
    request.monitor.x = static_cast<std::int16_t>(place.x);
    request.monitor.y = static_cast<std::int16_t>(place.y);
    request.monitor.width = static_cast<std::uint16_t>(place.width);
    request.monitor.height = static_cast<std::uint16_t>(place.height);
    if (!output.empty()) {
        request.monitor.nOutput = 1;
        request.output = this->output(output);
    }
    // The server refuses to replace a monitor. Nobody sees that it is away in between.
    if (!isGrabbing_) {
        ::xcb_grab_server(connection_);
    }
    const xcb_void_cookie_t deletion =
        ::xcb_randr_delete_monitor_checked(connection_, root(), request.monitor.name);
    ::xcb_discard_reply(connection_, deletion.sequence);  // Mostly there is none to delete.
    check(request.send(connection_), "a monitor cannot be set");
    if (!isGrabbing_) {
        ::xcb_ungrab_server(connection_);
    }
    finish();
}

void XClient::deleteMonitor(const std::string& name) const {
    check(::xcb_randr_delete_monitor_checked(connection_, root(), atom(name)),
          "a monitor cannot be deleted");
}

std::size_t XClient::monitorCount() const {
    const Reply<xcb_randr_get_monitors_reply_t> reply(::xcb_randr_get_monitors_reply(
        connection_, ::xcb_randr_get_monitors(connection_, root(), 1), nullptr));
    viewerCheck(reply != nullptr, "the test's X server does not tell its monitors");
    return static_cast<std::size_t>(::xcb_randr_get_monitors_monitors_length(reply.get()));
}

void XClient::setEDID(const std::string& output, const std::vector<std::uint8_t>& bytes) const {
    const xcb_randr_output_t id = this->output(output);
    const xcb_atom_t property = atom("EDID");
    check(bytes.empty()
              ? ::xcb_randr_delete_output_property_checked(connection_, id, property)
              : ::xcb_randr_change_output_property_checked(
                    connection_, id, property, XCB_ATOM_INTEGER, bitsPerByte, XCB_PROP_MODE_REPLACE,
                    static_cast<std::uint32_t>(bytes.size()), bytes.data()),
          "an EDID cannot be set");
}

void XClient::setRootProperty(const std::string& name, std::optional<std::uint32_t> value) const {
    constexpr std::uint8_t numberBits = 32;
    check(value
              ? ::xcb_change_property_checked(connection_, XCB_PROP_MODE_REPLACE, root(),
                                              atom(name), XCB_ATOM_INTEGER, numberBits, 1, &*value)
              : ::xcb_delete_property_checked(connection_, root(), atom(name)),
          "a property cannot be set");
}

std::vector<std::uint8_t> XClient::edid(const std::string& output) const {
    constexpr std::uint32_t lengthLimit = 256;
    const Reply<xcb_randr_get_output_property_reply_t> reply(::xcb_randr_get_output_property_reply(
        connection_,
        ::xcb_randr_get_output_property(connection_, this->output(output), atom("EDID"),
                                        XCB_ATOM_ANY, 0, lengthLimit, 0, 0),
        nullptr));
    viewerCheck(reply != nullptr, "an EDID cannot be read");
    const std::uint8_t* bytes = ::xcb_randr_get_output_property_data(reply.get());
    return {bytes, bytes + reply->num_items};
}

xcb_atom_t XClient::atom(const std::string& name) const {
    const Reply<xcb_intern_atom_reply_t> reply(::xcb_intern_atom_reply(
        connection_,
        ::xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()), name.c_str()),
        nullptr));
    viewerCheck(reply != nullptr, "the test's X server gives no atom");
    return reply->atom;
}

xcb_randr_output_t XClient::output(const std::string& name) const {
    const Reply<xcb_randr_get_screen_resources_current_reply_t> resources(
        ::xcb_randr_get_screen_resources_current_reply(
            connection_, ::xcb_randr_get_screen_resources_current(connection_, root()), nullptr));
    viewerCheck(resources != nullptr, "the test's X server gives no screen resources");
    const xcb_randr_output_t* outputs =
        ::xcb_randr_get_screen_resources_current_outputs(resources.get());
    for (int i = 0; i < resources->num_outputs; ++i) {
        const Reply<xcb_randr_get_output_info_reply_t> information(
            ::xcb_randr_get_output_info_reply(
                connection_, ::xcb_randr_get_output_info(connection_, outputs[i], 0), nullptr));
        viewerCheck(information != nullptr, "the test's X server does not describe an output");
        const std::uint8_t* text = ::xcb_randr_get_output_info_name(information.get());
        if (name == std::string(text, text + information->name_len)) {
            return outputs[i];
        }
    }
    viewerCheck(false, "the test's X server has no output of this name");
    return XCB_NONE;
}

void XClient::finish() const {
    const Reply<xcb_get_input_focus_reply_t> reply(
        ::xcb_get_input_focus_reply(connection_, ::xcb_get_input_focus(connection_), nullptr));
    viewerCheck(reply != nullptr, "the test's X server has lost a client");
}

void XClient::check(xcb_void_cookie_t request, const char* reason) const {
    const Reply<xcb_generic_error_t> error(::xcb_request_check(connection_, request));
    viewerCheck(error == nullptr && ::xcb_connection_has_error(connection_) == 0, reason);
}

}  // namespace velmora
