#pragma once

#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "viewerctl/ViewerBell.h"
#include "viewerctl/ViewerConsole.h"
#include "viewerctl/ViewerPictureDrawer.h"
#include "viewerctl/ViewerTask.h"
#include "viewerctl/ViewerTerminal.h"
#include "viewerctl/ViewerWatchedHost.h"

namespace velmora {

/// Shows on a terminal what is watched. The newest counts: what is seen while the terminal takes
/// the last is not shown unless it still is the newest afterwards. Must outlive its task. On the
/// loop's thread.
class ViewerWatchScreen final {
  public:
    ViewerWatchScreen(boost::asio::io_context& loop, ViewerTerminal& terminal,
                      ViewerWatchedHost& host, const ViewerConsole& console,
                      std::optional<ViewerPictureFormat> format);

    /// Until `stop`, or the terminal is gone.
    ViewerTask<void> paint();
    /// Something has changed.
    void refresh() { bell_.ring(); }
    /// Nothing on the terminal is certain any more; what was being sent has ended.
    void repaint();
    void stop();

  private:
    /// What a drawn picture depends on.
    struct Subject final {
        friend bool operator==(const Subject&, const Subject&) = default;

        std::uint64_t choice = 0;
        std::uint64_t picture = 0;
        ViewerTerminalSize size;
        bool isDimmed = false;
    };

    Subject subject();
    ViewerTask<void> draw(Subject subject);
    ViewerTask<bool> show();
    std::string lines(ViewerTerminalSize size);

    ViewerTerminal& terminal_;
    ViewerWatchedHost& host_;
    const ViewerConsole& console_;
    ViewerPictureDrawer drawer_;
    ViewerBell bell_;
    /// The newest picture that was drawn, and of what.
    std::string drawn_;
    Subject drawnSubject_;
    /// What the terminal shows.
    std::optional<Subject> shown_;
    bool isInterrupted_ = false;
    bool isStopped_ = false;
};

}  // namespace velmora
