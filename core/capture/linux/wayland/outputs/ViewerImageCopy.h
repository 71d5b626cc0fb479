#pragma once

#include <cstdint>
#include <optional>

#include "core/capture/linux/wayland/outputs/ViewerOutputCopy.h"

struct ext_image_capture_source_v1;
struct ext_image_copy_capture_frame_v1;
struct ext_image_copy_capture_manager_v1;
struct ext_image_copy_capture_session_v1;
struct ext_output_image_capture_source_manager_v1;

namespace velmora {

/// A copy by ext-image-copy-capture, which says with each picture how it is turned.
class ViewerImageCopy final : public ViewerOutputCopy {
  public:
    /// The reader's compositor has the extension and the output.
    ViewerImageCopy(const ViewerOutputReader& reader, const ViewerWaylandOutput& output);
    ~ViewerImageCopy() override;

    void fill(wl_buffer* buffer) override;

  private:
    struct SessionEvents;
    struct FrameEvents;

    ext_output_image_capture_source_manager_v1* const sources_;
    ext_image_copy_capture_manager_v1* const manager_;
    ext_image_capture_source_v1* const source_;
    ext_image_copy_capture_session_v1* const session_;
    /// Null until there is memory to fill.
    ext_image_copy_capture_frame_v1* frame_ = nullptr;
    // What is offered, until all of it is.
    std::optional<std::uint32_t> format_;
    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
};

}  // namespace velmora
