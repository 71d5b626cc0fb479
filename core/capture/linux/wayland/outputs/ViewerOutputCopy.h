#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "core/capture/linux/wayland/outputs/ViewerCopiedPicture.h"
#include "core/capture/linux/wayland/outputs/ViewerOutputReader.h"
#include "core/capture/linux/wayland/outputs/ViewerWaylandOutput.h"

struct wl_buffer;

namespace velmora {

/// One copy of one output, in the words of one of the two extensions for that. First the compositor
/// offers memory layouts, then it is given memory of one of them and fills it. Belongs to one
/// connection, before which it goes; used on its thread.
class ViewerOutputCopy {
  public:
    /// Asks the compositor behind the reader for a copy of an output that the reader has, by
    /// wlr-screencopy, else by ext-image-copy-capture. Null when it has neither.
    static std::unique_ptr<ViewerOutputCopy> ask(const ViewerOutputReader& reader,
                                                 const ViewerWaylandOutput& output);

    ViewerOutputCopy() = default;
    virtual ~ViewerOutputCopy() = default;
    ViewerOutputCopy(const ViewerOutputCopy&) = delete;
    ViewerOutputCopy& operator=(const ViewerOutputCopy&) = delete;

    /// Whether every layout was offered, or the copy has failed.
    bool isOffered() const { return isOffered_ || hasFailed_; }
    /// What was offered and can be read here. Once the copy is ready it also tells how the picture
    /// lies.
    const std::optional<ViewerCopiedPicture>& picture() const { return picture_; }
    /// Has the compositor fill memory of the picture's layout.
    virtual void fill(wl_buffer* buffer) = 0;
    /// Whether the copy is ready or has failed.
    bool isOver() const { return isReady_ || hasFailed_; }
    bool isReady() const { return isReady_ && !hasFailed_; }

  protected:
    std::optional<ViewerCopiedPicture> picture_;
    bool isOffered_ = false;
    bool isReady_ = false;
    bool hasFailed_ = false;
};

}  // namespace velmora
