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

#include "core/capture/ViewerCaptureAccess.h"
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

/// What a try to reach the server came to.
struct Try final {
    enum class Outcome {
        /// Nobody is there.
        absent,
        /// The server does not say.
        silent,
        /// It does not let this process in, or not read its screen.
        refused,
        letIn,
    };

    Outcome outcome = Outcome::silent;
    /// Set where it was let in.
    Connection connection = nullptr;
};

Try::Outcome outcomeOf(ViewerCaptureAccess access) {
    switch (access) {
        case ViewerCaptureAccess::granted:
            return Try::Outcome::letIn;
        case ViewerCaptureAccess::noAnswer:
            return Try::Outcome::absent;
        default:
            return Try::Outcome::refused;
    }
}

/// What may be done with the screen; nothing when the server does not say so within `limit`, or no
/// thread is left to ask it.
ViewerTask<std::optional<ViewerCaptureAccess>> accessTo(Clock clock, Duration limit,
                                                        Connection connection) {
    const auto call = [&](ViewerBoundedCall<ViewerCaptureAccess>::Completion completion) {
        (void)startDetachedThread("x11-session", [completion, connection] {
            completion(ViewerX11Permission::accessTo(*connection));
        });
    };
    co_return co_await ViewerBoundedCall<ViewerCaptureAccess>::answer(clock, limit, call);
}

ViewerTask<Try> tryServer(Clock clock, Connector connector) {
    Try result;
    const Instant deadline = clock->now() + ViewerScreenCapture::answerLimit;
    const std::optional<Connection> connection =
        co_await ViewerX11Connector::connectWithin(connector, clock, deadline - clock->now());
    if (!connection) {
        co_return result;
    }
    if (!*connection) {
        result.outcome =
            outcomeOf(ViewerX11Permission::accessWithoutConnection(connector->displayName()));
        co_return result;
    }
    const std::optional<ViewerCaptureAccess> access =
        co_await accessTo(clock, deadline - clock->now(), *connection);
    if (!access) {
        // The thread that is stuck in the connection goes on with an error.
        (*connection)->abort();
        co_return result;
    }
    result.outcome = outcomeOf(*access);
    if (result.outcome == Try::Outcome::letIn) {
        result.connection = *connection;
    }
    co_return result;
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

/// Judges from what the tries came to whether the session has ended.
class Judgement final {
  public:
    explicit Judgement(Clock clock) : clock_(std::move(clock)) {}

    void take(Try::Outcome outcome) {
        using Outcome = Try::Outcome;
        refusals_ = outcome == Outcome::refused ? refusals_ + 1 : 0;
        if (outcome == Outcome::silent) {
            goneSince_.reset();
        } else if (outcome == Outcome::letIn || !goneSince_) {
            // Let in, it is taken note of once the connection has ended.
            goneSince_ = clock_->now();
        }
    }
    bool isEnd() const {
        return refusals_ >= ViewerX11SessionWatch::refusalsThatCount ||
               (goneSince_ && clock_->now() - *goneSince_ >= ViewerX11SessionWatch::patience);
    }

  private:
    const Clock clock_;
    std::optional<Instant> goneSince_;
    int refusals_ = 0;
};

ViewerTask<void> watch(Clock clock, Connector connector, std::function<void()> ended) {
    Judgement judgement(clock);
    bool isWatching = true;
    while (isWatching) {
        Try attempt = co_await tryServer(clock, connector);
        if (attempt.connection) {
            co_await awaitEnd(std::exchange(attempt.connection, nullptr));
        }
        const auto task = co_await boost::asio::this_coro::cancellation_state;
        if (isCancelled(task)) {
            co_return;
        }
        judgement.take(attempt.outcome);
        if (judgement.isEnd()) {
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
