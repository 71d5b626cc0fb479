#include "tests/support/system/JPEGPicture.h"

#include <turbojpeg.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace velmora {

namespace {

struct Destroying final {
    void operator()(void* decoder) const { ::tjDestroy(decoder); }
};

int channel(std::uint32_t colour, int index) {
    constexpr int bitsPerChannel = 8;
    return static_cast<int>(colour >> (index * bitsPerChannel)) & 0xff;
}

}  // namespace

std::optional<JPEGPicture> JPEGPicture::decode(std::string_view bytes) {
    const std::unique_ptr<void, Destroying> decoder(::tjInitDecompress());
    const auto* const data = reinterpret_cast<const unsigned char*>(bytes.data());
    JPEGPicture picture;
    int subsampling = 0;
    int colourSpace = 0;
    if (::tjDecompressHeader3(decoder.get(), data, bytes.size(), &picture.width, &picture.height,
                              &subsampling, &colourSpace) != 0) {
        return std::nullopt;
    }
    picture.colours.resize(static_cast<std::size_t>(picture.width) *
                           static_cast<std::size_t>(picture.height));
    // In memory blue comes first, which makes 0xRRGGBB of a little-endian word.
    const int result = ::tjDecompress2(
        decoder.get(), data, bytes.size(), reinterpret_cast<unsigned char*>(picture.colours.data()),
        picture.width, 0, picture.height, TJPF_BGRX, TJFLAG_STOPONWARNING);
    if (result != 0) {
        return std::nullopt;
    }
    std::ranges::for_each(picture.colours, [](std::uint32_t& colour) { colour &= 0xffffff; });
    return picture;
}

std::uint32_t JPEGPicture::at(int x, int y) const {
    return colours.at(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(x));
}

bool JPEGPicture::isAll(std::uint32_t colour, int tolerance) const {
    return std::ranges::all_of(
        colours, [&](std::uint32_t pixel) { return isNear(pixel, colour, tolerance); });
}

bool isNear(std::uint32_t a, std::uint32_t b, int tolerance) {
    constexpr int channels = 3;
    for (int index = 0; index < channels; ++index) {
        if (std::abs(channel(a, index) - channel(b, index)) > tolerance) {
            return false;
        }
    }
    return true;
}

}  // namespace velmora
