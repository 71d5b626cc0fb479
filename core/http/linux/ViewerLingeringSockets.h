#pragma once

#include <array>
#include <boost/asio/ip/tcp.hpp>
#include <boost/system/error_code.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"

namespace velmora {

/// Closes the sockets of one listener's connections. A close while the peer is still sending makes
/// the kernel answer with a reset, which can destroy an answer on its way; so an answered
/// connection is half-closed, and what still comes in is thrown away until the peer ends its side,
/// for a bounded time and size. Shared by the listener and its connections; keeps itself alive
/// while sockets linger; used on the listener's queue only.
class ViewerLingeringSockets final : public std::enable_shared_from_this<ViewerLingeringSockets> {
  public:
    using Socket = boost::asio::ip::tcp::socket;

    static constexpr std::size_t socketLimit = 64;
    static constexpr std::uint64_t drainedBytesLimit = 16UL * 1024 * 1024;
    static constexpr std::chrono::seconds lingerTime{2};

    ViewerLingeringSockets(ViewerExecutor queue, std::shared_ptr<ViewerContinuousClock> clock);

    /// Half-closes a socket and closes it when the peer has ended its side. Closes the oldest
    /// lingering one if there are too many.
    void linger(Socket socket);
    /// Closes a socket at once.
    void close(Socket socket);
    /// Makes room by closing the socket that has lingered longest. False when there is none.
    bool closeOldest();

    /// Runs each time there is room for one more descriptor, or `closeOldest` can make some.
    void setRoomHandler(std::function<void()> handler);
    /// Tells that a descriptor was freed elsewhere.
    void noteRoom();

  private:
    /// Numbered in the order in which they came.
    using Number = std::uint64_t;
    struct Lingering final {
        Socket socket;
        ViewerContinuousClock::Instant deadline;
        std::uint64_t drainedBytes = 0;
    };
    using Sockets = std::map<Number, Lingering>;

    void drain(Number number, Lingering& lingering);
    void drained(Number number, const boost::system::error_code& error, std::size_t bytes);
    void remove(Sockets::iterator place);
    void awaitOldest();
    void closeExpired();

    const ViewerExecutor queue_;
    const std::shared_ptr<ViewerContinuousClock> clock_;
    std::function<void()> roomHandler_;
    Sockets sockets_;
    Number lastNumber_ = 0;
    /// Whether a timer is set. It stays set when its socket goes early, and then finds out.
    bool isAwaitingOldest_ = false;
    /// Never written: it tells the kernel how much to throw away in one call.
    std::array<std::uint8_t, 64UL * 1024> thrownAway_;
};

}  // namespace velmora
