#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"

namespace velmora {

/// How a picture lies in a buffer: mirrored left to right or not, and then turned by quarters
/// counter-clockwise, which is how Wayland and PipeWire count. A plain value; any thread.
class ViewerPictureTransform final {
  public:
    friend bool operator==(const ViewerPictureTransform&, const ViewerPictureTransform&) = default;

    /// The number that Wayland and PipeWire give it, 0 to 7; nothing for others.
    static std::optional<ViewerPictureTransform> make(std::uint32_t number);

    ViewerPictureTransform() = default;

    bool isNone() const { return number_ == 0; }
    /// Whether the buffer is as wide as the picture is high.
    bool swapsSides() const { return number_ % 2 == 1; }

    /// Writes the picture as it is seen, rows without gaps, and returns it; it is valid as long as
    /// `pixels`, which gets as large as needed.
    ViewerPixelBuffer undo(const ViewerPixelBuffer& buffer,
                           std::vector<std::uint32_t>& pixels) const;

  private:
    explicit ViewerPictureTransform(std::uint32_t number) : number_(number) {}

    std::uint32_t number_ = 0;
};

}  // namespace velmora
