#pragma once

#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/capture/linux/imaging/ViewerRectangle.h"

namespace velmora {

/// A test's connection to a test's X server, and the requests that xrandr has no command for. What
/// cannot be done stops the test's process. One thread.
class XClient final {
  public:
    /// An empty cookie for a server that asks for none.
    XClient(const std::string& displayName, std::string cookie);
    ~XClient();
    XClient(const XClient&) = delete;
    XClient& operator=(const XClient&) = delete;

    /// The name of the authority protocol that the cookie belongs to.
    static const std::string& authorityName();

    xcb_connection_t* connection() const { return connection_; }
    xcb_window_t root() const;
    /// Where on the screen something may be: all of the root window.
    ViewerRectangle screen() const;
    /// Returns when the server has done everything that was asked for before.
    void finish() const;

    /// From `grab()` to `ungrab()` the server serves no other client; notices go to all.
    void grab();
    void ungrab();

    /// Adds or replaces a monitor, of one output or, with an empty name, of none.
    void setMonitor(const std::string& name, const ViewerRectangle& place,
                    const std::string& output) const;
    void deleteMonitor(const std::string& name) const;
    std::size_t monitorCount() const;
    /// Replaces an output's EDID property; an empty one takes it away.
    void setEDID(const std::string& output, const std::vector<std::uint8_t>& bytes) const;
    /// Sets a property of the root window to one number, or takes it away.
    void setRootProperty(const std::string& name, std::optional<std::uint32_t> value) const;
    std::vector<std::uint8_t> edid(const std::string& output) const;

    xcb_atom_t atom(const std::string& name) const;

  private:
    xcb_randr_output_t output(const std::string& name) const;
    void check(xcb_void_cookie_t request, const char* reason) const;

    xcb_connection_t* const connection_;
    bool isGrabbing_ = false;
};

}  // namespace velmora
