#include "core/capture/ViewerJPEGEncoder.h"

#include <algorithm>
#include <utility>

#include "core/capture/ViewerImaging.h"
#include "core/capture/ViewerTargetSize.h"
#include "core/protocol/ViewerHostProtocolV1.h"

namespace velmora {

namespace {

double clamped(double quality) {
    // Not a number fails the comparison too.
    return quality >= 0 ? std::min(quality, 1.0) : 0;
}

}  // namespace

std::optional<ViewerBytes> ViewerJPEGEncoder::encode(const ViewerPixelBuffer& buffer,
                                                     double quality) {
    const ViewerTargetSize target = targetSize(buffer.width, buffer.height);
    const auto image = ViewerImaging::scaled(buffer, static_cast<std::int64_t>(target.width),
                                             static_cast<std::int64_t>(target.height));
    if (!image) {
        return std::nullopt;
    }
    return jpegData(image->picture, quality);
}

std::optional<ViewerBytes> ViewerJPEGEncoder::jpegData(const ViewerPixelBuffer& image,
                                                       double quality) {
    const ViewerTargetSize target = targetSize(image.width, image.height);
    const auto width = static_cast<std::int64_t>(target.width);
    const auto height = static_cast<std::int64_t>(target.height);
    const bool isSmall = width == image.width && height == image.height;
    const auto drawn =
        isSmall ? ViewerImage{image, nullptr} : ViewerImaging::redrawn(image, width, height);
    if (!drawn) {
        return std::nullopt;
    }
    auto jpeg = ViewerImaging::jpeg(drawn->picture, clamped(quality));
    if (!jpeg) {
        return std::nullopt;
    }
    return withinFrameLimit(std::move(*jpeg));
}

std::optional<ViewerBytes> ViewerJPEGEncoder::withinFrameLimit(std::vector<std::uint8_t> jpeg) {
    if (jpeg.size() > ViewerHostProtocolV1::maxFrameBytes) {
        return std::nullopt;
    }
    return ViewerBytes(std::move(jpeg));
}

}  // namespace velmora
