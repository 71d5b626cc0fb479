#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "core/http/ViewerTransport.h"
#include "core/http/linux/ViewerLingeringSockets.h"
#include "core/http/linux/ViewerListeningSocket.h"
#include "core/http/linux/ViewerSocketDescriptor.h"
#include "core/http/linux/ViewerSocketSet.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"
#include "core/runtime/ViewerLock.h"
#include "core/runtime/ViewerRecycler.h"

namespace velmora {

/// One listening TCP socket. Made by the transport, owned by whoever started it; any thread, the
/// handlers run on its queue. One that is destroyed without a `cancel` stops listening silently.
///
/// When descriptors or memory run out it stops accepting: connections stay in the kernel's queue
/// until one of its own has gone or begins to linger, or for a tenth of a second. Lingering ones
/// are then closed to make room, the oldest first. Descriptors count as run out before the last
/// ones are gone, because a capture or an alert needs some too. One connection may have been
/// accepted by then: it is kept, and served as the next when there is room.
///
/// The queue may be any serial one; the clock has to bear being used on it.
class ViewerSocketListener final : public ViewerListener,
                                   public ViewerWatchedSocket,
                                   public std::enable_shared_from_this<ViewerSocketListener> {
  public:
    static constexpr std::chrono::milliseconds exhaustedPause{100};

    ViewerSocketListener(std::uint16_t port, std::shared_ptr<ViewerContinuousClock> clock);
    ViewerSocketListener(const ViewerSocketListener&) = delete;
    ViewerSocketListener& operator=(const ViewerSocketListener&) = delete;

    void setStateHandler(StateHandler handler) override;
    void setConnectionHandler(ConnectionHandler handler) override;
    /// Once. After a `cancel` it only delivers `cancelled`.
    void start(ViewerExecutor queue) override;
    std::optional<std::uint16_t> port() const override;
    void cancel() override;

    void proceed() override;

  private:
    void open(const ViewerExecutor& queue);
    /// Takes the next connection. False when there is none or no room, or when the listener has
    /// ended.
    bool acceptNext();
    std::size_t waitingConnections() const;
    /// Gives the accepted connection away. False when there is no room for it.
    bool handOver();
    bool isClearOfReserve();
    /// False when accepting had to be paused for it.
    bool makeRoom();
    void pauseAccepting();
    void resumeAccepting();
    void stopAccepting();
    void fail(const std::string& description);
    void cancelOnQueue();
    void report(ViewerListenerState state, const std::string& description);

    const std::uint16_t requestedPort_;
    const std::shared_ptr<ViewerContinuousClock> clock_;
    /// Of its connections. They are larger than what the C library hands out quickly.
    const std::shared_ptr<ViewerRecycler> memory_;
    StateHandler stateHandler_;
    ConnectionHandler connectionHandler_;
    /// 0 while nothing is bound.
    std::atomic<std::uint16_t> port_{0};

    ViewerLock lock_;
    /// Present once started.
    std::optional<ViewerExecutor> queue_ VIEWER_GUARDED_BY(lock_);
    bool isCancelled_ VIEWER_GUARDED_BY(lock_) = false;

    // What follows is touched on the queue only.
    /// Present while listening.
    std::optional<ViewerListeningSocket> listening_;
    std::shared_ptr<ViewerSocketSet> set_;
    std::shared_ptr<ViewerLingeringSockets> ending_;
    /// Clients get no descriptor from this one on. Read when the listener opens.
    int firstReserved_ = 0;
    /// A connection that was accepted and not handed over yet.
    ViewerSocketDescriptor accepted_;
    /// Present while accepting is paused.
    std::optional<ViewerContinuousClock::TimerId> pause_;
};

}  // namespace velmora
