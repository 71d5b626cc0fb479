#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"
#include "core/capture/linux/imaging/ViewerRectangle.h"

namespace velmora {

/// A part of a picture as JPEG viewers expect it: full-range BT.601 luma for each pixel and both
/// colour differences for each square of four, in three planes whose memory is kept from part to
/// part. Owned by one compressor; one thread at a time.
class ViewerYUVPlanes final {
  public:
    /// Converts a part of a picture. Where a square reaches past the part's edge, the edge's pixels
    /// count twice; each plane is continued with its last column and row to whole units of 16 × 16
    /// pixels. REQUIRES: pixels; a part that is not empty and lies inside the picture.
    void convert(const ViewerPixelBuffer& picture, const ViewerRectangle& part);

    /// The planes' rows are as long as their widths.
    std::span<std::uint8_t> luma() { return luma_; }
    std::span<std::uint8_t> blueDifference() { return blueDifference_; }
    std::span<std::uint8_t> redDifference() { return redDifference_; }
    std::size_t lumaWidth() const { return 2 * chromaWidth_; }
    std::size_t chromaWidth() const { return chromaWidth_; }

  private:
    std::size_t chromaWidth_ = 0;
    std::vector<std::uint8_t> luma_;
    std::vector<std::uint8_t> blueDifference_;
    std::vector<std::uint8_t> redDifference_;
};

}  // namespace velmora
