#include "viewerctl/ViewerDecodedPicture.h"

#include <turbojpeg.h>

#include <memory>

#include "viewerctl/ViewerJPEGHeader.h"

namespace velmora {

namespace {

constexpr int channels = 3;

tjscalingfactor scaleFor(int width, int height, int wantedWidth, int wantedHeight) {
    int count = 0;
    const tjscalingfactor* const factors = ::tjGetScalingFactors(&count);
    tjscalingfactor best{1, 1};
    for (int index = 0; index < count; ++index) {
        const tjscalingfactor factor = factors[index];
        const bool isSmaller = factor.num * best.denom < best.num * factor.denom;
        if (isSmaller && TJSCALED(width, factor) >= wantedWidth &&
            TJSCALED(height, factor) >= wantedHeight) {
            best = factor;
        }
    }
    return best;
}

}  // namespace

std::optional<ViewerDecodedPicture> ViewerDecodedPicture::decode(std::span<const std::uint8_t> jpeg,
                                                                 int wantedWidth,
                                                                 int wantedHeight) {
    const auto header = ViewerJPEGHeader::parse(jpeg);
    const std::unique_ptr<void, int (*)(void*)> decoder(::tjInitDecompress(), &::tjDestroy);
    if (!header || decoder == nullptr) {
        return std::nullopt;
    }
    const auto scale = scaleFor(header->width, header->height, wantedWidth, wantedHeight);
    ViewerDecodedPicture picture;
    picture.width = TJSCALED(header->width, scale);
    picture.height = TJSCALED(header->height, scale);
    picture.pixels.resize(static_cast<std::size_t>(picture.width) *
                          static_cast<std::size_t>(picture.height) * channels);
    // The pixels are those of the size that was read here, whatever the decoder reads.
    const int result = ::tjDecompress2(
        decoder.get(), jpeg.data(), static_cast<unsigned long>(jpeg.size()), picture.pixels.data(),
        picture.width, picture.width * channels, picture.height, TJPF_RGB, TJFLAG_LIMITSCANS);
    if (result != 0) {
        return std::nullopt;
    }
    return picture;
}

void ViewerDecodedPicture::dim() {
    for (std::uint8_t& sample : pixels) {
        sample /= 2;
    }
}

}  // namespace velmora
