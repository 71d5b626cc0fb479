#pragma once

#include <xcb/xcb.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
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

    /// Gives up a descriptor to whoever gives it to xcb next, which closes it once it is sent, but
    /// not when the connection breaks before (libxcb 1.15): then it is closed with the connection.
    /// Once; on the thread that uses the connection.
    void passOn(int descriptor);

  private:
    /// What tells one open file from another: its device's two numbers and its own.
    using FileIdentity = std::array<std::uint64_t, 3>;

    ViewerX11Connection(xcb_connection_t* connection, const xcb_screen_t* screen);

    static std::optional<FileIdentity> identityOf(int descriptor);

    xcb_connection_t* const connection_;
    const xcb_screen_t* const screen_;
    int passedOn_ = -1;
    std::optional<FileIdentity> passedOnFile_;
};

}  // namespace velmora
