#include "core/capture/linux/ViewerAreaAverage.h"

#include <algorithm>
#include <array>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

constexpr std::int64_t bytesPerPixel = 4;

ViewerRectangle clipped(const ViewerRectangle& rectangle, std::int64_t width, std::int64_t height) {
    const std::int64_t left = std::clamp<std::int64_t>(rectangle.x, 0, width);
    const std::int64_t top = std::clamp<std::int64_t>(rectangle.y, 0, height);
    const std::int64_t right = std::clamp<std::int64_t>(rectangle.x + rectangle.width, left, width);
    const std::int64_t bottom =
        std::clamp<std::int64_t>(rectangle.y + rectangle.height, top, height);
    return {left, top, right - left, bottom - top};
}

bool isEmpty(const ViewerRectangle& rectangle) {
    return rectangle.width <= 0 || rectangle.height <= 0;
}

}  // namespace

ViewerAreaAverage::ViewerAreaAverage(std::int64_t sourceWidth, std::int64_t sourceHeight,
                                     std::int64_t targetWidth, std::int64_t targetHeight)
    : columns_(sourceWidth, targetWidth), rows_(sourceHeight, targetHeight) {}

ViewerRectangle ViewerAreaAverage::sourceFor(const ViewerRectangle& target) const {
    const ViewerRectangle inside = clipped(target, targetWidth(), targetHeight());
    if (isEmpty(inside)) {
        return {};
    }
    const std::int64_t left = columns_.sourceBegin(inside.x);
    const std::int64_t top = rows_.sourceBegin(inside.y);
    return {left, top, columns_.sourceEnd(inside.x + inside.width - 1) - left,
            rows_.sourceEnd(inside.y + inside.height - 1) - top};
}

ViewerRectangle ViewerAreaAverage::targetFor(const ViewerRectangle& source) const {
    const ViewerRectangle inside = clipped(source, sourceWidth(), sourceHeight());
    if (isEmpty(inside)) {
        return {};
    }
    const std::int64_t left = columns_.targetBegin(inside.x);
    const std::int64_t top = rows_.targetBegin(inside.y);
    return {left, top, columns_.targetEnd(inside.x + inside.width - 1) - left,
            rows_.targetEnd(inside.y + inside.height - 1) - top};
}

void ViewerAreaAverage::reduce(const ViewerRectangle& target, const std::uint8_t* source,
                               std::size_t sourceBytesPerRow, std::uint8_t* targetPixels,
                               std::size_t targetBytesPerRow) const {
    viewerCheck(clipped(target, targetWidth(), targetHeight()) == target,
                "a reduced rectangle lies inside the picture");
    const ViewerRectangle from = sourceFor(target);
    const auto area = static_cast<std::uint64_t>(sourceWidth() * sourceHeight());
    for (std::int64_t y = target.y; y < target.y + target.height; ++y) {
        for (std::int64_t x = target.x; x < target.x + target.width; ++x) {
            std::array<std::uint64_t, bytesPerPixel> sums{};
            for (std::int64_t row = rows_.sourceBegin(y); row < rows_.sourceEnd(y); ++row) {
                for (std::int64_t column = columns_.sourceBegin(x); column < columns_.sourceEnd(x);
                     ++column) {
                    const auto weight = static_cast<std::uint64_t>(rows_.overlap(row, y) *
                                                                   columns_.overlap(column, x));
                    const std::uint8_t* pixel =
                        source + static_cast<std::size_t>(row - from.y) * sourceBytesPerRow +
                        static_cast<std::size_t>((column - from.x) * bytesPerPixel);
                    for (std::size_t channel = 0; channel < bytesPerPixel; ++channel) {
                        sums[channel] += weight * pixel[channel];
                    }
                }
            }
            std::uint8_t* pixel = targetPixels + static_cast<std::size_t>(y) * targetBytesPerRow +
                                  static_cast<std::size_t>(x * bytesPerPixel);
            for (std::size_t channel = 0; channel < bytesPerPixel; ++channel) {
                pixel[channel] = static_cast<std::uint8_t>((sums[channel] + area / 2) / area);
            }
        }
    }
}

}  // namespace velmora
