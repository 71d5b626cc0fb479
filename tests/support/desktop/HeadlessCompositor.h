#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

/// A real Wayland compositor without a screen that belongs to a test: sway. It runs as
/// an ordinary user, which it insists on, and ends with this object or the thread that made it.
/// What cannot be done stops the test's process with the reason. One thread.
class HeadlessCompositor final {
  public:
    enum class X11 { none, xwayland };

    explicit HeadlessCompositor(X11 x11 = X11::none);
    ~HeadlessCompositor();
    HeadlessCompositor(const HeadlessCompositor&) = delete;
    HeadlessCompositor& operator=(const HeadlessCompositor&) = delete;

    /// For WAYLAND_DISPLAY: the path of its socket.
    const std::string& displayName() const { return displayName_; }
    /// For DISPLAY: its Xwayland's; empty where it has none.
    const std::string& xwaylandName() const { return xwaylandName_; }
    /// Ends it at once and without its help (SIGKILL); returns when it is gone.
    void kill();

  private:
    /// The socket's path once it is there.
    std::string awaitSocket() const;
    /// The name of the Xwayland once it is there.
    std::string awaitXwayland() const;
    /// Looks again and again until something is found.
    std::string await(const std::function<std::string()>& look) const;

    const TemporaryFolder folder_;
    std::string displayName_;
    std::string xwaylandName_;
    pid_t process_ = 0;
};

}  // namespace velmora
