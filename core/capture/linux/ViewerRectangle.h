#pragma once

#include <cstdint>

namespace velmora {

/// A rectangle of pixels, x to the right and y downwards. A plain value; empty when its width or
/// its height is 0.
struct ViewerRectangle final {
    friend bool operator==(const ViewerRectangle&, const ViewerRectangle&) = default;

    std::int64_t x = 0;
    std::int64_t y = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
};

}  // namespace velmora
