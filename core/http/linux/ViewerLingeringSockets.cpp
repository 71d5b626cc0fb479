#include "core/http/linux/ViewerLingeringSockets.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "core/runtime/ViewerIfAlive.h"

namespace velmora {

namespace {

/// How much one call throws away, and how many calls one socket makes in a row.
constexpr std::size_t drainedAtOnce = 64UL * 1024;
constexpr int callsInARow = 16;

/// How many that begin to linger later a socket waits for before it is looked at: most peers have
/// ended their side by then, and few descriptors are held.
constexpr std::size_t mostRecentSockets = 64;

/// Throws away at most so much that has come in, without waiting. Yields what recv does.
ssize_t throwAway(const ViewerSocketDescriptor& socket) {
    // Never written: with MSG_TRUNC TCP drops received bytes without copying them.
    static std::array<std::uint8_t, drainedAtOnce> thrownAway;
    return ::recv(socket.number(), thrownAway.data(), thrownAway.size(), MSG_TRUNC | MSG_DONTWAIT);
}

}  // namespace

/// A half-closed socket whose input is thrown away. Its owner alone keeps it.
class ViewerLingeringSockets::Drained final : public ViewerWatchedSocket,
                                              public std::enable_shared_from_this<Drained> {
  public:
    Drained(ViewerLingeringSockets& owner, std::uint64_t number, ViewerSocketDescriptor socket,
            Instant deadline)
        : owner_(owner), number_(number), socket_(std::move(socket)), deadline_(deadline) {}

    void proceed() override {
        // The timer may hold it alone, and goes with the last socket.
        const auto owner = owner_.shared_from_this();
        const auto set = owner->set_.lock();
        if (!set) {
            return;
        }
        for (int call = 0; call < callsInARow; ++call) {
            const ssize_t bytes = throwAway(socket_);
            if (bytes < 0 && errno == EAGAIN) {
                await(*set);
                return;
            }
            drainedBytes_ += static_cast<std::uint64_t>(std::max<ssize_t>(bytes, 0));
            if (bytes <= 0 || drainedBytes_ >= drainedBytesLimit) {
                owner->drainedToTheEnd(number_);
                return;
            }
        }
        set->runSoon(weak_from_this());
    }

    ViewerSocketDescriptor release() {
        const auto set = owner_.set_.lock();
        if (set && isWatched_) {
            set->forget(socket_.number());
        }
        return std::move(socket_);
    }
    Instant deadline() const { return deadline_; }

  private:
    void await(ViewerSocketSet& set) {
        if (!isWatched_) {
            isWatched_ = set.watch(socket_.number(), EPOLLIN | EPOLLET, weak_from_this());
        }
    }

    ViewerLingeringSockets& owner_;
    const std::uint64_t number_;
    ViewerSocketDescriptor socket_;
    const Instant deadline_;
    std::uint64_t drainedBytes_ = 0;
    bool isWatched_ = false;
};

ViewerLingeringSockets::ViewerLingeringSockets(const std::shared_ptr<ViewerSocketSet>& set,
                                               const std::shared_ptr<ViewerContinuousClock>& clock,
                                               std::size_t unreadSocketLimit)
    : set_(set),
      queue_(set->queue()),
      clock_(clock),
      recent_(std::clamp<std::size_t>(unreadSocketLimit / 2, 1, mostRecentSockets)),
      unread_(std::max(unreadSocketLimit, recent_.capacity() + 1) - recent_.capacity()) {}

ViewerLingeringSockets::~ViewerLingeringSockets() = default;

void ViewerLingeringSockets::linger(ViewerSocketDescriptor socket) {
    const auto clock = halfClose(socket);
    if (!clock) {
        close(std::move(socket));
        return;
    }
    if (recent_.full()) {
        lookAtOldestRecent();
    }
    const Instant deadline = clock->now() + lingerTime;
    recent_.push_back({std::move(socket), deadline});
    awaitNext(*clock, deadline);
    noteRoom();
}

void ViewerLingeringSockets::lookAtOldestRecent() {
    Unread oldest = std::move(recent_.front());
    recent_.pop_front();
    const ssize_t bytes = throwAway(oldest.socket);
    if (bytes == 0 || (bytes < 0 && errno != EAGAIN)) {
        close(std::move(oldest.socket));
        return;
    }
    if (unread_.full()) {
        closeOldestUnread();
    }
    unread_.push_back(std::move(oldest));
}

void ViewerLingeringSockets::drain(ViewerSocketDescriptor socket) {
    const auto clock = halfClose(socket);
    if (!clock) {
        close(std::move(socket));
        return;
    }
    while (drained_.size() >= drainedSocketLimit) {
        closeOldestDrained();
    }
    const std::uint64_t number = ++lastNumber_;
    const Instant deadline = clock->now() + lingerTime;
    const auto drained = std::make_shared<Drained>(*this, number, std::move(socket), deadline);
    drained_.emplace(number, drained);
    awaitNext(*clock, deadline);
    drained->proceed();
    noteRoom();
}

void ViewerLingeringSockets::close(ViewerSocketDescriptor socket) {
    socket.close();
    noteRoom();
}

bool ViewerLingeringSockets::closeOldest() {
    const auto next = nextDeadline();
    if (!next) {
        return false;
    }
    if (drained_.empty() || drained_.begin()->second->deadline() > *next) {
        closeOldestUnread();
    } else {
        closeOldestDrained();
    }
    return true;
}

void ViewerLingeringSockets::setRoomHandler(std::function<void()> handler) {
    roomHandler_ = std::move(handler);
}

void ViewerLingeringSockets::noteRoom() {
    if (roomHandler_) {
        roomHandler_();
    }
}

std::shared_ptr<ViewerContinuousClock> ViewerLingeringSockets::halfClose(
    const ViewerSocketDescriptor& socket) {
    return ::shutdown(socket.number(), SHUT_WR) == 0 ? clock_.lock() : nullptr;
}

void ViewerLingeringSockets::drainedToTheEnd(std::uint64_t number) {
    const auto drained = drained_.extract(number);
    close(drained.mapped()->release());
    endWait();
}

void ViewerLingeringSockets::closeOldestUnread() {
    auto& oldest = unread_.empty() ? recent_ : unread_;
    ViewerSocketDescriptor socket = std::move(oldest.front().socket);
    oldest.pop_front();
    // Without unread bytes a close is no reset, and the kernel goes on with what is on its way.
    (void)throwAway(socket);  // what is beyond one call is in vain
    close(std::move(socket));
}

void ViewerLingeringSockets::closeOldestDrained() {
    const auto drained = drained_.extract(drained_.begin());
    close(drained.mapped()->release());
}

std::optional<ViewerLingeringSockets::Instant> ViewerLingeringSockets::nextDeadline() const {
    std::optional<Instant> next;
    if (const auto& oldest = unread_.empty() ? recent_ : unread_; !oldest.empty()) {
        next = oldest.front().deadline;
    }
    if (!drained_.empty()) {
        const Instant first = drained_.begin()->second->deadline();
        next = std::min(next.value_or(first), first);
    }
    return next;
}

void ViewerLingeringSockets::awaitNext(ViewerContinuousClock& clock, Instant notBefore) {
    const auto next = nextDeadline();
    if (timer_ || !next) {
        return;
    }
    timer_ =
        clock.schedule(std::max(*next, notBefore), queue_,
                       ifAlive(clock_, [self = shared_from_this()](ViewerContinuousClock& same) {
                           self->timer_.reset();
                           self->closeExpired(same);
                       }));
}

void ViewerLingeringSockets::closeExpired(ViewerContinuousClock& clock) {
    const Instant now = clock.now();
    for (auto next = nextDeadline(); next && *next <= now; next = nextDeadline()) {
        (void)closeOldest();  // there is one
    }
    awaitNext(clock, now + closingInterval);
}

void ViewerLingeringSockets::endWait() {
    const auto clock = clock_.lock();
    if (timer_ && clock && !nextDeadline()) {
        clock->withdraw(*std::exchange(timer_, std::nullopt));
    }
}

}  // namespace velmora
