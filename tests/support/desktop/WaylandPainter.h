#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "tests/support/desktop/Conversation.h"
#include "tests/support/desktop/DesktopSession.h"

namespace velmora {

/// Paints one output of a test's desktop, whatever its compositor is, also again after the output
/// was away: a member of the session, which fills the output with a window. Each operation returns
/// when the compositor has taken it; what that shows may follow a moment later. Rectangles are in
/// the output's own logical pixels, colours 0xRRGGBB. What cannot be done stops the test's process.
/// One thread.
class WaylandPainter final {
  public:
    WaylandPainter(DesktopSession& session, const std::string& output, std::uint32_t colour);

    /// Paints all of the output.
    void fill(std::uint32_t colour);
    void fill(const ViewerRectangle& part, std::uint32_t colour);
    /// Paints the last rectangle once more: nothing looks different, but something was painted.
    void repeat();
    /// Shows a picture of the output's size: a file of rows of 4 bytes a pixel, blue first.
    void show(const std::string& file);
    /// Lets a part scroll 30 times a second until `rest()`.
    void move(const ViewerRectangle& part);
    void rest();

  private:
    void paint(const std::string& command);

    const DesktopSession& session_;
    std::unique_ptr<Conversation> conversation_;
    std::string lastFill_;
};

}  // namespace velmora
