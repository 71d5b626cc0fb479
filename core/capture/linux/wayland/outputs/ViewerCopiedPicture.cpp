#include "core/capture/linux/wayland/outputs/ViewerCopiedPicture.h"

#include <wayland-client-protocol.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "core/capture/linux/imaging/ViewerPixelForm.h"
#include "core/capture/linux/wayland/outputs/ViewerWaylandOutput.h"

namespace velmora {

namespace {

/// The sides of the largest picture that is read: twice the sides of the largest
/// screens that are made.
constexpr std::uint32_t maximumSide = 16'384;
/// A pool of shared memory tells its size in 31 bits.
constexpr std::size_t maximumBytes = std::numeric_limits<std::int32_t>::max();

/// How pixels of a format lie; nothing for a format that is not read.
std::optional<ViewerPixelForm> formOf(std::uint32_t format) {
    ViewerPixelForm::Description description;
    switch (format) {
        case WL_SHM_FORMAT_XRGB8888:
        case WL_SHM_FORMAT_ARGB8888:
            break;
        case WL_SHM_FORMAT_XBGR8888:
        case WL_SHM_FORMAT_ABGR8888:
            std::swap(description.redMask, description.blueMask);
            break;
        case WL_SHM_FORMAT_XRGB2101010:
        case WL_SHM_FORMAT_ARGB2101010:
        case WL_SHM_FORMAT_XBGR2101010:
        case WL_SHM_FORMAT_ABGR2101010:
            description.redMask = 0x3ff0'0000;
            description.greenMask = 0x000f'fc00;
            description.blueMask = 0x0000'03ff;
            if (format == WL_SHM_FORMAT_XBGR2101010 || format == WL_SHM_FORMAT_ABGR2101010) {
                std::swap(description.redMask, description.blueMask);
            }
            break;
        default:
            return std::nullopt;
    }
    return ViewerPixelForm::make(description);
}

/// Where a picture's pixel goes when it is turned back to how it is seen. What an output shows was
/// mirrored if the transform is a flipped one, then turned counterclockwise.
class Turn final {
  public:
    Turn(std::size_t width, std::size_t height, std::int32_t transform)
        : width_(width), height_(height), transform_(transform) {}

    std::pair<std::size_t, std::size_t> seenAt(std::size_t x, std::size_t y) const {
        constexpr std::int32_t flipped = 4;
        auto [seenX, seenY] = turnedBack(x, y);
        if (transform_ >= flipped) {
            const bool swapsSides = ViewerWaylandOutput::swapsSides(transform_);
            seenX = (swapsSides ? height_ : width_) - 1 - seenX;
        }
        return {seenX, seenY};
    }

  private:
    std::pair<std::size_t, std::size_t> turnedBack(std::size_t x, std::size_t y) const {
        constexpr std::int32_t quarters = 4;
        switch (transform_ % quarters) {
            case 1:
                return {height_ - 1 - y, x};
            case 2:
                return {width_ - 1 - x, height_ - 1 - y};
            case 3:
                return {y, width_ - 1 - x};
            default:
                return {x, y};
        }
    }

    const std::size_t width_;
    const std::size_t height_;
    const std::int32_t transform_;
};

}  // namespace

bool ViewerCopiedPicture::isReadable() const {
    const auto form = formOf(format);
    return form && width > 0 && height > 0 && width <= maximumSide && height <= maximumSide &&
           bytesPerRow >= form->bytesPerRow(width) && bytes() <= maximumBytes;
}

bool ViewerCopiedPicture::isPlain() const {
    return formOf(format)->isPlain() && !isUpsideDown && transform == 0;
}

ViewerPixelBuffer ViewerCopiedPicture::plain(const std::uint8_t* memory) const {
    ViewerPixelBuffer result;
    result.width = width;
    result.height = height;
    result.pixels = memory;
    result.bytesPerRow = bytesPerRow;
    return result;
}

ViewerPixelBuffer ViewerCopiedPicture::write(const std::uint8_t* memory,
                                             std::uint8_t* target) const {
    ViewerPixelBuffer result = plain(target);
    if (ViewerWaylandOutput::swapsSides(transform)) {
        std::swap(result.width, result.height);
    }
    result.bytesPerRow = static_cast<std::size_t>(result.width) * pixelBytes;
    const auto form = formOf(format);
    const Turn turn(width, height, transform);
    std::vector<std::uint8_t> row(width * pixelBytes);
    for (std::size_t y = 0; y < height; ++y) {
        const std::size_t line = isUpsideDown ? height - 1 - y : y;
        form->convert(memory + line * bytesPerRow, width, row.data());
        for (std::size_t x = 0; x < width; ++x) {
            const auto [seenX, seenY] = turn.seenAt(x, y);
            std::copy_n(row.data() + x * pixelBytes, pixelBytes,
                        target + seenY * result.bytesPerRow + seenX * pixelBytes);
        }
    }
    return result;
}

}  // namespace velmora
