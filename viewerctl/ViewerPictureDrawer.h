#pragma once

#include <boost/asio/io_context.hpp>
#include <memory>
#include <optional>
#include <string>

#include "core/protocol/ViewerBytes.h"
#include "viewerctl/ViewerEvent.h"
#include "viewerctl/ViewerTask.h"
#include "viewerctl/ViewerTerminalCanvas.h"

namespace velmora {

/// Decodes and draws pictures on a thread that nobody waits for, so that one that takes long, as a
/// hostile host can make it, holds up neither keys nor the program's end. On the loop's thread.
class ViewerPictureDrawer final {
  public:
    struct Request final {
        ViewerBytes jpeg;
        /// Where the terminal is to show it.
        ViewerTerminalSize area;
        int firstRow;
        bool isDimmed;
    };

    ViewerPictureDrawer(boost::asio::io_context& loop, std::optional<ViewerPictureFormat> wanted);
    ~ViewerPictureDrawer();
    ViewerPictureDrawer(const ViewerPictureDrawer&) = delete;
    ViewerPictureDrawer& operator=(const ViewerPictureDrawer&) = delete;

    /// What shows it; nothing for a picture that is broken, or after `stop`. One at a time.
    ViewerTask<std::optional<std::string>> draw(Request request);
    /// Ends the wait.
    void stop();

  private:
    struct Desk;

    static std::optional<std::string> drawn(const ViewerTerminalCanvas& canvas,
                                            const Request& request);

    boost::asio::io_context& loop_;
    /// Shared with the thread, which may outlive the drawer.
    const std::shared_ptr<const ViewerTerminalCanvas> canvas_;
    const std::shared_ptr<Desk> desk_;
    std::unique_ptr<ViewerEvent> done_;
    bool isStopped_ = false;
};

}  // namespace velmora
