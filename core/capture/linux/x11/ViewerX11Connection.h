#pragma once

#include <xcb/xcb.h>

#include <memory>
#include <string>

namespace velmora {

/// One connection to an X server, closed with its last owner. xcb itself may be used from any
/// thread; whoever reads replies or events agrees with the other owners on who does so when. A
/// server that dies only makes every later call fail quietly.
class ViewerX11Connection final {
  public:
    /// What the environment names as the display; empty when it names none.
    static std::string displayNameFromEnvironment();

    /// Connects to the named display, or yields null when that fails or the name is empty. Blocks,
    /// with a frozen server for ever, and then every later attempt of this process behind it:
    /// called on threads that nobody waits for.
    static std::shared_ptr<ViewerX11Connection> connect(const std::string& displayName);

    ~ViewerX11Connection();
    ViewerX11Connection(const ViewerX11Connection&) = delete;
    ViewerX11Connection& operator=(const ViewerX11Connection&) = delete;

    xcb_connection_t* xcb() const { return connection_; }
    const xcb_screen_t& screen() const { return *screen_; }
    xcb_window_t root() const { return screen_->root; }

    /// Whether the connection broke or was aborted. As far as was noticed: a server's death is
    /// noticed by the next call that reads or writes.
    bool isDead() const;

    /// Breaks the connection, so that a thread that is stuck in it goes on with an error. Any
    /// thread, any number of times.
    void abort();

  private:
    ViewerX11Connection(xcb_connection_t* connection, const xcb_screen_t* screen);

    xcb_connection_t* const connection_;
    const xcb_screen_t* const screen_;
};

}  // namespace velmora
