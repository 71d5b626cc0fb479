#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <thread>

#include "core/runtime/ViewerLock.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

/// Stands between one program and a compositor, passes everything on, descriptors too, and keeps
/// what the program said. Ends with this object. What cannot be done stops the test's process. Any
/// thread.
class WaylandRelay final {
  public:
    /// Of a compositor's socket.
    explicit WaylandRelay(std::string compositor);
    ~WaylandRelay();
    WaylandRelay(const WaylandRelay&) = delete;
    WaylandRelay& operator=(const WaylandRelay&) = delete;

    /// For WAYLAND_DISPLAY: the path of its own socket.
    std::string displayName() const { return folder_.path() / "wayland-0"; }
    /// Whether the program, or another one before it, has named this text by now.
    bool hasHeard(const std::string& text);
    /// The same, after it had handed over memory, as it does to show its first picture.
    bool hasHeardAfterPicture(const std::string& text);

  private:
    void run();
    /// Passes on between one client and the compositor until either has gone.
    void serve(int client);
    /// Passes on what is there; false when that was the end.
    bool passOn(int from, int to, bool isKept);

    const TemporaryFolder folder_;
    const std::string compositor_;
    const int listener_;
    std::atomic<bool> isEnding_ = false;
    ViewerLock lock_;
    std::string heard_ VIEWER_GUARDED_BY(lock_);
    /// Where in that the first descriptor came, with the bytes that came along; else nowhere.
    std::size_t firstMemory_ VIEWER_GUARDED_BY(lock_) = std::string::npos;
    std::thread thread_;
};

}  // namespace velmora
