#pragma once

#include <boost/circular_buffer.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "core/http/linux/ViewerSocketDescriptor.h"
#include "core/http/linux/ViewerSocketSet.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"

namespace velmora {

/// Closes the sockets of one listener's connections. A close while the peer is still sending makes
/// the kernel answer with a reset, which can destroy an answer on its way; so an answered
/// connection is half-closed and lingers for a bounded time. It is looked at once meanwhile, when
/// some others have come, and closed if its peer has ended its side by then. Where the peer is
/// known to have more to send, that is taken in and thrown away until the peer ends its side, up to
/// a bounded size: it would not get to read the answer otherwise. Shared by the listener and its
/// connections; the clock keeps it alive while sockets linger. Used on the listener's queue only.
class ViewerLingeringSockets final : public std::enable_shared_from_this<ViewerLingeringSockets> {
  public:
    /// How many may be drained at once. What may linger unread is told at construction.
    static constexpr std::size_t drainedSocketLimit = 64;
    static constexpr std::uint64_t drainedBytesLimit = 16UL * 1024 * 1024;
    static constexpr std::chrono::seconds lingerTime{2};
    /// Sockets whose time ends within this of one another are closed together.
    static constexpr std::chrono::milliseconds closingInterval{100};

    ViewerLingeringSockets(const std::shared_ptr<ViewerSocketSet>& set,
                           const std::shared_ptr<ViewerContinuousClock>& clock,
                           std::size_t unreadSocketLimit);
    ViewerLingeringSockets(const ViewerLingeringSockets&) = delete;
    ViewerLingeringSockets& operator=(const ViewerLingeringSockets&) = delete;
    ~ViewerLingeringSockets();

    /// Half-closes a socket that nobody watches, and closes it later. Closes the one that has
    /// lingered longest if there are too many.
    void linger(ViewerSocketDescriptor socket);
    /// The same for a socket whose peer may be sending; closes it when the peer has ended its side.
    void drain(ViewerSocketDescriptor socket);
    /// Closes a socket at once.
    void close(ViewerSocketDescriptor socket);
    /// Makes room by closing the socket that has lingered longest. False when there is none.
    bool closeOldest();

    /// Runs each time there is room for one more descriptor, or `closeOldest` can make some.
    void setRoomHandler(std::function<void()> handler);
    /// Tells that a descriptor was freed elsewhere.
    void noteRoom();

  private:
    class Drained;
    using Instant = ViewerContinuousClock::Instant;
    struct Unread final {
        ViewerSocketDescriptor socket;
        Instant deadline;
    };

    /// The clock by which the socket may linger now; null when there is nothing to linger for: its
    /// peer has reset the connection, or everything ends.
    std::shared_ptr<ViewerContinuousClock> halfClose(const ViewerSocketDescriptor& socket);
    /// Closes it if its peer has ended or reset it, else leaves it alone until its time ends.
    void lookAtOldestRecent();
    void drainedToTheEnd(std::uint64_t number);
    void closeOldestUnread();
    void closeOldestDrained();
    /// Of all that linger; nothing without any.
    std::optional<Instant> nextDeadline() const;
    void awaitNext(ViewerContinuousClock& clock, Instant notBefore);
    void closeExpired(ViewerContinuousClock& clock);
    void endWait();

    /// Not shared: the clock, which may outlive the loop, holds this while sockets linger.
    const std::weak_ptr<ViewerSocketSet> set_;
    const ViewerExecutor queue_;
    const std::weak_ptr<ViewerContinuousClock> clock_;
    std::function<void()> roomHandler_;
    /// Those that began last, each of which is looked at once; then those whose peers had not ended
    /// yet. Both in the order in which they came.
    boost::circular_buffer<Unread> recent_;
    boost::circular_buffer<Unread> unread_;
    /// Numbered in the order in which they came.
    std::map<std::uint64_t, std::shared_ptr<Drained>> drained_;
    std::uint64_t lastNumber_ = 0;
    std::optional<ViewerContinuousClock::TimerId> timer_;
};

}  // namespace velmora
