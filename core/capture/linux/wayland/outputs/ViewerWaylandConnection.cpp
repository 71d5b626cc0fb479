#include "core/capture/linux/wayland/outputs/ViewerWaylandConnection.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <wayland-client.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdint>

namespace velmora {

namespace {

using Milliseconds = std::chrono::milliseconds;

/// The host writes one line in its life; the library would write what a compositor does wrong.
void silence() {
    static const bool isSilent = [] {
        wl_log_set_handler_client([](const char*, std::va_list) {});
        return true;
    }();
    (void)isSilent;  // made once, whoever comes first
}

}  // namespace

ViewerWaylandConnection::Attempt ViewerWaylandConnection::connect(const std::string& socketPath) {
    silence();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof address.sun_path) {
        return {};  // no socket has such a path
    }
    std::copy(socketPath.begin(), socketPath.end(), std::begin(address.sun_path));
    // The library's own way to connect waits for a compositor that takes up nobody.
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const bool isBusy = errno == EAGAIN;
        ::close(descriptor);
        return {nullptr, isBusy};
    }
    // The descriptor is the library's from here on, also when it fails.
    wl_display* const display = wl_display_connect_to_fd(descriptor);
    if (display == nullptr) {
        return {};
    }
    return {std::unique_ptr<ViewerWaylandConnection>(new ViewerWaylandConnection(display))};
}

ViewerWaylandConnection::~ViewerWaylandConnection() {
    wl_display_disconnect(display_);
}

int ViewerWaylandConnection::descriptor() const {
    return wl_display_get_fd(display_);
}

bool ViewerWaylandConnection::exchange() {
    if (wl_display_prepare_read(display_) != 0) {
        // Only an error leaves anything over of the last time.
        return false;
    }
    // A socket that has no room for the few bytes that are sent here is one that nobody reads; the
    // compositor's silence tells that.
    (void)wl_display_flush(display_);
    // Reads what is there and does not wait for more. What goes wrong from here on is the display's
    // error, after which the library does nothing any more.
    (void)wl_display_read_events(display_);
    (void)wl_display_dispatch_pending(display_);
    // What the listeners asked for.
    (void)wl_display_flush(display_);
    return wl_display_get_error(display_) == 0;
}

bool ViewerWaylandConnection::exchangeUntil(const std::function<bool()>& isDone,
                                            std::chrono::steady_clock::time_point deadline) {
    while (exchange()) {
        if (isDone()) {
            return true;
        }
        const auto left =
            std::chrono::ceil<Milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left <= Milliseconds::zero()) {
            return false;
        }
        pollfd arrival{descriptor(), POLLIN, 0};
        (void)::poll(&arrival, 1, static_cast<int>(left.count()));  // the loop looks what came
    }
    return false;
}

bool ViewerWaylandConnection::roundTrip(std::chrono::steady_clock::time_point deadline) {
    static constexpr wl_callback_listener listener = {
        [](void* data, wl_callback*, std::uint32_t) { *static_cast<bool*>(data) = true; }};
    bool isAnswered = false;
    wl_callback* const answer = wl_display_sync(display_);
    wl_callback_add_listener(answer, &listener, &isAnswered);
    const bool isDone = exchangeUntil([&] { return isAnswered; }, deadline);
    wl_callback_destroy(answer);
    return isDone;
}

}  // namespace velmora
