#pragma once

#include <boost/asio/posix/stream_descriptor.hpp>
#include <functional>
#include <list>
#include <memory>
#include <string>

#include "core/capture/linux/bus/ViewerBusMessage.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"
#include "core/runtime/ViewerTask.h"

namespace velmora {

/// A connection to a message bus that lives in the loop of its executor: the loop waits for its
/// descriptor, and no call blocks, the making of the connection included. Made, used and destroyed
/// on the thread of its executor, on which everything it tells arrives.
class ViewerBusConnection final : public std::enable_shared_from_this<ViewerBusConnection> {
  public:
    enum class Bus { session, system };
    using Clock = std::shared_ptr<ViewerContinuousClock>;
    using Duration = ViewerContinuousClock::Duration;
    /// Receives a signal, before its first argument.
    using Receiver = std::function<void(sd_bus_message*)>;

    /// Null where there is no such bus. Whether there is a bus that answers shows with the first
    /// call.
    static std::shared_ptr<ViewerBusConnection> open(Bus bus, ViewerExecutor executor, Clock clock);
    ~ViewerBusConnection();
    ViewerBusConnection(const ViewerBusConnection&) = delete;
    ViewerBusConnection& operator=(const ViewerBusConnection&) = delete;

    /// A call that has no arguments yet. The path has to be one.
    ViewerBusMessage makeCall(const char* destination, const char* path, const char* interface,
                              const char* member) const;
    /// The name that the bus gave this connection; empty before the first answer of the bus, and
    /// once the connection is closed.
    std::string uniqueName() const;
    /// Makes the call and waits for its answer, `limit` at most; an answer after that is dropped.
    ViewerTask<ViewerBusReply> call(ViewerBusMessage message, Duration limit);
    /// Sends a call that nobody waits for, and for which no service is started.
    void send(ViewerBusMessage message);
    /// Asks for the signals that `rule` describes. The slot must go before the connection closes,
    /// or is emptied then.
    std::shared_ptr<void> subscribe(const std::string& rule, Receiver receiver);
    /// `lost` runs once, when the bus has gone; not after `close`.
    void whenLost(std::function<void()> lost) { lost_ = std::move(lost); }
    /// Sends what is still to be sent, within `closeLimit`, and hangs up. Who waits for an answer
    /// gets none.
    void close();

    /// For so long a bus that takes nothing is waited for at the end.
    static constexpr std::chrono::milliseconds closeLimit{200};

  private:
    struct PendingCall;
    struct Subscription;
    using Calls = std::list<std::unique_ptr<PendingCall>>;

    ViewerBusConnection(sd_bus* bus, const ViewerExecutor& executor, Clock clock);

    /// Whether the loop waits for the bus, with a descriptor of its own.
    bool isInLoop();

    static int replyHasCome(sd_bus_message* reply, void* call, sd_bus_error* error);
    static int signalHasCome(sd_bus_message* signal, void* subscription, sd_bus_error* error);
    void callWith(sd_bus_message* message, std::function<void(ViewerBusReply)> completion);
    void runSoon();
    /// Lets the library read, dispatch and write, until it has nothing left to do.
    void run();
    /// Waits for what the library wants to be woken by.
    void await();
    void awaitDescriptor(boost::asio::posix::stream_descriptor::wait_type what, bool& isAwaited);
    void awaitTime();
    void drain();
    void hangUp();
    void lose();

    const ViewerExecutor executor_;
    const Clock clock_;
    /// Null once it is closed or lost.
    sd_bus* bus_;
    boost::asio::posix::stream_descriptor arrivals_;
    bool hasAnswer_ = false;
    bool isReadAwaited_ = false;
    bool isWriteAwaited_ = false;
    ViewerContinuousClock::TimerId timer_;
    Calls calls_;
    std::list<std::weak_ptr<Subscription>> subscriptions_;
    std::function<void()> lost_;
};

}  // namespace velmora
