#include "core/capture/linux/x11/ViewerX11RootReader.h"

#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

constexpr std::uint32_t allPlanes = 0xffffffff;
constexpr std::uint32_t redBits = 0xff0000;
constexpr std::uint32_t greenBits = 0x00ff00;
constexpr std::uint32_t blueBits = 0x0000ff;
constexpr std::uint8_t bitsPerPixel = 32;

bool hasWholePixels(const xcb_setup_t& setup, std::uint8_t depth) {
    for (auto format = xcb_setup_pixmap_formats_iterator(&setup); format.rem > 0;
         xcb_format_next(&format)) {
        if (format.data->depth == depth) {
            return format.data->bits_per_pixel == bitsPerPixel;
        }
    }
    return false;
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

}  // namespace

ViewerX11RootReader::ViewerX11RootReader(std::shared_ptr<ViewerX11Connection> connection)
    : connection_(std::move(connection)),
      memory_(ViewerX11SharedMemory::make(connection_, slotCount * slotBytes)) {}

bool ViewerX11RootReader::canRead(const ViewerX11Connection& connection) {
    const xcb_setup_t* const setup = xcb_get_setup(connection.xcb());
    const xcb_visualtype_t* const visual = visualOf(connection.screen());
    return setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST &&
           hasWholePixels(*setup, connection.screen().root_depth) && visual != nullptr &&
           visual->_class == XCB_VISUAL_CLASS_TRUE_COLOR && visual->red_mask == redBits &&
           visual->green_mask == greenBits && visual->blue_mask == blueBits;
}

void ViewerX11RootReader::request(std::size_t slot, const ViewerRectangle& rectangle) {
    const auto x = static_cast<std::int16_t>(rectangle.x);
    const auto y = static_cast<std::int16_t>(rectangle.y);
    const auto width = static_cast<std::uint16_t>(rectangle.width);
    const auto height = static_cast<std::uint16_t>(rectangle.height);
    Slot& used = slots_[slot];
    used.bytes = static_cast<std::size_t>(rectangle.area()) * bytesPerPixel;
    viewerCheck(used.bytes <= slotBytes, "a rectangle of the screen is larger than its slot");
    if (memory_) {
        used.shared =
            xcb_shm_get_image(connection_->xcb(), connection_->root(), x, y, width, height,
                              allPlanes, XCB_IMAGE_FORMAT_Z_PIXMAP, memory_->segment(),
                              static_cast<std::uint32_t>(slot * slotBytes));
    } else {
        used.reply.reset();
        used.plain = xcb_get_image(connection_->xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP,
                                   connection_->root(), x, y, width, height, allPlanes);
    }
}

const std::uint8_t* ViewerX11RootReader::wait(std::size_t slot) {
    // Also sends what was asked for after the picture that is waited for here.
    xcb_flush(connection_->xcb());
    Slot& used = slots_[slot];
    if (memory_) {
        const ViewerX11Reply<xcb_shm_get_image_reply_t> reply(
            xcb_shm_get_image_reply(connection_->xcb(), used.shared, nullptr));
        const bool isWhole = reply != nullptr && reply->size == used.bytes;
        return isWhole ? memory_->bytes() + slot * slotBytes : nullptr;
    }
    used.reply.reset(xcb_get_image_reply(connection_->xcb(), used.plain, nullptr));
    const bool isWhole =
        used.reply != nullptr &&
        static_cast<std::size_t>(xcb_get_image_data_length(used.reply.get())) >= used.bytes;
    return isWhole ? xcb_get_image_data(used.reply.get()) : nullptr;
}

}  // namespace velmora
