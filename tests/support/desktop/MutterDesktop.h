#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/support/desktop/DesktopOutput.h"
#include "tests/support/desktop/DesktopSession.h"
#include "tests/support/desktop/PortalBackend.h"
#include "tests/support/desktop/WaylandPainter.h"

namespace velmora {

/// A desktop with mutter, which is GNOME's compositor: with one to three virtual monitors side by
/// side, Meta-0, Meta-1 and so on, each painted in its colour; PipeWire and its session manager;
/// the real portal, before a backend that is scripted. Of an output only size and colour count
/// here. Members: "mutter", "pipewire", "wireplumber", "portal", "script". One thread.
class MutterDesktop final {
  public:
    explicit MutterDesktop(std::vector<DesktopOutput> outputs = {{}},
                           const std::string& name = "GNOME");

    DesktopSession& session() { return session_; }
    PortalBackend& backend() { return *backend_; }
    /// The painter of a monitor, counted from 0.
    WaylandPainter& painter(std::size_t output) { return *painters_.at(output); }

    static std::string connector(std::size_t output) { return "Meta-" + std::to_string(output); }

  private:
    DesktopSession session_;
    std::unique_ptr<PortalBackend> backend_;
    std::vector<std::unique_ptr<WaylandPainter>> painters_;
};

}  // namespace velmora
