#include "core/capture/linux/login/ViewerLoginSessionWatch.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/capture/linux/bus/ViewerBusConnection.h"
#include "core/capture/linux/login/ViewerLoginSession.h"
#include "core/runtime/ViewerIfAlive.h"
#include "core/runtime/ViewerTaskHandle.h"

namespace velmora {

namespace {

using Bus = ViewerLoginSession::Bus;
using Reply = ViewerBusReply;

/// Tells when the login manager comes onto the bus, or leaves it.
constexpr const char* ownerChanges =
    "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
    "member='NameOwnerChanged',arg0='org.freedesktop.login1'";

/// Whether the manager says that it knows no such session any more.
bool isGone(const Reply& session) {
    return session.kind == Reply::Kind::refused && session.error == SD_BUS_ERROR_UNKNOWN_OBJECT;
}

bool isClosing(const Reply& state) {
    const char* text = nullptr;
    return state.kind == Reply::Kind::answered &&
           ViewerBusLibrary::loaded().read(state.message.get(), "v", "s", &text) > 0 &&
           std::string_view(text) == "closing";
}

/// Nothing where the answer does not tell.
std::optional<bool> isRemote(const Reply& answer) {
    int value = 0;
    const bool isRead = answer.kind == Reply::Kind::answered &&
                        ViewerBusLibrary::loaded().read(answer.message.get(), "v", "b", &value) > 0;
    return isRead ? std::optional(value != 0) : std::nullopt;
}

/// The object of the session that is to be watched, empty for none, or nothing while nobody
/// answers.
ViewerTask<std::optional<std::string>> findSession(Bus bus) {
    const Reply found = co_await ViewerLoginSession::find(bus);
    const std::string object = ViewerLoginSession::objectIn(found);
    if (object.empty()) {
        const bool isTheManagersWord = found.error.starts_with(ViewerLoginSession::service);
        co_return isTheManagersWord ? std::optional(std::string()) : std::nullopt;
    }
    const std::string remote = "Remote";
    const Reply answer = co_await ViewerLoginSession::property(bus, object, remote);
    if (isGone(answer)) {
        co_return object;
    }
    const std::optional<bool> isElsewhere = isRemote(answer);
    if (!isElsewhere) {
        co_return std::nullopt;
    }
    co_return *isElsewhere ? std::string() : object;
}

}  // namespace

/// What the watch and its tasks share.
class ViewerLoginSessionWatch::Course final : public std::enable_shared_from_this<Course> {
  public:
    Course(ViewerExecutor executor, std::shared_ptr<ViewerContinuousClock> clock,
           std::function<void()> ended)
        : executor_(std::move(executor)), clock_(std::move(clock)), ended_(std::move(ended)) {}

    void connectAfter(ViewerContinuousClock::Duration pause) {
        timer_ = clock_->schedule(clock_->now() + pause, executor_,
                                  ifAlive(weak_from_this(), &Course::connect));
    }
    /// Nobody is told anything any more.
    void stop() {
        ended_ = nullptr;
        clock_->withdraw(timer_);
        subscriptions_.clear();
        if (const Bus bus = std::exchange(bus_, nullptr)) {
            bus->close();
        }
    }

  private:
    using Self = std::shared_ptr<Course>;

    void connect() {
        if (!ended_) {
            return;
        }
        bus_ = ViewerBusConnection::open(ViewerBusConnection::Bus::system, executor_, clock_);
        if (bus_) {
            hasBus_ = true;
            bus_->whenLost(ifAlive(weak_from_this(), &Course::busIsLost));
            lookWhenever(ownerChanges);
            lookWhenever(ViewerLoginSession::announcements());
            if (session_) {
                lookWhenever(ViewerLoginSession::changesOf(*session_));
            }
            look();
        } else if (hasBus_) {
            connectAfter(interval);
        }
    }
    void busIsLost() {
        subscriptions_.clear();
        bus_ = nullptr;
        connectAfter(interval);
    }
    void lookWhenever(const std::string& rule) {
        subscriptions_.push_back(bus_->subscribe(
            rule, ifAlive(weak_from_this(), [](Course& self, sd_bus_message*) { self.look(); })));
    }
    void look() { (void)startTask(executor_, lookWith(shared_from_this(), bus_)); }

    static ViewerTask<void> lookWith(Self self, Bus bus) {
        if (!self->session_) {
            const std::optional<std::string> found = co_await findSession(bus);
            if (!self->session_ && bus == self->bus_) {
                self->take(found);
            }
        }
        if (!self->session_ || self->session_->empty()) {
            co_return;
        }
        const std::string session = *self->session_;
        const std::string name = "State";
        const Reply state = co_await ViewerLoginSession::property(bus, session, name);
        if (self->ended_ && (isClosing(state) || isGone(state))) {
            const auto ended = self->ended_;
            self->stop();
            ended();
        }
    }
    /// What was found once stays: this process changes its session no more.
    void take(const std::optional<std::string>& found) {
        session_ = found;
        if (session_ && session_->empty()) {
            stop();
        } else if (session_) {
            lookWhenever(ViewerLoginSession::changesOf(*session_));
        }
    }

    const ViewerExecutor executor_;
    const std::shared_ptr<ViewerContinuousClock> clock_;
    /// Nothing once all is told.
    std::function<void()> ended_;
    ViewerContinuousClock::TimerId timer_;
    Bus bus_;
    /// Whether there ever was a system bus.
    bool hasBus_ = false;
    std::vector<std::shared_ptr<void>> subscriptions_;
    /// The session's object, empty where there is none to be watched, nothing while that is not
    /// known.
    std::optional<std::string> session_;
};

ViewerLoginSessionWatch::ViewerLoginSessionWatch(ViewerExecutor executor,
                                                 std::shared_ptr<ViewerContinuousClock> clock,
                                                 std::function<void()> ended)
    : course_(std::make_shared<Course>(std::move(executor), std::move(clock), std::move(ended))) {
    course_->connectAfter(delay);
}

ViewerLoginSessionWatch::~ViewerLoginSessionWatch() {
    course_->stop();
}

}  // namespace velmora
