#pragma once

#include <sys/types.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "tests/support/x11/XClient.h"
#include "tests/support/x11/XServer.h"

namespace velmora {

/// A window of a test's own that someone works in, on a test's X server, and what can be told and
/// asked of the windows of others. What cannot be done stops the test's process. One thread.
class XWindow final {
  public:
    /// Shows it there, in pixels of the screen.
    XWindow(const XServer& server, const ViewerRectangle& place);
    ~XWindow() = default;
    XWindow(const XWindow&) = delete;
    XWindow& operator=(const XWindow&) = delete;

    xcb_window_t id() const { return id_; }
    void takeFocus() { giveFocusTo(id_); }
    void giveFocusTo(xcb_window_t window);
    /// Asks a window manager to give it the focus, as its user does by way of a list of windows.
    void beChosen();
    /// As a window manager does whose user closes the window.
    void requestClose(xcb_window_t window);

    /// The window that gets the keys.
    static xcb_window_t focused(const XServer& server);
    /// Whether a window shows there that has no other one around it.
    static bool isAnyAt(const XServer& server, const ViewerRectangle& place);
    /// The process that shows it.
    static pid_t owner(const XServer& server, xcb_window_t window);
    /// The names in a property of atoms.
    static std::vector<std::string> atoms(const XServer& server, xcb_window_t window,
                                          const std::string& property);
    /// The numbers in a property of a window's, or of the screen's where none is given.
    static std::vector<std::uint32_t> numbers(const XServer& server, const std::string& property,
                                              xcb_window_t window = XCB_NONE);

  private:
    const std::unique_ptr<XClient> client_;
    const xcb_window_t id_;
};

}  // namespace velmora
