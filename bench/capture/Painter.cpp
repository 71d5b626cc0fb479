#include "bench/capture/Painter.h"

#include <algorithm>
#include <chrono>
#include <vector>

#include "bench/encoder/DesktopPicture.h"
#include "core/capture/linux/x11/ViewerX11Reply.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora::bench {

namespace {

std::shared_ptr<ViewerX11Connection> connect() {
    auto result = ViewerX11Connection::connect(ViewerX11Connection::displayNameFromEnvironment());
    viewerCheck(result != nullptr, "the environment names a display to paint on");
    return result;
}

std::int16_t place(std::int64_t value) {
    return static_cast<std::int16_t>(value);
}

std::uint16_t length(std::int64_t value) {
    return static_cast<std::uint16_t>(value);
}

}  // namespace

Painter::Painter()
    : connection_(connect()),
      screen_{0, 0, connection_->screen().width_in_pixels, connection_->screen().height_in_pixels},
      picture_(xcb_generate_id(connection_->xcb())),
      context_(xcb_generate_id(connection_->xcb())) {
    xcb_connection_t* const xcb = connection_->xcb();
    xcb_create_pixmap(xcb, connection_->screen().root_depth, picture_, connection_->root(),
                      length(screen_.width), length(screen_.height));
    const std::uint32_t silent = 0;
    xcb_create_gc(xcb, context_, connection_->root(), XCB_GC_GRAPHICS_EXPOSURES, &silent);
    upload();
    copy(screen_, 0, 0);
    finish();
}

Painter::~Painter() {
    rest();
}

void Painter::upload() {
    constexpr std::int64_t bytesPerPixel = 4;
    // Small enough for a request of any server.
    constexpr std::int64_t bandBytes = 65536;
    const std::int64_t rowBytes = screen_.width * bytesPerPixel;
    const std::int64_t bandRows = bandBytes / rowBytes;
    const std::vector<std::uint8_t> pixels = desktopPicture(screen_.width, screen_.height);
    for (std::int64_t y = 0; y < screen_.height; y += bandRows) {
        const std::int64_t rows = std::min(bandRows, screen_.height - y);
        xcb_put_image(connection_->xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP, picture_, context_,
                      length(screen_.width), length(rows), 0, place(y), 0,
                      connection_->screen().root_depth, static_cast<std::uint32_t>(rows * rowBytes),
                      pixels.data() + y * rowBytes);
    }
}

void Painter::copy(const ViewerRectangle& from, std::int64_t x, std::int64_t y) {
    xcb_copy_area(connection_->xcb(), picture_, connection_->root(), context_, place(from.x),
                  place(from.y), place(x), place(y), length(from.width), length(from.height));
}

void Painter::finish() {
    xcb_connection_t* const xcb = connection_->xcb();
    const ViewerX11Reply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(xcb, xcb_get_input_focus(xcb), nullptr));
    viewerCheck(reply != nullptr, "the X server runs until the benchmark ends");
}

void Painter::scroll(const ViewerRectangle& part) {
    constexpr std::int64_t pixelsAPaint = 8;
    offset_ = (offset_ + pixelsAPaint) % part.height;
    copy({part.x, part.y + offset_, part.width, part.height - offset_}, part.x, part.y);
    if (offset_ > 0) {
        copy({part.x, part.y, part.width, offset_}, part.x, part.bottom() - offset_);
    }
    finish();
}

void Painter::move(const ViewerRectangle& part) {
    rest();
    offset_ = 0;
    isMoving_ = true;
    thread_ = std::thread([this, part] {
        auto next = std::chrono::steady_clock::now();
        while (isMoving_) {
            scroll(part);
            next += std::chrono::microseconds(std::chrono::seconds(1)) / paintsASecond;
            std::this_thread::sleep_until(next);
        }
    });
}

void Painter::rest() {
    isMoving_ = false;
    if (thread_.joinable()) {
        thread_.join();
    }
}

}  // namespace velmora::bench
