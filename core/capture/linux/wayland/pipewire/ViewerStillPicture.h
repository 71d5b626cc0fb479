#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"
#include "core/capture/linux/wayland/ViewerScreenCastRemote.h"

namespace velmora {

/// A reduced copy of an output that was asked for once, because its stream is silent. A plain
/// value; any thread.
class ViewerStillPicture final {
  public:
    /// Nothing when there is no copy to be had. Blocks for as long as `still` does.
    static std::optional<ViewerStillPicture> take(
        const ViewerScreenCastRemote::StillPicture& still);

    /// Valid as long as this is.
    ViewerPixelBuffer pixels() const;

  private:
    explicit ViewerStillPicture(const ViewerPixelBuffer& reduced);

    std::int64_t width_;
    std::int64_t height_;
    std::vector<std::uint8_t> pixels_;
};

}  // namespace velmora
