#include "core/capture/linux/x11/ViewerX11RootReader.h"

#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

constexpr std::uint32_t allPlanes = 0xffffffff;
}  // namespace

ViewerX11RootReader::ViewerX11RootReader(std::shared_ptr<ViewerX11Connection> connection,
                                         const ViewerPixelForm& form)
    : connection_(std::move(connection)),
      form_(form),
      memory_(ViewerX11SharedMemory::make(connection_, slotCount * slotBytes)) {}

void ViewerX11RootReader::request(std::size_t slot, const ViewerRectangle& rectangle) {
    const auto x = static_cast<std::int16_t>(rectangle.x);
    const auto y = static_cast<std::int16_t>(rectangle.y);
    const auto width = static_cast<std::uint16_t>(rectangle.width);
    const auto height = static_cast<std::uint16_t>(rectangle.height);
    Slot& used = slots_[slot];
    used.width = width;
    used.height = height;
    used.bytes = form_.bytesPerRow(width) * height;
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
        return isWhole ? plain(used, memory_->bytes() + slot * slotBytes) : nullptr;
    }
    used.reply.reset(xcb_get_image_reply(connection_->xcb(), used.plain, nullptr));
    const bool isWhole =
        used.reply != nullptr &&
        static_cast<std::size_t>(xcb_get_image_data_length(used.reply.get())) >= used.bytes;
    return isWhole ? plain(used, xcb_get_image_data(used.reply.get())) : nullptr;
}

const std::uint8_t* ViewerX11RootReader::plain(const Slot& slot, const std::uint8_t* pixels) {
    if (form_.isPlain()) {
        return pixels;
    }
    const std::size_t rowBytes = slot.width * bytesPerPixel;
    converted_.resize(rowBytes * slot.height);
    for (std::size_t row = 0; row < slot.height; ++row) {
        form_.convert(pixels + row * form_.bytesPerRow(slot.width), slot.width,
                      converted_.data() + row * rowBytes);
    }
    return converted_.data();
}

}  // namespace velmora
