#include "core/capture/linux/x11/ViewerX11Permission.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/randr.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "core/capture/linux/x11/ViewerX11PixelForm.h"
#include "core/capture/linux/x11/ViewerX11Reply.h"
#include "core/runtime/linux/ViewerDetachedThread.h"

namespace velmora {

namespace {

/// The name of an extension that Xwayland has from version 23.1, and the beginning of the names
/// that it gives its outputs.
constexpr std::string_view xwayland = "XWAYLAND";

/// The family of the socket's other end; AF_UNSPEC when the connection broke.
sa_family_t familyOf(ViewerX11Connection& connection) {
    sockaddr_storage peer{};
    socklen_t size = sizeof peer;
    const int descriptor = xcb_get_file_descriptor(connection.xcb());
    const bool isKnown = ::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0;
    return isKnown ? peer.ss_family : sa_family_t{AF_UNSPEC};
}

bool hasXwaylandExtension(xcb_connection_t* xcb) {
    const ViewerX11Reply<xcb_query_extension_reply_t> reply(xcb_query_extension_reply(
        xcb, xcb_query_extension(xcb, xwayland.size(), xwayland.data()), nullptr));
    return reply != nullptr && reply->present != 0;
}

bool isXwaylandOutput(const xcb_randr_get_output_info_reply_t* output) {
    if (output == nullptr || !holds(*output, output, sizeof *output)) {
        return false;
    }
    const std::string_view name(
        reinterpret_cast<const char*>(xcb_randr_get_output_info_name(output)),
        static_cast<std::size_t>(xcb_randr_get_output_info_name_length(output)));
    return holds(*output, name.data(), name.size()) && name.starts_with(xwayland);
}

bool hasXwaylandOutput(xcb_connection_t* xcb, xcb_window_t root) {
    const xcb_query_extension_reply_t* const randr = xcb_get_extension_data(xcb, &xcb_randr_id);
    if (randr == nullptr || randr->present == 0) {
        return false;
    }
    const ViewerX11Reply<xcb_randr_get_screen_resources_current_reply_t> resources(
        xcb_randr_get_screen_resources_current_reply(
            xcb, xcb_randr_get_screen_resources_current(xcb, root), nullptr));
    if (resources == nullptr) {
        return false;
    }
    const xcb_randr_output_t* const outputs =
        xcb_randr_get_screen_resources_current_outputs(resources.get());
    std::vector<xcb_randr_get_output_info_cookie_t> cookies;
    cookies.reserve(resources->num_outputs);
    for (const xcb_randr_output_t* output = outputs;
         output != outputs + resources->num_outputs && holds(*resources, output, sizeof *output);
         ++output) {
        cookies.push_back(xcb_randr_get_output_info(xcb, *output, XCB_CURRENT_TIME));
    }
    bool isFound = false;
    for (const xcb_randr_get_output_info_cookie_t& each : cookies) {
        // Also after a finding: xcb keeps what nobody takes.
        const ViewerX11Reply<xcb_randr_get_output_info_reply_t> output(
            xcb_randr_get_output_info_reply(xcb, each, nullptr));
        isFound = isXwaylandOutput(output.get()) || isFound;
    }
    return isFound;
}

bool canReadScreen(ViewerX11Connection& connection) {
    if (!ViewerX11PixelForm::of(connection)) {
        return false;
    }
    constexpr std::uint32_t allPlanes = 0xffffffff;
    // Of no width and no height: the server looks whether the client may before it looks at that.
    const xcb_get_image_cookie_t noPixel = xcb_get_image(
        connection.xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP, connection.root(), 0, 0, 0, 0, allPlanes);
    const ViewerX11Reply<xcb_get_image_reply_t> reply(
        xcb_get_image_reply(connection.xcb(), noPixel, nullptr));
    return reply != nullptr;
}

/// Whether a process of this machine listens as the named display.
bool hasListener(const std::string& displayName) {
    char* host = nullptr;
    int number = 0;
    if (xcb_parse_display(displayName.c_str(), &host, &number, nullptr) == 0) {
        return false;
    }
    const std::unique_ptr<char, ViewerX11Free> ownedHost(host);
    const std::string path = "/tmp/.X11-unix/X" + std::to_string(number);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const bool isTaken =
        *host == '\0' &&
        ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(descriptor);
    return isTaken;
}

}  // namespace

ViewerCaptureAccess ViewerX11Permission::accessTo(ViewerX11Connection& connection) {
    const sa_family_t family = familyOf(connection);
    if (family == AF_UNSPEC) {
        return ViewerCaptureAccess::noAnswer;
    }
    if (family != AF_UNIX) {
        return ViewerCaptureAccess::remoteDisplay;
    }
    if (hasXwaylandExtension(connection.xcb()) ||
        hasXwaylandOutput(connection.xcb(), connection.root())) {
        return ViewerCaptureAccess::waylandSession;
    }
    if (canReadScreen(connection)) {
        return ViewerCaptureAccess::granted;
    }
    return connection.isDead() ? ViewerCaptureAccess::noAnswer
                               : ViewerCaptureAccess::sessionRefuses;
}

ViewerCaptureAccess ViewerX11Permission::accessWithoutConnection(const std::string& displayName) {
    return hasListener(displayName) ? ViewerCaptureAccess::sessionRefuses
                                    : ViewerCaptureAccess::noAnswer;
}

void ViewerX11Permission::look(std::string displayName,
                               std::function<void(ViewerCaptureAccess)> completion) {
    if (displayName.empty()) {
        completion(ViewerCaptureAccess::sessionRefuses);
        return;
    }
    const bool isStarted =
        startDetachedThread("x11-permission", [completion, name = std::move(displayName)] {
            const auto connection = ViewerX11Connection::connect(name);
            completion(connection ? accessTo(*connection) : accessWithoutConnection(name));
        });
    if (!isStarted) {
        completion(ViewerCaptureAccess::noAnswer);
    }
}

}  // namespace velmora
