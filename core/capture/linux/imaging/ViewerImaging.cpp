#include "core/capture/ViewerImaging.h"

#include <cstddef>

#include "core/capture/linux/imaging/ViewerAreaAverage.h"
#include "core/capture/linux/imaging/ViewerJPEGCompressor.h"
#include "core/capture/linux/imaging/ViewerKeptJPEG.h"
#include "core/runtime/ViewerMemoryLack.h"

namespace velmora {

namespace {

constexpr std::int64_t bytesPerPixel = 4;

/// What a thread keeps between pictures, since it usually sees the same size again.
struct Workspace final {
    std::optional<ViewerAreaAverage> average;
    std::vector<std::uint8_t> pixels;
    ViewerJPEGCompressor compressor;
    /// Of pictures of which nothing is kept.
    ViewerKeptJPEG jpeg;
};

Workspace& workspace() {
    thread_local Workspace kept;
    return kept;
}

bool isPicture(const ViewerPixelBuffer& buffer) {
    return buffer.pixels != nullptr && buffer.width >= 1 && buffer.height >= 1 &&
           buffer.width <= ViewerAreaAxis::maxLength &&
           buffer.height <= ViewerAreaAxis::maxLength &&
           buffer.bytesPerRow >= static_cast<std::size_t>(buffer.width * bytesPerPixel);
}

const ViewerAreaAverage& averageFor(const ViewerPixelBuffer& buffer, std::int64_t width,
                                    std::int64_t height) {
    auto& kept = workspace().average;
    const bool fits = kept && kept->sourceWidth() == buffer.width &&
                      kept->sourceHeight() == buffer.height && kept->targetWidth() == width &&
                      kept->targetHeight() == height;
    return fits ? *kept : kept.emplace(buffer.width, buffer.height, width, height);
}

}  // namespace

std::optional<ViewerImage> ViewerImaging::scaled(const ViewerPixelBuffer& buffer,
                                                 std::int64_t width, std::int64_t height) {
    const bool isReduction =
        width >= 1 && height >= 1 && width <= buffer.width && height <= buffer.height;
    if (!isPicture(buffer) || !isReduction) {
        return std::nullopt;
    }
    if (width == buffer.width && height == buffer.height) {
        return ViewerImage{buffer, nullptr};
    }
    const ViewerMemoryAttempt attempt;
    const auto bytesPerRow = static_cast<std::size_t>(width * bytesPerPixel);
    std::vector<std::uint8_t>& pixels = workspace().pixels;
    pixels.resize(bytesPerRow * static_cast<std::size_t>(height));
    averageFor(buffer, width, height)
        .reduce({0, 0, width, height}, buffer.pixels, buffer.bytesPerRow, pixels.data(),
                bytesPerRow);
    return ViewerImage{{width, height, pixels.data(), bytesPerRow}, nullptr};
}

std::optional<ViewerImage> ViewerImaging::redrawn(const ViewerPixelBuffer& image,
                                                  std::int64_t width, std::int64_t height) {
    return scaled(image, width, height);
}

std::optional<std::vector<std::uint8_t>> ViewerImaging::jpeg(const ViewerPixelBuffer& image,
                                                             double quality) {
    if (!isPicture(image)) {
        return std::nullopt;
    }
    const ViewerMemoryAttempt attempt;
    if (image.jpeg != nullptr) {
        return image.jpeg->encode(image, quality, workspace().compressor);
    }
    ViewerKeptJPEG& jpeg = workspace().jpeg;
    jpeg.begin(image.width, image.height);
    return jpeg.encode(image, quality, workspace().compressor);
}

}  // namespace velmora
