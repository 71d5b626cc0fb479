#include "core/capture/linux/x11/ViewerX11PixelForm.h"

#include <endian.h>

#include <bit>
#include <cstring>

namespace velmora {

namespace {

constexpr int bitsPerByte = 8;
constexpr int levelBits = 8;

const xcb_format_t* formatOf(const xcb_setup_t& setup, std::uint8_t depth) {
    for (auto format = xcb_setup_pixmap_formats_iterator(&setup); format.rem > 0;
         xcb_format_next(&format)) {
        if (format.data->depth == depth) {
            return format.data;
        }
    }
    return nullptr;
}

const xcb_visualtype_t* visualOf(const xcb_screen_t& screen) {
    for (auto depth = xcb_screen_allowed_depths_iterator(&screen); depth.rem > 0;
         xcb_depth_next(&depth)) {
        for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem > 0;
             xcb_visualtype_next(&visual)) {
            if (visual.data->visual_id == screen.root_visual) {
                return visual.data;
            }
        }
    }
    return nullptr;
}

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

std::optional<ViewerX11PixelForm> ViewerX11PixelForm::of(const ViewerX11Connection& connection) {
    const xcb_setup_t* const setup = xcb_get_setup(connection.xcb());
    const xcb_format_t* const format = formatOf(*setup, connection.screen().root_depth);
    const xcb_visualtype_t* const visual = visualOf(connection.screen());
    if (format == nullptr || visual == nullptr || visual->_class != XCB_VISUAL_CLASS_TRUE_COLOR) {
        return std::nullopt;
    }
    Description description;
    description.bitsPerPixel = format->bits_per_pixel;
    description.rowBits = format->scanline_pad;
    description.isLeastByteFirst = setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
    description.redMask = visual->red_mask;
    description.greenMask = visual->green_mask;
    description.blueMask = visual->blue_mask;
    return make(description);
}

std::optional<ViewerX11PixelForm> ViewerX11PixelForm::make(const Description& description) {
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
    return ViewerX11PixelForm(description, *red, *green, *blue);
}

std::optional<ViewerX11PixelForm::Channel> ViewerX11PixelForm::channelOf(std::uint32_t mask,
                                                                         int bitsPerPixel) {
    if (mask == 0 || std::bit_width(mask) > static_cast<unsigned>(bitsPerPixel)) {
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

ViewerX11PixelForm::ViewerX11PixelForm(const Description& description, const Channel& red,
                                       const Channel& green, const Channel& blue)
    : bytesPerPixel_(static_cast<std::size_t>(description.bitsPerPixel / bitsPerByte)),
      rowBytes_(static_cast<std::size_t>(description.rowBits / bitsPerByte)),
      isLeastByteFirst_(description.isLeastByteFirst),
      isPlain_(description == Description()),
      red_(red),
      green_(green),
      blue_(blue) {}

std::size_t ViewerX11PixelForm::bytesPerRow(std::size_t width) const {
    return (width * bytesPerPixel_ + rowBytes_ - 1) / rowBytes_ * rowBytes_;
}

void ViewerX11PixelForm::convert(const std::uint8_t* source, std::size_t count,
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
