#pragma once

#include <memory>
#include <string>

#include "bench/capture/HostCapture.h"
#include "bench/capture/Painter.h"
#include "tests/support/desktop/AccessibleSession.h"
#include "tests/support/desktop/DesktopSession.h"
#include "tests/support/desktop/WaylandPainter.h"
#include "tests/support/system/BorrowedEnvironment.h"
#include "tests/support/x11/XServer.h"

namespace velmora::bench {

/// The same picture of 1920 × 1080, like a desktop, on a Wayland desktop and on a virtual X server;
/// the host on either of them. One thread.
class Surroundings final {
  public:
    static constexpr int width = 1920;
    static constexpr int height = 1080;

    Surroundings(DesktopSession& session, WaylandPainter& painter, std::string hostProgram);

    /// Lets a part of both screens move until `rest()`.
    void move(const ViewerRectangle& part);
    void rest();

    /// Makes the desktop, or the X server, the one that programs are started on.
    void enterDesktop();
    void enterXServer();
    /// The host there; on the desktop somebody consents to what it asks.
    HostCapture startHost();

  private:
    std::unique_ptr<Painter> makeXPainter();

    DesktopSession& session_;
    WaylandPainter& painter_;
    const std::string hostProgram_;
    const AccessibleSession person_;
    const XServer server_;
    BorrowedEnvironment environment_;
    const std::unique_ptr<Painter> xPainter_;
    bool isOnDesktop_ = false;
};

}  // namespace velmora::bench
