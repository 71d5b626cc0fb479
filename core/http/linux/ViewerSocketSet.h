#pragma once

#include <atomic>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"
#include "core/runtime/linux/ViewerLoopIntake.h"

namespace velmora {

/// A socket that a set tells when there may be something to do.
class ViewerWatchedSocket {
  public:
    virtual ~ViewerWatchedSocket() = default;
    /// The socket may be ready, or the turn that `runSoon` asked for has come. Also for nothing.
    virtual void proceed() = 0;
};

/// The sockets of one listener, in an epoll set of their own: the loop behind the queue waits for
/// the set's descriptor alone, and a turn of the set takes up whatever has happened by then. So a
/// socket that is ready when it is first tried costs no registration, and what sockets put off
/// costs the loop nothing. Shared by the sockets; on the queue only, `isInTurn` on any thread.
class ViewerSocketSet final : public std::enable_shared_from_this<ViewerSocketSet> {
  public:
    /// When a socket for which the system had no room is tried again.
    static constexpr std::chrono::milliseconds noRoomPause{100};

    ViewerSocketSet(ViewerExecutor queue, const std::shared_ptr<ViewerContinuousClock>& clock);
    ViewerSocketSet(const ViewerSocketSet&) = delete;
    ViewerSocketSet& operator=(const ViewerSocketSet&) = delete;

    const ViewerExecutor& queue() const { return queue_; }
    /// Called once, first. Yields the error number of what failed, 0 for nothing.
    int open();

    /// Watches a socket for those events of epoll's until its descriptor is closed. Where the
    /// system has no room to watch one more the socket is told to proceed after a pause, and false
    /// is the answer.
    bool watch(int descriptor, std::uint32_t events, std::weak_ptr<ViewerWatchedSocket> socket);
    /// Watches a watched socket for other events.
    void watchFor(int descriptor, std::uint32_t events);
    /// Called for a watched socket before its descriptor is closed.
    void forget(int descriptor);
    /// Called for a watched socket that stays open.
    void stopWatching(int descriptor);

    /// Tells that a socket has brought something of a request. In a turn.
    void noteIntake() { intake_.add(); }
    /// Tells a socket to proceed, not within this call but before the loop waits again.
    void runSoon(std::weak_ptr<ViewerWatchedSocket> socket);
    /// Whether the caller is called by a turn of this set, and so on the queue.
    bool isInTurn() const { return turnThread_ == std::this_thread::get_id(); }

  private:
    void turn();
    void takeEvents();
    void runDue();
    void postTurn();
    void awaitEvents();

    const ViewerExecutor queue_;
    /// Not shared: a clock holds what it has to run, which may hold the set.
    const std::weak_ptr<ViewerContinuousClock> clock_;
    ViewerLoopIntake& intake_;
    boost::asio::posix::stream_descriptor epoll_;
    bool isAwaiting_ = false;
    bool isPosted_ = false;
    std::atomic<std::thread::id> turnThread_;
    /// By descriptor.
    std::vector<std::weak_ptr<ViewerWatchedSocket>> watched_;
    /// Those of `runSoon`, and those whose turn it is; apart, because the first grow meanwhile.
    std::vector<std::weak_ptr<ViewerWatchedSocket>> due_;
    std::vector<std::weak_ptr<ViewerWatchedSocket>> running_;
};

}  // namespace velmora
