#pragma once

#include <sys/types.h>

#include "tests/support/system/TemporaryFolder.h"
#include "tests/support/x11/XServer.h"

namespace velmora {

/// A real window manager on a test's X server: Openbox, told to give the focus to no window that
/// comes up without asking for it. It ends with this object or the thread that made it. What cannot
/// be done stops the test's process. One thread.
class WindowManager final {
  public:
    /// Returns when it manages the server's windows.
    explicit WindowManager(const XServer& server);
    ~WindowManager();
    WindowManager(const WindowManager&) = delete;
    WindowManager& operator=(const WindowManager&) = delete;

  private:
    const TemporaryFolder folder_;
    pid_t process_ = 0;
};

}  // namespace velmora
