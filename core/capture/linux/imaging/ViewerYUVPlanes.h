#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"

namespace velmora {

/// A picture as JPEG viewers expect it: full-range BT.601 luma for each pixel and both colour
/// differences for each square of four, in three planes that are kept from picture to picture.
/// Owned by one compressor; one thread at a time.
class ViewerYUVPlanes final {
  public:
    /// Converts a picture. Where a square reaches past the picture's edge, the edge's pixels count
    /// twice; the luma plane is padded with them to whole squares. REQUIRES: pixels, and at least
    /// 1 × 1 of them.
    void convert(const ViewerPixelBuffer& picture);

    /// The planes' rows are as long as their widths.
    std::span<const std::uint8_t> luma() const { return luma_; }
    std::span<const std::uint8_t> blueDifference() const { return blueDifference_; }
    std::span<const std::uint8_t> redDifference() const { return redDifference_; }
    /// Always even.
    std::size_t lumaWidth() const { return 2 * chromaWidth_; }
    std::size_t chromaWidth() const { return chromaWidth_; }

  private:
    std::size_t chromaWidth_ = 0;
    std::vector<std::uint8_t> luma_;
    std::vector<std::uint8_t> blueDifference_;
    std::vector<std::uint8_t> redDifference_;
};

}  // namespace velmora
