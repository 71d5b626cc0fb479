#pragma once

#include "core/capture/linux/wayland/outputs/ViewerOutputCopy.h"

struct zwlr_screencopy_frame_v1;
struct zwlr_screencopy_manager_v1;

namespace velmora {

/// A copy by wlr-screencopy, which says nothing of the output's transform: the picture lies as the
/// output is told to be turned.
class ViewerWlrootsCopy final : public ViewerOutputCopy {
  public:
    /// The reader's compositor has the extension and the output.
    ViewerWlrootsCopy(const ViewerOutputReader& reader, const ViewerWaylandOutput& output);
    ~ViewerWlrootsCopy() override;

    void fill(wl_buffer* buffer) override;

  private:
    struct Events;

    zwlr_screencopy_manager_v1* const manager_;
    zwlr_screencopy_frame_v1* const frame_;
    const std::int32_t transform_;
};

}  // namespace velmora
