#include "core/capture/linux/x11/ViewerX11SessionWatch.h"

#include <fcntl.h>
#include <unistd.h>

#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/error_code.hpp>
#include <optional>
#include <utility>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/x11/ViewerX11Permission.h"
#include "core/capture/linux/x11/ViewerX11Reply.h"
#include "core/runtime/ViewerBoundedCall.h"
#include "core/runtime/linux/ViewerDetachedThread.h"

namespace velmora {

namespace {

using Clock = std::shared_ptr<ViewerContinuousClock>;
using Connector = std::shared_ptr<ViewerX11Connector>;
using Connection = std::shared_ptr<ViewerX11Connection>;
using Duration = ViewerContinuousClock::Duration;
using Instant = ViewerContinuousClock::Instant;

/// Whether the screen may be read; nothing when the server does not say so within `limit`, or no
/// thread is left to ask it.
ViewerTask<std::optional<bool>> canRead(Clock clock, Duration limit, Connection connection) {
    const auto call = [&](ViewerBoundedCall<bool>::Completion completion) {
        (void)startDetachedThread("x11-session", [completion, connection] {
            completion(ViewerX11Permission::accessTo(*connection) == ViewerCaptureAccess::granted);
        });
    };
    co_return co_await ViewerBoundedCall<bool>::answer(clock, limit, call);
}

/// A connection that may read the screen, null when there is none to be had, or nothing when the
/// server does not answer.
ViewerTask<std::optional<Connection>> tryServer(Clock clock, Connector connector) {
    const Instant deadline = clock->now() + ViewerScreenCapture::answerLimit;
    const std::optional<Connection> connection =
        co_await ViewerX11Connector::connectWithin(connector, clock, deadline - clock->now());
    if (!connection || !*connection) {
        co_return connection;
    }
    const std::optional<bool> isLetIn =
        co_await canRead(clock, deadline - clock->now(), *connection);
    if (!isLetIn) {
        // The thread that is stuck in the connection goes on with an error.
        (*connection)->abort();
        co_return std::nullopt;
    }
    co_return *isLetIn ? *connection : nullptr;
}

/// Waits until the connection has ended, cannot be watched, or the task is cancelled. The server
/// sends every client a notice when the keyboard's layout changes: such are dropped, or they would
/// pile up.
ViewerTask<void> awaitEnd(Connection connection) {
    const ViewerExecutor executor = co_await boost::asio::this_coro::executor;
    boost::asio::posix::stream_descriptor arrivals(executor);
    // Asio closes what it waits on, and xcb closes its own.
    const int copy = ::fcntl(xcb_get_file_descriptor(connection->xcb()), F_DUPFD_CLOEXEC, 0);
    boost::system::error_code error;
    arrivals.assign(copy, error);
    if (error) {
        ::close(copy);
        co_return;
    }
    while (!error) {
        while (ViewerX11Reply<xcb_generic_event_t>(xcb_poll_for_event(connection->xcb()))) {
        }
        const auto task = co_await boost::asio::this_coro::cancellation_state;
        if (isCancelled(task) || connection->isDead()) {
            co_return;
        }
        co_await arrivals.async_wait(
            boost::asio::posix::stream_descriptor::wait_read,
            boost::asio::redirect_error(boost::asio::use_awaitable_t<ViewerExecutor>(), error));
    }
}

ViewerTask<void> watch(Clock clock, Connector connector, std::function<void()> ended) {
    std::optional<Instant> goneSince;
    bool isWatching = true;
    while (isWatching) {
        std::optional<Connection> server = co_await tryServer(clock, connector);
        if (!server) {
            goneSince.reset();
        } else if (*server) {
            co_await awaitEnd(std::exchange(*server, nullptr));
            goneSince = clock->now();
        } else if (!goneSince) {
            goneSince = clock->now();
        }
        const auto task = co_await boost::asio::this_coro::cancellation_state;
        if (isCancelled(task)) {
            co_return;
        }
        if (goneSince && clock->now() - *goneSince >= ViewerX11SessionWatch::patience) {
            ended();
            co_return;
        }
        isWatching = co_await clock->sleep(ViewerX11SessionWatch::interval);
    }
}

}  // namespace

ViewerX11SessionWatch::ViewerX11SessionWatch(const ViewerExecutor& executor,
                                             std::shared_ptr<ViewerContinuousClock> clock,
                                             std::shared_ptr<ViewerX11Connector> connector,
                                             std::function<void()> ended)
    : task_(startTask(executor, watch(std::move(clock), std::move(connector), std::move(ended)))) {}

ViewerX11SessionWatch::~ViewerX11SessionWatch() {
    task_->cancel();
}

}  // namespace velmora
