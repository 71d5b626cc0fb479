#include "core/capture/linux/imaging/ViewerPictureTransform.h"

#include <cstddef>
#include <cstring>
#include <utility>

namespace velmora {

namespace {

constexpr std::uint32_t quarters = 4;
constexpr std::uint32_t transforms = 8;

struct Place final {
    std::int64_t x;
    std::int64_t y;
};

/// Where a pixel of a picture of this size lies once the picture is turned counter-clockwise.
Place turned(Place place, std::uint32_t turns, std::int64_t width, std::int64_t height) {
    switch (turns) {
        case 1:
            return {place.y, width - 1 - place.x};
        case 2:
            return {width - 1 - place.x, height - 1 - place.y};
        case 3:
            return {height - 1 - place.y, place.x};
        default:
            return place;
    }
}

}  // namespace

std::optional<ViewerPictureTransform> ViewerPictureTransform::make(std::uint32_t number) {
    return number < transforms ? std::optional(ViewerPictureTransform(number)) : std::nullopt;
}

ViewerPixelBuffer ViewerPictureTransform::undo(const ViewerPixelBuffer& buffer,
                                               std::vector<std::uint32_t>& pixels) const {
    ViewerPixelBuffer seen;
    seen.width = swapsSides() ? buffer.height : buffer.width;
    seen.height = swapsSides() ? buffer.width : buffer.height;
    pixels.resize(static_cast<std::size_t>(seen.width * seen.height));
    const bool isMirrored = number_ >= quarters;
    std::uint32_t* target = pixels.data();
    for (std::int64_t y = 0; y < seen.height; ++y) {
        for (std::int64_t x = 0; x < seen.width; ++x) {
            const Place place{isMirrored ? seen.width - 1 - x : x, y};
            const Place source = turned(place, number_ % quarters, seen.width, seen.height);
            std::memcpy(target++,
                        buffer.pixels + static_cast<std::size_t>(source.y) * buffer.bytesPerRow +
                            static_cast<std::size_t>(source.x) * sizeof(std::uint32_t),
                        sizeof(std::uint32_t));
        }
    }
    seen.pixels = reinterpret_cast<const std::uint8_t*>(pixels.data());
    seen.bytesPerRow = static_cast<std::size_t>(seen.width) * sizeof(std::uint32_t);
    return seen;
}

}  // namespace velmora
