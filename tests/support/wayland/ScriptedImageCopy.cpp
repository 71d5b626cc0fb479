#include "tests/support/wayland/ScriptedImageCopy.h"

#include <ext-image-copy-capture-v1-client-protocol.h>
#include <wayland-server.h>

#include <algorithm>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

// The numbers of the events.
enum SessionEvent : std::uint32_t {
    bufferSizeEvent = 0,
    formatEvent = 1,
    doneEvent = 4,
    stoppedEvent = 5
};
enum FrameEvent : std::uint32_t { transformEvent = 0, readyEvent = 3, failedEvent = 4 };

ScriptedImageCopy& scriptOf(wl_resource* resource) {
    return *static_cast<ScriptedImageCopy*>(wl_resource_get_user_data(resource));
}

void destroyResource(wl_client*, wl_resource* resource) {
    wl_resource_destroy(resource);
}

/// A frame's memory, kept with the one frame that a test has at a time.
wl_resource* attached = nullptr;

struct FrameRequests final {
    static void attach(wl_client*, wl_resource*, wl_resource* buffer) { attached = buffer; }
    static void damage(wl_client*, wl_resource* frame, std::int32_t x, std::int32_t y,
                       std::int32_t width, std::int32_t height) {
        scriptOf(frame).damage = {x, y, width, height};
    }
    static void capture(wl_client*, wl_resource* frame) {
        const ScriptedImageCopy& script = scriptOf(frame);
        if (script.course == ScriptedImageCopy::Course::fails) {
            wl_resource_post_event(frame, failedEvent, 0);
            return;
        }
        wl_shm_buffer* const buffer = wl_shm_buffer_get(attached);
        viewerCheck(buffer != nullptr &&
                        wl_shm_buffer_get_stride(buffer) == static_cast<int>(script.width * 4),
                    "a copy's memory has the layout that was offered");
        wl_shm_buffer_begin_access(buffer);
        std::ranges::copy(script.pixels,
                          static_cast<std::uint32_t*>(wl_shm_buffer_get_data(buffer)));
        wl_shm_buffer_end_access(buffer);
        wl_resource_post_event(frame, transformEvent, script.transform);
        wl_resource_post_event(frame, readyEvent);
    }

    void (*destroy)(wl_client*, wl_resource*) = destroyResource;
    void (*attachBuffer)(wl_client*, wl_resource*, wl_resource*) = attach;
    void (*damageBuffer)(wl_client*, wl_resource*, std::int32_t, std::int32_t, std::int32_t,
                         std::int32_t) = damage;
    void (*captureIt)(wl_client*, wl_resource*) = capture;
};

struct SessionRequests final {
    static void create(wl_client* client, wl_resource* session, std::uint32_t id) {
        static constexpr FrameRequests requests;
        wl_resource* const frame =
            wl_resource_create(client, &ext_image_copy_capture_frame_v1_interface, 1, id);
        wl_resource_set_implementation(frame, &requests, &scriptOf(session), nullptr);
        if (scriptOf(session).course == ScriptedImageCopy::Course::changesItsMind) {
            wl_resource_post_event(session, bufferSizeEvent, 1, 1);
            wl_resource_post_event(session, doneEvent);
        }
    }

    void (*createFrame)(wl_client*, wl_resource*, std::uint32_t) = create;
    void (*destroy)(wl_client*, wl_resource*) = destroyResource;
};

struct ManagerRequests final {
    static void create(wl_client* client, wl_resource* manager, std::uint32_t id, wl_resource*,
                       std::uint32_t options) {
        static constexpr SessionRequests requests;
        ScriptedImageCopy& script = scriptOf(manager);
        script.options = options;
        wl_resource* const session =
            wl_resource_create(client, &ext_image_copy_capture_session_v1_interface, 1, id);
        wl_resource_set_implementation(session, &requests, &script, nullptr);
        if (script.course == ScriptedImageCopy::Course::stops) {
            wl_resource_post_event(session, stoppedEvent);
        } else if (script.course != ScriptedImageCopy::Course::isSilent) {
            wl_resource_post_event(session, bufferSizeEvent, script.width, script.height);
            for (const std::uint32_t each : script.formats) {
                wl_resource_post_event(session, formatEvent, each);
            }
            wl_resource_post_event(session, doneEvent);
        }
    }

    void (*createSession)(wl_client*, wl_resource*, std::uint32_t, wl_resource*,
                          std::uint32_t) = create;
    void (*createCursorSession)(wl_client*, wl_resource*, std::uint32_t, wl_resource*,
                                wl_resource*) = nullptr;
    void (*destroy)(wl_client*, wl_resource*) = destroyResource;
};

struct SourceRequests final {
    void (*destroy)(wl_client*, wl_resource*) = destroyResource;
};

struct SourceManagerRequests final {
    static void create(wl_client* client, wl_resource*, std::uint32_t id, wl_resource*) {
        static constexpr SourceRequests requests;
        wl_resource* const source =
            wl_resource_create(client, &ext_image_capture_source_v1_interface, 1, id);
        wl_resource_set_implementation(source, &requests, nullptr, nullptr);
    }

    void (*createSource)(wl_client*, wl_resource*, std::uint32_t, wl_resource*) = create;
    void (*destroy)(wl_client*, wl_resource*) = destroyResource;
};

template <typename Requests, const wl_interface& interface>
void bind(wl_client* client, void* data, std::uint32_t version, std::uint32_t id) {
    static constexpr Requests requests;
    wl_resource* const resource =
        wl_resource_create(client, &interface, static_cast<int>(version), id);
    wl_resource_set_implementation(resource, &requests, data, nullptr);
}

}  // namespace

void ScriptedImageCopy::addTo(wl_display* display) {
    wl_display_init_shm(display);
    for (const std::uint32_t each : formats) {
        wl_display_add_shm_format(display, each);
    }
    wl_global_create(
        display, &ext_output_image_capture_source_manager_v1_interface, 1, this,
        bind<SourceManagerRequests, ext_output_image_capture_source_manager_v1_interface>);
    wl_global_create(display, &ext_image_copy_capture_manager_v1_interface, 1, this,
                     bind<ManagerRequests, ext_image_copy_capture_manager_v1_interface>);
}

}  // namespace velmora
