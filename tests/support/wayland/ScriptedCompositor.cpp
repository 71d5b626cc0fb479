#include "tests/support/wayland/ScriptedCompositor.h"

#include <poll.h>
#include <sys/socket.h>
#include <wayland-server.h>
#include <xdg-output-unstable-v1-client-protocol.h>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

/// The numbers of an `xdg_output`'s events.
enum XdgEvent : std::uint32_t { xdgPositionEvent, xdgSizeEvent, xdgDoneEvent, xdgNameEvent };

void destroyResource(wl_client*, wl_resource* resource) {
    wl_resource_destroy(resource);
}

}  // namespace

struct ScriptedCompositor::Native final {
    static Native& of(void* data) { return *static_cast<Native*>(data); }

    static void bindOutput(wl_client* client, void* data, std::uint32_t version, std::uint32_t id) {
        static constexpr struct wl_output_interface requests = {destroyResource};
        Native& native = of(data);
        native.output =
            wl_resource_create(client, &wl_output_interface, static_cast<int>(version), id);
        wl_resource_set_implementation(native.output, &requests, data, [](wl_resource* resource) {
            of(wl_resource_get_user_data(resource)).output = nullptr;
        });
        native.owner->whenBound();
    }

    struct ManagerRequests final {
        void (*destroy)(wl_client*, wl_resource*);
        void (*getXdgOutput)(wl_client*, wl_resource*, std::uint32_t, wl_resource*);
    };
    struct XdgRequests final {
        void (*destroy)(wl_client*, wl_resource*);
    };

    static void getXdgOutput(wl_client* client, wl_resource* manager, std::uint32_t id,
                             wl_resource*) {
        static constexpr XdgRequests requests = {destroyResource};
        void* const data = wl_resource_get_user_data(manager);
        of(data).xdgOutput = wl_resource_create(client, &zxdg_output_v1_interface,
                                                wl_resource_get_version(manager), id);
        wl_resource_set_implementation(
            of(data).xdgOutput, &requests, data, [](wl_resource* resource) {
                of(wl_resource_get_user_data(resource)).xdgOutput = nullptr;
            });
    }
    static void bindManager(wl_client* client, void* data, std::uint32_t version,
                            std::uint32_t id) {
        static constexpr ManagerRequests requests = {destroyResource, getXdgOutput};
        wl_resource* const manager = wl_resource_create(client, &zxdg_output_manager_v1_interface,
                                                        static_cast<int>(version), id);
        wl_resource_set_implementation(manager, &requests, data, nullptr);
    }

    ScriptedCompositor* owner = nullptr;
    Versions versions;
    wl_display* display = wl_display_create();
    wl_global* outputGlobal = nullptr;
    wl_resource* output = nullptr;
    wl_resource* xdgOutput = nullptr;
};

ScriptedCompositor::ScriptedCompositor(Versions versions)
    : socketPath_(folder_.path() / "wayland"), native_(std::make_unique<Native>()) {
    native_->owner = this;
    native_->versions = versions;
    if (versions.xdgOutput != 0) {
        wl_global_create(native_->display, &zxdg_output_manager_v1_interface,
                         static_cast<int>(versions.xdgOutput), native_.get(), Native::bindManager);
    }
    viewerCheck(wl_display_add_socket(native_->display, socketPath_.c_str()) == 0,
                "a compositor's socket cannot be made");
}

ScriptedCompositor::~ScriptedCompositor() {
    wl_display_destroy_clients(native_->display);
    wl_display_destroy(native_->display);
}

wl_display* ScriptedCompositor::display() const {
    return native_->display;
}

void ScriptedCompositor::pump() {
    wl_event_loop_dispatch(wl_display_get_event_loop(native_->display), 0);
    wl_display_flush_clients(native_->display);
}

void ScriptedCompositor::awaitClient() {
    wl_display_flush_clients(native_->display);
    pollfd client{wl_client_get_fd(wl_resource_get_client(native_->output)), POLLIN, 0};
    constexpr int patience = 30'000;
    viewerCheck(::poll(&client, 1, patience) == 1, "a compositor's client says something");
}

void ScriptedCompositor::hangUp() {
    wl_display_flush_clients(native_->display);
    ::shutdown(wl_client_get_fd(wl_resource_get_client(native_->output)), SHUT_RDWR);
}

void ScriptedCompositor::objectToClient() {
    // The library's own way to tell it ends the connection, too.
    constexpr std::uint32_t displayObject = 1;
    wl_resource* const display =
        wl_client_get_object(wl_resource_get_client(native_->output), displayObject);
    wl_resource_post_event(display, WL_DISPLAY_ERROR, native_->output, 0, "wrong");
}

void ScriptedCompositor::addOutput() {
    native_->outputGlobal = wl_global_create(native_->display, &wl_output_interface,
                                             static_cast<int>(native_->versions.output),
                                             native_.get(), Native::bindOutput);
}

void ScriptedCompositor::removeOutput() {
    wl_global_destroy(native_->outputGlobal);
}

bool ScriptedCompositor::isBound() const {
    return native_->output != nullptr;
}

bool ScriptedCompositor::isXdgBound() const {
    return native_->xdgOutput != nullptr;
}

int ScriptedCompositor::boundVersion() const {
    return wl_resource_get_version(native_->output);
}

void ScriptedCompositor::geometry(std::int32_t x, std::int32_t y, const std::string& make,
                                  const std::string& model, std::int32_t transform) {
    wl_output_send_geometry(native_->output, x, y, 0, 0, WL_OUTPUT_SUBPIXEL_UNKNOWN, make.c_str(),
                            model.c_str(), transform);
}

void ScriptedCompositor::mode(bool isCurrent, std::int32_t width, std::int32_t height) {
    constexpr std::int32_t hertz60 = 60'000;
    wl_output_send_mode(native_->output, isCurrent ? WL_OUTPUT_MODE_CURRENT : 0, width, height,
                        hertz60);
}

void ScriptedCompositor::scale(std::int32_t factor) {
    wl_output_send_scale(native_->output, factor);
}

void ScriptedCompositor::name(const std::string& text) {
    wl_output_send_name(native_->output, text.c_str());
}

void ScriptedCompositor::done() {
    wl_output_send_done(native_->output);
}

void ScriptedCompositor::xdgPosition(std::int32_t x, std::int32_t y) {
    wl_resource_post_event(native_->xdgOutput, xdgPositionEvent, x, y);
}

void ScriptedCompositor::xdgSize(std::int32_t width, std::int32_t height) {
    wl_resource_post_event(native_->xdgOutput, xdgSizeEvent, width, height);
}

void ScriptedCompositor::xdgName(const std::string& text) {
    wl_resource_post_event(native_->xdgOutput, xdgNameEvent, text.c_str());
}

void ScriptedCompositor::xdgDone() {
    wl_resource_post_event(native_->xdgOutput, xdgDoneEvent);
}

}  // namespace velmora
