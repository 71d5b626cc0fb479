#pragma once

#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "core/capture/ViewerScreenCapture.h"
#include "core/http/ViewerHTTPServer.h"
#include "core/runtime/linux/ViewerBoottimeClock.h"
#include "core/runtime/linux/ViewerLoopExecutors.h"

namespace velmora {

/// What answers requests in a host, on a loop that only runs when a test says so: one thread is the
/// host's and its clients'. On any free port.
class ServedLoop final {
  public:
    using MakeCapture = std::function<std::shared_ptr<ViewerScreenCapture>(
        ViewerExecutor loop, std::shared_ptr<ViewerContinuousClock> clock)>;

    explicit ServedLoop(const MakeCapture& makeCapture);
    ~ServedLoop();
    ServedLoop(const ServedLoop&) = delete;
    ServedLoop& operator=(const ServedLoop&) = delete;

    /// Connects a client, which asks for `path` at once and belongs to the caller.
    int ask(const std::string& path) const;
    /// Runs the loop until everything that came in by now is answered.
    void run();
    /// Takes what a client got, which is closed then. Runs the loop until it has got it all.
    std::string answerOf(int client);

  private:
    boost::asio::io_context loop_{1};
    ViewerLoopExecutors executors_{loop_.get_executor()};
    const std::shared_ptr<ViewerContinuousClock> clock_ =
        std::make_shared<ViewerBoottimeClock>(loop_);
    std::shared_ptr<ViewerHTTPServer> server_;
    std::uint16_t port_ = 0;
};

}  // namespace velmora
