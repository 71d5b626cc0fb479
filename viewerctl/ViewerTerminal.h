#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <memory>
#include <string>

#include "viewerctl/ViewerStreamOutput.h"
#include "viewerctl/ViewerTask.h"
#include "viewerctl/ViewerTerminalMode.h"
#include "viewerctl/ViewerTerminalSize.h"

namespace velmora {

/// The terminal of the standard output as a whole screen, until its end. Opened anew, so that it
/// does not block the loop, and still blocks the programs that it is shared with. On the loop's
/// thread.
class ViewerTerminal final {
  public:
    /// Throws std::system_error when there is none.
    explicit ViewerTerminal(boost::asio::io_context& loop);

    ViewerTerminalSize size() { return ViewerTerminalSize::of(input_.native_handle()); }
    /// False while it belongs to another program, in whose background this one runs.
    bool isTaken() const { return mode_.isEntered(); }
    /// Shows the bytes, unless it is another program's; false when it is gone, or after
    /// `interrupt`.
    ViewerTask<bool> send(std::shared_ptr<const std::string> bytes);
    /// What was typed, at least one byte; nothing when it is gone, or after `interrupt`.
    ViewerTask<std::string> read();
    /// Ends what is being sent and read.
    void interrupt();
    /// Gives it back, stops the program as its user wishes, and takes it again when that
    /// goes on. What is being sent ends first.
    void suspend();
    /// Takes it again, unless it is another program's.
    void resume() { mode_.enter(); }

  private:
    boost::asio::posix::stream_descriptor input_;
    ViewerStreamOutput output_;
    ViewerTerminalMode mode_;
};

}  // namespace velmora
