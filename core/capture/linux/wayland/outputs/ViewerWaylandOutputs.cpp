#include "core/capture/linux/wayland/outputs/ViewerWaylandOutputs.h"

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
#include "core/capture/linux/wayland/outputs/ViewerOutputReader.h"
#include "core/capture/linux/wayland/outputs/ViewerWaylandConnection.h"
#include "core/runtime/ViewerIfAlive.h"

namespace velmora {

namespace {

using Arrivals = boost::asio::posix::stream_descriptor;
using Instant = ViewerContinuousClock::Instant;

ViewerTask<bool> isTaskCancelled() {
    const auto task = co_await boost::asio::this_coro::cancellation_state;
    co_return isCancelled(task);
}

}  // namespace

/// What the task and its owner share.
class ViewerWaylandOutputs::State final {
  public:
    State(std::shared_ptr<ViewerContinuousClock> itsClock, std::string path)
        : clock(std::move(itsClock)), socketPath_(std::move(path)) {}

    /// Whether there is a connection now.
    bool connect() {
        ViewerWaylandConnection::Attempt attempt = ViewerWaylandConnection::connect(socketPath_);
        connection_ = std::move(attempt.connection);
        outcome_ = connection_ || attempt.isBusy ? Outcome::silent : Outcome::absent;
        if (connection_) {
            reader_.emplace(connection_->display());
        }
        return connection_ != nullptr;
    }
    /// Takes in what has arrived. False once there is no connection any more.
    bool takeEvents() {
        if (!connection_) {
            return false;
        }
        if (!connection_->exchange()) {
            outcome_ = hasAnswered() ? Outcome::left : Outcome::absent;
            disconnect();
            return false;
        }
        if (reader_->isComplete()) {
            keep({reader_->outputs(), reader_->screenCopy().name != 0, reader_->offersImageCopy()});
        }
        return true;
    }
    void disconnect() {
        reader_.reset();
        connection_.reset();
        if (std::exchange(current_, nullptr)) {
            tellChange();
        }
    }
    int descriptor() const { return connection_->descriptor(); }

    /// Nobody is told anything any more.
    void abandon() {
        changed = nullptr;
        ended = nullptr;
        disconnect();
    }

    const Current& current() const { return current_; }
    bool hasAnswered() const { return current_ != nullptr; }

    /// Takes note of what came of the last try.
    void judge() {
        if (outcome_ == Outcome::silent) {
            goneSince_.reset();
        } else if (outcome_ == Outcome::left || !goneSince_) {
            goneSince_ = clock->now();
        }
    }
    bool isGoneForGood() const { return goneSince_ && clock->now() - *goneSince_ >= patience; }
    void end() {
        hasEnded_ = true;
        tellEnd();
    }
    void tellEnd() {
        if (hasEnded_ && ended) {
            std::exchange(ended, nullptr)();
        }
    }

    const std::shared_ptr<ViewerContinuousClock> clock;
    std::function<void()> changed;
    std::function<void()> ended;

  private:
    /// What a try to connect came to: nobody is there, somebody is who does not answer, or somebody
    /// was who has left.
    enum class Outcome { absent, silent, left };

    void keep(Snapshot snapshot) {
        if (!current_ || *current_ != snapshot) {
            current_ = std::make_shared<const Snapshot>(std::move(snapshot));
            tellChange();
        }
    }
    void tellChange() {
        if (changed) {
            // What it does may take the callback away.
            const auto tell = changed;
            tell();
        }
    }

    const std::string socketPath_;
    std::unique_ptr<ViewerWaylandConnection> connection_;
    /// Over the connection.
    std::optional<ViewerOutputReader> reader_;
    Current current_;
    Outcome outcome_ = Outcome::absent;
    std::optional<Instant> goneSince_;
    bool hasEnded_ = false;
};

ViewerWaylandOutputs::ViewerWaylandOutputs(ViewerExecutor executor,
                                           std::shared_ptr<ViewerContinuousClock> clock,
                                           std::string socketPath)
    : executor_(std::move(executor)),
      state_(std::make_shared<State>(std::move(clock), std::move(socketPath))) {}

ViewerWaylandOutputs::~ViewerWaylandOutputs() {
    state_->abandon();
    if (task_) {
        task_->cancel();
    }
}

void ViewerWaylandOutputs::start(std::function<void()> changed) {
    state_->changed = std::move(changed);
    task_ = startTask(executor_, watch(state_));
}

ViewerOutputs::Current ViewerWaylandOutputs::current() {
    (void)state_->takeEvents();  // an end of the connection is the task's to deal with
    return state_->current();
}

void ViewerWaylandOutputs::watchSession(std::function<void()> ended) {
    state_->ended = std::move(ended);
    state_->tellEnd();
}

ViewerTask<void> ViewerWaylandOutputs::watch(Shared state) {
    bool isWatching = true;
    while (isWatching) {
        co_await serve(state);
        const bool isOver = co_await isTaskCancelled();
        if (isOver) {
            co_return;
        }
        state->judge();
        if (state->isGoneForGood()) {
            state->end();
            co_return;
        }
        isWatching = co_await state->clock->sleep(interval);
    }
}

ViewerTask<void> ViewerWaylandOutputs::serve(Shared state) {
    if (!state->connect()) {
        co_return;
    }
    co_await awaitEnd(state);
    state->disconnect();
}

ViewerTask<void> ViewerWaylandOutputs::awaitEnd(Shared state) {
    const ViewerExecutor executor = co_await boost::asio::this_coro::executor;
    const auto arrivals = std::make_shared<Arrivals>(executor);
    // Asio closes what it waits on, and the library closes its own.
    const int copy = ::fcntl(state->descriptor(), F_DUPFD_CLOEXEC, 0);
    boost::system::error_code error;
    arrivals->assign(copy, error);
    if (error) {
        ::close(copy);
        co_return;
    }
    const auto limit = state->clock->schedule(
        state->clock->now() + ViewerScreenCapture::answerLimit, executor,
        ifAlive(std::weak_ptr<Arrivals>(arrivals), [state](Arrivals& silent) {
            if (!state->hasAnswered()) {
                boost::system::error_code ignored;  // of a wait that is over
                silent.cancel(ignored);
            }
        }));
    while (!error && state->takeEvents()) {
        co_await arrivals->async_wait(
            Arrivals::wait_read,
            boost::asio::redirect_error(boost::asio::use_awaitable_t<ViewerExecutor>(), error));
    }
    state->clock->withdraw(limit);
}

}  // namespace velmora
