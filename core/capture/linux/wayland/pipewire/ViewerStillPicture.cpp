#include "core/capture/linux/wayland/pipewire/ViewerStillPicture.h"

#include <cstddef>
#include <cstring>

#include "core/capture/ViewerImaging.h"
#include "core/capture/ViewerTargetSize.h"
#include "core/runtime/ViewerMemoryLack.h"

namespace velmora {

namespace {

constexpr std::size_t bytesPerPixel = 4;

}  // namespace

std::optional<ViewerStillPicture> ViewerStillPicture::take(
    const ViewerScreenCastRemote::StillPicture& still) {
    std::optional<ViewerStillPicture> result;
    const auto receive = [&result](const ViewerPixelBuffer& picture) {
        const ViewerTargetSize size = ViewerJPEGEncoder::targetSize(picture.width, picture.height);
        try {
            const ViewerMemoryAttempt attempt;
            const auto reduced =
                ViewerImaging::scaled(picture, static_cast<std::int64_t>(size.width),
                                      static_cast<std::int64_t>(size.height));
            if (reduced) {
                result = ViewerStillPicture(reduced->picture);
            }
        } catch (const ViewerMemoryLack&) {
            result.reset();  // as from a compositor that copies none
        }
    };
    return still(receive) ? result : std::nullopt;
}

ViewerStillPicture::ViewerStillPicture(const ViewerPixelBuffer& reduced)
    : width_(reduced.width), height_(reduced.height) {
    const std::size_t rowBytes = static_cast<std::size_t>(width_) * bytesPerPixel;
    pixels_.resize(rowBytes * static_cast<std::size_t>(height_));
    for (std::size_t row = 0; row < static_cast<std::size_t>(height_); ++row) {
        std::memcpy(pixels_.data() + row * rowBytes, reduced.pixels + row * reduced.bytesPerRow,
                    rowBytes);
    }
}

ViewerPixelBuffer ViewerStillPicture::pixels() const {
    ViewerPixelBuffer result;
    result.width = width_;
    result.height = height_;
    result.pixels = pixels_.data();
    result.bytesPerRow = static_cast<std::size_t>(width_) * bytesPerPixel;
    return result;
}

}  // namespace velmora
