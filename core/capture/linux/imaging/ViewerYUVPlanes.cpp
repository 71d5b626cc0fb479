#include "core/capture/linux/imaging/ViewerYUVPlanes.h"

#include <algorithm>

#include "core/capture/linux/imaging/ViewerYUVKernels.h"

namespace velmora {

namespace {

constexpr std::size_t bytesPerPixel = 4;
/// Of a colour difference, whose pixels are squares of four.
constexpr std::size_t unitSide = 8;

std::size_t wholeUnits(std::size_t length) {
    return (length + unitSide - 1) / unitSide * unitSide;
}

/// Continues the first `columns` × `rows` of a plane to all of it.
void continueToEdges(std::span<std::uint8_t> plane, std::size_t width, std::size_t columns,
                     std::size_t rows) {
    for (std::size_t row = 0; columns < width && row < rows; ++row) {
        std::uint8_t* const pixels = &plane[row * width];
        std::fill(pixels + columns, pixels + width, pixels[columns - 1]);
    }
    for (std::size_t begin = rows * width; begin < plane.size(); begin += width) {
        std::copy_n(&plane[begin - width], width, &plane[begin]);
    }
}

}  // namespace

void ViewerYUVPlanes::convert(const ViewerPixelBuffer& picture, const ViewerRectangle& part) {
    const auto width = static_cast<std::size_t>(part.width);
    const auto height = static_cast<std::size_t>(part.height);
    const std::size_t squareColumns = (width + 1) / 2;
    const std::size_t squareRows = (height + 1) / 2;
    chromaWidth_ = wholeUnits(squareColumns);
    const std::size_t chromaBytes = chromaWidth_ * wholeUnits(squareRows);
    luma_.resize(4 * chromaBytes);
    blueDifference_.resize(chromaBytes);
    redDifference_.resize(chromaBytes);
    const std::uint8_t* const first = picture.pixels +
                                      static_cast<std::size_t>(part.y) * picture.bytesPerRow +
                                      static_cast<std::size_t>(part.x) * bytesPerPixel;
    for (std::size_t y = 0; y < squareRows; ++y) {
        const std::uint8_t* top = first + 2 * y * picture.bytesPerRow;
        const bool isBottomInside = 2 * y + 1 < height;
        ViewerYUVKernels::convertRowPair({
            .top = top,
            .bottom = isBottomInside ? top + picture.bytesPerRow : top,
            .width = width,
            .topLuma = &luma_[2 * y * lumaWidth()],
            .bottomLuma = &luma_[(2 * y + 1) * lumaWidth()],
            .blueDifference = &blueDifference_[y * chromaWidth_],
            .redDifference = &redDifference_[y * chromaWidth_],
        });
    }
    continueToEdges(luma_, lumaWidth(), 2 * squareColumns, 2 * squareRows);
    continueToEdges(blueDifference_, chromaWidth_, squareColumns, squareRows);
    continueToEdges(redDifference_, chromaWidth_, squareColumns, squareRows);
}

}  // namespace velmora
