#pragma once

#include <xcb/xcb.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>

#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "core/capture/linux/x11/ViewerX11Connection.h"

namespace velmora::bench {

/// Shows a picture like a desktop on the screen, and scrolls a part of it while it is told to. The
/// picture is in the X server's memory, so that scrolling costs it little. One thread.
class Painter final {
  public:
    /// How often a second what moves is painted: oftener than anybody captures.
    static constexpr int paintsASecond = 30;

    /// Paints on the display that the environment names.
    Painter();
    ~Painter();
    Painter(const Painter&) = delete;
    Painter& operator=(const Painter&) = delete;

    const ViewerRectangle& screen() const { return screen_; }
    /// Lets a part of the screen move until `rest`.
    void move(const ViewerRectangle& part);
    void rest();

  private:
    void upload();
    void scroll(const ViewerRectangle& part);
    void copy(const ViewerRectangle& from, std::int64_t x, std::int64_t y);
    /// Returns when the server has done everything so far.
    void finish();

    const std::shared_ptr<ViewerX11Connection> connection_;
    const ViewerRectangle screen_;
    const xcb_pixmap_t picture_;
    const xcb_gcontext_t context_;
    /// How far the picture is scrolled, in pixels.
    std::int64_t offset_ = 0;
    std::atomic<bool> isMoving_ = false;
    std::thread thread_;
};

}  // namespace velmora::bench
