#include "core/capture/linux/wayland/outputs/ViewerWlrootsCopy.h"

#include <wayland-client.h>
#include <wlr-screencopy-unstable-v1-client-protocol.h>

#include <algorithm>

namespace velmora {

namespace {

constexpr std::uint32_t newestVersion = 3;
/// Up to here there is one offer of memory, later an end mark after the last.
constexpr std::uint32_t lastVersionWithOneOffer = 2;

zwlr_screencopy_manager_v1* bind(const ViewerOutputReader& reader) {
    const ViewerOutputReader::Global global = reader.screenCopy();
    return static_cast<zwlr_screencopy_manager_v1*>(
        wl_registry_bind(reader.registry(), global.name, &zwlr_screencopy_manager_v1_interface,
                         std::min(global.version, newestVersion)));
}

}  // namespace

struct ViewerWlrootsCopy::Events final {
    using Native = zwlr_screencopy_frame_v1;

    static ViewerWlrootsCopy& of(void* data) { return *static_cast<ViewerWlrootsCopy*>(data); }

    static void buffer(void* data, Native* native, std::uint32_t format, std::uint32_t width,
                       std::uint32_t height, std::uint32_t stride) {
        const ViewerCopiedPicture picture{format, width, height,
                                          stride, false, of(data).transform_};
        if (picture.isReadable()) {
            of(data).picture_ = picture;
        }
        if (zwlr_screencopy_frame_v1_get_version(native) <= lastVersionWithOneOffer) {
            of(data).isOffered_ = true;
        }
    }
    static void bufferDone(void* data, Native*) { of(data).isOffered_ = true; }
    static void flags(void* data, Native*, std::uint32_t bits) {
        if (of(data).picture_) {
            of(data).picture_->isUpsideDown = (bits & ZWLR_SCREENCOPY_FRAME_V1_FLAGS_Y_INVERT) != 0;
        }
    }
    static void ready(void* data, Native*, std::uint32_t, std::uint32_t, std::uint32_t) {
        of(data).isReady_ = true;
    }
    static void failed(void* data, Native*) { of(data).hasFailed_ = true; }
    static void damage(void*, Native*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {
    }
    static void dmabuf(void*, Native*, std::uint32_t, std::uint32_t, std::uint32_t) {}

    static constexpr zwlr_screencopy_frame_v1_listener all = {buffer, flags,  ready,     failed,
                                                              damage, dmabuf, bufferDone};
};

ViewerWlrootsCopy::ViewerWlrootsCopy(const ViewerOutputReader& reader,
                                     const ViewerWaylandOutput& output)
    : manager_(bind(reader)),
      frame_(
          zwlr_screencopy_manager_v1_capture_output(manager_, 0, reader.outputWith(output.global))),
      transform_(output.transform) {
    zwlr_screencopy_frame_v1_add_listener(frame_, &Events::all, this);
}

ViewerWlrootsCopy::~ViewerWlrootsCopy() {
    zwlr_screencopy_frame_v1_destroy(frame_);
    zwlr_screencopy_manager_v1_destroy(manager_);
}

void ViewerWlrootsCopy::fill(wl_buffer* buffer) {
    zwlr_screencopy_frame_v1_copy(frame_, buffer);
}

}  // namespace velmora
