#include "core/capture/linux/wayland/outputs/ViewerImageCopy.h"

#include <ext-image-copy-capture-v1-client-protocol.h>
#include <wayland-client.h>

namespace velmora {

namespace {

constexpr std::uint32_t boundVersion = 1;

template <typename Native>
Native* bind(const ViewerOutputReader& reader, ViewerOutputReader::Global global,
             const wl_interface& interface) {
    return static_cast<Native*>(
        wl_registry_bind(reader.registry(), global.name, &interface, boundVersion));
}

}  // namespace

struct ViewerImageCopy::SessionEvents final {
    using Native = ext_image_copy_capture_session_v1;

    static ViewerImageCopy& of(void* data) { return *static_cast<ViewerImageCopy*>(data); }

    static void bufferSize(void* data, Native*, std::uint32_t width, std::uint32_t height) {
        of(data).width_ = width;
        of(data).height_ = height;
    }
    static void format(void* data, Native*, std::uint32_t format) {
        // One that is read here is enough: the first is as good as any.
        ViewerCopiedPicture any{format, 1, 1, ViewerCopiedPicture::pixelBytes};
        if (!of(data).format_ && any.isReadable()) {
            of(data).format_ = format;
        }
    }
    static void done(void* data, Native*) {
        ViewerImageCopy& copy = of(data);
        if (copy.isOffered_) {
            // What was offered holds no more: the memory may be of another shape by now.
            copy.hasFailed_ = true;
            return;
        }
        copy.isOffered_ = true;
        if (copy.format_) {
            const ViewerCopiedPicture picture{
                *copy.format_, copy.width_, copy.height_,
                copy.width_ * static_cast<std::uint32_t>(ViewerCopiedPicture::pixelBytes)};
            copy.picture_ = picture.isReadable() ? std::optional(picture) : std::nullopt;
        }
    }
    static void stopped(void* data, Native*) { of(data).hasFailed_ = true; }
    static void device(void*, Native*, wl_array*) {}
    static void deviceFormat(void*, Native*, std::uint32_t, wl_array*) {}

    static constexpr ext_image_copy_capture_session_v1_listener all = {
        bufferSize, format, device, deviceFormat, done, stopped};
};

struct ViewerImageCopy::FrameEvents final {
    using Native = ext_image_copy_capture_frame_v1;

    static ViewerImageCopy& of(void* data) { return *static_cast<ViewerImageCopy*>(data); }

    static void transform(void* data, Native*, std::uint32_t transform) {
        if (transform < std::uint32_t{ViewerWaylandOutput::transforms}) {
            of(data).picture_->transform = static_cast<std::int32_t>(transform);
        }
    }
    static void ready(void* data, Native*) { of(data).isReady_ = true; }
    static void failed(void* data, Native*, std::uint32_t) { of(data).hasFailed_ = true; }
    static void damage(void*, Native*, std::int32_t, std::int32_t, std::int32_t, std::int32_t) {}
    static void time(void*, Native*, std::uint32_t, std::uint32_t, std::uint32_t) {}

    static constexpr ext_image_copy_capture_frame_v1_listener all = {transform, damage, time, ready,
                                                                     failed};
};

ViewerImageCopy::ViewerImageCopy(const ViewerOutputReader& reader,
                                 const ViewerWaylandOutput& output)
    : sources_(bind<ext_output_image_capture_source_manager_v1>(
          reader, reader.imageSources(), ext_output_image_capture_source_manager_v1_interface)),
      manager_(bind<ext_image_copy_capture_manager_v1>(
          reader, reader.imageCopy(), ext_image_copy_capture_manager_v1_interface)),
      source_(ext_output_image_capture_source_manager_v1_create_source(
          sources_, reader.outputWith(output.global))),
      session_(ext_image_copy_capture_manager_v1_create_session(manager_, source_, 0)) {
    ext_image_copy_capture_session_v1_add_listener(session_, &SessionEvents::all, this);
}

ViewerImageCopy::~ViewerImageCopy() {
    if (frame_ != nullptr) {
        ext_image_copy_capture_frame_v1_destroy(frame_);
    }
    ext_image_copy_capture_session_v1_destroy(session_);
    ext_image_capture_source_v1_destroy(source_);
    ext_image_copy_capture_manager_v1_destroy(manager_);
    ext_output_image_capture_source_manager_v1_destroy(sources_);
}

void ViewerImageCopy::fill(wl_buffer* buffer) {
    frame_ = ext_image_copy_capture_session_v1_create_frame(session_);
    ext_image_copy_capture_frame_v1_add_listener(frame_, &FrameEvents::all, this);
    ext_image_copy_capture_frame_v1_attach_buffer(frame_, buffer);
    ext_image_copy_capture_frame_v1_damage_buffer(frame_, 0, 0,
                                                  static_cast<std::int32_t>(picture_->width),
                                                  static_cast<std::int32_t>(picture_->height));
    ext_image_copy_capture_frame_v1_capture(frame_);
}

}  // namespace velmora
