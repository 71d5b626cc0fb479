#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "viewerctl/ViewerConsole.h"
#include "viewerctl/ViewerEvent.h"
#include "viewerctl/ViewerHostClient.h"
#include "viewerctl/ViewerLocalServer.h"
#include "viewerctl/ViewerTask.h"

namespace velmora {

/// Hands a display's pictures on as multipart JPEG (multipart/x-mixed-replace), which programs take
/// as a camera's: on standard output, or to any number of programs that ask a loopback port. The
/// host is asked once for all of them. The last picture is repeated, so that they come at a
/// constant rate. Must outlive its task. On the loop's thread.
class ViewerStreamCommand final {
  public:
    struct Options final {
        ViewerHostAddress host;
        std::string display;
        /// Pictures a second.
        double rate;
        /// Of the loopback interface; without one it is standard output.
        std::optional<std::uint16_t> port;
    };

    ViewerStreamCommand(boost::asio::io_context& loop, ViewerHostClient& client,
                        const ViewerConsole& console, Options options);

    /// Until the program ends or nobody takes the pictures any more.
    ViewerTask<ViewerExit> run();

    /// What stands before the first part, and the whole of a part with the boundary behind it.
    static std::string preamble();
    static std::string part(std::string_view jpeg);

  private:
    using Sink = std::function<ViewerTask<bool>(std::shared_ptr<const std::string>)>;

    ViewerTask<void> fetch(std::string displayID);
    void noteState(const ViewerOutcome<ViewerHostFrame>& frame);
    ViewerTask<void> deliver(Sink sink);
    ViewerTask<void> serveProgram(std::shared_ptr<ViewerLocalConnection> connection);
    ViewerTask<ViewerExit> stream();

    boost::asio::io_context& loop_;
    ViewerHostClient& client_;
    const ViewerConsole& console_;
    const Options options_;
    const std::chrono::nanoseconds period_;
    /// The newest part; nothing before the first picture.
    std::shared_ptr<const std::string> part_;
    ViewerEvent firstPart_;
    ViewerEvent fetchEnded_;
    std::optional<ViewerFailure> failure_;
};

}  // namespace velmora
