#include "core/capture/linux/imaging/ViewerYUVPlanes.h"

#include "core/capture/linux/imaging/ViewerYUVKernels.h"

namespace velmora {

void ViewerYUVPlanes::convert(const ViewerPixelBuffer& picture) {
    const auto width = static_cast<std::size_t>(picture.width);
    const auto height = static_cast<std::size_t>(picture.height);
    chromaWidth_ = (width + 1) / 2;
    const std::size_t chromaHeight = (height + 1) / 2;
    luma_.resize(4 * chromaWidth_ * chromaHeight);
    blueDifference_.resize(chromaWidth_ * chromaHeight);
    redDifference_.resize(chromaWidth_ * chromaHeight);
    for (std::size_t y = 0; y < chromaHeight; ++y) {
        const std::uint8_t* top = picture.pixels + 2 * y * picture.bytesPerRow;
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
}

}  // namespace velmora
