#include "core/capture/linux/bus/ViewerBusConnection.h"

#include <fcntl.h>
#include <poll.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/system/error_code.hpp>
#include <cstdint>
#include <cstdlib>
#include <utility>

#include "core/runtime/ViewerBoundedCall.h"
#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerIfAlive.h"

namespace velmora {

namespace {

using Reply = ViewerBusReply;
using Descriptor = boost::asio::posix::stream_descriptor;

/// The library waits for no answer itself: its clock stands still while the machine sleeps.
constexpr std::uint64_t noLimit = UINT64_MAX;
/// So many messages are dispatched before others of the loop have their turn.
constexpr int mostAtOnce = 64;

Reply replyOf(sd_bus_message* message) {
    const ViewerBusLibrary& library = ViewerBusLibrary::loaded();
    Reply reply;
    const sd_bus_error* const error = library.error(message);
    if (error != nullptr) {
        reply.kind = Reply::Kind::refused;
        reply.error = error->name;
    } else {
        reply.kind = Reply::Kind::answered;
        reply.message.reset(library.messageRef(message));
    }
    return reply;
}

Reply lostReply() {
    Reply reply;
    reply.kind = Reply::Kind::lost;
    return reply;
}

std::chrono::microseconds monotonicNow() {
    timespec time{};
    const int result = ::clock_gettime(CLOCK_MONOTONIC, &time);
    viewerCheck(result == 0, "the system has a monotonic clock");
    return std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

/// Where the library will look for the system's bus, so that it need not be loaded to find none.
bool isThereASystemBus() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes this process's environment.
    const char* const address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    return address != nullptr || ::access("/run/dbus/system_bus_socket", F_OK) == 0;
}

}  // namespace

struct ViewerBusConnection::PendingCall final {
    ViewerBusConnection& connection;
    std::function<void(ViewerBusReply)> completion;
    ViewerBusSlot slot = nullptr;
};

struct ViewerBusConnection::Subscription final {
    Receiver receiver;
    ViewerBusSlot slot = nullptr;
};

std::shared_ptr<ViewerBusConnection> ViewerBusConnection::open(Bus bus, ViewerExecutor executor,
                                                               Clock clock) {
    if (bus == Bus::system && !isThereASystemBus()) {
        return nullptr;
    }
    const ViewerBusLibrary* const library = ViewerBusLibrary::load();
    if (library == nullptr) {
        return nullptr;
    }
    sd_bus* opened = nullptr;
    const int result =
        bus == Bus::session ? library->openUser(&opened) : library->openSystem(&opened);
    if (result < 0) {
        return nullptr;
    }
    // The constructor is private.
    std::shared_ptr<ViewerBusConnection> connection(
        new ViewerBusConnection(opened, executor, std::move(clock)));
    if (!connection->isInLoop()) {
        return nullptr;
    }
    connection->runSoon();
    return connection;
}

ViewerBusConnection::ViewerBusConnection(sd_bus* bus, const ViewerExecutor& executor, Clock clock)
    : executor_(executor), clock_(std::move(clock)), bus_(bus), arrivals_(executor) {}

bool ViewerBusConnection::isInLoop() {
    // A copy: the library closes its own, and the loop what it waits on.
    const int copy = ::fcntl(ViewerBusLibrary::loaded().descriptor(bus_), F_DUPFD_CLOEXEC, 0);
    boost::system::error_code error;
    (void)arrivals_.assign(copy, error);
    if (error && copy >= 0) {
        ::close(copy);
    }
    return !error;
}

ViewerBusConnection::~ViewerBusConnection() {
    close();
}

ViewerBusMessage ViewerBusConnection::makeCall(const char* destination, const char* path,
                                               const char* interface, const char* member) const {
    if (bus_ == nullptr) {
        return nullptr;
    }
    sd_bus_message* message = nullptr;
    const int result = ViewerBusLibrary::loaded().newMethodCall(bus_, &message, destination, path,
                                                                interface, member);
    viewerCheck(result >= 0, "a call has a destination, a path, an interface and a name");
    return ViewerBusMessage(message);
}

std::string ViewerBusConnection::uniqueName() const {
    const char* name = nullptr;
    // Before the bus has answered, asking for it would wait.
    const bool isKnown =
        bus_ != nullptr && hasAnswer_ && ViewerBusLibrary::loaded().uniqueName(bus_, &name) >= 0;
    return isKnown ? name : "";
}

ViewerTask<ViewerBusReply> ViewerBusConnection::call(ViewerBusMessage message, Duration limit) {
    const auto self = shared_from_this();
    const auto call = [&](ViewerBoundedCall<Reply>::Completion completion) {
        self->callWith(message.get(), std::move(completion));
    };
    std::optional<Reply> reply = co_await ViewerBoundedCall<Reply>::answer(clock_, limit, call);
    co_return reply ? std::move(*reply) : Reply();
}

void ViewerBusConnection::callWith(sd_bus_message* message,
                                   std::function<void(ViewerBusReply)> completion) {
    if (bus_ == nullptr) {
        completion(lostReply());
        return;
    }
    calls_.push_back(
        std::make_unique<PendingCall>(PendingCall{*this, std::move(completion), nullptr}));
    PendingCall& pending = *calls_.back();
    sd_bus_slot* slot = nullptr;
    const int result = ViewerBusLibrary::loaded().callAsync(bus_, &slot, message, &replyHasCome,
                                                            &pending, noLimit);
    if (result < 0) {
        const auto unsent = std::move(calls_.back());
        calls_.pop_back();
        unsent->completion(lostReply());
        return;
    }
    pending.slot.reset(slot);
    runSoon();
}

int ViewerBusConnection::replyHasCome(sd_bus_message* reply, void* call, sd_bus_error*) {
    auto* const pending = static_cast<PendingCall*>(call);
    Calls& calls = pending->connection.calls_;
    const auto place = std::find_if(calls.begin(), calls.end(),
                                    [&](const auto& known) { return known.get() == pending; });
    const std::unique_ptr<PendingCall> done = std::move(*place);
    calls.erase(place);
    pending->connection.hasAnswer_ = true;
    done->completion(replyOf(reply));
    return 1;
}

void ViewerBusConnection::send(ViewerBusMessage message) {
    if (bus_ == nullptr) {
        return;
    }
    const ViewerBusLibrary& library = ViewerBusLibrary::loaded();
    library.setExpectReply(message.get(), 0);
    library.setAutoStart(message.get(), 0);
    // A connection that takes nothing any more is noticed where it is read.
    (void)library.send(bus_, message.get(), nullptr);
    runSoon();
}

std::shared_ptr<void> ViewerBusConnection::subscribe(const std::string& rule, Receiver receiver) {
    if (bus_ == nullptr) {
        return nullptr;
    }
    const auto subscription =
        std::make_shared<Subscription>(Subscription{std::move(receiver), nullptr});
    sd_bus_slot* slot = nullptr;
    const int result = ViewerBusLibrary::loaded().addMatchAsync(
        bus_, &slot, rule.c_str(), &signalHasCome, nullptr, subscription.get());
    if (result < 0) {
        return nullptr;
    }
    subscription->slot.reset(slot);
    subscriptions_.remove_if([](const auto& known) { return known.expired(); });
    subscriptions_.push_back(subscription);
    runSoon();
    return subscription;
}

int ViewerBusConnection::signalHasCome(sd_bus_message* signal, void* subscription, sd_bus_error*) {
    // The receiver may end the subscription.
    const Receiver receiver = static_cast<Subscription*>(subscription)->receiver;
    receiver(signal);
    return 0;
}

void ViewerBusConnection::runSoon() {
    boost::asio::post(executor_, ifAlive(weak_from_this(), &ViewerBusConnection::run));
}

void ViewerBusConnection::run() {
    const auto self = shared_from_this();  // what is dispatched may drop this
    if (bus_ == nullptr) {
        return;
    }
    for (int dispatched = 0; dispatched < mostAtOnce; ++dispatched) {
        const int result = ViewerBusLibrary::loaded().process(bus_, nullptr);
        if (bus_ == nullptr) {
            return;
        }
        if (result < 0) {
            lose();
            return;
        }
        if (result == 0) {
            await();
            return;
        }
    }
    runSoon();
}

void ViewerBusConnection::await() {
    const int events = ViewerBusLibrary::loaded().events(bus_);
    if (events < 0) {
        lose();
        return;
    }
    awaitDescriptor(Descriptor::wait_read, isReadAwaited_);
    if ((events & POLLOUT) != 0) {
        awaitDescriptor(Descriptor::wait_write, isWriteAwaited_);
    }
    awaitTime();
}

void ViewerBusConnection::awaitDescriptor(Descriptor::wait_type what, bool& isAwaited) {
    if (std::exchange(isAwaited, true)) {
        return;
    }
    arrivals_.async_wait(what, ifAlive(weak_from_this(),
                                       [flag = &isAwaited](ViewerBusConnection& self,
                                                           const boost::system::error_code& error) {
                                           *flag = false;
                                           if (!error) {
                                               self.run();
                                           }
                                       }));
}

/// The library limits the greeting of the bus.
void ViewerBusConnection::awaitTime() {
    clock_->withdraw(timer_);
    std::uint64_t deadline = UINT64_MAX;
    // An error leaves it as it is.
    (void)ViewerBusLibrary::loaded().timeout(bus_, &deadline);
    if (deadline == UINT64_MAX) {
        return;
    }
    const Duration left = std::chrono::microseconds(deadline) - monotonicNow();
    timer_ = clock_->schedule(clock_->now() + std::max(left, Duration::zero()), executor_,
                              ifAlive(weak_from_this(), &ViewerBusConnection::run));
}

void ViewerBusConnection::close() {
    if (bus_ == nullptr) {
        return;
    }
    lost_ = nullptr;
    for (const auto& weak : subscriptions_) {
        if (const auto subscription = weak.lock()) {
            subscription->slot.reset();
        }
    }
    drain();
    hangUp();
}

void ViewerBusConnection::drain() {
    constexpr std::chrono::milliseconds pause{20};
    const ViewerBusLibrary& library = ViewerBusLibrary::loaded();
    for (auto waited = pause; waited <= closeLimit; waited += pause) {
        std::uint64_t queued = 0;
        (void)library.queuedWrites(bus_, &queued);  // an error leaves it as it is
        if (queued == 0) {
            return;
        }
        pollfd ready{arrivals_.native_handle(), POLLOUT, 0};
        (void)::poll(&ready, 1, static_cast<int>(pause.count()));  // tried in any case
        if (library.process(bus_, nullptr) < 0) {
            return;
        }
    }
}

void ViewerBusConnection::hangUp() {
    const Calls unanswered = std::exchange(calls_, {});
    clock_->withdraw(timer_);
    for (const auto& call : unanswered) {
        call->slot.reset();
    }
    sd_bus* const bus = std::exchange(bus_, nullptr);
    boost::system::error_code ignored;  // a descriptor that was only waited for closes
    (void)arrivals_.close(ignored);
    ViewerBusLibrary::loaded().close(bus);
    ViewerBusLibrary::loaded().unref(bus);
    for (const auto& call : unanswered) {
        call->completion(lostReply());
    }
}

void ViewerBusConnection::lose() {
    const auto lost = std::exchange(lost_, nullptr);
    for (const auto& weak : subscriptions_) {
        if (const auto subscription = weak.lock()) {
            subscription->slot.reset();
        }
    }
    hangUp();
    if (lost) {
        lost();
    }
}

}  // namespace velmora
