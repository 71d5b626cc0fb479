#include "core/capture/linux/x11/ViewerX11PixelForm.h"

#include <xcb/xcb.h>

#include <cstdint>

namespace velmora {

namespace {

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

}  // namespace

std::optional<ViewerPixelForm> ViewerX11PixelForm::of(const ViewerX11Connection& connection) {
    const xcb_setup_t* const setup = xcb_get_setup(connection.xcb());
    const xcb_format_t* const format = formatOf(*setup, connection.screen().root_depth);
    const xcb_visualtype_t* const visual = visualOf(connection.screen());
    if (format == nullptr || visual == nullptr || visual->_class != XCB_VISUAL_CLASS_TRUE_COLOR) {
        return std::nullopt;
    }
    ViewerPixelForm::Description description;
    description.bitsPerPixel = format->bits_per_pixel;
    description.rowBits = format->scanline_pad;
    description.isLeastByteFirst = setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
    description.redMask = visual->red_mask;
    description.greenMask = visual->green_mask;
    description.blueMask = visual->blue_mask;
    return ViewerPixelForm::make(description);
}

}  // namespace velmora
