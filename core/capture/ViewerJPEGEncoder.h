#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"
#include "core/protocol/ViewerBytes.h"

namespace velmora {

/// Turns captured pictures into small JPEGs. Pure operations; any thread.
namespace ViewerJPEGEncoder {

/// The quality of every captured frame, on the scale from 0 to 1.
inline constexpr double captureQuality = 0.68;

/// The JPEG of a captured picture reduced to its target size, or nothing when it cannot be made or
/// is longer than a frame may be. A quality below 0 or not a number counts as 0, above 1 as 1.
std::optional<ViewerBytes> encode(const ViewerPixelBuffer& buffer, double quality);

/// The same of an image, which is drawn anew where it is larger than its target size. Where a
/// platform's pictures are not plain memory, its images are of another kind than its captured ones.
std::optional<ViewerBytes> jpegData(const ViewerPixelBuffer& image, double quality);

/// A JPEG that is not longer than a frame may be, otherwise nothing: such a frame is dropped.
std::optional<ViewerBytes> withinFrameLimit(std::vector<std::uint8_t> jpeg);

}  // namespace ViewerJPEGEncoder

}  // namespace velmora
