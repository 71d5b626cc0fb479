#include "tests/support/x11/XPainter.h"

#include <stdlib.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <memory>
#include <random>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

struct Freeing final {
    void operator()(void* reply) const { ::free(reply); }
};

xcb_rectangle_t rectangle(const ViewerRectangle& area) {
    return {static_cast<std::int16_t>(area.x), static_cast<std::int16_t>(area.y),
            static_cast<std::uint16_t>(area.width), static_cast<std::uint16_t>(area.height)};
}

constexpr std::uint32_t colourBits = 0xffffff;

const xcb_visualtype_t* rootVisual(const xcb_screen_t& screen) {
    for (auto depth = ::xcb_screen_allowed_depths_iterator(&screen); depth.rem > 0;
         ::xcb_depth_next(&depth)) {
        for (auto visual = ::xcb_depth_visuals_iterator(depth.data); visual.rem > 0;
             ::xcb_visualtype_next(&visual)) {
            if (visual.data->visual_id == screen.root_visual) {
                return visual.data;
            }
        }
    }
    viewerCheck(false, "the test's X server does not describe its pixels");
    return nullptr;
}

/// The highest bits of a level from 0 to 255, as many as there are, at their place.
std::uint32_t placed(std::uint32_t level, std::uint32_t mask) {
    const int excess = std::popcount(mask) - 8;
    return (excess >= 0 ? level << excess : level >> -excess) << std::countr_zero(mask);
}

/// The server's pixel of a colour.
std::uint32_t pixelOf(std::uint32_t colour, const xcb_visualtype_t& visual) {
    return placed(colour >> 16 & 0xff, visual.red_mask) |
           placed(colour >> 8 & 0xff, visual.green_mask) | placed(colour & 0xff, visual.blue_mask);
}

}  // namespace

XPainter::XPainter(const XServer& server)
    : client_(server.connect()), connection_(client_->connection()) {
    const xcb_screen_t* screen = ::xcb_setup_roots_iterator(::xcb_get_setup(connection_)).data;
    root_ = screen->root;
    depth_ = screen->root_depth;
    visual_ = rootVisual(*screen);
    context_ = ::xcb_generate_id(connection_);
    // Paints over windows too, and makes no event for a copy whose source cannot be read.
    const std::uint32_t values[] = {XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS, 0};
    ::xcb_create_gc(connection_, context_, root_, XCB_GC_SUBWINDOW_MODE | XCB_GC_GRAPHICS_EXPOSURES,
                    values);
    client_->finish();
}

void XPainter::fill(const ViewerRectangle& area, std::uint32_t colour) {
    const xcb_rectangle_t place = rectangle(area);
    const std::uint32_t pixel = pixelOf(colour, *visual_);
    ::xcb_change_gc(connection_, context_, XCB_GC_FOREGROUND, &pixel);
    ::xcb_poly_fill_rectangle(connection_, root_, context_, 1, &place);
    client_->finish();
}

void XPainter::put(const ViewerRectangle& area, const std::vector<std::uint32_t>& colours) {
    viewerCheck(colours.size() == static_cast<std::size_t>(area.width * area.height),
                "a picture has as many colours as its rectangle has pixels");
    // In bands, because a request has a largest size.
    constexpr std::int64_t bandBytes = 65536;
    const auto rowBytes = area.width * static_cast<std::int64_t>(sizeof(std::uint32_t));
    const std::int64_t bandRows = std::max<std::int64_t>(1, bandBytes / rowBytes);
    for (std::int64_t row = 0; row < area.height; row += bandRows) {
        const std::int64_t rows = std::min(bandRows, area.height - row);
        const xcb_rectangle_t place = rectangle({area.x, area.y + row, area.width, rows});
        ::xcb_put_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, root_, context_, place.width,
                        place.height, place.x, place.y, 0, depth_,
                        static_cast<std::uint32_t>(rows * rowBytes),
                        reinterpret_cast<const std::uint8_t*>(colours.data() + row * area.width));
    }
    client_->finish();
}

void XPainter::copy(const ViewerRectangle& area, std::int64_t x, std::int64_t y) {
    const xcb_rectangle_t from = rectangle(area);
    ::xcb_copy_area(connection_, root_, root_, context_, from.x, from.y,
                    static_cast<std::int16_t>(x), static_cast<std::int16_t>(y), from.width,
                    from.height);
    client_->finish();
}

std::vector<std::uint32_t> XPainter::read(const ViewerRectangle& area) const {
    const xcb_rectangle_t place = rectangle(area);
    const std::unique_ptr<xcb_get_image_reply_t, Freeing> reply(::xcb_get_image_reply(
        connection_,
        ::xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, root_, place.x, place.y,
                        place.width, place.height, colourBits),
        nullptr));
    viewerCheck(reply != nullptr, "the test cannot read its X server's screen");
    std::vector<std::uint32_t> result(static_cast<std::size_t>(area.width * area.height));
    const auto bytes = result.size() * sizeof(std::uint32_t);
    viewerCheck(static_cast<std::size_t>(::xcb_get_image_data_length(reply.get())) == bytes,
                "a screen of the tests has 4 bytes a pixel");
    std::memcpy(result.data(), ::xcb_get_image_data(reply.get()), bytes);
    return result;
}

std::vector<std::uint32_t> noise(std::uint32_t seed, std::size_t count) {
    std::mt19937 random(seed);
    std::vector<std::uint32_t> result(count);
    std::ranges::generate(result, [&random] { return random() & colourBits; });
    return result;
}

}  // namespace velmora
