#pragma once

#include <algorithm>
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

    constexpr bool isEmpty() const { return width == 0 || height == 0; }
    constexpr std::int64_t area() const { return width * height; }
    /// One past the last column and one past the last row.
    constexpr std::int64_t right() const { return x + width; }
    constexpr std::int64_t bottom() const { return y + height; }
};

/// The pixels that both have.
constexpr ViewerRectangle intersection(const ViewerRectangle& a, const ViewerRectangle& b) {
    const std::int64_t left = std::max(a.x, b.x);
    const std::int64_t top = std::max(a.y, b.y);
    const std::int64_t width = std::min(a.right(), b.right()) - left;
    const std::int64_t height = std::min(a.bottom(), b.bottom()) - top;
    return width > 0 && height > 0 ? ViewerRectangle{left, top, width, height} : ViewerRectangle{};
}

/// The smallest rectangle that has all pixels of both; an empty one counts for nothing.
constexpr ViewerRectangle boundingBox(const ViewerRectangle& a, const ViewerRectangle& b) {
    if (a.isEmpty() || b.isEmpty()) {
        return a.isEmpty() ? b : a;
    }
    const std::int64_t left = std::min(a.x, b.x);
    const std::int64_t top = std::min(a.y, b.y);
    return {left, top, std::max(a.right(), b.right()) - left,
            std::max(a.bottom(), b.bottom()) - top};
}

}  // namespace velmora
