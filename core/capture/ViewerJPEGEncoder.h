#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"
#include "core/runtime/ViewerBytes.h"

namespace velmora {

/// A preview's size. Both are whole numbers of at least 1, in pixels.
struct ViewerTargetSize final {
    friend bool operator==(const ViewerTargetSize&, const ViewerTargetSize&) = default;
    double width = 1;
    double height = 1;
};

/// Turns captured pictures into small JPEGs. Pure operations; any thread.
namespace ViewerJPEGEncoder {

inline constexpr std::int64_t maxPreviewWidth = 640;
inline constexpr std::int64_t maxPreviewHeight = 360;
/// The quality of every captured frame, on the scale from 0 to 1.
inline constexpr double captureQuality = 0.68;

/// The size of the preview of a picture: it fits inside 640 × 360, keeps the aspect ratio and is
/// never enlarged.
ViewerTargetSize targetSize(std::int64_t width, std::int64_t height);

/// The JPEG of a captured picture reduced to its target size, or nothing when it cannot be made or
/// is longer than a frame may be. A quality below 0 or not a number counts as 0, above 1 as 1.
std::optional<ViewerBytes> encode(const ViewerPixelBuffer& buffer, double quality);

/// The same of an image, which is drawn anew where it is larger than its target size. Where a
/// platform's pictures are not plain memory, its images are of another kind than its captured ones.
std::optional<ViewerBytes> jpegData(const ViewerPixelBuffer& image, double quality);

/// The quality that counts: from 0 to 1.
double clampedQuality(double quality);

/// A JPEG that is not longer than a frame may be, otherwise nothing: such a frame is dropped.
std::optional<ViewerBytes> withinFrameLimit(std::vector<std::uint8_t> jpeg);

}  // namespace ViewerJPEGEncoder

}  // namespace velmora
