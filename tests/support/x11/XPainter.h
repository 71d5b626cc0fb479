#pragma once

#include <xcb/xcb.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "tests/support/x11/XClient.h"
#include "tests/support/x11/XServer.h"

namespace velmora {

/// A client that paints on an X server's screen, straight on the root window, and reads back what
/// is there. Each operation returns when the server has done it; rectangles are in pixels of the
/// whole screen, colours 0xRRGGBB. What cannot be done stops the test's process. One thread.
/// A screen of other than 8 bits a colour is only filled.
class XPainter final {
  public:
    explicit XPainter(const XServer& server);
    ~XPainter() = default;
    XPainter(const XPainter&) = delete;
    XPainter& operator=(const XPainter&) = delete;

    /// What it paints through.
    XClient& client() { return *client_; }
    /// Fills a rectangle with one colour.
    void fill(const ViewerRectangle& area, std::uint32_t colour);
    /// Fills a rectangle with picture content: rows of colours, `area.width` each.
    void put(const ViewerRectangle& area, const std::vector<std::uint32_t>& colours);
    /// Copies a rectangle of the screen to another place, as scrolling does.
    void copy(const ViewerRectangle& area, std::int64_t x, std::int64_t y);
    /// The colours of a rectangle, row by row.
    std::vector<std::uint32_t> read(const ViewerRectangle& area) const;

  private:
    const std::unique_ptr<XClient> client_;
    xcb_connection_t* const connection_;
    xcb_window_t root_ = XCB_NONE;
    std::uint8_t depth_ = 0;
    const xcb_visualtype_t* visual_ = nullptr;
    xcb_gcontext_t context_ = XCB_NONE;
};

/// Picture content without any pattern: `count` colours that depend on `seed` alone.
std::vector<std::uint32_t> noise(std::uint32_t seed, std::size_t count);

}  // namespace velmora
