#include "core/capture/linux/imaging/ViewerPixelForm.h"

#include <endian.h>

#include <bit>
#include <cstring>

namespace velmora {

namespace {

constexpr int bitsPerByte = 8;
constexpr int levelBits = 8;

/// The pixel whose first byte is at `source`.
std::uint32_t pixelAt(const std::uint8_t* source, std::size_t bytes, bool isLeastByteFirst) {
    if (bytes == sizeof(std::uint16_t)) {
        std::uint16_t pixel = 0;
        std::memcpy(&pixel, source, sizeof pixel);
        return isLeastByteFirst ? le16toh(pixel) : be16toh(pixel);
    }
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, source, sizeof pixel);
    return isLeastByteFirst ? le32toh(pixel) : be32toh(pixel);
}

}  // namespace

std::optional<ViewerPixelForm> ViewerPixelForm::make(const Description& description) {
    const bool isKnown =
        (description.bitsPerPixel == 16 || description.bitsPerPixel == 32) &&
        (description.rowBits == 8 || description.rowBits == 16 || description.rowBits == 32);
    const std::uint32_t shared = (description.redMask & description.greenMask) |
                                 (description.redMask & description.blueMask) |
                                 (description.greenMask & description.blueMask);
    const auto red = channelOf(description.redMask, description.bitsPerPixel);
    const auto green = channelOf(description.greenMask, description.bitsPerPixel);
    const auto blue = channelOf(description.blueMask, description.bitsPerPixel);
    if (!isKnown || shared != 0 || !red || !green || !blue) {
        return std::nullopt;
    }
    return ViewerPixelForm(description, *red, *green, *blue);
}

std::optional<ViewerPixelForm::Channel> ViewerPixelForm::channelOf(std::uint32_t mask,
                                                                   int bitsPerPixel) {
    // Before libstdc++ 13 a width of bits is unsigned.
    if (mask == 0 || static_cast<int>(std::bit_width(mask)) > bitsPerPixel) {
        return std::nullopt;
    }
    Channel channel;
    channel.shift = std::countr_zero(mask);
    const std::uint32_t run = mask >> channel.shift;
    int width = std::popcount(mask);
    if (run != ~std::uint32_t{0} >> (32 - width)) {
        return std::nullopt;
    }
    if (width > levelBits) {
        channel.shift += width - levelBits;
        width = levelBits;
    }
    channel.bits = (1U << width) - 1;
    for (std::uint32_t value = 0; value <= channel.bits; ++value) {
        std::uint32_t level = 0;
        for (int shift = levelBits - width; shift > -width; shift -= width) {
            level |= shift >= 0 ? value << shift : value >> -shift;
        }
        channel.levels[value] = static_cast<std::uint8_t>(level);
    }
    return channel;
}

ViewerPixelForm::ViewerPixelForm(const Description& description, const Channel& red,
                                 const Channel& green, const Channel& blue)
    : bytesPerPixel_(static_cast<std::size_t>(description.bitsPerPixel / bitsPerByte)),
      rowBytes_(static_cast<std::size_t>(description.rowBits / bitsPerByte)),
      isLeastByteFirst_(description.isLeastByteFirst),
      isPlain_(description == Description()),
      red_(red),
      green_(green),
      blue_(blue) {}

std::size_t ViewerPixelForm::bytesPerRow(std::size_t width) const {
    return (width * bytesPerPixel_ + rowBytes_ - 1) / rowBytes_ * rowBytes_;
}

void ViewerPixelForm::convert(const std::uint8_t* source, std::size_t count,
                              std::uint8_t* target) const {
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t pixel =
            pixelAt(source + i * bytesPerPixel_, bytesPerPixel_, isLeastByteFirst_);
        target[0] = blue_.levelOf(pixel);
        target[1] = green_.levelOf(pixel);
        target[2] = red_.levelOf(pixel);
        target[3] = 0;
        target += convertedBytes;
    }
}

}  // namespace velmora
