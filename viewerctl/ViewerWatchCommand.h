#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstddef>
#include <exception>
#include <optional>
#include <string>

#include "viewerctl/ViewerConsole.h"
#include "viewerctl/ViewerEvent.h"
#include "viewerctl/ViewerHostClient.h"
#include "viewerctl/ViewerKeyReader.h"
#include "viewerctl/ViewerPictureFormat.h"
#include "viewerctl/ViewerTask.h"
#include "viewerctl/ViewerTerminal.h"
#include "viewerctl/ViewerWatchScreen.h"
#include "viewerctl/ViewerWatchedHost.h"

namespace velmora {

/// Shows the displays of a host live in the terminal, one at a time, and lets keys choose which.
/// Must outlive its task. On the loop's thread.
class ViewerWatchCommand final {
  public:
    struct Options final {
        ViewerHostAddress host;
        /// Empty for the first one.
        std::string display;
        /// Pictures a second, at most.
        double rate;
        /// Without one, what suits the terminal.
        std::optional<ViewerPictureFormat> format;
    };

    ViewerWatchCommand(boost::asio::io_context& loop, ViewerHostClient& client,
                       const ViewerConsole& console, Options options);

    /// Until a key or the program ends it, or the terminal is gone.
    ViewerTask<ViewerExit> run();

  private:
    /// Runs a task beside the others, until all of which `run` waits at its end. When one ends by
    /// an exception, all do.
    void spawn(ViewerTask<void> task);
    std::optional<ViewerFailure> begin(const ViewerOutcome<ViewerHostDisplayListing>& listing);
    ViewerTask<void> watch();
    ViewerTask<void> paint();
    ViewerTask<void> readKeys();
    ViewerTask<void> heedEscape();
    ViewerTask<void> heedSignals();
    void obey(const ViewerKey& key);
    void end();

    boost::asio::io_context& loop_;
    ViewerHostClient& client_;
    const ViewerConsole& console_;
    const Options options_;
    ViewerWatchedHost host_;
    boost::asio::signal_set signals_;
    /// There while the terminal is the program's.
    std::optional<ViewerTerminal> terminal_;
    std::optional<ViewerWatchScreen> screen_;
    ViewerKeyReader keys_;
    ViewerBell escapeBell_;
    std::size_t running_ = 0;
    ViewerEvent allEnded_;
    std::exception_ptr exception_;
};

}  // namespace velmora
