#pragma once

#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "core/capture/linux/imaging/ViewerPixelForm.h"
#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "core/capture/linux/x11/ViewerX11Connection.h"
#include "core/capture/linux/x11/ViewerX11Reply.h"
#include "core/capture/linux/x11/ViewerX11SharedMemory.h"

namespace velmora {

/// Reads rectangles of the root window as rows of 4 bytes a pixel (blue, green, red, unused)
/// without gaps, whatever the server's own form is; the pointer is not in them. It has a few slots,
/// so that the server fills one while another is being used. Where the server can, it writes into
/// shared memory, which is small on purpose: what was just written is then still in the processor's
/// cache. Smaller slots would be nearer to the processor, but for each of them the server and this
/// thread wake one another, which costs more. One thread.
class ViewerX11RootReader final {
  public:
    static constexpr std::size_t slotCount = 2;
    /// As much as the host's memory allows, and whole rows of usual screens without a rest.
    static constexpr std::size_t slotBytes = std::size_t{900} * 1024;
    static constexpr std::size_t bytesPerPixel = ViewerPixelForm::convertedBytes;

    /// `form` is that of the connection's screen. Blocks for a few round trips.
    ViewerX11RootReader(std::shared_ptr<ViewerX11Connection> connection,
                        const ViewerPixelForm& form);
    ViewerX11RootReader(const ViewerX11RootReader&) = delete;
    ViewerX11RootReader& operator=(const ViewerX11RootReader&) = delete;

    /// Asks for a rectangle of at most `slotBytes`, to be waited for before the slot is used again.
    void request(std::size_t slot, const ViewerRectangle& rectangle);
    /// The pixels that were asked for, valid until the slot is used again or another is waited for;
    /// null when the server refused, since a part of the rectangle is not on the screen any more,
    /// or is gone. Blocks.
    const std::uint8_t* wait(std::size_t slot);

  private:
    struct Slot final {
        std::size_t width = 0;
        std::size_t height = 0;
        std::size_t bytes = 0;
        xcb_shm_get_image_cookie_t shared{};
        xcb_get_image_cookie_t plain{};
        /// Holds the pixels where memory is not shared.
        ViewerX11Reply<xcb_get_image_reply_t> reply;
    };

    /// What was read into a slot in the promised form.
    const std::uint8_t* plain(const Slot& slot, const std::uint8_t* pixels);

    const std::shared_ptr<ViewerX11Connection> connection_;
    const ViewerPixelForm form_;
    /// Null where the server does not share memory.
    const std::unique_ptr<ViewerX11SharedMemory> memory_;
    std::array<Slot, slotCount> slots_;
    /// The last picture that had to be converted.
    std::vector<std::uint8_t> converted_;
};

}  // namespace velmora
