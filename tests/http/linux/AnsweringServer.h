#pragma once

#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>

#include "core/http/ViewerTransport.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"
#include "tests/http/linux/EventLog.h"

namespace velmora {

/// A listener on a free port whose connections are served as the host serves them: received up to
/// the empty line or 8192 bytes, answered, cancelled and dropped. Its log holds the listener's
/// states, and for each connection "connection" and then "answered", or "gone" when the peer ended
/// before. On the loop only, except for the log and the port.
class AnsweringServer final {
  public:
    AnsweringServer(ViewerExecutor queue, std::shared_ptr<ViewerContinuousClock> clock,
                    ViewerHostResponseBytes answer);
    ~AnsweringServer();
    AnsweringServer(const AnsweringServer&) = delete;
    AnsweringServer& operator=(const AnsweringServer&) = delete;

    /// Once.
    void start();
    /// Starts it and runs its loop, with `whenStarted` called before the first client is served.
    void startAndRun(boost::asio::io_context& loop, const std::function<void()>& whenStarted);
    std::uint16_t port() const { return listener_->port().value_or(0); }

    EventLog log;

  private:
    class Served;

    const ViewerExecutor queue_;
    const std::shared_ptr<ViewerTransport> transport_;
    const ViewerHostResponseBytes answer_;
    std::shared_ptr<ViewerListener> listener_;
    std::set<std::shared_ptr<Served>> served_;
};

}  // namespace velmora
