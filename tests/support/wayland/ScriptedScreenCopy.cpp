#include "tests/support/wayland/ScriptedScreenCopy.h"

#include <wayland-server.h>
#include <wlr-screencopy-unstable-v1-client-protocol.h>

#include <algorithm>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

// The numbers of a frame's events.
enum Event : std::uint32_t {
    bufferEvent = 0,
    flagsEvent = 1,
    readyEvent = 2,
    failedEvent = 3,
    bufferDoneEvent = 6
};
/// From here on the offers end with an event that says so.
constexpr int bufferDoneVersion = 3;

ScriptedScreenCopy& scriptOf(wl_resource* resource) {
    return *static_cast<ScriptedScreenCopy*>(wl_resource_get_user_data(resource));
}

void destroyResource(wl_client*, wl_resource* resource) {
    wl_resource_destroy(resource);
}

struct FrameRequests final {
    static void fill(wl_client*, wl_resource* frame, wl_resource* memory) {
        ScriptedScreenCopy& script = scriptOf(frame);
        ++script.fillings;
        if (script.fails) {
            wl_resource_post_event(frame, failedEvent);
            return;
        }
        wl_shm_buffer* const buffer = wl_shm_buffer_get(memory);
        viewerCheck(buffer != nullptr, "a copy is given memory");
        const auto stride =
            static_cast<std::size_t>(wl_shm_buffer_get_stride(buffer)) / sizeof(std::uint32_t);
        wl_shm_buffer_begin_access(buffer);
        auto* const target = static_cast<std::uint32_t*>(wl_shm_buffer_get_data(buffer));
        for (std::size_t row = 0; row < script.height; ++row) {
            std::copy_n(script.pixels.data() + row * script.width, script.width,
                        target + row * stride);
        }
        wl_shm_buffer_end_access(buffer);
        wl_resource_post_event(frame, flagsEvent, script.isUpsideDown ? 1 : 0);
        script.beforeReady();
        wl_resource_post_event(frame, readyEvent, 0, 0, 0);
        script.afterReady();
    }

    void (*copy)(wl_client*, wl_resource*, wl_resource*) = fill;
    void (*destroy)(wl_client*, wl_resource*) = destroyResource;
    void (*copyWithDamage)(wl_client*, wl_resource*, wl_resource*) = nullptr;
};

struct ManagerRequests final {
    static void create(wl_client* client, wl_resource* manager, std::uint32_t id,
                       std::int32_t cursor, wl_resource*) {
        static constexpr FrameRequests requests;
        ScriptedScreenCopy& script = scriptOf(manager);
        ++script.copies;
        script.hasCursor = cursor != 0;
        const int version = wl_resource_get_version(manager);
        wl_resource* const frame =
            wl_resource_create(client, &zwlr_screencopy_frame_v1_interface, version, id);
        wl_resource_set_implementation(frame, &requests, &script, nullptr);
        for (const ScriptedScreenCopy::Layout& each : script.layouts) {
            wl_resource_post_event(frame, bufferEvent, each.format, script.width, script.height,
                                   each.stride);
        }
        if (version >= bufferDoneVersion) {
            wl_resource_post_event(frame, bufferDoneEvent);
        }
    }

    void (*captureOutput)(wl_client*, wl_resource*, std::uint32_t, std::int32_t,
                          wl_resource*) = create;
    void (*captureRegion)(wl_client*, wl_resource*, std::uint32_t, std::int32_t, wl_resource*,
                          std::int32_t, std::int32_t, std::int32_t, std::int32_t) = nullptr;
    void (*destroy)(wl_client*, wl_resource*) = destroyResource;
};

void bind(wl_client* client, void* data, std::uint32_t version, std::uint32_t id) {
    static constexpr ManagerRequests requests;
    wl_resource* const resource = wl_resource_create(client, &zwlr_screencopy_manager_v1_interface,
                                                     static_cast<int>(version), id);
    wl_resource_set_implementation(resource, &requests, data, nullptr);
    static_cast<ScriptedScreenCopy*>(data)->boundVersion = version;
}

}  // namespace

void ScriptedScreenCopy::addTo(wl_display* display) {
    if (hasMemory) {
        wl_display_init_shm(display);
        for (const Layout& each : layouts) {
            wl_display_add_shm_format(display, each.format);
        }
    }
    wl_global_create(display, &zwlr_screencopy_manager_v1_interface, static_cast<int>(version),
                     this, bind);
}

}  // namespace velmora
