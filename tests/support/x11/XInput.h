#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <memory>

#include "tests/support/x11/XClient.h"
#include "tests/support/x11/XServer.h"

namespace velmora {

/// The hands of someone at a test's X server. What cannot be done stops the test's process. One
/// thread.
class XInput final {
  public:
    explicit XInput(const XServer& server);
    XInput(const XInput&) = delete;
    XInput& operator=(const XInput&) = delete;

    /// By the key's symbol, such as `returnKey`.
    void press(xcb_keysym_t key);
    /// Presses the key without letting go.
    void hold(xcb_keysym_t key);
    void release(xcb_keysym_t key);
    /// At a place of the screen, in pixels.
    void click(std::int64_t x, std::int64_t y) { click(x, y, 1); }
    void doubleClick(std::int64_t x, std::int64_t y) { click(x, y, 2); }
    /// Whether some client holds the text that was selected last.
    bool isAnythingSelected() const;

    static constexpr xcb_keysym_t returnKey = 0xff0d;
    static constexpr xcb_keysym_t escapeKey = 0xff1b;
    static constexpr xcb_keysym_t tabKey = 0xff09;
    static constexpr xcb_keysym_t homeKey = 0xff50;
    static constexpr xcb_keysym_t upKey = 0xff52;
    static constexpr xcb_keysym_t downKey = 0xff54;
    static constexpr xcb_keysym_t pageUpKey = 0xff55;
    static constexpr xcb_keysym_t pageDownKey = 0xff56;
    static constexpr xcb_keysym_t endKey = 0xff57;

  private:
    void click(std::int64_t x, std::int64_t y, int times);
    void send(std::uint8_t type, std::uint8_t detail, std::int16_t x = 0, std::int16_t y = 0);
    xcb_keycode_t codeOf(xcb_keysym_t key) const;

    const std::unique_ptr<XClient> client_;
};

}  // namespace velmora
