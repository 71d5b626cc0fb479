#pragma once

#include <cstdint>

namespace velmora {

/// A preview's size. Both are whole numbers of at least 1, in pixels.
struct ViewerTargetSize final {
    friend bool operator==(const ViewerTargetSize&, const ViewerTargetSize&) = default;
    double width = 1;
    double height = 1;
};

/// The capture-size rule, shared by whoever captures and whoever encodes. Pure; any thread.
namespace ViewerJPEGEncoder {

inline constexpr std::int64_t maxPreviewWidth = 640;
inline constexpr std::int64_t maxPreviewHeight = 360;

/// The size of the preview of a picture: it fits inside 640 × 360, keeps the aspect ratio and is
/// never enlarged.
ViewerTargetSize targetSize(std::int64_t width, std::int64_t height);

}  // namespace ViewerJPEGEncoder

}  // namespace velmora
