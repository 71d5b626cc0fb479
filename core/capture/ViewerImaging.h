#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"

namespace velmora {

/// A picture that the platform's imaging made or passed on. A plain value; any thread.
struct ViewerImage final {
    ViewerPixelBuffer picture;
    /// Keeps the picture alive. Null when it is the caller's own, or in memory that the thread
    /// reuses when it next scales or redraws.
    std::shared_ptr<const void> owner;
};

/// What the platform does with pictures, defined once for each platform. Pictures that are no
/// pictures, and whatever the platform refuses, give nothing. Any thread, and any number at once.
namespace ViewerImaging {

/// A captured picture scaled to `width` × `height` pixels.
std::optional<ViewerImage> scaled(const ViewerPixelBuffer& buffer, std::int64_t width,
                                  std::int64_t height);

/// An image drawn anew with `width` × `height` pixels.
std::optional<ViewerImage> redrawn(const ViewerPixelBuffer& image, std::int64_t width,
                                   std::int64_t height);

/// An image as JPEG, quality from 0 to 1.
std::optional<std::vector<std::uint8_t>> jpeg(const ViewerPixelBuffer& image, double quality);

}  // namespace ViewerImaging

}  // namespace velmora
